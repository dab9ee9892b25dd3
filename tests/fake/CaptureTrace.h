#pragma once
#include "CTrace.h"
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Collects every trace line emitted during its lifetime. Afterwards lines go to the previous sink, at the default
/// level. Use one object at a time.
class CaptureTrace
{
  public:
    using ETraceLevel = Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel;
    struct SLine
    {
        ETraceLevel eLevel;
        std::string strArea;
        std::string strText;
    };

    explicit CaptureTrace(ETraceLevel p_eLevel = ETraceLevel::eData)
    {
        using Norvik::Energy::Kestrel::VDS::Runtime::CTrace;
        CTrace::SetLevel(p_eLevel);
        CTrace::SetSink(
            [this](ETraceLevel p_eLineLevel, std::string_view p_strArea, std::string_view p_strText)
            {
                const std::lock_guard lock(m_mtxLines);
                m_vecLine.push_back({p_eLineLevel, std::string(p_strArea), std::string(p_strText)});
            });
    }
    ~CaptureTrace()
    {
        using Norvik::Energy::Kestrel::VDS::Runtime::CTrace;
        CTrace::SetSink({});
        CTrace::SetLevel(ETraceLevel::eWarning);
    }
    CaptureTrace(const CaptureTrace&) = delete;
    CaptureTrace& operator=(const CaptureTrace&) = delete;

    /// Number of lines that contain the text, of one level or of all.
    std::size_t Count(std::optional<ETraceLevel> p_eLevel, std::string_view p_strText) const
    {
        const std::lock_guard lock(m_mtxLines);
        std::size_t nLines = 0;
        for (const SLine& line : m_vecLine)
            nLines += (!p_eLevel || line.eLevel == *p_eLevel) && line.strText.find(p_strText) != std::string::npos;
        return nLines;
    }
    std::size_t Count(std::string_view p_strText) const { return Count(std::nullopt, p_strText); }
    bool Has(std::string_view p_strText) const { return Count(p_strText) > 0; }
    bool Has(ETraceLevel p_eLevel, std::string_view p_strText) const { return Count(p_eLevel, p_strText) > 0; }
    std::vector<SLine> Entries() const
    {
        const std::lock_guard lock(m_mtxLines);
        return m_vecLine;
    }
    /// The texts with this beginning. A class name selects its own lines from those of concurrent threads.
    std::vector<std::string> Lines(std::string_view p_strStart = {}) const
    {
        const std::lock_guard lock(m_mtxLines);
        std::vector<std::string> vecText;
        for (const SLine& line : m_vecLine)
            if (line.strText.starts_with(p_strStart))
                vecText.push_back(line.strText);
        return vecText;
    }
    void Clear()
    {
        const std::lock_guard lock(m_mtxLines);
        m_vecLine.clear();
    }

  private:
    mutable std::mutex m_mtxLines;
    std::vector<SLine> m_vecLine;
};
