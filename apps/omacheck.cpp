#include "Version.h"
#include "host/check/CConfigCheck.h"
#include <cstdio>
#include <string>

namespace
{
constexpr const char* g_pUsage = "usage: omacheck FILE\n"
                                 "       omacheck --help | --version\n";
}

int main(int p_nArgc, char* p_ppArgv[])
{
    const std::string strFirst = p_nArgc == 2 ? p_ppArgv[1] : "";
    if (strFirst == "--help")
        return std::printf("%s", g_pUsage) < 0 ? 1 : 0;
    if (strFirst == "--version")
        return std::printf("omacheck %s\n", g_pVersion) < 0 ? 1 : 0;
    if (strFirst.empty() || strFirst.starts_with("--"))
    {
        std::fprintf(stderr, "%s", g_pUsage);
        return 2;
    }
    CConfigCheck check(strFirst);
    const bool bOk = check.Run();
    std::fputs(check.Findings().c_str(), bOk ? stdout : stderr);
    std::fputs(check.Figures().c_str(), stdout);
    std::printf("%s: %s\n", strFirst.c_str(), bOk ? "would be accepted" : "would be refused");
    return std::fflush(stdout) != 0 || !bOk ? 1 : 0;
}
