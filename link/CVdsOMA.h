#pragma once
#include "job/CJobOMA.h"
#include "link/CVds.h"
#include "link/CVdsCbOMA.h"
#include <memory>
#include <mutex>
#include <vector>

/// One read session: a configured instance with its PMUs, jobs, read channel, callback and thread.
class CVdsOMA : public CVds
{
  public:
    using VecJob = std::vector<std::unique_ptr<CJobOMA>>;

    CVdsOMA(unsigned long p_hConn, unsigned long p_hWrite, std::uint32_t p_nId, bool p_bActive,
            std::int32_t p_eInputMode, std::uint32_t p_nTimeout_ms, bool p_bEnabledNTM,
            std::unique_ptr<CTraceOMA> p_pTrace);
    ~CVdsOMA() override;

    /// Body of the session thread: sets the channel up, sleeps, stops the jobs, takes everything down.
    int ThreadCB(std::vector<boost::thread*> p_pvecThread);
    void StopThread() override;
    /// Posts the DIS of the event stored in m_nIncidenceKey and m_strAddition.
    bool AcknowledgeEvent() override;

    // ---- the read callback, made and deleted by the session thread, used by the event thread and its callback ----
    bool HasCb() const;
    /// @return false if there is none.
    bool SetCbUpcDone();
    bool SetCbStop();

    unsigned long m_hWrite;                    ///< connection for output channels
    std::unique_ptr<VecJob> m_pvecpJob;        ///< null until the construction sets it
    std::atomic<bool> m_bThreadDone{false};
    bool m_bEnabledNTM;

  private:
    bool StopJobs();

    mutable std::mutex m_mtxCb;                ///< guards the pointer: it may vanish while the event side asks for it
    std::unique_ptr<CVdsCbOMA> m_pCbOMA;
};
