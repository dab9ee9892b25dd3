#include "FileName.h"
#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace
{
std::mutex g_mtxRemembered;
std::map<std::wstring, std::wstring> g_mapRemembered; ///< lower-cased name -> as given

std::wstring Lower(const std::wstring& p_wstrName)
{
    return boost::algorithm::to_lower_copy(p_wstrName);
}

bool HasDrive(const std::wstring& p_wstrName)
{
    return p_wstrName.size() >= 2 && p_wstrName[1] == L':' &&
           ((p_wstrName[0] >= L'a' && p_wstrName[0] <= L'z') || (p_wstrName[0] >= L'A' && p_wstrName[0] <= L'Z'));
}

fs::path ResultDir()
{
    const char* const pDir = std::getenv("OMA_RESULT_DIR");
    return pDir && *pDir ? fs::path(pDir) : fs::path(".");
}

bool IsThere(const fs::path& p_path)
{
    std::error_code error;
    return fs::exists(p_path, error);
}

/// Entries of a folder whose name differs from the given one only in case, by name.
std::vector<fs::path> SameButForCase(const fs::path& p_dir, const fs::path& p_name)
{
    const std::wstring wstrWanted = Lower(WideText(p_name.string()));
    std::vector<fs::path> vecFound;
    std::error_code error;
    fs::directory_iterator it(p_dir.empty() ? fs::path(".") : p_dir, error);
    for (; !error && it != fs::directory_iterator(); it.increment(error))
    {
        const fs::path name = it->path().filename();
        if (name != p_name && Lower(WideText(name.string())) == wstrWanted)
            vecFound.push_back(name);
    }
    std::sort(vecFound.begin(), vecFound.end());
    return vecFound;
}

/// The first existing path below p_dir that has this name in any case.
std::optional<fs::path> Find(const fs::path& p_dir, fs::path::const_iterator p_it, fs::path::const_iterator p_itEnd)
{
    if (p_it == p_itEnd)
        return p_dir;
    const auto itNext = std::next(p_it);
    if (IsThere(p_dir / *p_it))
        if (auto found = Find(p_dir / *p_it, itNext, p_itEnd))
            return found;
    for (const fs::path& name : SameButForCase(p_dir, *p_it))
        if (auto found = Find(p_dir / name, itNext, p_itEnd))
            return found;
    return std::nullopt;
}

std::optional<std::wstring> Remembered(const std::wstring& p_wstrName)
{
    const std::lock_guard lock(g_mtxRemembered);
    const auto it = g_mapRemembered.find(p_wstrName);
    return it == g_mapRemembered.end() ? std::nullopt : std::optional(it->second);
}

void AppendUtf8(std::string* p_pstrText, char32_t p_cCode)
{
    const auto nCode = static_cast<std::uint32_t>(p_cCode);
    const auto Append = [p_pstrText](std::uint32_t p_nByte) { p_pstrText->push_back(static_cast<char>(p_nByte)); };
    const auto Follow = [nCode](unsigned p_nShift) { return 0x80U | ((nCode >> p_nShift) & 0x3FU); };
    if (nCode > 0x10FFFF || (nCode >= 0xD800 && nCode <= 0xDFFF))
    {
        Append('?');
    }
    else if (nCode < 0x80)
    {
        Append(nCode);
    }
    else if (nCode < 0x800)
    {
        Append(0xC0U | (nCode >> 6));
        Append(Follow(0));
    }
    else if (nCode < 0x10000)
    {
        Append(0xE0U | (nCode >> 12));
        Append(Follow(6));
        Append(Follow(0));
    }
    else
    {
        Append(0xF0U | (nCode >> 18));
        Append(Follow(12));
        Append(Follow(6));
        Append(Follow(0));
    }
}

/// The code point at the start of the text and its number of bytes; nullopt if it is not valid UTF-8.
std::optional<std::pair<char32_t, std::size_t>> FirstCode(std::string_view p_strText)
{
    const auto nLead = static_cast<unsigned char>(p_strText.front());
    const std::size_t nBytes = nLead < 0x80   ? 1
                               : nLead < 0xC2 ? 0
                               : nLead < 0xE0 ? 2
                               : nLead < 0xF0 ? 3
                               : nLead < 0xF5 ? 4
                                              : 0;
    if (nBytes == 0 || nBytes > p_strText.size())
        return std::nullopt;
    std::uint32_t nCode = nBytes == 1 ? nLead : nLead & (0x7FU >> nBytes);
    for (std::size_t n = 1; n < nBytes; ++n)
    {
        const auto nByte = static_cast<unsigned char>(p_strText[n]);
        if ((nByte & 0xC0U) != 0x80U)
            return std::nullopt;
        nCode = (nCode << 6) | (nByte & 0x3FU);
    }
    const bool bTooLong = (nBytes == 3 && nCode < 0x800) || (nBytes == 4 && nCode < 0x10000);
    if (bTooLong || nCode > 0x10FFFF || (nCode >= 0xD800 && nCode <= 0xDFFF))
        return std::nullopt;
    return std::pair(static_cast<char32_t>(nCode), nBytes);
}
} // namespace

