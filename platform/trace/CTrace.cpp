#include "CTrace.h"
#include "FileName.h"
#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <stdexcept>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
constexpr std::size_t g_nFileSizeMax = 10 * 1024 * 1024; ///< bytes
constexpr std::size_t g_nOldFiles = 5;
constexpr int g_nLevelNone = -1;

constexpr const char* LevelName(ETraceLevel p_eLevel)
{
    switch (p_eLevel)
    {
    case ETraceLevel::eError:
        return "error";
    case ETraceLevel::eWarning:
        return "warning";
    case ETraceLevel::eInfo:
        return "info";
    case ETraceLevel::eData:
        return "data";
    }
    return "";
}

/// Levels of all areas and the output of all lines. Never destroyed: lines may come at any time.
class CFacility
{
  public:
    static CFacility& Get()
    {
        static CFacility* const s_pFacility = new CFacility;
        return *s_pFacility;
    }

    void Init()
    {
        const std::lock_guard lock(m_mtx);
        if (m_pLogger)
            return;
        m_pLogger = std::make_unique<spdlog::logger>("oma", std::make_shared<spdlog::sinks::stderr_sink_mt>());
        m_pLogger->set_level(spdlog::level::trace);
        m_pLogger->flush_on(spdlog::level::trace);
        UseFormat();
        UpdateLevels();
    }

    void Exit()
    {
        const std::lock_guard lock(m_mtx);
        m_pLogger.reset();
        UpdateLevels();
    }

    void OpenFile(const std::wstring& p_wstrPath)
    {
        const std::lock_guard lock(m_mtx);
        if (!m_pLogger)
            return;
        try
        {
            const std::string strPath = FileNameForWriting(p_wstrPath).string();
            // Opening a pipe waits for a reader, and neither a pipe nor a device can be rotated.
            if (std::filesystem::exists(strPath) && !std::filesystem::is_regular_file(strPath))
                throw std::runtime_error("'" + strPath + "' is not a regular file");
            m_pLogger->sinks().push_back(
                std::make_shared<spdlog::sinks::rotating_file_sink_mt>(strPath, g_nFileSizeMax, g_nOldFiles));
            UseFormat();
        }
        catch (const std::exception& error)
        {
            m_pLogger->info("{} {} {}", LevelName(ETraceLevel::eError), "-TFILE:", error.what());
        }
    }

    void UseLevels(std::optional<ETraceLevel> p_eGeneral, std::vector<std::pair<std::string, ETraceLevel>> p_vecArea)
    {
        const std::lock_guard lock(m_mtx);
        if (p_eGeneral)
            m_eGeneral = *p_eGeneral;
        m_vecAreaRule = std::move(p_vecArea);
        UpdateLevels();
    }

    void SetSink(CTrace::Sink p_fnSink)
    {
        const std::lock_guard lock(m_mtx);
        m_fnSink = std::move(p_fnSink);
        UpdateLevels();
    }

    const std::atomic<int>* LevelOf(const std::string& p_strArea)
    {
        const std::lock_guard lock(m_mtx);
        const auto [it, bNew] = m_mapLevel.try_emplace(p_strArea);
        if (bNew)
            it->second = CalcLevel(p_strArea);
        return &it->second;
    }

    void CreateHelper(const std::string& p_strName)
    {
        auto pHelper = std::make_unique<CTraceHelper>(p_strName);
        const std::lock_guard lock(m_mtx);
        m_mapHelper.try_emplace(p_strName, std::move(pHelper));
    }

    CTraceHelper* Helper(const std::string& p_strName)
    {
        const std::lock_guard lock(m_mtx);
        const auto it = m_mapHelper.find(p_strName);
        return it == m_mapHelper.end() ? nullptr : it->second.get();
    }

    void Send(ETraceLevel p_eLevel, const std::string& p_strArea, const std::string& p_strText)
    {
        const std::lock_guard lock(m_mtx);
        if (m_fnSink)
            m_fnSink(p_eLevel, p_strArea, p_strText);
        else if (m_pLogger)
            m_pLogger->info("{} {}{}{}", LevelName(p_eLevel), p_strArea, p_strArea.empty() ? "" : " ", p_strText);
    }

  private:
    /// Level and area are part of the text, as the logger's own levels have other names.
    void UseFormat()
    {
        m_pLogger->set_formatter(
            std::make_unique<spdlog::pattern_formatter>("%Y-%m-%d %H:%M:%S.%e %v", spdlog::pattern_time_type::utc));
    }

