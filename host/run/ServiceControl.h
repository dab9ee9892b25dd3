#pragma once
#include "WinService.h"
#include <atomic>

// Translates start and stop requests, from a service manager or a console, into RunApplication and StopApplication.

/// State of the service. It has its own lock, because both the service and the dispatcher thread report.
extern SERVICE_STATUS g_svcStatus;
extern SERVICE_STATUS_HANDLE g_hServiceStatus;
/// Set by the control handler, polled by ServiceMain.
extern std::atomic<bool> g_bServiceStop;

/// Entry point: becomes the service, or runs in the console if there is no service manager. @return always 0.
int wmain(int p_nArgc, wchar_t* p_ppArgv[]);
/// Entry point of the service, on its own thread. Its arguments are ignored; those of the process are used.
void ServiceMain(DWORD p_nArgc, wchar_t** p_ppArgv);
/// Runs on the dispatcher's thread. Controls 1 (stop) and 5 (shutdown) stop the application; all others are ignored.
void ServiceCtrlHandler(DWORD p_nControl);
/// Stops the application on any signal.
void SignalHandler(int p_nSignal);
