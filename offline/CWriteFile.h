#pragma once
#include "offline/CFileBAS.h"
#include <fstream>
#include <string_view>
#include <valarray>
#include <vector>

/// Writer of named values and plain text. Numbers: fixed notation, blank fill, right-aligned.
/// A failing write is not detected.
class CWriteFile : public CFileBAS
{
  public:
    using CFileBAS::CFileBAS;
    ~CWriteFile() override;

    /// Creates or truncates the file. Its name holds that of a job: FileNameForResult keeps it in its directory.
    bool Open() override;
    bool Close() override;
    void WriteText(std::string_view p_strText);
    void WriteLine(std::string_view p_strText);
    /// Name padded to its field, count, then a blank and a value for each element. False, nothing written, for a name
    /// longer than its field.
    bool WriteArray(const std::string& p_strName, unsigned p_nNameField, const std::valarray<double>& p_vecData,
                    unsigned p_nCountWidth, unsigned p_nValWidth, unsigned p_nPrecision);
    bool WriteValue(const std::string& p_strName, unsigned p_nNameField, double p_fValue, unsigned p_nValWidth,
                    unsigned p_nPrecision);
    /// One field of a separated line: the separator in front unless it is the first of its line.
    void WriteField(std::string_view p_strText);
    void WriteField(double p_fValue, unsigned p_nWidth, unsigned p_nPrecision);
    /// Ends a separated line.
    void EndLine();

    static constexpr char s_cSeparator = ',';

  private:
    std::ofstream m_stream;
    bool m_bLineBegun = false;
};
