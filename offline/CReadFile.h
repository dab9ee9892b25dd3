#pragma once
#include "offline/CFileBAS.h"
#include <cstdint>
#include <fstream>
#include <string>

/// Line reader.
class CReadFile : public CFileBAS
{
  public:
    using CFileBAS::CFileBAS;

    bool Open() override;
    bool Close() override;
    std::uint64_t GetPos();
    bool SetPos(std::uint64_t p_nPos);
    /// At most 16383 characters; a longer line ends the reading as the end of the file does. @return false at the end.
    bool ReadLine();
    /// The current line, without white space at both ends.
    const std::string& GetLine() const { return m_strLine; }

  protected:
    std::ifstream m_stream;
    std::string m_strLine;
    std::uint64_t m_nPosPrev = 0; ///< stream position before the current line
    std::uint64_t m_nPos = 0;     ///< and behind it
};
