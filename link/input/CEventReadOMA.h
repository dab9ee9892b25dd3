#pragma once
#include "CConfiguration.h"
#include "link/input/CEventRead.h"
#include "link/input/CEventReadCbOMA.h"
#include "link/input/CVdsOMA.h"
#include <atomic>
#include <boost/thread/thread.hpp>
#include <memory>
#include <mutex>
#include <vector>

class CMethodTrace;

/// Event side of the server link: UPC request, restart and stop, and the end of all sessions.
/// Owner    g_pEventRead. Threads: [E] the event thread of the pass; Exit from any thread.
/// Errors   if the library provides no event channel, SuspendApp is called; the event thread then only ends sessions.
class CEventReadOMA : public CEventRead
{
  public:
    using VecOMA = std::vector<std::unique_ptr<CVdsOMA>>;

    CEventReadOMA(unsigned long p_hConn, const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                  CTraceOMA* p_pTrace, VecOMA* p_pvecOMA);
    ~CEventReadOMA() override;

    /// Body of the event thread. @return 0, or -1 for a null argument or pointer.
    int ThreadCB(boost::thread_group* p_pThreadGroup, VecOMA* p_pvecOMA);
    void Exit() override;
    void ClearVecOMA() { m_pvecOMA = nullptr; }

  private:
    /// State of the thread between two wake-ups.
    struct SThread
    {
        bool bLost = false;
        bool bNeedRead = true; ///< not subscribed: the next connect starts with the UPC request
    };

    // ---- steps of ThreadCB; p_trace names ThreadCB ----
    void WaitForEvents(SThread& r_thread, const CMethodTrace& p_trace);
    void OnStatus(SThread& r_thread, const CMethodTrace& p_trace);
    void RequestUpc(SThread& r_thread, const CMethodTrace& p_trace);
    void OnCommand(const CMethodTrace& p_trace);

    bool NotifyAboutStop(VecOMA* p_pvecOMA);
    bool StopAllChildThreads(boost::thread_group* p_pThreadGroup, VecOMA* p_pvecOMA);

    VecOMA* m_pvecOMA;
    std::unique_ptr<CEventReadCbOMA> m_pEventCb; ///< null if the constructor has failed
    std::atomic<bool> m_bExit{true};             ///< false once the constructor has succeeded
};

/// The event reader of the pass. Guarded by g_mtxEventRead, because any thread may call StopApplication at any time.
extern std::unique_ptr<CEventReadOMA> g_pEventRead;
extern std::mutex g_mtxEventRead;
