#include "link/input/CVdsCbOMA.h"
#include "IColumn.h"
#include "host/base/AppState.h"
#include "host/base/CMethodTrace.h"
#include "host/base/PollUntil.h"
#include "host/base/TraceFilter.h"
#include "link/dli/SampleState.h"
#include <exception>
#include <limits>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsCbOMA";
constexpr unsigned g_nPassesUpc = 10; ///< of 1 s: wait for the UPC request before the channel starts
constexpr DWORD g_nPassUpc_ms = 1000;
constexpr unsigned g_nPassesWorker = 500; ///< wait for a worker, 5 s in all
constexpr DWORD g_nWaitWorker_ms = 5000;

std::int32_t QualOfState(std::int64_t p_nState)
{
    return (static_cast<std::uint64_t>(p_nState) & g_nStateInvalidBits) != 0 ? eQualInvalid : eQualValid;
}

/// Null if the job has no handles or no such handle.
HANDLE HandleOf(const CJobOMA& p_job, unsigned p_nIndex)
{
    return p_job.m_pvechOMA && p_nIndex < p_job.m_pvechOMA->size() ? (*p_job.m_pvechOMA)[p_nIndex] : nullptr;
}
} // namespace

CVdsCbOMA::CVdsCbOMA(unsigned long p_hWrite, HANDLE p_hStatus, CChanneldata* p_pChanData, CVds::VecPmu* p_pvecpPmu,
                     std::int32_t p_eInputMode, std::uint32_t p_nReqCycleRate, VecJob* p_pvecpJob, CTraceOMA* p_pTrace)
    : CVdsCb(p_hStatus, p_pChanData, p_pvecpPmu, p_eInputMode, p_nReqCycleRate, p_pTrace), m_hWrite(p_hWrite),
      m_pvecpJob(p_pvecpJob)
{
}

// ---- status ----

void CVdsCbOMA::Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Status");
    trace.Info("DLI connect.state: ", p_eStatus, "  Req.no.: ", p_lReqNum, "  Actual VDS cycle time: ", p_lAddInfo);
    switch (p_eStatus)
    {
    case eDisconnected:
    case eNotConnected:
    case eLinkDown:
        g_bConnected = false;
        OnDisconnected();
        break;
    case eConnected:
        OnConnected();
        g_bConnected = true;
        break;
    case eReqCycle:
        if (!m_bStop)
            OnReqCycle(p_lAddInfo);
        break;
    case eStatus2:
    case eReqFinished:
    case eStatus7:
    case eStatus8:
        break;
    default:
        OnUnknownStatus(p_eStatus, p_lReqNum, p_lAddInfo);
        break;
    }
    m_eStatus = p_eStatus;
    if (!m_hStatus)
        trace.Error("Windows handle does not exist");
    else if (!SetEvent(m_hStatus))
        trace.Error("Failed sending Windows event");
}

void CVdsCbOMA::OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnUnknownStatus");
    trace.Info("Unknown Status Message: eStatus=", p_eStatus, "  lReqNum=", p_lReqNum, "  lAddInfo=", p_lAddInfo);
}

bool CVdsCbOMA::OnConnected()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnConnected");
    trace.Info("CONNECT cmd received from DLI");
    if (!m_bDisconnected)
    {
        m_pActTime->Reset();
        return true;
    }
    trace.Info("processing CONNECT cmd from DLI");
    WaitForUpcDone();
    if (m_bStop)
        return false;
    trace.Info("Before sending DLI Start() cmd");
    if (!StartChannel())
        return false;
    trace.Info("DLI Start() cmd sent");
    m_pActTime->Reset();
    m_bDisconnected = false;
    return true;
}

/// Lets island and zone state arrive before the first sample. After the time limit the start continues anyway.
void CVdsCbOMA::WaitForUpcDone() const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnConnected");
    for (unsigned nPass = 0; nPass < g_nPassesUpc; ++nPass)
    {
        if (m_bUpcDone || m_bStop)
            return;
        Sleep(g_nPassUpc_ms);
    }
    if (m_bUpcDone || m_bStop)
        return;
    trace.Error("Missing 'request finished' status after 'EventManager::Read()' query");
    trace.Info("Timeout processing UPC events");
}

