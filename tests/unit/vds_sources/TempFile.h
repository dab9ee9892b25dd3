#pragma once
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

/// A file with the given text, named after the running test and removed at its end.
class CTempFile
{
  public:
    explicit CTempFile(const std::string& p_strText)
    {
        const auto* pInfo = testing::UnitTest::GetInstance()->current_test_info();
        m_strPath = (std::filesystem::temp_directory_path() /
                     ("oma_" + std::string(pInfo->test_suite_name()) + "_" + pInfo->name() + ".tmp"))
                        .string();
        std::ofstream(m_strPath, std::ios::binary) << p_strText;
    }
    ~CTempFile() { std::filesystem::remove(m_strPath); }
    CTempFile(const CTempFile&) = delete;
    CTempFile& operator=(const CTempFile&) = delete;

    const std::string& Path() const { return m_strPath; }

  private:
    std::string m_strPath;
};
