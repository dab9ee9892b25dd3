#pragma once
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
    CResultDir()
    {
        const auto* const pInfo = testing::UnitTest::GetInstance()->current_test_info();
        m_path = std::filesystem::temp_directory_path() /
                 ("oma_job_" + std::string(pInfo->test_suite_name()) + "_" + pInfo->name());
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
        setenv("OMA_RESULT_DIR", m_path.c_str(), 1);
    }
    ~CResultDir()
    {
        unsetenv("OMA_RESULT_DIR");
        std::filesystem::remove_all(m_path);
    }
    CResultDir(const CResultDir&) = delete;
    CResultDir& operator=(const CResultDir&) = delete;

    std::filesystem::path Path(const std::string& p_strName) const { return m_path / p_strName; }
    bool Has(const std::string& p_strName) const { return std::filesystem::exists(Path(p_strName)); }
    std::string Text(const std::string& p_strName) const
    {
        std::ifstream stream(Path(p_strName), std::ios::binary);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

  private:
    std::filesystem::path m_path;
};
