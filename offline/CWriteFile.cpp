#include "offline/CWriteFile.h"
#include "FileName.h"
#include <iomanip>
#include <sstream>

namespace
{
/// Writes the name, padded with blanks to its field; false if it does not fit.
bool BeginLine(std::ostringstream& r_stream, const std::string& p_strName, unsigned p_nNameField)
{
    if (p_strName.size() > p_nNameField)
        return false;
    r_stream << p_strName << std::string(p_nNameField - p_strName.size(), ' ') << std::fixed << std::setfill(' ')
             << std::right;
    return true;
}
} // namespace

CWriteFile::~CWriteFile() = default;

bool CWriteFile::Open()
{
    m_stream.close();
    m_stream.clear();
    m_stream.open(FileNameForResult(m_wstrPath), std::ios::out | std::ios::trunc);
    m_bLineBegun = false;
    return m_stream.is_open();
}

bool CWriteFile::Close()
{
    m_stream.close();
    return true;
}

void CWriteFile::WriteText(std::string_view p_strText)
{
    m_stream << p_strText;
}

void CWriteFile::WriteLine(std::string_view p_strText)
{
    m_stream << p_strText << std::endl;
}

bool CWriteFile::WriteArray(const std::string& p_strName, unsigned p_nNameField, const std::valarray<double>& p_vecData,
                            unsigned p_nCountWidth, unsigned p_nValWidth, unsigned p_nPrecision)
{
    std::ostringstream stream;
    if (!BeginLine(stream, p_strName, p_nNameField))
        return false;
    stream << std::setw(static_cast<int>(p_nCountWidth)) << p_vecData.size()
           << std::setprecision(static_cast<int>(p_nPrecision));
    for (const double fValue : p_vecData)
        stream << ' ' << std::setw(static_cast<int>(p_nValWidth)) << fValue;
    WriteLine(stream.str());
    return true;
}

bool CWriteFile::WriteValue(const std::string& p_strName, unsigned p_nNameField, double p_fValue, unsigned p_nValWidth,
                            unsigned p_nPrecision)
{
    std::ostringstream stream;
    if (!BeginLine(stream, p_strName, p_nNameField))
        return false;
    stream << std::setprecision(static_cast<int>(p_nPrecision)) << std::setw(static_cast<int>(p_nValWidth)) << p_fValue;
    WriteLine(stream.str());
    return true;
}

void CWriteFile::WriteField(std::string_view p_strText)
{
    if (m_bLineBegun)
        m_stream << s_cSeparator;
    m_stream << p_strText;
    m_bLineBegun = true;
}

void CWriteFile::WriteField(double p_fValue, unsigned p_nWidth, unsigned p_nPrecision)
{
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(static_cast<int>(p_nPrecision)) << std::setw(static_cast<int>(p_nWidth))
           << p_fValue;
    WriteField(stream.str());
}

void CWriteFile::EndLine()
{
    m_stream << std::endl;
    m_bLineBegun = false;
}
