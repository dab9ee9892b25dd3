#pragma once
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <system_error>

/// A new folder with a unique name, removed with all its files at the end.
class CTempDir
{
  public:
    CTempDir()
    {
        std::string strPath = (std::filesystem::temp_directory_path() / "oma_test_XXXXXX").string();
        EXPECT_NE(::mkdtemp(strPath.data()), nullptr) << strPath;
        m_path = strPath;
    }
    ~CTempDir()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    CTempDir(const CTempDir&) = delete;
    CTempDir& operator=(const CTempDir&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};
