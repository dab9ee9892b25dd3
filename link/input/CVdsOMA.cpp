#include "link/input/CVdsOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/PollUntil.h"
#include "link/post/CEventWriteOMA.h"
#include <algorithm>
#include <exception>
#include <utility>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsOMA";
constexpr unsigned g_nPassesJob = 3000; ///< wait for the end of a worker, 30 s in all
constexpr DWORD g_nWaitJob_ms = 30000;
constexpr DWORD g_nBadWait_ms = 1000; ///< avoids a busy loop when a wait fails immediately

/// Tells a worker to end, interrupting long waits too. @return false if the handle for it is missing.
bool SignalTerminate(CJobOMA& p_job)
{
    p_job.m_bTerminateRequest = true;
    if (!p_job.m_pvechOMA || p_job.m_pvechOMA->size() <= eJobEventTerminate)
        return false;
    const HANDLE hOMA = (*p_job.m_pvechOMA)[eJobEventTerminate];
    return hOMA && SetEvent(hOMA);
}
} // namespace

CVdsOMA::CVdsOMA(unsigned long p_hConn, unsigned long p_hWrite, std::uint32_t p_nId, bool p_bActive,
                 std::int32_t p_eInputMode, std::uint32_t p_nTimeout_ms, bool p_bEnabledNTM,
                 std::unique_ptr<CTraceOMA> p_pTrace)
    : CVds(p_hConn, p_nId, p_bActive, p_eInputMode, p_nTimeout_ms, std::move(p_pTrace)), m_hWrite(p_hWrite),
      m_bEnabledNTM(p_bEnabledNTM)
{
}

CVdsOMA::~CVdsOMA()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "~CVdsOMA");
    if (m_pCbOMA)
        trace.Error("CB object #m_pCbOMA# expected to be already destroyed before destructor call");
}

// ---- session thread ----

int CVdsOMA::ThreadCB(const std::vector<boost::thread*>& p_pvecThread)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ThreadCB");
    if (p_pvecThread.empty())
    {
        trace.Error("No worker thread is defined");
        return -1;
    }
    std::unique_ptr<CChanneldata> pChanData;
    if (!SetUp(pChanData, trace))
        return -1;
    WaitForExit(trace);

    // A callback that still accepted data would wake workers that have ended, and wait for them.
    SetCbStop();
    bool bOk = StopJobs(trace);
    DeleteCb(*pChanData);
    CloseHandleData(trace);
    try
    {
        pChanData->Stop();
    }
    catch (const std::exception&)
    {
        trace.Error("Cannot stop DLI data channel");
    }
    // A used channel must live until its connection frees it at exit; only the error paths destroy it.
    static_cast<void>(pChanData.release());
    bOk = ReportJobs(trace) && bOk;
    trace.Info("Terminating OMA thread");
    m_bThreadDone = true;
    return bOk ? 0 : -1;
}

/// Creates channel and callback and declares the channels. Leaves nothing behind on failure.
bool CVdsOMA::SetUp(std::unique_ptr<CChanneldata>& r_pChanData, const CMethodTrace& p_trace)
{
    if (!CreateChannel(r_pChanData, p_trace))
        return false;
    auto pCb = std::make_unique<CVdsCbOMA>(m_hWrite, m_hData, r_pChanData.get(), &m_vecpPmu, m_eInputMode,
                                           m_nReqCycleRate, m_pvecpJob.get(), m_pTrace);
    r_pChanData->SetCallBack(pCb.get());
    if (!AddChannels(*r_pChanData, p_trace))
    {
        pCb->SetStop(true);
        r_pChanData->SetCallBack(nullptr);
        pCb.reset();
        r_pChanData.reset();
        CloseHandleData(p_trace);
        return false;
    }
    // Publish the callback only now: the channel does not start until the event side has set the UPC flag through it.
    const std::lock_guard lock(m_mtxCb);
    m_pCbOMA = std::move(pCb);
    return true;
}

bool CVdsOMA::CreateChannel(std::unique_ptr<CChanneldata>& r_pChanData, const CMethodTrace& p_trace)
{
    try
    {
        r_pChanData = std::make_unique<CChanneldata>(m_hConn);
    }
    catch (const std::exception& error)
    {
        return p_trace.Suspend("Cannot create DLI data channel: ", error.what());
    }
    m_hData = CreateEventW(nullptr, 0, 0, nullptr);
    if (m_hData)
        return true;
    r_pChanData.reset();
    return p_trace.Suspend("Cannot create Windows handle for messages from DLI data Status() method");
}

bool CVdsOMA::AddChannels(CChanneldata& p_chanData, const CMethodTrace& p_trace)
{
    std::vector<unsigned long> vecId;
    std::vector<int> vecType;
    if (!CollectChannels(vecId, vecType, p_trace))
        return false;
    try
    {
        p_chanData.Add(vecId, vecType, 0, 0, 0);
    }
    catch (const std::exception&)
    {
        return p_trace.Suspend("Call of DLI Add() method failed");
    }
    return true;
}

