#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>

/// An append-only file of JSON lines. Each line is written at once and whole: a line cut short by a full disk is
/// removed, so that no later line continues in the middle of it.
class CJsonLog
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CJsonLog() = default;
    ~CJsonLog();
    CJsonLog(const CJsonLog&) = delete;
    CJsonLog& operator=(const CJsonLog&) = delete;

    /// An incomplete line that a crash has left at the end of the file is removed.
    /// @param p_fnLine receives messages for the operator: lost lines, at most once a minute.
    /// @throws std::runtime_error with the file and the cause.
    void Open(const std::string& p_strPath, std::function<void(const std::string&)> p_fnLine);
    /// Continues in a new file of the same name if the old one has been renamed or removed. Keeps the old file if no
    /// new one can be created.
    void Reopen();
    /// A line that cannot be written is lost and counted.
    void Write(const std::string& p_strLine, TTime p_tNow = std::chrono::steady_clock::now());
    bool IsOpen() const { return m_nFile >= 0; }

  private:
    bool Append(const std::string& p_strLine);
    void Lost(TTime p_tNow);

    std::string m_strPath;
    std::function<void(const std::string&)> m_fnLine;
    int m_nFile = -1;
    bool m_bTorn = false; ///< the file ends with an incomplete line
    off_t m_nWhole = 0;   ///< in that case the size of the complete lines
    std::uint64_t m_nLost = 0;
    bool m_bTold = false;
    TTime m_tTold{};
};

// Not Boost.JSON, which reads these files: it writes \n where readers of the logs know \u000a, passes on bytes that are not
// UTF-8, and has no float, so that 0.1f would become 1.0000000149011612E-1. The order of the members is that of the texts.

/// Text as a JSON string with its quotes. Bytes that are not valid UTF-8 are taken as Latin-1 characters.
std::string JsonText(std::string_view p_strText);
/// External text made safe as part of one line: control characters, and others that control a terminal or reverse the
/// text direction, become \x and \u escapes; long text is cut to p_nMost bytes.
std::string LineText(std::string_view p_strText, std::size_t p_nMost);
/// Shortest text that reads back as the same number; null for NaN and infinity, which JSON cannot represent.
std::string JsonNumber(float p_fValue);
