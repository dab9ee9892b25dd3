#include "offline/CReadFile.h"
#include "FileName.h"
#include <array>
#include <boost/algorithm/string/trim.hpp>
#include <locale>

namespace
{
constexpr std::streamsize g_nLineLimit = 0x4000;
}

bool CReadFile::Open()
{
    m_stream.close();
    m_stream.clear();
    m_stream.open(FileNameForReading(m_wstrPath));
    return m_stream.is_open();
}

bool CReadFile::Close()
{
    m_stream.close();
    return true;
}

std::uint64_t CReadFile::GetPos()
{
    const std::streamoff nPos = m_stream.tellg();
    return nPos < 0 ? 0 : static_cast<std::uint64_t>(nPos);
}

bool CReadFile::SetPos(std::uint64_t p_nPos)
{
    m_stream.clear();
    m_stream.seekg(static_cast<std::streamoff>(p_nPos), std::ios::beg);
    return true;
}

bool CReadFile::ReadLine()
{
    m_nPosPrev = m_nPos;
    std::array<char, g_nLineLimit> vecLine; // not cleared: getline ends the text, and clearing costs more than reading
    m_stream.getline(vecLine.data(), g_nLineLimit);
    // The last line may lack a line end: end-of-file is set, but it is a line. On failure there is no line, or too long
    // a one.
    if (!m_stream)
        return false;
    const bool bEnd = m_stream.eof();
    m_stream.clear(); // a stream at its end does not report its position
    m_nPos = GetPos();
    if (bEnd)
        m_stream.setstate(std::ios::eofbit);
    m_strLine.assign(vecLine.data());
    boost::algorithm::trim(m_strLine, std::locale::classic());
    return true;
}
