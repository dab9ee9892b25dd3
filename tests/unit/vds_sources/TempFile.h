#pragma once
#include "fake/TempDir.h"
#include <fstream>
#include <string>

/// A file with the given text, removed at the end.
class CTempFile
{
  public:
    explicit CTempFile(const std::string& p_strText) { std::ofstream(m_strPath, std::ios::binary) << p_strText; }
    const std::string& Path() const { return m_strPath; }

  private:
    CTempDir m_dir;
    std::string m_strPath = m_dir.Path() / "file";
};
