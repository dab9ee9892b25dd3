#include "host/run/ServiceControl.h"
#include "WinEvents.h"
#include "WinSignal.h"
#include "host/base/CHeartbeat.h"
#include "host/run/RunApplication.h"
#include <algorithm>
#include <iterator>
#include <mutex>

SERVICE_STATUS g_svcStatus;
SERVICE_STATUS_HANDLE g_hServiceStatus = nullptr;
std::atomic<bool> g_bServiceStop{false};

namespace
{
constexpr wchar_t g_wstrServiceName[] = L"OMA-Service";
constexpr unsigned g_nNoDialogs = 7; ///< no dialog boxes for critical errors, general faults and alignment faults
constexpr DWORD g_nStopPoll_ms = 300;

/// abort, termination, interrupt, illegal instruction, floating-point error, console break. A segmentation fault (11)
/// is not handled, because nothing safe can be done after it.
constexpr int g_signals[] = {22, 15, 2, 4, 8, 21};

std::mutex g_mtxSvcStatus;

/// The result of the report is not used.
void ReportState(DWORD p_nState)
{
    const std::lock_guard lock(g_mtxSvcStatus);
    g_svcStatus.dwCurrentState = p_nState;
    SetServiceStatus(g_hServiceStatus, &g_svcStatus);
}

void InitStatus()
{
    const std::lock_guard lock(g_mtxSvcStatus);
    g_svcStatus = {};
    g_svcStatus.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    g_svcStatus.dwCurrentState = SERVICE_STOPPED;
    g_svcStatus.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
}

void SetExitCodes(DWORD p_nResult)
{
    const std::lock_guard lock(g_mtxSvcStatus);
    g_svcStatus.dwWin32ExitCode = p_nResult;
    g_svcStatus.dwServiceSpecificExitCode = p_nResult;
}

bool RegisterHandler()
{
    const std::lock_guard lock(g_mtxSvcStatus);
    g_hServiceStatus = RegisterServiceCtrlHandlerW(g_wstrServiceName, ServiceCtrlHandler);
    return g_hServiceStatus != nullptr;
}
} // namespace

int wmain(int p_nArgc, wchar_t* p_ppArgv[])
{
    wchar_t wstrName[std::size(g_wstrServiceName)];
    std::copy(std::begin(g_wstrServiceName), std::end(g_wstrServiceName), wstrName);
    SetServiceHealthCheck(CHeartbeat::AreAllAlive);
    const SERVICE_TABLE_ENTRYW table[] = {{wstrName, ServiceMain}, {nullptr, nullptr}};
    if (StartServiceCtrlDispatcherW(table))
        return 0;

    // Install the handlers before any other thread exists.
    for (const int nSignal : g_signals)
        InstallSignalHandler(nSignal, SignalHandler);
    return static_cast<int>(RunApplication(p_nArgc, p_ppArgv));
}

void ServiceMain(DWORD, wchar_t**)
{
    SetErrorMode(g_nNoDialogs);
    InitStatus();
    if (!RegisterHandler())
        return;
    // Report the running state before any set-up: a bad configuration then shows in trace and events, not at the
    // service manager.
    ReportState(SERVICE_START_PENDING);
    ReportState(SERVICE_RUNNING);

    int nArgc = 0;
    wchar_t** const ppArgv = CommandLineToArgvW(GetCommandLineW(), &nArgc);
    const DWORD nResult = RunApplication(nArgc, ppArgv);
    LocalFree(ppArgv);
    if (nResult == 0)
    {
        while (!g_bServiceStop)
            Sleep(g_nStopPoll_ms);
    }
    SetExitCodes(nResult);
    ReportState(SERVICE_STOPPED);
}

void ServiceCtrlHandler(DWORD p_nControl)
{
    if (p_nControl != SERVICE_CONTROL_STOP && p_nControl != SERVICE_CONTROL_SHUTDOWN)
        return;
    ReportState(SERVICE_STOP_PENDING);
    g_bServiceStop = true;
    StopApplication();
}

void SignalHandler(int)
{
    StopApplication();
}
