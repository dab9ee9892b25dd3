#pragma once
#include "offline/CFileBAS.h"
#include <cstdint>
#include <fstream>
#include <string>

/// Reads a text file line by line.
class CReadFile : public CFileBAS
{
  public:
    using CFileBAS::CFileBAS;

    bool Open() override;
    bool Close() override;
    std::uint64_t GetPos();
    bool SetPos(std::uint64_t p_nPos);
    /// Reads a line of at most 16383 characters. A longer line counts as the end of the file. @return false at the end.
    bool ReadLine();
    /// The current line, without leading and trailing white space.
    const std::string& GetLine() const { return m_strLine; }

  protected:
    std::ifstream m_stream;
    std::string m_strLine;
    std::uint64_t m_nPosPrev = 0; ///< stream position before the current line
    std::uint64_t m_nPos = 0;     ///< stream position after the current line
};