/// Collects the channels in the order in which Receive delivers them.
bool CVdsOMA::CollectChannels(std::vector<unsigned long>& r_vecId, std::vector<int>& r_vecType,
                              const CMethodTrace& p_trace) const
{
    for (const auto& pPmu : m_vecpPmu)
    {
        if (!pPmu)
            return p_trace.BadPointer("pPmu");
        const std::vector<SPhasor>* const pvecPhasor = pPmu->GetPhasors();
        if (!pvecPhasor)
            return p_trace.BadPointer("pvecPhasor");
        if (pvecPhasor->size() != 1 && pvecPhasor->size() != 3)
            return p_trace.Suspend("Invalid no.of phasor meas.channels");
        for (const SPhasor& phasor : *pvecPhasor)
            r_vecId.push_back(phasor.nId);
    }
    r_vecType.assign(r_vecId.size(), CChannel::eValuePhasor);
    return true;
}

void CVdsOMA::WaitForExit(const CMethodTrace& p_trace)
{
    const HANDLE phWait[] = {m_hData, m_hEventDLI};
    // Test before the first wait too: StopThread may have run before the callback existed, and then it signals nothing.
    while (!m_bExit)
    {
        const DWORD nResult = WaitForMultipleObjects(2, phWait, 0, INFINITE);
        if (m_bExit)
        {
            p_trace.Info("Exiting while loop");
            return;
        }
        switch (nResult)
        {
        case WAIT_OBJECT_0:     // status: the callback has already done the work
        case WAIT_OBJECT_0 + 1: // nothing signals m_hEventDLI
        case WAIT_TIMEOUT:
            break;
        default:
            p_trace.Error("Unknown Status Message");
            Sleep(g_nBadWait_ms);
            break;
        }
    }
}

bool CVdsOMA::StopJobs(const CMethodTrace& p_trace)
{
    if (!m_pvecpJob)
        return p_trace.BadPointer("m_pvecpJob");
    for (const auto& pJob : *m_pvecpJob)
    {
        if (!pJob)
            return p_trace.BadPointer("pJob");
        if (pJob->HasThread())
            StopJob(*pJob, p_trace);
    }
    return true;
}

void CVdsOMA::StopJob(CJobOMA& p_job, const CMethodTrace& p_trace)
{
    const bool bSignalled = SignalTerminate(p_job);
    if (!p_job.m_pvechOMA)
        p_trace.Error("No event handle vector being defined");
    else if (!bSignalled)
        p_trace.Error("Undefined event handle for 'eStatusStopApp'");
    if (!PollUntil([&p_job] { return p_job.m_bThreadDone.load(); }, g_nPassesJob, g_nWaitJob_ms))
        p_trace.Error("Cannot terminate thread of data proc. job: ", p_job.m_strName);
}

/// Holds no lock while the library finishes running calls, because that may take long.
void CVdsOMA::DeleteCb(CChanneldata& p_chanData)
{
    p_chanData.SetCallBack(nullptr);
    std::unique_ptr<CVdsCbOMA> pCb;
    {
        const std::lock_guard lock(m_mtxCb);
        pCb = std::move(m_pCbOMA);
    }
    if (!AreJobsDone())
        m_pCbRetired = std::move(pCb);
}

void CVdsOMA::CloseHandleData(const CMethodTrace& p_trace)
{
    if (const HANDLE hData = m_hData.exchange(nullptr))
        CloseHandle(hData);
    else
        p_trace.Error("DLI data CB handle does not exist");
}

bool CVdsOMA::ReportJobs(const CMethodTrace& p_trace) const
{
    if (!m_pvecpJob)
        return false;
    for (const auto& pJob : *m_pvecpJob)
    {
        if (!pJob)
            return p_trace.BadPointer("pJob");
        if (!pJob->HasThread())
            continue;
        if (pJob->m_bThreadDone)
            p_trace.Info("Job thread terminated successfully");
        else
            p_trace.Error("Job thread NOT terminated");
    }
    return true;
}

bool CVdsOMA::AreJobsDone() const
{
    return !m_pvecpJob ||
           std::all_of(m_pvecpJob->begin(), m_pvecpJob->end(),
                       [](const auto& p_pJob) { return !p_pJob || !p_pJob->HasThread() || p_pJob->m_bThreadDone; });
}

// ---- event side ----

void CVdsOMA::StopThread()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "StopThread");
    m_bExit = true;
    {
        const std::lock_guard lock(m_mtxCb);
        if (m_pCbOMA)
        {
            SetEvent(m_hData);
            return;
        }
    }
    trace.Error("CB function does not exist");
    // Without a session nobody stops the workers, and they would outlive the pass.
    if (!m_pvecpJob)
        return;
    for (const auto& pJob : *m_pvecpJob)
        if (pJob && pJob->HasThread())
            SignalTerminate(*pJob);
}

bool CVdsOMA::AcknowledgeEvent()
{
    if (g_pEventWrite)
        g_pEventWrite->PostDisOMA(static_cast<EIncidenceKey>(m_nIncidenceKey), m_nId, m_strAddition, nullptr);
    return true;
}

bool CVdsOMA::HasCb() const
{
    const std::lock_guard lock(m_mtxCb);
    return m_pCbOMA != nullptr;
}

bool CVdsOMA::SetCbUpcDone()
{
    const std::lock_guard lock(m_mtxCb);
    if (!m_pCbOMA)
        return false;
    m_pCbOMA->SetUpcDone(true);
    return true;
}

bool CVdsOMA::SetCbStop()
{
    const std::lock_guard lock(m_mtxCb);
    if (!m_pCbOMA)
        return false;
    m_pCbOMA->SetStop(true);
    return true;
}
