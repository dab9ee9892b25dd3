#pragma once
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

/// The input as a file in memory.
class CInputFile
{
  public:
    CInputFile(const std::uint8_t* p_pData, std::size_t p_nSize) : m_nFile(::memfd_create("input", MFD_CLOEXEC))
    {
        if (m_nFile < 0 || ::write(m_nFile, p_pData, p_nSize) != static_cast<ssize_t>(p_nSize))
            throw std::runtime_error("no memory for the input");
    }
    ~CInputFile() { ::close(m_nFile); }
    CInputFile(const CInputFile&) = delete;
    CInputFile& operator=(const CInputFile&) = delete;
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_nFile); }

  private:
    const int m_nFile;
};

/// The input as command line arguments, one per line.
inline std::vector<std::string> Arguments(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    std::istringstream stream(std::string(reinterpret_cast<const char*>(p_pData), p_nSize));
    std::vector<std::string> vecstrArg;
    for (std::string strArg; std::getline(stream, strArg);)
        vecstrArg.push_back(strArg.substr(0, strArg.find('\0')));
    return vecstrArg;
}

/// The same as passed to the application, after the name of the program.
class CWideArguments
{
  public:
    explicit CWideArguments(const std::vector<std::string>& p_vecstrArg) : m_vecwstrArg{L"oma"}
    {
        for (const std::string& strArg : p_vecstrArg)
        {
            std::wstring& wstrArg = m_vecwstrArg.emplace_back();
            for (const unsigned char c : strArg)
                wstrArg += static_cast<wchar_t>(c < 0xF0 ? c : c << 8U);
        }
        for (std::wstring& wstrArg : m_vecwstrArg)
            m_vecpArg.push_back(wstrArg.data());
        m_vecpArg.push_back(nullptr);
    }
    int Count() const { return static_cast<int>(m_vecwstrArg.size()); }
    wchar_t** Values() { return m_vecpArg.data(); }

  private:
    std::vector<std::wstring> m_vecwstrArg;
    std::vector<wchar_t*> m_vecpArg;
};
