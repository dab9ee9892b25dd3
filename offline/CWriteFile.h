#pragma once
#include "offline/CFileBAS.h"
#include <fstream>
#include <string_view>
#include <valarray>
#include <vector>

/// Writes named values and plain text. Numbers are in fixed notation, right-aligned and padded with blanks. A failed
/// write is not detected.
class CWriteFile : public CFileBAS
{
  public:
    using CFileBAS::CFileBAS;
    ~CWriteFile() override;

    /// Creates or truncates the file. The name contains that of a job, so FileNameForResult prevents it from leaving
    /// the directory.
    bool Open() override;
    bool Close() override;
    void WriteText(std::string_view p_strText);
    void WriteLine(std::string_view p_strText);
    /// Writes the name padded to its field, the count, then a blank and a value for each element. @return false, with
    /// nothing written, if the name is longer than its field.
    bool WriteArray(const std::string& p_strName, unsigned p_nNameField, const std::valarray<double>& p_vecData,
                    unsigned p_nCountWidth, unsigned p_nValWidth, unsigned p_nPrecision);
    bool WriteValue(const std::string& p_strName, unsigned p_nNameField, double p_fValue, unsigned p_nValWidth,
                    unsigned p_nPrecision);
    /// Writes one field of a separated line, preceded by the separator unless it is the first.
    void WriteField(std::string_view p_strText);
    void WriteField(double p_fValue, unsigned p_nWidth, unsigned p_nPrecision);
    /// Ends a separated line.
    void EndLine();

    static constexpr char s_cSeparator = ',';

  private:
    std::ofstream m_stream;
    bool m_bLineBegun = false;
};