    int CalcLevel(const std::string& p_strArea) const
    {
        if (!m_fnSink && !m_pLogger)
            return g_nLevelNone;
        ETraceLevel eLevel = m_eGeneral;
        std::size_t nLongest = 0;
        for (const auto& [strBegin, eRule] : m_vecAreaRule)
        {
            if (!boost::algorithm::istarts_with(p_strArea, strBegin) || strBegin.size() < nLongest)
                continue;
            eLevel = strBegin.size() == nLongest ? std::max(eLevel, eRule) : eRule;
            nLongest = strBegin.size();
        }
        return static_cast<int>(eLevel);
    }

    void UpdateLevels()
    {
        for (auto& [strArea, nLevel] : m_mapLevel)
            nLevel = CalcLevel(strArea);
    }

    std::mutex m_mtx;
    std::unique_ptr<spdlog::logger> m_pLogger; ///< exists between Init and Exit
    CTrace::Sink m_fnSink;
    ETraceLevel m_eGeneral = ETraceLevel::eWarning;
    std::vector<std::pair<std::string, ETraceLevel>> m_vecAreaRule; ///< start of the name, level
    std::map<std::string, std::atomic<int>> m_mapLevel;             ///< by area; entries must not move
    std::map<std::string, std::unique_ptr<CTraceHelper>> m_mapHelper;
};

struct SOption
{
    const wchar_t* pName;
    ETraceLevel eLevel;
};
constexpr SOption g_options[] = {{L"-ERROR", ETraceLevel::eError},
                                 {L"-WARNING", ETraceLevel::eWarning},
                                 {L"-INFO", ETraceLevel::eInfo},
                                 {L"-DATA", ETraceLevel::eData}};
constexpr std::wstring_view g_strFileOption = L"-TFILE:";
} // namespace

void CTrace::Init()
{
    CFacility::Get().Init();
}

void CTrace::Exit()
{
    CFacility::Get().Exit();
}

void CTrace::CheckTraceArg(int p_nArgc, wchar_t* p_ppArgv[])
{
    std::optional<ETraceLevel> eGeneral;
    std::vector<std::pair<std::string, ETraceLevel>> vecArea;
    for (int n = 1; n < p_nArgc && p_ppArgv; ++n)
    {
        const std::wstring wstrArg = p_ppArgv[n] ? p_ppArgv[n] : L"";
        if (boost::algorithm::istarts_with(wstrArg, g_strFileOption))
            CFacility::Get().OpenFile(wstrArg.substr(g_strFileOption.size()));
        for (const SOption& option : g_options)
        {
            if (!boost::algorithm::istarts_with(wstrArg, option.pName))
                continue;
            const std::wstring wstrRest = wstrArg.substr(std::wstring_view(option.pName).size());
            if (wstrRest.empty())
                eGeneral = std::max(eGeneral.value_or(option.eLevel), option.eLevel);
            else if (wstrRest.size() > 1 && wstrRest.front() == L':')
                vecArea.emplace_back(NarrowText(wstrRest.substr(1)), option.eLevel);
        }
    }
    if (eGeneral || !vecArea.empty())
        CFacility::Get().UseLevels(eGeneral, std::move(vecArea));
}

void CTrace::CreateTraceHelper(const std::string& p_strName)
{
    CFacility::Get().CreateHelper(p_strName);
}

CTraceHelper* CTrace::GetInstancePtr(const std::string& p_strName)
{
    return CFacility::Get().Helper(p_strName);
}

void CTrace::SetSink(Sink p_fnSink)
{
    CFacility::Get().SetSink(std::move(p_fnSink));
}

void CTrace::SetLevel(ETraceLevel p_eLevel)
{
    CFacility::Get().UseLevels(p_eLevel, {});
}

CTraceHelper::CTraceHelper(const std::string& p_strName) : CTraceHelper(p_strName, CFacility::Get().LevelOf(p_strName))
{
}

CTraceHelper::CTraceHelper(const std::string& p_strName, const std::atomic<int>* p_pnAreaLevel)
    : m_strName(p_strName), m_streamError(p_strName, ETraceLevel::eError, p_pnAreaLevel),
      m_streamWarning(p_strName, ETraceLevel::eWarning, p_pnAreaLevel),
      m_streamInfo(p_strName, ETraceLevel::eInfo, p_pnAreaLevel),
      m_streamData(p_strName, ETraceLevel::eData, p_pnAreaLevel)
{
}

void CTraceStream::Insert(std::string_view p_strText)
{
    if (IsActive())
        m_strLine.append(p_strText);
}

void CTraceStream::EndLine()
{
    if (IsActive())
        CFacility::Get().Send(m_eLevel, m_strArea, m_strLine);
    m_strLine.clear();
}

CTraceStream& TEnd(CTraceStream& p_stream)
{
    p_stream.EndLine();
    return p_stream;
}

CTraceStream& TNLine(CTraceStream& p_stream)
{
    p_stream.Insert("\n");
    return p_stream;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
