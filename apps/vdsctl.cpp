#include "vds/c37118/probe/ProbeReport.h"
#include "vds/config/CommandLine.h"
#include <csignal>
#include <string>

int main(int p_nArgc, char* p_ppArgv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    if (p_nArgc > 1 && std::string(p_ppArgv[1]) == "probe")
        return RunProbe({p_ppArgv + 2, p_ppArgv + p_nArgc});
    return RunVdsCtl({p_ppArgv + 1, p_ppArgv + p_nArgc});
}
