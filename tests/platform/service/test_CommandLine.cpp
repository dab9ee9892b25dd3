#define OMA_NO_MAIN
#include "WideMain.h"
#include "WinService.h"
#include <csignal>
#include <gmock/gmock.h>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace
{
std::vector<std::wstring> Split(const std::wstring& p_wstrLine)
{
    int nArgc = 0;
    wchar_t** const ppArgv = CommandLineToArgvW(p_wstrLine.c_str(), &nArgc);
    std::vector<std::wstring> vecArg(ppArgv, ppArgv + nArgc);
    EXPECT_EQ(ppArgv[nArgc], nullptr);
    EXPECT_EQ(LocalFree(ppArgv), nullptr);
    return vecArg;
}

std::vector<std::wstring> g_vecSeen;
} // namespace

TEST(CommandLine, SplitsByTheRulesOfThePlatform)
{
    const std::pair<std::wstring, std::vector<std::wstring>> cases[] = {
        {L"oma -a  -b\t-c ", {L"oma", L"-a", L"-b", L"-c"}},
        {L"\"c:\\my apps\\oma\" x", {L"c:\\my apps\\oma", L"x"}},
        {L"c:\\dir\\oma \"-xml:c:\\my dir\\\\\" y", {L"c:\\dir\\oma", L"-xml:c:\\my dir\\", L"y"}},
        {LR"(o a\\b c\\\"d "e f\"g")", {L"o", LR"(a\\b)", LR"(c\"d)", LR"(e f"g)"}},
        {LR"(o "a""b" c"d e"f "" g)", {L"o", LR"(a"b)", L"cd ef", L"", L"g"}},
        {L"o \"open end", {L"o", L"open end"}},
        {L"", {L""}},
    };
    for (const auto& [wstrLine, vecArg] : cases)
        EXPECT_EQ(Split(wstrLine), vecArg) << std::string(wstrLine.begin(), wstrLine.end());
    int nArgc = 0;
    EXPECT_EQ(CommandLineToArgvW(nullptr, &nArgc), nullptr);
    EXPECT_EQ(CommandLineToArgvW(L"x", nullptr), nullptr);
}

TEST(WideMain, HandsArgumentsOnAndOutlivesABrokenPipe)
{
    std::string strName = "oma";
    std::string strArg = "-xml:Größe";
    char* ppArgv[] = {strName.data(), strArg.data(), nullptr};
    const auto Main = [](int p_nArgc, wchar_t* p_ppArgv[])
    {
        g_vecSeen.assign(p_ppArgv, p_ppArgv + p_nArgc);
        std::raise(SIGPIPE);
        return p_ppArgv[p_nArgc] ? 1 : 7;
    };
    EXPECT_EQ(RunWideMain(2, ppArgv, Main), 7);
    EXPECT_THAT(g_vecSeen, ElementsAre(L"oma", L"-xml:Gr\u00F6\u00DFe"));
}
