#pragma once
#include "link/dli/CResultFeed.h"
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

class CViewState;

/// The connection to the server: opens it, for ever if need be, and hands on what comes.
///
/// Threads  one of its own until the first connection stands; the client library keeps it from then on.
class CFeedClient : private Norvik::Energy::Kestrel::VDS::Runtime::CResultFeedCallBack
{
  public:
    CFeedClient(CViewState& r_state, std::string p_strAddr, unsigned p_nPort);
    ~CFeedClient() override;
    CFeedClient(const CFeedClient&) = delete;
    CFeedClient& operator=(const CFeedClient&) = delete;

  private:
    void Connect();
    void Receive(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedBatch& p_batch) override;
    void Health(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedHealth& p_health) override;
    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override;

    CViewState& m_state;
    const std::string m_strAddr;
    const unsigned m_nPort;
    std::mutex m_mtx;
    std::condition_variable m_cvStop;
    bool m_bStop = false;                                                        ///< under m_mtx
    std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CResultFeed> m_pFeed; ///< of the thread, then of the end
    std::thread m_thread;
};
