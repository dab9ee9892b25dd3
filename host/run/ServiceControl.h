#pragma once
#include "WinService.h"
#include <atomic>

// How the process is asked to start and to stop: as a service or from a console. Everything here only translates such
// requests into RunApplication and StopApplication.

/// Record of the service's state; guarded by a lock of its own, as the service and the dispatcher both report.
extern SERVICE_STATUS g_svcStatus;
extern SERVICE_STATUS_HANDLE g_hServiceStatus;
/// Set by the control handler, polled by ServiceMain.
extern std::atomic<bool> g_bServiceStop;

/// Entry of the process: becomes the service, or runs in the console if there is no service manager. @return always 0.
int wmain(int p_nArgc, wchar_t* p_ppArgv[]);
/// Entry of the service, on a thread of its own. Its arguments are not used: those of the process count.
void ServiceMain(DWORD p_nArgc, wchar_t** p_ppArgv);
/// On the dispatcher's thread. 1 (stop) and 5 (shutdown) stop the application, all others do nothing.
void ServiceCtrlHandler(DWORD p_nControl);
/// Stops the application, whatever the signal is.
void SignalHandler(int p_nSignal);