fs::path FileNameForWriting(const std::wstring& p_wstrName)
{
    const bool bDrive = HasDrive(p_wstrName);
    std::wstring wstrName = bDrive ? p_wstrName.substr(2) : p_wstrName;
    std::replace(wstrName.begin(), wstrName.end(), L'\\', L'/');
    if (!bDrive)
        return NarrowText(wstrName);
    wstrName.erase(0, wstrName.find_first_not_of(L'/'));
    return ResultDir() / NarrowText(wstrName);
}

fs::path FileNameForResult(const std::wstring& p_wstrName)
{
    if (!HasDrive(p_wstrName))
        return FileNameForWriting(p_wstrName);
    constexpr std::size_t nLongest = 255; // bytes
    constexpr std::size_t nKept = 20;     // characters at the end: the kind of file
    std::wstring wstrName = p_wstrName.substr(p_wstrName.size() > 2 && p_wstrName[2] == L'\\' ? 3 : 2);
    const auto fnUnfit = [](wchar_t p_c) { return p_c == L'/' || p_c == L'\\' || p_c < L' ' || p_c == L'\x7f'; };
    std::replace_if(wstrName.begin(), wstrName.end(), fnUnfit, L'_');
    while (wstrName.size() > nKept && NarrowText(wstrName).size() > nLongest)
        wstrName.erase(wstrName.size() - nKept - 1, 1);
    return ResultDir() / NarrowText(wstrName);
}

fs::path FileNameForReading(const std::wstring& p_wstrName)
{
    if (const auto wstrGiven = Remembered(p_wstrName))
    {
        const fs::path given = FileNameForWriting(*wstrGiven);
        if (IsThere(given))
            return given;
    }
    const fs::path name = FileNameForWriting(p_wstrName);
    if (IsThere(name))
        return name;
    return Find(fs::path(), name.begin(), name.end()).value_or(name);
}

bool FileCanBeRead(const std::wstring& p_wstrName)
{
    const fs::path name = FileNameForReading(p_wstrName);
    std::error_code error;
    // Opening a pipe would wait for a writer.
    const fs::file_type eType = fs::status(name, error).type();
    return eType != fs::file_type::directory && eType != fs::file_type::fifo && std::ifstream(name).is_open();
}

void FileNameRemember(const std::wstring& p_wstrAsGiven)
{
    const std::lock_guard lock(g_mtxRemembered);
    g_mapRemembered[Lower(p_wstrAsGiven)] = p_wstrAsGiven;
}

std::string NarrowText(const std::wstring& p_wstrText)
{
    std::string strText;
    for (const wchar_t c : p_wstrText)
        AppendUtf8(&strText, static_cast<char32_t>(c));
    return strText;
}

std::wstring WideText(const std::string& p_strText)
{
    std::wstring wstrText;
    std::string_view strRest = p_strText;
    while (!strRest.empty())
    {
        const auto code = FirstCode(strRest);
        wstrText.push_back(code ? static_cast<wchar_t>(code->first) : L'?');
        strRest.remove_prefix(code ? code->second : 1);
    }
    return wstrText;
}