/// The server answers with status 9. The library delivers it after the current status.
bool CVdsCbOMA::StartChannel()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnConnected");
    try
    {
        switch (m_eInputMode)
        {
        case eInputModeMax:
        case eInputModeMin:
            m_pChanData->Start(1, 2, static_cast<ESampleRate>(m_nReqCycleRate), 0);
            return true;
        case eInputModeGcd:
        {
            const std::uint32_t nCycle_ms = CycleRateHzToCycleTimeMs(m_nReqCycleRate);
            if (nCycle_ms == 0)
                return trace.Suspend("Invalid cycle time");
            m_pChanData->Start(1, 2, std::int64_t{nCycle_ms}, 0);
            return true;
        }
        default:
            return trace.Suspend("Invalid Sampling Mode: ", m_eInputMode);
        }
    }
    catch (const std::exception&)
    {
        return trace.Suspend("Calling DLI Start() failed");
    }
}

bool CVdsCbOMA::OnDisconnected()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnDisconnected");
    if (!m_bDisconnected)
    {
        try
        {
            m_pChanData->Stop();
        }
        catch (const std::exception&)
        {
            trace.Error("Cannot stop DLI data channel");
        }
        NotifyAllJobs(eJobEventStop);
        trace.Error("Connection to VDS server lost");
    }
    m_pActTime->Reset();
    m_bDisconnected = true;
    return true;
}

bool CVdsCbOMA::OnReqCycle(unsigned long p_lCycle_ms)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnReqCycle");
    if (m_bDisconnected)
        return true;
    const std::uint32_t nReqCycle_ms = CycleRateHzToCycleTimeMs(m_nReqCycleRate);
    if (p_lCycle_ms != nReqCycle_ms)
        trace.Error("Actual VDS cylce time [", p_lCycle_ms, "] ", "differs from required value [", nReqCycle_ms, "]");
    const std::uint32_t nCycleRate = CycleTimeMsToCycleRateHz(p_lCycle_ms);
    m_nCycleRate = nCycleRate;
    if (!SetCycleOfAllJobs(nCycleRate != 0 ? 1.0 / nCycleRate : std::numeric_limits<double>::infinity()))
        return false;
    m_pActTime->SetRate(nCycleRate);
    if (!CreateVdsOutMeasForAllJobs())
        return false;
    NotifyAllJobs(eJobEventStart);
    WaitForAllJobsStarted();
    return true;
}

/// The first sample follows this status. A job that emptied its queue later would lose samples, and a replay at full
/// speed would not be reproducible. The wait is limited like the wait for a pass.
void CVdsCbOMA::WaitForAllJobsStarted() const
{
    for (const auto& pJob : *m_pvecpJob)
        if (pJob && pJob->HasThread())
            PollUntil([this, &pJob] { return m_bStop || pJob->m_bStartDone; }, g_nPassesWorker, g_nWaitWorker_ms);
}

template <class TDo>
bool CVdsCbOMA::ForAllJobs(const CMethodTrace& p_trace, TDo p_fnDo) const
{
    if (!m_pvecpJob)
        return p_trace.BadPointer("m_pvecpJob");
    for (const auto& pJob : *m_pvecpJob)
    {
        if (m_bStop)
            return true;
        if (!pJob)
            return p_trace.BadPointer("pJob");
        if (!p_fnDo(*pJob))
            return false;
    }
    return true;
}

bool CVdsCbOMA::SetCycleOfAllJobs(double p_fCycle_s)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnReqCycle");
    if (!m_pvecpJob)
        return trace.BadPointer("m_pvecpJob");
    for (const auto& pJob : *m_pvecpJob)
    {
        if (!pJob)
            return trace.BadPointer("pJob");
        if (!pJob->SetCycleTime(p_fCycle_s, trace))
            return false;
    }
    return true;
}

bool CVdsCbOMA::CreateVdsOutMeasForAllJobs()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CreateVdsOutMeasForAllJobs");
    if (!m_pvecpJob)
        return trace.BadPointer("m_pvecpJob");
    for (const auto& pJob : *m_pvecpJob)
    {
        if (!pJob)
            return trace.BadPointer("pJob");
        if (pJob->HasThread() && !pJob->CreateVdsOutMeas(m_hWrite, static_cast<std::int32_t>(m_nCycleRate.load())))
            return false;
    }
    return true;
}

void CVdsCbOMA::NotifyAllJobs(unsigned p_nIndex)
{
    ForAllJobs(CMethodTrace(m_pTrace, g_strClass, "NotifyAllJobs"),
               [p_nIndex](CJobOMA& r_job)
               {
                   const HANDLE hOMA = r_job.HasThread() ? HandleOf(r_job, p_nIndex) : nullptr;
                   if (!hOMA)
                       return true;
                   if (p_nIndex == eJobEventStart)
                   {
                       // Discard a stop that a busy worker has not seen yet: handled after this start it would undo it,
                       // and the start does the stop's work anyway.
                       if (const HANDLE hStop = HandleOf(r_job, eJobEventStop))
                           WaitForSingleObject(hStop, 0);
                       r_job.m_bStartDone = false;
                   }
                   SetEvent(hOMA);
                   return true;
               });
}

