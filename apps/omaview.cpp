#include "ServiceNotify.h"
#include "Version.h"
#include "view/CViewProgram.h"
#include "view/api/CAccounts.h"
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace
{
int AddAccount(const SViewCommand& p_command)
{
    if (p_command.bMachine)
    {
        std::string strToken;
        const std::string strLine = CAccounts::MachineLine(p_command.strAddUser, p_command.strRole, strToken);
        std::fprintf(stderr, "token of %s, shown once: %s\n", p_command.strAddUser.c_str(), strToken.c_str());
        return std::printf("%s\n", strLine.c_str()) < 0 ? 1 : 0;
    }
    std::string strPassword;
    std::getline(std::cin, strPassword);
    return std::printf("%s\n", CAccounts::UserLine(p_command.strAddUser, p_command.strRole, strPassword).c_str()) < 0
               ? 1
               : 0;
}

int Serve(const SViewCommand& p_command)
{
    CViewProgram program(p_command);
    std::printf("omaview: %s\n", program.Address().c_str());
    std::fflush(stdout);
    NotifyServiceManager("READY=1");
    program.Run([] { NotifyServiceManager("WATCHDOG=1"); });
    NotifyServiceManager("STOPPING=1");
    return 0;
}
} // namespace

int main(int p_nArgc, char* p_ppArgv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is like a full disk
    const std::string strFirst = p_nArgc > 1 ? p_ppArgv[1] : "";
    if (strFirst == "--help")
        return std::printf("%s", g_pViewUsage) < 0 ? 1 : 0;
    if (strFirst == "--version")
        return std::printf("omaview %s\n", g_pVersion) < 0 ? 1 : 0;
    if (p_nArgc < 2)
    {
        std::fprintf(stderr, "%s", g_pViewUsage);
        return 2;
    }
    try
    {
        const SViewCommand command = ParseViewCommand({p_ppArgv + 1, p_ppArgv + p_nArgc});
        if (!command.strTestNotice.empty())
        {
            TestNotice(command);
            return std::printf("omaview: '%s' has taken the notice\n", command.strTestNotice.c_str()) < 0 ? 1 : 0;
        }
        return command.strAddUser.empty() ? Serve(command) : AddAccount(command);
    }
    catch (const std::exception& ex)
    {
        std::fprintf(stderr, "omaview: %s\n", ex.what());
        return 1;
    }
}
