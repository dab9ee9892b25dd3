#pragma once
#include <cstddef>
#include <functional>
#include <string>

/// A file of lines that are safely on disk when Append has returned.
///
/// A crash loses at most the line being written, which nobody has been told about yet: anything after the last line end
/// is removed when the file is opened. A line that cannot be written whole is removed at once, so that the next one
/// does not continue in the middle of it.
class CStateFile
{
  public:
    CStateFile() = default;
    ~CStateFile();
    CStateFile(const CStateFile&) = delete;
    CStateFile& operator=(const CStateFile&) = delete;

    /// @param p_fnLine called with each line and its number; may throw.
    /// @throws std::runtime_error with the file and the cause.
    void Open(const std::string& p_strPath, const std::function<void(const std::string&, unsigned)>& p_fnLine);
    bool IsOpen() const { return m_nFile >= 0; }
    /// @throws std::runtime_error if the line is not on disk; the file does not contain it then.
    void Append(const std::string& p_strLine);
    std::size_t Size() const { return m_nSize; }
    /// Whether the file still has its name.
    bool IsInPlace() const;
    /// Replaces all lines with another text in one step: after a crash there is either the old file or the new one.
    void Replace(const std::string& p_strText);

  private:
    [[noreturn]] void Fail() const;

    std::string m_strPath;
    int m_nFile = -1;
    std::size_t m_nSize = 0; ///< size of the complete lines
    bool m_bBroken = false;  ///< an incomplete line could not be removed
};
