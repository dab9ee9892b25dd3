#include "vds/base/CJsonLog.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{
constexpr auto g_tLine = std::chrono::minutes(1);
constexpr mode_t g_nMode = 0644;

/// Opened for reading as well, to find an incomplete line at the end.
int OpenLog(const std::string& p_strPath)
{
    return ::open(p_strPath.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, g_nMode);
}

off_t SizeOf(int p_nFile)
{
    struct stat status = {};
    return ::fstat(p_nFile, &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

/// Size of the file without an unterminated last line.
off_t SizeOfWholeLines(int p_nFile)
{
    std::array<char, 65536> buf{};
    for (off_t nEnd = SizeOf(p_nFile); nEnd > 0;)
    {
        const off_t nBegin = std::max<off_t>(nEnd - static_cast<off_t>(buf.size()), 0);
        const ssize_t nRead = ::pread(p_nFile, buf.data(), static_cast<std::size_t>(nEnd - nBegin), nBegin);
        if (nRead != nEnd - nBegin)
            return SizeOf(p_nFile);
        const std::size_t nFound = std::string_view(buf.data(), static_cast<std::size_t>(nRead)).rfind('\n');
        if (nFound != std::string_view::npos)
            return nBegin + static_cast<off_t>(nFound) + 1;
        nEnd = nBegin;
    }
    return 0;
}

/// Length of the UTF-8 character at the start; 0 if it is invalid.
std::size_t Utf8Length(std::string_view p_str)
{
    const auto nFirst = static_cast<unsigned char>(p_str[0]);
    std::size_t nLength = 0;
    if (nFirst < 0x80)
        return 1;
    if (nFirst >= 0xC2 && nFirst <= 0xDF)
        nLength = 2;
    else if (nFirst >= 0xE0 && nFirst <= 0xEF)
        nLength = 3;
    else if (nFirst >= 0xF0 && nFirst <= 0xF4)
        nLength = 4;
    if (nLength == 0 || p_str.size() < nLength)
        return 0;
    for (std::size_t i = 1; i < nLength; ++i)
    {
        if ((static_cast<unsigned char>(p_str[i]) & 0xC0U) != 0x80)
            return 0;
    }
    const auto nSecond = static_cast<unsigned char>(p_str[1]);
    const bool bBad = (nFirst == 0xE0 && nSecond < 0xA0) || (nFirst == 0xED && nSecond >= 0xA0) ||
                      (nFirst == 0xF0 && nSecond < 0x90) || (nFirst == 0xF4 && nSecond >= 0x90);
    return bBad ? 0 : nLength;
}

/// Code point of an invisible character: controls above ASCII, direction marks, line separators. 0: not invisible.
unsigned Steers(std::string_view p_strChar)
{
    if (p_strChar.size() < 2 || p_strChar.size() > 3)
        return 0;
    unsigned nCode = static_cast<unsigned char>(p_strChar[0]) & (p_strChar.size() == 2 ? 0x1FU : 0x0FU);
    for (const char nByte : p_strChar.substr(1))
        nCode = nCode << 6U | (static_cast<unsigned char>(nByte) & 0x3FU);
    const bool bSteers = (nCode >= 0x80 && nCode <= 0x9F) || (nCode >= 0x200B && nCode <= 0x200F) ||
                         (nCode >= 0x2028 && nCode <= 0x202E) || (nCode >= 0x2060 && nCode <= 0x206F) ||
                         nCode == 0xFEFF;
    return bSteers ? nCode : 0;
}
} // namespace

CJsonLog::~CJsonLog()
{
    if (m_nFile >= 0)
        ::close(m_nFile);
}

void CJsonLog::Open(const std::string& p_strPath, std::function<void(const std::string&)> p_fnLine)
{
    m_strPath = p_strPath;
    m_fnLine = std::move(p_fnLine);
    m_nFile = OpenLog(p_strPath);
    if (m_nFile < 0)
        throw std::runtime_error("file '" + p_strPath + "': cannot be opened for writing: " + std::strerror(errno));
    m_nWhole = SizeOfWholeLines(m_nFile);
    m_bTorn = m_nWhole != SizeOf(m_nFile);
}

void CJsonLog::Reopen()
{
    if (m_nFile < 0)
        return;
    const int nFile = OpenLog(m_strPath);
    if (nFile < 0)
        return m_fnLine("file '" + m_strPath + "': cannot be reopened: " + std::strerror(errno));
    ::close(m_nFile);
    m_nFile = nFile;
    m_nWhole = SizeOfWholeLines(m_nFile);
    m_bTorn = m_nWhole != SizeOf(m_nFile);
}

void CJsonLog::Write(const std::string& p_strLine, TTime p_tNow)
{
    if (m_nFile < 0)
        return;
    if (!Append(p_strLine + '\n'))
        return Lost(p_tNow);
    if (m_bTold)
        m_fnLine("file '" + m_strPath + "': writing resumed; lines lost: " + std::to_string(m_nLost));
    m_bTold = false;
    m_nLost = 0;
}

/// @return false if the line was not written; errno holds the cause.
bool CJsonLog::Append(const std::string& p_strLine)
{
    if (m_bTorn && ::ftruncate(m_nFile, m_nWhole) != 0)
        return false;
    m_bTorn = false;
    std::size_t nDone = 0;
    while (nDone < p_strLine.size())
    {
        const ssize_t nWritten = ::write(m_nFile, p_strLine.data() + nDone, p_strLine.size() - nDone);
        if (nWritten < 0 && errno == EINTR)
            continue;
        if (nWritten <= 0)
            break;
        nDone += static_cast<std::size_t>(nWritten);
    }
    if (nDone == p_strLine.size())
        return true;
    if (nDone == 0)
        return false;
    const int nError = errno;
    m_nWhole = SizeOf(m_nFile) - static_cast<off_t>(nDone);
    m_bTorn = ::ftruncate(m_nFile, m_nWhole) != 0;
    errno = nError;
    return false;
}

void CJsonLog::Lost(TTime p_tNow)
{
    const int nError = errno;
    ++m_nLost;
    if (m_bTold && p_tNow - m_tTold < g_tLine)
        return;
    m_bTold = true;
    m_tTold = p_tNow;
    m_fnLine("file '" + m_strPath + "': cannot be written: " + std::strerror(nError) +
             "; lines lost: " + std::to_string(m_nLost));
}

std::string JsonText(std::string_view p_strText)
{
    constexpr std::string_view strHex = "0123456789abcdef";
    std::string strOut = "\"";
    while (!p_strText.empty())
    {
        const std::size_t nLength = Utf8Length(p_strText);
        const auto nByte = static_cast<unsigned char>(p_strText[0]);
        if (nLength == 0 || nByte < 0x20)
        {
            strOut += "\\u00";
            strOut += strHex[nByte >> 4U];
            strOut += strHex[nByte & 0xFU];
        }
        else
        {
            if (nByte == '"' || nByte == '\\')
                strOut += '\\';
            strOut += p_strText.substr(0, nLength);
        }
        p_strText.remove_prefix(nLength == 0 ? 1 : nLength);
    }
    return strOut + '"';
}

std::string LineText(std::string_view p_strText, std::size_t p_nMost)
{
    std::string strOut;
    std::array<char, 8> buf{};
    for (std::size_t i = 0; i < p_strText.size();)
    {
        if (strOut.size() >= p_nMost)
            return strOut + "... (" + std::to_string(p_strText.size()) + " bytes)";
        const std::string_view strLeft = p_strText.substr(i);
        const std::size_t nLength = Utf8Length(strLeft);
        i += std::max<std::size_t>(nLength, 1);
        if (nLength == 0 || static_cast<unsigned char>(strLeft[0]) < 0x20 || strLeft[0] == 0x7F)
            std::snprintf(buf.data(), buf.size(), "\\x%02x", static_cast<unsigned char>(strLeft[0]));
        else if (const unsigned nSign = Steers(strLeft.substr(0, nLength)); nSign != 0)
            std::snprintf(buf.data(), buf.size(), "\\u%04x", nSign);
        else
        {
            strOut += strLeft.substr(0, nLength);
            continue;
        }
        strOut += buf.data();
    }
    return strOut;
}

std::string JsonNumber(float p_fValue)
{
    if (!std::isfinite(p_fValue))
        return "null";
    std::array<char, 64> buf{};
    const std::to_chars_result result = std::to_chars(buf.data(), buf.data() + buf.size(), p_fValue);
    return {buf.data(), result.ptr};
}
