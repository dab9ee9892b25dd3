#pragma once
#include "WinEvents.h"

/// Service host and command line under the platform's own names and values.

struct SERVICE_STATUS
{
    DWORD dwServiceType = 0;
    DWORD dwCurrentState = 0;
    DWORD dwControlsAccepted = 0;
    DWORD dwWin32ExitCode = 0;
    DWORD dwServiceSpecificExitCode = 0;
    DWORD dwCheckPoint = 0;
    DWORD dwWaitHint = 0;
};
using SERVICE_STATUS_HANDLE = struct SServiceHandle*;

inline constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 16;
inline constexpr DWORD SERVICE_STOPPED = 1;
inline constexpr DWORD SERVICE_START_PENDING = 2;
inline constexpr DWORD SERVICE_STOP_PENDING = 3;
inline constexpr DWORD SERVICE_RUNNING = 4;
inline constexpr DWORD SERVICE_ACCEPT_STOP = 1;
inline constexpr DWORD SERVICE_ACCEPT_SHUTDOWN = 4;
inline constexpr DWORD SERVICE_CONTROL_STOP = 1;
inline constexpr DWORD SERVICE_CONTROL_SHUTDOWN = 5;

using LPSERVICE_MAIN_FUNCTIONW = void (*)(DWORD p_nArgc, wchar_t** p_ppArgv);
using LPHANDLER_FUNCTION = void (*)(DWORD p_nControl);

struct SERVICE_TABLE_ENTRYW
{
    wchar_t* lpServiceName = nullptr;
    LPSERVICE_MAIN_FUNCTIONW lpServiceProc = nullptr;
};

/// Runs the first service of the table on its own thread and returns nonzero when it has ended; 0 at once if the
/// process was not started by a service manager. Controls reach the handler on the caller's thread.
BOOL StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* p_pTable);
/// @return null if no service of this name is running.
SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(const wchar_t* p_pName, LPHANDLER_FUNCTION p_fnHandler);
BOOL SetServiceStatus(SERVICE_STATUS_HANDLE p_hStatus, SERVICE_STATUS* p_pStatus);

/// Not part of the platform: called, with the milliseconds since the last call, before the manager's watchdog is told
/// that the service is alive. Null, the default: always alive. Call before the dispatcher.
using LPHEALTH_FUNCTION = bool (*)(DWORD p_nPassed_ms);
void SetServiceHealthCheck(LPHEALTH_FUNCTION p_fnCheck);

/// There are no dialogs here: only stores the value. @return the previous one.
unsigned SetErrorMode(unsigned p_nMode);

/// Arguments of the process as one text, quoted so that CommandLineToArgvW restores them.
const wchar_t* GetCommandLineW();
/// @return array of the arguments with a null after the last, one block to be freed by LocalFree; null on failure.
wchar_t** CommandLineToArgvW(const wchar_t* p_pCommandLine, int* p_pnArgc);
/// @return always null.
void* LocalFree(void* p_pMem);