// ---- one measurement cycle ----

void CVdsCbOMA::Receive(VecChannel& p_vecChannel)
{
    if (m_bStop)
        return;
    const CMethodTrace trace(m_pTrace, g_strClass, "Receive");
    if (p_vecChannel.empty())
    {
        trace.Error("Empty meas.vector");
        return;
    }
    if (!p_vecChannel.front())
    {
        trace.BadPointer("pSample");
        return;
    }
    const std::int64_t tsIn = p_vecChannel.front()->GetTime();
    if (!CheckTimeStamp(tsIn))
        return;
    m_pActTime->SetTicks(tsIn);
    if (!m_bStop)
        SetActTimeForAllJobs();
    if (!ExtractAllPhasors(p_vecChannel))
        return;
    if (!m_bStop)
        ProcessAllJobsData();
    if (!m_bStop)
        WaitForAllJobsDone();
}

bool CVdsCbOMA::CheckTimeStamp(std::int64_t p_tsIn)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Receive");
    if (m_pActTime->IsZero())
        return m_pActTime->IsValid(p_tsIn) ? true : trace.Error("Invalid first time stamp value");
    if (IsNextTimeStamp(p_tsIn))
        return true;
    if (!m_pActTime->IsValid(p_tsIn))
        return trace.Error("Invalid successive time stamp value");
    std::int64_t nDiff = 0;
    if (!m_pActTime->CheckWithNextTS(p_tsIn, &nDiff))
        return false;
    if (nDiff == 0)
    {
        // The column library and CTime can disagree. CTime decides: the time line continues.
        trace.Error("TS fine despite regarded as invalid by DLI method");
        return true;
    }
    trace.Error("Actual input TS ( ", ActTimeAsText(*m_pActTime), " ) ", nDiff > 0 ? "delayed by" : "too early by", " ",
                nDiff, " cycles (VDS cycle rate: ", m_pActTime->GetRate(), " Hz )");
    m_pActTime->Reset();
    if (!m_bStop)
        InitAllJobs();
    return true;
}

bool CVdsCbOMA::IsNextTimeStamp(std::int64_t p_tsIn) const
{
    std::int64_t tsOld = 0;
    return m_pActTime->ToTicks(&tsOld) && IColumn::GetNextTimeStamp(tsOld, m_pActTime->GetRate(), 1) == p_tsIn;
}

void CVdsCbOMA::InitAllJobs()
{
    ForAllJobs(CMethodTrace(m_pTrace, g_strClass, "InitAllJobs"),
               [](CJobOMA& r_job)
               {
                   if (r_job.HasThread())
                       r_job.InitForNewTimeLine();
                   return true;
               });
}

void CVdsCbOMA::SetActTimeForAllJobs()
{
    ForAllJobs(CMethodTrace(m_pTrace, g_strClass, "SetActTimeForAllJobs"),
               [this](CJobOMA& r_job)
               {
                   r_job.m_pTimeInp = m_pActTime.get();
                   return true;
               });
}

/// Samples arrive in the order in which the session declared them. PMUs without a sample become INVALID.
bool CVdsCbOMA::ExtractAllPhasors(const VecChannel& p_vecChannel)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Receive");
    if (!m_pvecpPmu)
        return trace.BadPointer("m_pvecpPmu");
    std::size_t nDone = 0;
    for (const auto& pPmu : *m_pvecpPmu)
    {
        if (m_bStop)
            break;
        if (!pPmu)
            return trace.BadPointer("pPmu");
        std::vector<SPhasor>* const pvecPhasor = pPmu->GetPhasors();
        if (!pvecPhasor)
            return trace.BadPointer("pvecPhasor");
        const std::size_t nPhasors = pvecPhasor->size();
        if (nPhasors != 1 && nPhasors != 3)
        {
            trace.Suspend("Invalid no.of phasors: ", nPhasors);
            continue;
        }
        for (unsigned i = 0; i < nPhasors; ++i, ++nDone)
        {
            if (nDone >= p_vecChannel.size())
                (*pvecPhasor)[i].eQual = eQualInvalid;
            else if (!m_bStop)
                ExtractActualPhasor(pPmu.get(), i, p_vecChannel[nDone]);
        }
    }
    if (p_vecChannel.size() != nDone)
        trace.Error("Meas.vector size (", p_vecChannel.size(), ") Differs from Expected Value (", nDone, ")");
    return true;
}

