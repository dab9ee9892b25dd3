#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>

/// A file of JSON lines that is only appended to. Each line reaches the file at once, and whole: what a full disk has cut
/// short is taken off again, so that no later line goes on in the middle of it.
class CJsonLog
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CJsonLog() = default;
    ~CJsonLog();
    CJsonLog(const CJsonLog&) = delete;
    CJsonLog& operator=(const CJsonLog&) = delete;

    /// A piece of a line that a crash has left at the end of the file is taken off.
    /// @param p_fnLine told of what the operator has to know: lines that are lost, once a minute.
    /// @throws std::runtime_error with the file and the cause.
    void Open(const std::string& p_strPath, std::function<void(const std::string&)> p_fnLine);
    /// Goes on in the file that has the name now: the old one has been renamed or removed. Keeps the old one if there can
    /// be no new one.
    void Reopen();
    /// A line that cannot be written is lost, and counted.
    void Write(const std::string& p_strLine, TTime p_tNow = std::chrono::steady_clock::now());
    bool IsOpen() const { return m_nFile >= 0; }

  private:
    bool Append(const std::string& p_strLine);
    void Lost(TTime p_tNow);

    std::string m_strPath;
    std::function<void(const std::string&)> m_fnLine;
    int m_nFile = -1;
    bool m_bTorn = false; ///< a piece of a line stands at the end
    off_t m_nWhole = 0;   ///< size of the whole lines, if so
    std::uint64_t m_nLost = 0;
    bool m_bTold = false;
    TTime m_tTold{};
};

// Not Boost.JSON, which reads these files: it writes \n where readers of the logs know \u000a, passes on bytes that are not
// UTF-8, and has no float, so that 0.1f would become 1.0000000149011612E-1. The order of the members is that of the texts.

/// Text as a JSON string with its quotes. Bytes that are no UTF-8 stand as the characters of Latin-1.
std::string JsonText(std::string_view p_strText);
/// Text from elsewhere as a part of one line: control characters, and others that steer a terminal or turn the order of
/// writing, stand as \x and \u; of a long one p_nMost bytes.
std::string LineText(std::string_view p_strText, std::size_t p_nMost);
/// Shortest text that reads back as the same number; null for NaN and infinity, which JSON does not know.
std::string JsonNumber(float p_fValue);
