#pragma once
#include "fake/TempDir.h"
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

// Configurations for tests: the one in tests/data (OMA_TEST_DATA), with modifications.

inline std::string FileText(const std::string& p_strPath)
{
    std::ifstream file(p_strPath, std::ios::binary);
    EXPECT_TRUE(file) << p_strPath;
    return {std::istreambuf_iterator<char>(file), {}};
}
inline std::string BaseText()
{
    return FileText(OMA_TEST_DATA "/config/base.xml");
}

/// The text with the first p_strOld after the first p_strAfter replaced. Fails the test if it is not found.
inline std::string Changed(std::string p_strText, const std::string& p_strOld, const std::string& p_strNew,
                           const std::string& p_strAfter = {})
{
    const std::size_t nAfter = p_strText.find(p_strAfter);
    const std::size_t nBegin = nAfter == std::string::npos ? nAfter : p_strText.find(p_strOld, nAfter);
    EXPECT_NE(nBegin, std::string::npos) << p_strOld << " after " << p_strAfter;
    return nBegin == std::string::npos ? p_strText : p_strText.replace(nBegin, p_strOld.size(), p_strNew);
}

/// The text without everything from the first p_strBegin to the end of the next p_strEnd.
inline std::string Without(std::string p_strText, const std::string& p_strBegin, const std::string& p_strEnd)
{
    const std::size_t nBegin = p_strText.find(p_strBegin);
    const std::size_t nEnd = nBegin == std::string::npos ? nBegin : p_strText.find(p_strEnd, nBegin);
    EXPECT_NE(nEnd, std::string::npos) << p_strBegin << " to " << p_strEnd;
    return nEnd == std::string::npos ? p_strText : p_strText.erase(nBegin, nEnd + p_strEnd.size() - nBegin);
}

/// Line number, from 1, of the first occurrence of the text; 0 if there is none.
inline long LineOf(const std::string& p_strAll, const std::string& p_strText)
{
    const std::size_t nPos = p_strAll.find(p_strText);
    return nPos == std::string::npos ? 0 : 1 + std::count(p_strAll.begin(), p_strAll.begin() + nPos, '\n');
}

/// A file that exists as long as the object.
class TempFile
{
  public:
    explicit TempFile(const std::string& p_strText) { Write(p_strText); }

    void Write(const std::string& p_strText) const { std::ofstream(m_path, std::ios::binary) << p_strText; }
    std::string Path() const { return m_path.string(); }

  private:
    CTempDir m_dir;
    std::filesystem::path m_path = m_dir.Path() / "grid.xml";
};
