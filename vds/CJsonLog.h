#pragma once
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

/// A file of JSON lines that is only appended to. Each line reaches the file at once.
class CJsonLog
{
  public:
    CJsonLog() = default;
    /// @throws std::runtime_error with the file and the cause.
    void Open(const std::string& p_strPath);
    /// @throws std::runtime_error if the line cannot be written.
    void Write(const std::string& p_strLine);
    bool IsOpen() const { return m_pFile != nullptr; }

  private:
    struct SClose
    {
        void operator()(std::FILE* p_pFile) const { std::fclose(p_pFile); }
    };
    std::unique_ptr<std::FILE, SClose> m_pFile;
    std::string m_strPath;
};

/// Text as a JSON string with its quotes. Bytes that are no UTF-8 stand as the characters of Latin-1.
std::string JsonText(std::string_view p_strText);
/// Shortest text that reads back as the same number; null for NaN and infinity, which JSON does not know.
std::string JsonNumber(float p_fValue);
