#include "host/shell/CShellBAS.h"
#include "FileName.h"
#include "WinConsole.h"
#include "host/base/TraceFilter.h"
#include "host/shell/TextNumber.h"
#include <algorithm>
#include <array>
#include <boost/algorithm/string/case_conv.hpp>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string_view>

namespace
{
/// One argument while its options are parsed. The text as given and its lower-case copy are shortened together.
class CArgument
{
  public:
    explicit CArgument(const wchar_t* p_pArg)
        : m_wstrGiven(p_pArg ? p_pArg : L""), m_wstrLower(boost::algorithm::to_lower_copy(m_wstrGiven))
    {
    }
    bool BeginsWith(std::wstring_view p_wstrOption) const { return m_wstrLower.starts_with(p_wstrOption); }
    /// Removes the option from the front, if the argument starts with it.
    bool Take(std::wstring_view p_wstrOption)
    {
        if (!BeginsWith(p_wstrOption))
            return false;
        m_wstrGiven.erase(0, p_wstrOption.size());
        m_wstrLower.erase(0, p_wstrOption.size());
        return true;
    }
    const std::wstring& Given() const { return m_wstrGiven; }
    const std::wstring& Lower() const { return m_wstrLower; }

  private:
    std::wstring m_wstrGiven;
    std::wstring m_wstrLower;
};

/// Sets the entry that the number in the text selects, if the text holds one that is in range.
template <std::size_t N>
void SetEntry(const std::wstring& p_wstrNumber, std::array<bool, N>* p_pvecb)
{
    if (p_wstrNumber.empty())
        return;
    const auto nEntry = static_cast<unsigned>(IntFromText(p_wstrNumber));
    if (nEntry < p_pvecb->size())
        (*p_pvecb)[nEntry] = true;
}

/// Options that set globals: trace filter and trace switches. One argument may hold several of them in a row.
void TakeTraceSwitches(CArgument* p_pArg)
{
    if (p_pArg->Take(L"-id:"))
        g_nTraceFilterId = p_pArg->BeginsWith(L"all") ? g_nTraceFilterAll : IntFromText(p_pArg->Lower());
    if (!p_pArg->BeginsWith(L"-tinfo:") && p_pArg->Take(L"-tinfo"))
        g_bTraceInfoAll = true;
    if (p_pArg->Take(L"-tinfo:"))
        SetEntry(p_pArg->Lower(), &g_vecbTraceInfo);
    if (!p_pArg->BeginsWith(L"-tdata:") && p_pArg->Take(L"-tdata"))
        g_bTraceDataAll = true;
    if (p_pArg->Take(L"-tdata:"))
        SetEntry(p_pArg->Lower(), &g_vecbTraceData);
}

SHORT ToShort(int p_nValue)
{
    using Limits = std::numeric_limits<SHORT>;
    return static_cast<SHORT>(std::clamp<int>(p_nValue, Limits::min(), Limits::max()));
}
} // namespace

int CShellBAS::ExtractCmdLineParsBAS(int p_nArgc, wchar_t* p_ppArgv[])
{
    if (p_nArgc <= 0 || !p_ppArgv)
        return 0;
    if (p_nArgc == 1)
        return 1;
    m_wstrProgName = p_ppArgv[0] ? p_ppArgv[0] : L"";

    int nXml = 1;
    bool bXml = false;
    for (int n = 1; n < p_nArgc; ++n)
    {
        CArgument arg(p_ppArgv[n]);
        if (arg.Take(L"-xml:"))
        {
            FileNameRemember(arg.Given());
            if (!FileCanBeRead(arg.Lower()))
                return 2;
            m_wstrConfigFile = arg.Lower();
            bXml = true;
            ++nXml;
        }
        TakeTraceSwitches(&arg);
    }
    if (!bXml)
        return 1;
    return p_nArgc == nXml ? 3 : 4;
}

bool CShellBAS::SetupCmdwindow(int p_nColumns, int p_nLines)
{
    const HANDLE hConsole = GetStdHandle(STD_OUTPUT_HANDLE);
    const COORD size{ToShort(p_nColumns), ToShort(p_nLines)};
    SetConsoleScreenBufferSize(hConsole, size);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(hConsole, &info))
        std::exit(-1);
    const SMALL_RECT window{0, 60, 149, 99};
    if (SetConsoleWindowInfo(hConsole, 1, &window))
        return true;
    std::wcout << L"Error in CShellBAS::SetupCmdwindow()/SetConsoleWindowInfo(): " << GetLastError() << std::endl;
    return false;
}
