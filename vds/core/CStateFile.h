#pragma once
#include <cstddef>
#include <functional>
#include <string>

/// Lines that are on the disk when Append has returned.
///
/// A crash at any moment costs at most the line being written, of which nobody has been told: what stands behind the
/// last end of a line is taken off when the file is opened. A line that cannot be written whole is taken off at once,
/// so that the next one does not go on in the middle of it.
class CStateFile
{
  public:
    CStateFile() = default;
    ~CStateFile();
    CStateFile(const CStateFile&) = delete;
    CStateFile& operator=(const CStateFile&) = delete;

    /// @param p_fnLine called with each line that is there and its number; may throw.
    /// @throws std::runtime_error with the file and the cause.
    void Open(const std::string& p_strPath, const std::function<void(const std::string&, unsigned)>& p_fnLine);
    bool IsOpen() const { return m_nFile >= 0; }
    /// @throws std::runtime_error if the line is not on the disk; it is not in the file then.
    void Append(const std::string& p_strLine);
    std::size_t Size() const { return m_nSize; }
    /// Whether the file still has its name.
    bool IsInPlace() const;
    /// Puts another text in place of all lines, in one step: after a crash there is the old file or the new one.
    void Replace(const std::string& p_strText);

  private:
    [[noreturn]] void Fail() const;

    std::string m_strPath;
    int m_nFile = -1;
    std::size_t m_nSize = 0; ///< of whole lines
    bool m_bBroken = false;  ///< a piece of a line could not be taken off again
};
