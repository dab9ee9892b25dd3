#pragma once
#include "fake/TempDir.h"
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

/// A temporary directory for the result files of a test, removed at the end.
class CResultDir
{
  public:
    CResultDir() { setenv("OMA_RESULT_DIR", m_dir.Path().c_str(), 1); }
    ~CResultDir() { unsetenv("OMA_RESULT_DIR"); }
    CResultDir(const CResultDir&) = delete;
    CResultDir& operator=(const CResultDir&) = delete;

    std::filesystem::path Path(const std::string& p_strName) const { return m_dir.Path() / p_strName; }
    bool Has(const std::string& p_strName) const { return std::filesystem::exists(Path(p_strName)); }
    std::string Text(const std::string& p_strName) const
    {
        std::ifstream stream(Path(p_strName), std::ios::binary);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

  private:
    CTempDir m_dir;
};
