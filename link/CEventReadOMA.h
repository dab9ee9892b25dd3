#pragma once
#include "CConfiguration.h"
#include "link/CEventRead.h"
#include "link/CEventReadCbOMA.h"
#include "link/CVdsOMA.h"
#include <atomic>
#include <boost/thread/thread.hpp>
#include <memory>
#include <mutex>
#include <vector>

/// Event side of the server link: the UPC request, restart and stop, and the end of all sessions.
/// Owner    g_pEventRead. Threads: [E] the event thread of the pass; Exit from any.
class CEventReadOMA : public CEventRead
{
  public:
    using VecOMA = std::vector<std::unique_ptr<CVdsOMA>>;

    CEventReadOMA(unsigned long p_hConn, const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig,
                  CTraceOMA* p_pTrace, VecOMA* p_pvecOMA);
    ~CEventReadOMA() override;

    /// Body of the event thread: 0, or -1 for a null argument or pointer.
    int ThreadCB(boost::thread_group* p_pThreadGroup, VecOMA* p_pvecOMA);
    void Exit() override;
    void ClearVecOMA() { m_pvecOMA = nullptr; }

  private:
    bool NotifyAboutStop(VecOMA* p_pvecOMA);
    bool StopAllChildThreads(boost::thread_group* p_pThreadGroup, VecOMA* p_pvecOMA);

    VecOMA* m_pvecOMA;
    std::unique_ptr<CEventReadCbOMA> m_pEventCb;
    std::atomic<bool> m_bExit{true};  ///< until the constructor has succeeded
};

/// The event reader of the pass. Guarded by its lock: StopApplication may come from any thread at any time.
extern std::unique_ptr<CEventReadOMA> g_pEventRead;
extern std::mutex g_mtxEventRead;
