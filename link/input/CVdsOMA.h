#pragma once
#include "job/CJobOMA.h"
#include "link/input/CVds.h"
#include "link/input/CVdsCbOMA.h"
#include <memory>
#include <mutex>
#include <vector>

class CMethodTrace;

/// One read session: a configured instance with its PMUs, jobs, read channel, callback and thread. The thread sets up
/// the channel, sleeps while the library's threads work in the callback, and finally tears everything down.
///
/// Owner    the pass. Owns PMUs, jobs, trace area and callback. A used read channel belongs to its connection.
/// Threads  as in CVds. The event side (event thread and event callback) may access the read callback at any time.
/// Errors   set-up failures go through SuspendApp and end the thread; tear-down failures are only traced.
class CVdsOMA : public CVds
{
  public:
    using VecJob = std::vector<std::unique_ptr<CJobOMA>>;

    CVdsOMA(unsigned long p_hConn, unsigned long p_hWrite, std::uint32_t p_nId, bool p_bActive,
            std::int32_t p_eInputMode, std::uint32_t p_nTimeout_ms, bool p_bEnabledNTM,
            std::unique_ptr<CTraceOMA> p_pTrace);
    ~CVdsOMA() override;

    /// Body of the session thread. @return 0, or -1 if it could not start or found a null job.
    int ThreadCB(const std::vector<boost::thread*>& p_pvecThread);
    /// Ends the session thread. If there is no callback, for example after a failed set-up, it also ends the workers.
    void StopThread() override;
    /// Posts the DIS of the event stored in m_nIncidenceKey and m_strAddition.
    bool AcknowledgeEvent() override;

    // ---- the read callback: created and deleted by the session thread, used by the event side ----
    bool HasCb() const;
    /// @return false if there is no callback.
    bool SetCbUpcDone();
    bool SetCbStop();

    unsigned long m_hWrite;             ///< write connection
    std::unique_ptr<VecJob> m_pvecpJob; ///< null until set during construction
    std::atomic<bool> m_bThreadDone{false};
    bool m_bEnabledNTM;

  private:
    using CChanneldata = Norvik::Energy::Kestrel::VDS::Runtime::CChanneldata;

    // ---- steps of ThreadCB; p_trace names ThreadCB ----
    bool SetUp(std::unique_ptr<CChanneldata>& r_pChanData, const CMethodTrace& p_trace);
    bool CreateChannel(std::unique_ptr<CChanneldata>& r_pChanData, const CMethodTrace& p_trace);
    bool AddChannels(CChanneldata& p_chanData, const CMethodTrace& p_trace);
    bool CollectChannels(std::vector<unsigned long>& r_vecId, std::vector<int>& r_vecType,
                         const CMethodTrace& p_trace) const;
    void WaitForExit(const CMethodTrace& p_trace);
    bool StopJobs(const CMethodTrace& p_trace);
    void StopJob(CJobOMA& p_job, const CMethodTrace& p_trace);
    void DeleteCb(CChanneldata& p_chanData);
    void CloseHandleData(const CMethodTrace& p_trace);
    bool ReportJobs(const CMethodTrace& p_trace) const;
    bool AreJobsDone() const;

    mutable std::mutex m_mtxCb;              ///< guards m_pCbOMA: it may vanish while the event side uses it
    std::unique_ptr<CVdsCbOMA> m_pCbOMA;     ///< null before and after its use by the library
    std::unique_ptr<CVdsCbOMA> m_pCbRetired; ///< outlives workers that did not end in time: they use its time stamp
};
