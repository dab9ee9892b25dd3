#pragma once
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

/// One level of one area. Collects the pieces of a line; TEnd sends it.
/// One line at a time: callers that share a stream hold a lock of their own for the whole line.
class CTraceStream
{
  public:
    CTraceStream(const std::string& p_strArea, ETraceLevel p_eLevel) : m_strArea(p_strArea), m_eLevel(p_eLevel) {}

    /// Whether the level is on for the area: one atomic read.
    bool IsActive() const;
    /// Called ahead of each insertion; the piece is taken only when the stream is active.
    void _Lock() {}
    void Insert(std::string_view p_strText);
    /// Ends the line and sends it, if the stream is active.
    void EndLine();

  private:
    std::string m_strArea;
    ETraceLevel m_eLevel;
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
}
