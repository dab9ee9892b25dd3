#pragma once
#include "job/CJobOMA.h"
#include "link/input/CVds.h"
#include "link/input/CVdsCbOMA.h"
#include <memory>
#include <mutex>
#include <vector>

class CMethodTrace;

/// One read session: a configured instance with its PMUs, jobs, read channel, callback and thread. The thread sets the
/// channel up and sleeps while the library's threads work in the callback; it takes everything down at the end.
///
/// Owner    the pass. Owns PMUs, jobs, trace area and callback. The read channel, once it has been in use, is left to
///          its connection.
/// Threads  as in CVds. The event side (event thread, its callback) asks for the read callback at any time.
/// Errors   set-up failures go through SuspendApp and end the thread; in the tear-down they are traced and it goes on.
class CVdsOMA : public CVds
{
  public:
    using VecJob = std::vector<std::unique_ptr<CJobOMA>>;

    CVdsOMA(unsigned long p_hConn, unsigned long p_hWrite, std::uint32_t p_nId, bool p_bActive,
            std::int32_t p_eInputMode, std::uint32_t p_nTimeout_ms, bool p_bEnabledNTM,
            std::unique_ptr<CTraceOMA> p_pTrace);
    ~CVdsOMA() override;

    /// Body of the session thread. @return 0, or -1 if it could not begin or met a null job.
    int ThreadCB(const std::vector<boost::thread*>& p_pvecThread);
    /// The session thread ends; without a callback, as after a failed set-up, the workers are told so from here.
    void StopThread() override;
    /// Posts the DIS of the event stored in m_nIncidenceKey and m_strAddition.
    bool AcknowledgeEvent() override;

    // ---- the read callback, made and deleted by the session thread, used by the event side ----
    bool HasCb() const;
    /// @return false if there is none.
    bool SetCbUpcDone();
    bool SetCbStop();

    unsigned long m_hWrite;             ///< connection for output channels
    std::unique_ptr<VecJob> m_pvecpJob; ///< null until the construction sets it
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

    mutable std::mutex m_mtxCb;              ///< guards the pointer: it may vanish while the event side asks for it
    std::unique_ptr<CVdsCbOMA> m_pCbOMA;     ///< null before and after its use by the library
    std::unique_ptr<CVdsCbOMA> m_pCbRetired; ///< outlives workers that have not ended in time: its stamp is theirs
};
