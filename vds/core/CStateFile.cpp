#include "vds/core/CStateFile.h"
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
constexpr int g_nFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC;
constexpr mode_t g_nMode = 0640;

bool WriteAll(int p_nFile, const char* p_pBytes, std::size_t p_nBytes)
{
    while (p_nBytes != 0)
    {
        const ssize_t nDone = ::write(p_nFile, p_pBytes, p_nBytes);
        if (nDone < 0 && errno == EINTR)
            continue;
        if (nDone <= 0)
            return false;
        p_pBytes += nDone;
        p_nBytes -= static_cast<std::size_t>(nDone);
    }
    return true;
}

/// A file name is safely on disk only when its folder is.
bool SyncFolder(const std::string& p_strPath)
{
    const std::string strFolder = std::filesystem::absolute(p_strPath).parent_path().string();
    const int nFolder = ::open(strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (nFolder < 0)
        return false;
    const bool bDone = ::fsync(nFolder) == 0;
    ::close(nFolder);
    return bDone;
}

std::string ReadAll(const std::string& p_strPath)
{
    const std::ifstream file(p_strPath, std::ios::binary);
    std::ostringstream text;
    if (file)
        text << file.rdbuf();
    return text.str();
}

/// The complete lines, without a last line whose bytes did not all reach the disk: the missing bytes read as zeros.
std::size_t WholeLines(const std::string& p_strText)
{
    const std::size_t nEnd = p_strText.rfind('\n') + 1; // 0 if there is no line at all
    const std::size_t nLast = nEnd < 2 ? 0 : p_strText.rfind('\n', nEnd - 2) + 1;
    return p_strText.find('\0', nLast) < nEnd ? nLast : nEnd;
}
} // namespace

CStateFile::~CStateFile()
{
    if (m_nFile >= 0)
        ::close(m_nFile);
}

void CStateFile::Fail() const
{
    throw std::runtime_error("file '" + m_strPath + "': cannot be written: " + std::strerror(errno));
}

void CStateFile::Open(const std::string& p_strPath, const std::function<void(const std::string&, unsigned)>& p_fnLine)
{
    m_strPath = p_strPath;
    const std::string strAll = ReadAll(p_strPath);
    m_nSize = WholeLines(strAll);
    std::istringstream lines(strAll.substr(0, m_nSize));
    std::string strLine;
    for (unsigned nLine = 1; std::getline(lines, strLine); ++nLine)
        p_fnLine(strLine, nLine);
    m_nFile = ::open(p_strPath.c_str(), g_nFlags, g_nMode);
    if (m_nFile < 0)
        throw std::runtime_error("file '" + m_strPath + "': cannot be opened for writing: " + std::strerror(errno));
    if (m_nSize != strAll.size() && ::ftruncate(m_nFile, static_cast<off_t>(m_nSize)) != 0)
        Fail();
    // Clients are told what was read here, so it has to be as safe as what is appended.
    if (::fsync(m_nFile) != 0 || !SyncFolder(m_strPath))
        Fail();
}

bool CStateFile::IsInPlace() const
{
    struct stat named = {};
    struct stat open = {};
    return ::stat(m_strPath.c_str(), &named) == 0 && ::fstat(m_nFile, &open) == 0 && named.st_dev == open.st_dev &&
           named.st_ino == open.st_ino;
}

void CStateFile::Append(const std::string& p_strLine)
{
    if (m_bBroken)
        throw std::runtime_error("file '" + m_strPath + "': is no longer writable");
    const std::string strLine = p_strLine + '\n';
    if (WriteAll(m_nFile, strLine.data(), strLine.size()) && ::fdatasync(m_nFile) == 0)
    {
        m_nSize += strLine.size();
        return;
    }
    const int nError = errno;
    m_bBroken = ::ftruncate(m_nFile, static_cast<off_t>(m_nSize)) != 0;
    errno = nError;
    Fail();
}

void CStateFile::Replace(const std::string& p_strText)
{
    const std::string strNew = m_strPath + ".new";
    ::unlink(strNew.c_str());
    const int nFile = ::open(strNew.c_str(), g_nFlags | O_EXCL, g_nMode);
    if (nFile < 0)
        Fail();
    if (!WriteAll(nFile, p_strText.data(), p_strText.size()) || ::fsync(nFile) != 0 ||
        std::rename(strNew.c_str(), m_strPath.c_str()) != 0)
    {
        const int nError = errno;
        ::close(nFile);
        ::unlink(strNew.c_str());
        errno = nError;
        Fail();
    }
    ::close(m_nFile);
    m_nFile = nFile;
    m_nSize = p_strText.size();
    m_bBroken = false;
    if (!SyncFolder(m_strPath))
        Fail();
}
