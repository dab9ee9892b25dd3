#include "WinSignal.h"
#include <csignal>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace
{
/// Makes the thread check its orders again.
const int g_nSignalWake = SIGRTMIN + 1;

std::vector<int> SystemSignals(int p_nSignal)
{
    switch (p_nSignal)
    {
    case 2:
        return {SIGINT};
    case 4:
        return {SIGILL};
    case 8:
        return {SIGFPE};
    case 15:
        return {SIGTERM};
    case 21:
        return {SIGQUIT, SIGHUP};
    case 22:
        return {SIGABRT};
    default:
        return {};
    }
}

bool IsIgnored(int p_nSignal)
{
    struct sigaction action = {};
    return sigaction(p_nSignal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void Mask(int p_nHow, int p_nSignal)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, p_nSignal);
    pthread_sigmask(p_nHow, &set, nullptr);
}

/// Waits for the installed signals, which are blocked in all threads, and calls their handlers.
class CSignalThread
{
  public:
    ~CSignalThread() { Stop(); }

    bool Install(int p_nSignal, SignalFunction p_fnHandler)
    {
        const std::vector<int> vecSystem = SystemSignals(p_nSignal);
        if (vecSystem.empty() || !p_fnHandler)
            return false;
        const std::lock_guard lock(m_mtx);
        for (const int nSystem : vecSystem)
        {
            if (IsIgnored(nSystem))
                continue;
            Mask(SIG_BLOCK, nSystem);
            m_mapOrder[nSystem] = {p_nSignal, p_fnHandler};
        }
        m_bStop = false;
        if (m_thread.joinable())
        {
            pthread_kill(m_thread.native_handle(), g_nSignalWake);
        }
        else
        {
            Start();
        }
        return true;
    }

    void Stop()
    {
        std::thread thread;
        {
            const std::lock_guard lock(m_mtx);
            m_bStop = true;
            thread.swap(m_thread);
            if (thread.joinable())
                pthread_kill(thread.native_handle(), g_nSignalWake);
        }
        if (thread.joinable())
            thread.join();
    }

  private:
    struct SOrder
    {
        int nSignal;
        SignalFunction fnHandler;
    };

    /// The thread inherits the mask with all signals blocked, so that none is delivered before it waits.
    void Start()
    {
        sigset_t all;
        sigset_t old;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &old);
        m_thread = std::thread([this] { Run(); });
        pthread_sigmask(SIG_SETMASK, &old, nullptr);
    }

    void Run()
    {
        sigset_t set;
        while (Prepare(&set))
        {
            int nSystem = 0;
            if (sigwait(&set, &nSystem) == 0 && nSystem != g_nSignalWake)
                Handle(nSystem);
        }
    }

    bool Prepare(sigset_t* p_pSet)
    {
        const std::lock_guard lock(m_mtx);
        sigemptyset(p_pSet);
        sigaddset(p_pSet, g_nSignalWake);
        for (const auto& [nSystem, order] : m_mapOrder)
            sigaddset(p_pSet, nSystem);
        pthread_sigmask(SIG_BLOCK, p_pSet, nullptr);
        return !m_bStop;
    }

    void Handle(int p_nSystem)
    {
        SOrder order{};
        {
            const std::lock_guard lock(m_mtx);
            order = m_mapOrder[p_nSystem];
            m_mapOrder.erase(p_nSystem);
        }
        // All other threads keep it blocked, so the next one is delivered here.
        Mask(SIG_UNBLOCK, p_nSystem);
        order.fnHandler(order.nSignal);
    }

    std::mutex m_mtx;
    std::thread m_thread;
    std::map<int, SOrder> m_mapOrder; ///< by the system's number
    bool m_bStop = false;
};

CSignalThread& SignalThread()
{
    static CSignalThread s_thread;
    return s_thread;
}
} // namespace

bool InstallSignalHandler(int p_nSignal, SignalFunction p_fnHandler)
{
    return SignalThread().Install(p_nSignal, p_fnHandler);
}

void StopSignalThread()
{
    SignalThread().Stop();
}
