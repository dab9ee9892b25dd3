#include "vds/CJsonLog.h"
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace
{
/// Length of the UTF-8 character at the front, 0 if it is none.
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
} // namespace

void CJsonLog::Open(const std::string& p_strPath)
{
    m_strPath = p_strPath;
    m_pFile.reset(std::fopen(p_strPath.c_str(), "ae"));
    if (!m_pFile)
        throw std::runtime_error("file '" + p_strPath + "': cannot be opened for writing: " + std::strerror(errno));
}

void CJsonLog::Write(const std::string& p_strLine)
{
    if (!m_pFile)
        return;
    const std::string strLine = p_strLine + '\n';
    if (std::fwrite(strLine.data(), 1, strLine.size(), m_pFile.get()) != strLine.size() ||
        std::fflush(m_pFile.get()) != 0)
        throw std::runtime_error("file '" + m_strPath + "': cannot be written: " + std::strerror(errno));
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

std::string JsonNumber(float p_fValue)
{
    if (!std::isfinite(p_fValue))
        return "null";
    std::array<char, 64> buf{};
    const std::to_chars_result result = std::to_chars(buf.data(), buf.data() + buf.size(), p_fValue);
    return {buf.data(), result.ptr};
}
