#include "WinService.h"
#include "ServiceNotify.h"
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace
{
/// Sent to the dispatcher's thread when the service has ended.
const int g_nSignalEnded = SIGRTMIN;

const char* StateText(DWORD p_nState)
{
    switch (p_nState)
    {
    case SERVICE_START_PENDING:
        return "STATUS=starting";
    case SERVICE_RUNNING:
        return "READY=1\nSTATUS=running";
    case SERVICE_STOP_PENDING:
        return "STOPPING=1\nSTATUS=stopping";
    case SERVICE_STOPPED:
        return "STATUS=stopped";
    default:
        return nullptr;
    }
}

/// Notifies the manager's watchdog that the service is alive, three times within its limit, from its own thread.
class CWatchdog
{
  public:
    explicit CWatchdog(LPHEALTH_FUNCTION p_fnHealth)
    {
        const DWORD nPeriod_ms = WatchdogPeriod_ms();
        if (nPeriod_ms == 0)
            return;
        m_hEnd = CreateEventW(nullptr, 0, 0, nullptr);
        m_thread = std::thread(
            [this, p_fnHealth, nPeriod_ms]
            {
                while (WaitForSingleObject(m_hEnd, nPeriod_ms) == WAIT_TIMEOUT)
                    if (!p_fnHealth || p_fnHealth(nPeriod_ms))
                        NotifyServiceManager("WATCHDOG=1");
            });
    }
    ~CWatchdog()
    {
        if (!m_thread.joinable())
            return;
        SetEvent(m_hEnd);
        m_thread.join();
        CloseHandle(m_hEnd);
    }
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

  private:
    HANDLE m_hEnd = nullptr;
    std::thread m_thread;
};

/// The only service of the process.
class CServiceHost
{
  public:
    bool Run(const SERVICE_TABLE_ENTRYW& p_entry)
    {
        const sigset_t set = StopSignals();
        pthread_sigmask(SIG_BLOCK, &set, nullptr); // before any thread is created, so that all of them inherit it
        {
            const std::lock_guard lock(m_mtx);
            m_wstrName = p_entry.lpServiceName;
            m_fnHandler = nullptr;
            m_nState = SERVICE_STOPPED;
            m_bEnded = false;
        }
        CWatchdog watchdog(m_fnHealth);
        const pthread_t dispatcher = pthread_self();
        std::thread service(
            [this, &p_entry, dispatcher]
            {
                wchar_t* ppArgv[] = {p_entry.lpServiceName, nullptr};
                p_entry.lpServiceProc(1, ppArgv);
                {
                    const std::lock_guard lock(m_mtx);
                    m_bEnded = true;
                    m_cvState.notify_all();
                }
                pthread_kill(dispatcher, g_nSignalEnded);
            });
        Dispatch(set);
        service.join();
        return true;
    }

    void SetHealthCheck(LPHEALTH_FUNCTION p_fnCheck) { m_fnHealth = p_fnCheck; }

    SERVICE_STATUS_HANDLE Register(const std::wstring& p_wstrName, LPHANDLER_FUNCTION p_fnHandler)
    {
        const std::lock_guard lock(m_mtx);
        if (m_bEnded || p_wstrName != m_wstrName || !p_fnHandler)
            return nullptr;
        m_fnHandler = p_fnHandler;
        return Handle();
    }

    bool Report(SERVICE_STATUS_HANDLE p_hStatus, DWORD p_nState)
    {
        if (p_hStatus != Handle())
            return false;
        // Under the lock, so that the manager receives the states in order.
        const std::lock_guard lock(m_mtx);
        // A control still being handled when the service ends must not report anything more.
        if (m_nState == SERVICE_STOPPED && p_nState == SERVICE_STOP_PENDING)
            return false;
        m_nState = p_nState;
        m_cvState.notify_all();
        const char* const pText = StateText(p_nState);
        return pText && NotifyServiceManager(pText);
    }

  private:
    static sigset_t StopSignals()
    {
        sigset_t set;
        sigemptyset(&set);
        for (const int nSignal : {SIGTERM, SIGINT, SIGQUIT, SIGHUP, g_nSignalEnded})
            sigaddset(&set, nSignal);
        return set;
    }
    SERVICE_STATUS_HANDLE Handle() { return reinterpret_cast<SERVICE_STATUS_HANDLE>(this); }

    void Dispatch(const sigset_t& p_set)
    {
        constexpr timespec tRetry{1, 0};
        for (;;)
        {
            const int nSignal = sigtimedwait(&p_set, nullptr, &tRetry);
            if (nSignal < 0)
            {
                NotifyServiceManager({}); // a state that the manager could not receive earlier
                continue;
            }
            if (nSignal == g_nSignalEnded)
                return;
            if (const LPHANDLER_FUNCTION fnHandler = AwaitRunning())
                fnHandler(SERVICE_CONTROL_STOP);
        }
    }

    /// A control reaches only a running service, not a starting one. Null if it has ended instead.
    LPHANDLER_FUNCTION AwaitRunning()
    {
        std::unique_lock lock(m_mtx);
        m_cvState.wait(lock,
                       [this] { return m_bEnded || m_nState == SERVICE_RUNNING || m_nState == SERVICE_STOP_PENDING; });
        return m_bEnded ? nullptr : m_fnHandler;
    }

    std::mutex m_mtx;
    std::condition_variable m_cvState;
    std::wstring m_wstrName;
    LPHANDLER_FUNCTION m_fnHandler = nullptr;
    LPHEALTH_FUNCTION m_fnHealth = nullptr; ///< set before the service runs
    DWORD m_nState = SERVICE_STOPPED;
    bool m_bEnded = true;
};

CServiceHost& Host()
{
    static CServiceHost s_host;
    return s_host;
}

std::mutex g_mtxErrorMode;
unsigned g_nErrorMode = 0;
} // namespace

BOOL StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* p_pTable)
{
    const char* const pSocket = std::getenv("NOTIFY_SOCKET");
    if (!pSocket || !*pSocket || !p_pTable || !p_pTable->lpServiceName || !p_pTable->lpServiceProc)
        return 0;
    return Host().Run(*p_pTable) ? 1 : 0;
}

SERVICE_STATUS_HANDLE RegisterServiceCtrlHandlerW(const wchar_t* p_pName, LPHANDLER_FUNCTION p_fnHandler)
{
    return p_pName ? Host().Register(p_pName, p_fnHandler) : nullptr;
}

BOOL SetServiceStatus(SERVICE_STATUS_HANDLE p_hStatus, SERVICE_STATUS* p_pStatus)
{
    return p_pStatus && Host().Report(p_hStatus, p_pStatus->dwCurrentState) ? 1 : 0;
}

void SetServiceHealthCheck(LPHEALTH_FUNCTION p_fnCheck)
{
    Host().SetHealthCheck(p_fnCheck);
}

unsigned SetErrorMode(unsigned p_nMode)
{
    const std::lock_guard lock(g_mtxErrorMode);
    return std::exchange(g_nErrorMode, p_nMode);
}
