#include "FileName.h"
#include "WinService.h"
#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The platform's quoting rules: a blank ends an argument unless it is in quotes. Backslashes are ordinary except before
// a quote: there, two of them mean one, and an odd one makes the quote part of the text. In the first argument, the
// program's name, backslashes have no such meaning: it ends at its quote or blank.

namespace
{
bool IsBlank(wchar_t p_c)
{
    return p_c == L' ' || p_c == L'\t';
}

std::wstring Quoted(const std::wstring& p_wstrArg)
{
    std::wstring wstrQuoted = L"\"";
    std::size_t nBackslashes = 0;
    for (const wchar_t c : p_wstrArg)
    {
        if (c == L'"')
            wstrQuoted.append(nBackslashes + 1, L'\\');
        nBackslashes = c == L'\\' ? nBackslashes + 1 : 0;
        wstrQuoted.push_back(c);
    }
    return wstrQuoted.append(nBackslashes, L'\\') + L"\"";
}

std::wstring ReadCommandLine()
{
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    const std::string strArgs((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::wstring wstrLine;
    for (std::size_t nBegin = 0; nBegin < strArgs.size();)
    {
        const std::size_t nEnd = std::min(strArgs.find('\0', nBegin), strArgs.size());
        if (nBegin != 0)
            wstrLine.push_back(L' ');
        wstrLine += Quoted(WideText(strArgs.substr(nBegin, nEnd - nBegin)));
        nBegin = nEnd + 1;
    }
    return wstrLine;
}

std::wstring TakeProgram(const wchar_t** p_ppText)
{
    const wchar_t* p = *p_ppText;
    const bool bQuoted = *p == L'"';
    if (bQuoted)
        ++p;
    const wchar_t* const pBegin = p;
    while (*p && (bQuoted ? *p != L'"' : !IsBlank(*p)))
        ++p;
    std::wstring wstrProgram(pBegin, p);
    if (bQuoted && *p)
        ++p;
    *p_ppText = p;
    return wstrProgram;
}

std::wstring TakeArgument(const wchar_t** p_ppText)
{
    std::wstring wstrArg;
    bool bInQuotes = false;
    const wchar_t* p = *p_ppText;
    while (*p && (bInQuotes || !IsBlank(*p)))
    {
        std::size_t nBackslashes = 0;
        for (; *p == L'\\'; ++p)
            ++nBackslashes;
        if (*p != L'"')
        {
            wstrArg.append(nBackslashes, L'\\');
            if (nBackslashes == 0)
                wstrArg.push_back(*p++);
            continue;
        }
        wstrArg.append(nBackslashes / 2, L'\\');
        if (nBackslashes % 2 != 0)
            wstrArg.push_back(L'"');
        else if (bInQuotes && p[1] == L'"')
            wstrArg.push_back(*++p); // a doubled quote within quotes means one quote in the text
        else
            bInQuotes = !bInQuotes;
        ++p;
    }
    *p_ppText = p;
    return wstrArg;
}

std::vector<std::wstring> Split(const wchar_t* p_pText)
{
    std::vector<std::wstring> vecArg{TakeProgram(&p_pText)};
    for (;;)
    {
        while (IsBlank(*p_pText))
            ++p_pText;
        if (!*p_pText)
            return vecArg;
        vecArg.push_back(TakeArgument(&p_pText));
    }
}
} // namespace

const wchar_t* GetCommandLineW()
{
    static const std::wstring s_wstrLine = ReadCommandLine();
    return s_wstrLine.c_str();
}

wchar_t** CommandLineToArgvW(const wchar_t* p_pCommandLine, int* p_pnArgc)
{
    if (!p_pCommandLine || !p_pnArgc)
        return nullptr;
    const std::vector<std::wstring> vecArg = Split(p_pCommandLine);
    std::size_t nSize = (vecArg.size() + 1) * sizeof(wchar_t*);
    for (const std::wstring& wstrArg : vecArg)
        nSize += (wstrArg.size() + 1) * sizeof(wchar_t);
    auto** const ppArgv = static_cast<wchar_t**>(std::malloc(nSize));
    if (!ppArgv)
        return nullptr;
    auto* pText = reinterpret_cast<wchar_t*>(ppArgv + vecArg.size() + 1);
    for (std::size_t n = 0; n < vecArg.size(); ++n)
    {
        ppArgv[n] = pText;
        pText = std::wmemcpy(pText, vecArg[n].c_str(), vecArg[n].size() + 1) + vecArg[n].size() + 1;
    }
    ppArgv[vecArg.size()] = nullptr;
    *p_pnArgc = static_cast<int>(vecArg.size());
    return ppArgv;
}

void* LocalFree(void* p_pMem)
{
    std::free(p_pMem);
    return nullptr;
}
