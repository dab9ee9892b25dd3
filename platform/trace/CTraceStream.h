#pragma once
#include <atomic>
#include <string>
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
enum class ETraceLevel : int
{
    eError = 0,
    eWarning = 1,
    eInfo = 2,
    eData = 3
};

/// One level of one area. Collects the pieces of a line; TEnd sends it. One line at a time: callers that share a stream
/// hold their own lock for the whole line.
class CTraceStream
{
  public:
    /// @param p_pnAreaLevel highest level that is on for the area, below 0 for none; it must never be destroyed.
    CTraceStream(const std::string& p_strArea, ETraceLevel p_eLevel, const std::atomic<int>* p_pnAreaLevel)
        : m_strArea(p_strArea), m_eLevel(p_eLevel), m_pnAreaLevel(p_pnAreaLevel)
    {
    }

    /// Whether the level is on for the area: one atomic read.
    bool IsActive() const { return m_pnAreaLevel->load(std::memory_order_relaxed) >= static_cast<int>(m_eLevel); }
    /// Called before each insertion; the piece is added only when the stream is active.
    void _Lock() {}
    void Insert(std::string_view p_strText);
    /// Ends the line and sends it, if the stream is active.
    void EndLine();

  private:
    std::string m_strArea;
    ETraceLevel m_eLevel;
    const std::atomic<int>* m_pnAreaLevel;
    std::string m_strLine;
};

/// Ends the line.
CTraceStream& TEnd(CTraceStream& p_stream);
/// Breaks the line within one entry; used for multi-line data.
CTraceStream& TNLine(CTraceStream& p_stream);

inline CTraceStream& operator<<(CTraceStream& p_stream, std::string_view p_strText)
{
    p_stream._Lock();
    p_stream.Insert(p_strText);
    return p_stream;
}
inline CTraceStream& operator<<(CTraceStream& p_stream, CTraceStream& (*p_fnManip)(CTraceStream&))
{
    return p_fnManip(p_stream);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
