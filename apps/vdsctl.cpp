#include "vds/CommandLine.h"
#include <csignal>

int main(int p_nArgc, char* p_ppArgv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    return RunVdsCtl({p_ppArgv + 1, p_ppArgv + p_nArgc});
}