/// A rejected sample keeps the old values but makes them INVALID.
void CVdsCbOMA::ExtractActualPhasor(const CPmu* p_pPmu, unsigned p_nIndex, CChannel* p_pSample)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ExtractActualPhasor");
    SPhasor& phasor = (*p_pPmu->GetPhasors())[p_nIndex];
    if (!p_pSample)
    {
        phasor.eQual = eQualInvalid;
        trace.BadPointer("pSample");
        return;
    }
    if (p_pSample->GetId() != phasor.nId)
    {
        phasor.eQual = eQualInvalid;
        trace.Error("Invalid meas.ID");
        return;
    }
    if (p_pSample->GetType() != CChannel::eTypeAnalog)
    {
        phasor.eQual = eQualInvalid;
        trace.Error("Invalid meas.type");
        return;
    }
    CChannel::vdsData data;
    static_cast<CChannelAnalog*>(p_pSample)->GetValue(data, CChannel::eValuePhasor);
    phasor.fMagn = data.fValue1;
    phasor.fAngle_deg = data.fValue2;
    phasor.eQual = QualOfState(p_pSample->GetState());
    if (m_bStop || !IsTraceData(2) || !m_pTrace || !m_pTrace->IsDataOn())
        return;
    trace.Data(true, PhasorAsText(p_pPmu->m_nId, p_pSample->GetTime(), "U/I [V/A] ", p_nIndex, phasor.fMagn,
                                  phasor.fAngle_deg, static_cast<std::uint64_t>(p_pSample->GetState())));
}

bool CVdsCbOMA::ProcessAllJobsData()
{
    return ForAllJobs(CMethodTrace(m_pTrace, g_strClass, "ProcessAllJobsData"),
                      [this](CJobOMA& r_job) { return !r_job.HasThread() || ProcessJobData(&r_job); });
}

bool CVdsCbOMA::ProcessJobData(CJobOMA* p_pJob)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessAllJobsData");
    if (!m_bStop && !p_pJob->CalcActualValue())
        return false;
    if (!m_bStop && !p_pJob->WriteCalcdValue())
        return false;
    if (!m_bStop && !p_pJob->AddMeasToBuf())
        return false;
    if (!m_pActTime->IsAlignedTo(p_pJob->m_nRepRate))
        return true;
    const std::uint32_t nMeasMin = p_pJob->RetrveMinSpecSize();
    if (nMeasMin == 0)
        return trace.Suspend("Invalid #nMeasMin# value");
    if (!p_pJob->m_pdeqMeas)
        return trace.BadPointer("pdeqMeas");
    return p_pJob->m_pdeqMeas->Size() < nMeasMin || InitJobWorker(p_pJob);
}

bool CVdsCbOMA::InitJobWorker(CJobOMA* p_pJob)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "InitJobWorker");
    if (!p_pJob->m_pvechOMA)
        return true;
    const HANDLE hOMA = HandleOf(*p_pJob, eJobEventNewData);
    if (!hOMA)
        return trace.Error("Invalid #hOMA# handle");
    p_pJob->m_bWorkerDone = false;
    SetEvent(hOMA);
    return true;
}

/// Waits for every job, even if the wait for another one has timed out.
bool CVdsCbOMA::WaitForAllJobsDone()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WaitForAllJobsDone");
    if (!m_pvecpJob)
        return trace.BadPointer("m_pvecpJob");
    bool bDone = true;
    // Start with the last: it was woken last and finishes last, so usually a single wait is enough.
    for (auto it = m_pvecpJob->rbegin(); it != m_pvecpJob->rend(); ++it)
    {
        const auto& pJob = *it;
        if (m_bStop)
            break;
        if (!pJob)
            return trace.BadPointer("pJob");
        if (pJob->HasThread())
            bDone = WaitForWorkerDone(pJob.get()) && bDone;
    }
    return bDone;
}

bool CVdsCbOMA::WaitForWorkerDone(CJobOMA* p_pJob)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WaitForWorkerDone");
    const auto fnDone = [this, p_pJob] { return m_bStop || p_pJob->m_bWorkerDone; };
    if (PollUntil(fnDone, g_nPassesWorker, g_nWaitWorker_ms, p_pJob->m_hWorkerDone))
        return true;
    return trace.Error("Input data loss for OMA job: ", p_pJob->m_strName);
}
