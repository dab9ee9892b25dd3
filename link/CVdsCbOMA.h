#pragma once
#include "job/CJobOMA.h"
#include "link/CVdsCb.h"
#include <cstdint>
#include <memory>
#include <vector>

/// The real-time road: the library calls it for each status and each measurement cycle. Checks the continuity of the
/// time stamps, copies the samples into the PMUs, has every job compute its value, wakes the workers on their PS cycles
/// and waits (at most 5 s each) until they are done, so that the next sample cannot overtake them.
/// Owner    CVdsOMA. Threads: the library's; Status and Receive may overlap.
class CVdsCbOMA : public CVdsCb
{
  public:
    using VecJob = std::vector<std::unique_ptr<CJobOMA>>;

    CVdsCbOMA(unsigned long p_hWrite, HANDLE p_hStatus, Norvik::Energy::Kestrel::VDS::Runtime::CChanneldata* p_pChanData,
              CVds::VecPmu* p_pvecpPmu, std::int32_t p_eInputMode, std::uint32_t p_nReqCycleRate, VecJob* p_pvecpJob,
              CTraceOMA* p_pTrace);

    void Receive(std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CChannel*>& p_vecChannel) override;
    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override;
    bool OnConnected() override;
    bool OnDisconnected() override;
    bool OnReqCycle(unsigned long p_lCycle_ms) override;

  private:
    void OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) const;
    bool CreateVdsOutMeasForAllJobs();
    bool CheckTimeStamp(std::int64_t p_tsIn);
    void ExtractActualPhasor(const CPmu* p_pPmu, unsigned p_nIndex,
                             Norvik::Energy::Kestrel::VDS::Runtime::CChannel* p_pSample);
    void InitAllJobs();
    void SetActTimeForAllJobs();
    bool ProcessAllJobsData();
    bool ProcessJobData(CJobOMA* p_pJob);
    bool InitJobWorker(CJobOMA* p_pJob);
    void NotifyAllJobs(unsigned p_nIndex);
    bool WaitForAllJobsDone();
    bool WaitForWorkerDone(CJobOMA* p_pJob);

    unsigned long m_hWrite;   ///< connection handle for output channels
    VecJob* m_pvecpJob;       ///< the session's
};
