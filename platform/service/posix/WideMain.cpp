#define OMA_NO_MAIN
#include "WideMain.h"
#include "FileName.h"
#include "WinSignal.h"
#include <algorithm>
#include <csignal>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <string>
#include <thread>
#include <vector>

namespace
{
/// One heap per core. The C library creates up to eight per core; memory free in one and missing in another then makes
/// a process with hundreds of threads grow for hours.
void ShareHeaps()
{
#ifdef __GLIBC__
    mallopt(M_ARENA_MAX, static_cast<int>(std::max(1U, std::thread::hardware_concurrency())));
#endif
}
} // namespace

int RunWideMain(int p_nArgc, char* p_ppArgv[], int (*p_fnMain)(int p_nArgc, wchar_t* p_ppArgv[]))
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    ShareHeaps();
    std::vector<std::wstring> vecArg;
    for (int n = 0; n < p_nArgc; ++n)
        vecArg.push_back(WideText(p_ppArgv[n]));
    std::vector<wchar_t*> vecpArg;
    for (std::wstring& wstrArg : vecArg)
        vecpArg.push_back(wstrArg.data());
    vecpArg.push_back(nullptr);
    const int nResult = p_fnMain(p_nArgc, vecpArg.data());
    // The handler may still be running, on objects that end with the process.
    StopSignalThread();
    return nResult;
}
