#pragma once
#include "job/CJobOMA.h"
#include "link/input/CVdsCb.h"
#include <cstdint>
#include <memory>
#include <vector>

/// Real-time path: the library calls it for each status and each measurement cycle. It checks that the time stamps are
/// continuous, copies the samples into the PMUs and lets every job compute its value. On a PS cycle it wakes the
/// workers and waits for them (at most 5 s each), so that the next sample cannot overtake them.
///
/// Owner    CVdsOMA.
/// Threads  the library's. Receive of one object is called one at a time; Status and Receive may overlap, which the
///          flags and the time stamp allow. If a loss resets the time stamp in the middle of a Receive, that cycle
///          loses its position.
/// States   not connected or lost (m_bDisconnected), connected (channel started), cycle known (after status 9).
/// Errors   a null pointer ends the current call; no exception reaches the library.
class CVdsCbOMA : public CVdsCb
{
  public:
    using VecJob = std::vector<std::unique_ptr<CJobOMA>>;
    using VecChannel = std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CChannel*>;

    CVdsCbOMA(unsigned long p_hWrite, HANDLE p_hStatus,
              Norvik::Energy::Kestrel::VDS::Runtime::CChanneldata* p_pChanData, CVds::VecPmu* p_pvecpPmu,
              std::int32_t p_eInputMode, std::uint32_t p_nReqCycleRate, VecJob* p_pvecpJob, CTraceOMA* p_pTrace);

    void Receive(VecChannel& p_vecChannel) override;
    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override;
    /// Starts the read channel after the UPC request, or after 10 s. @return false after SuspendApp, so that the next
    /// connect tries again, or if told to stop before the start.
    bool OnConnected() override;
    bool OnDisconnected() override;
    /// Adopts the server's cycle time, even if it differs from the requested one. @return false: workers are not
    /// started.
    bool OnReqCycle(unsigned long p_lCycle_ms) override;

  private:
    // ---- status ----
    void OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) const;
    void WaitForUpcDone() const;
    bool StartChannel();
    /// Calls p_fnDo for each job until the session stops or p_fnDo returns false. @return false in the latter case, and
    /// for a null pointer, which is traced.
    template <class TDo>
    bool ForAllJobs(const CMethodTrace& p_trace, TDo p_fnDo) const;
    bool SetCycleOfAllJobs(double p_fCycle_s);
    bool CreateVdsOutMeasForAllJobs();
    void NotifyAllJobs(unsigned p_nIndex);
    void WaitForAllJobsStarted() const;

    // ---- one measurement cycle ----
    /// @return false if the cycle is to be dropped.
    bool CheckTimeStamp(std::int64_t p_tsIn);
    bool IsNextTimeStamp(std::int64_t p_tsIn) const;
    void InitAllJobs();
    void SetActTimeForAllJobs();
    bool ExtractAllPhasors(const VecChannel& p_vecChannel);
    void ExtractActualPhasor(const CPmu* p_pPmu, unsigned p_nIndex,
                             Norvik::Energy::Kestrel::VDS::Runtime::CChannel* p_pSample);
    bool ProcessAllJobsData();
    bool ProcessJobData(CJobOMA* p_pJob);
    bool InitJobWorker(CJobOMA* p_pJob);
    bool WaitForAllJobsDone();
    bool WaitForWorkerDone(CJobOMA* p_pJob);

    unsigned long m_hWrite; ///< connection for output channels
    VecJob* m_pvecpJob;     ///< the session's jobs
};
