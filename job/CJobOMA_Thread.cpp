#include "FileName.h"
#include "host/base/CHeartbeat.h"
#include "host/base/CMethodTrace.h"
#include "host/shell/CShellOMA.h"
#include "job/CJobOMA.h"
#include "link/post/CEventWriteOMA.h"
#include "offline/CWriteFile.h"

// The worker thread of a job: waits for six events and handles them.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CJobOMA";
constexpr DWORD g_nWaitData_ms = 20000;    ///< wait for any event
constexpr unsigned g_nPollsConnect = 6000; ///< polls for the write connection, 60 s in all
constexpr unsigned g_nPassesToStart = 10;  ///< PS cycles from a failed start of the measurement channel to the retry
constexpr DWORD g_nPollConnect_ms = 10;
constexpr std::uint32_t g_nSilent_ms = 180000; ///< far above the sum of wait, pass and wait for the write connection
constexpr const char* g_pszNoData = "No phasor data available from VDS server";

std::int32_t CsvCycles()
{
    return g_pShell ? g_pShell->GetCsvCycles() : 0;
}
} // namespace

int CJobOMA::ThreadCB()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ThreadCB");
    if (!m_pvechOMA)
    {
        trace.BadPointer("m_pvechOMA");
        return -1;
    }
    if (m_pvechOMA->size() != eJobEventCount)
    {
        trace.Suspend("Inconsistent no.of event handles");
        return -1;
    }
    SThread thread;
    if (CsvCycles() > 0)
        CreateFileCSV(thread, trace);
    CHeartbeat heartbeat(g_nSilent_ms);
    while (!m_bTerminate)
    {
        heartbeat.Beat();
        HandleEvent(WaitForMultipleObjects(eJobEventCount, m_pvechOMA->data(), 0, g_nWaitData_ms), thread, trace);
    }
    if (thread.pFileCSV)
    {
        trace.Info("Close PMU sim.file. due to job terminating.");
        thread.pFileCSV->Close();
        thread.pFileCSV.reset();
    }
    // Clear the incident: the next pass does not know of it and would never end it.
    if (thread.bNoDataReported && g_pEventWrite)
        g_pEventWrite->PostDisOMA(eIkNoPhasorData, m_nId, g_pszNoData, nullptr);
    m_bThreadDone = true;
    trace.Info("Terminating thread");
    return 0;
}

/// If the file cannot be written, the analysis still runs.
void CJobOMA::CreateFileCSV(SThread& r_thread, const CMethodTrace& p_trace)
{
    std::wstring wstrName;
    GetCsvFileName(&wstrName);
    const std::string strName = NarrowText(wstrName);
    p_trace.Info("Create PMU sim.file: ", strName);
    auto pFileCSV = std::make_unique<CWriteFile>(wstrName, m_pTrace);
    if (!pFileCSV->Open())
    {
        p_trace.Error("Cannot open PMU sim.file: ", strName);
        return;
    }
    p_trace.Info("Write Header to PMU sim.file.");
    WriteHeadToCSV(pFileCSV.get());
    r_thread.pFileCSV = std::move(pFileCSV);
}

void CJobOMA::HandleEvent(DWORD p_nResult, SThread& r_thread, const CMethodTrace& p_trace)
{
    switch (p_nResult)
    {
    case WAIT_TIMEOUT:
        OnTimeout(r_thread, p_trace);
        break;
    case WAIT_OBJECT_0 + eJobEventStart:
        OnStart(r_thread);
        break;
    case WAIT_OBJECT_0 + eJobEventNewData:
        OnNewData(r_thread, p_trace);
        break;
    case WAIT_OBJECT_0 + eJobEventStop:
        OnStop();
        r_thread.bStopped = true;
        break;
    case WAIT_OBJECT_0 + eJobEventTerminate:
        OnStop();
        m_bTerminate = true;
        break;
    default:
        p_trace.Suspend("No 'case'");
        m_bTerminate = true;
        break;
    }
}

/// Ignores the first time-out after the start of the thread: the server may still be starting.
void CJobOMA::OnTimeout(SThread& r_thread, const CMethodTrace& p_trace)
{
    if (r_thread.bFirstTimeout)
    {
        r_thread.bFirstTimeout = false;
        return;
    }
    if (r_thread.bNoDataReported)
        return;
    if (g_pEventWrite)
        g_pEventWrite->PostAppOMA(eIkNoPhasorData, m_nId, g_pszNoData, nullptr);
    p_trace.Error(g_pszNoData);
    r_thread.bNoDataReported = true;
}

void CJobOMA::OnStart(SThread& r_thread)
{
    StopModes();
    r_thread.bStopped = false;
    m_bStartDone = true;
    ReStartWrite();
}

void CJobOMA::OnNewData(SThread& r_thread, const CMethodTrace& p_trace)
{
    if (r_thread.bStopped)
    {
        TellWorkerDone();
        p_trace.Error("Unexecpted NEW DATA event from VDS server");
        return;
    }
    if (r_thread.bNoDataReported)
    {
        if (g_pEventWrite)
            g_pEventWrite->PostDisOMA(eIkNoPhasorData, m_nId, g_pszNoData, nullptr);
        p_trace.Error("ERROR RESOLVED - New phasor data available now from VDS server");
        r_thread.bNoDataReported = false;
    }
    StartWriteAgain();
    {
        const std::lock_guard lock(m_mtxModes);
        RunWorker(r_thread.pFileCSV.get(), &r_thread.nCsvRows);
    }
    TellWorkerDone();
    if (r_thread.pFileCSV && static_cast<std::int64_t>(r_thread.nCsvRows) == CsvCycles())
    {
        p_trace.Info("Close PMU sim.file. after all data being transferred");
        r_thread.pFileCSV->Close();
        r_thread.pFileCSV.reset();
    }
}

void CJobOMA::OnStop()
{
    StopWrite();
    StopModes();
}

void CJobOMA::StopModes()
{
    const std::lock_guard lock(m_mtxModes);
    StopAllPsmOut();
    ResetDeqMeas();
}

// ---- measurement channel ----

/// Null if there is no writer; otherwise valid as long as the job exists.
CVdsOutMeas* CJobOMA::MeasWriter() const
{
    const std::lock_guard lock(m_mtxWrite);
    return m_pVdsOutMeas.get();
}

bool CJobOMA::StopWrite()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "StopWrite");
    CVdsOutMeas* const pWriter = MeasWriter();
    if (!pWriter)
        return true;
    CVdsOutCbMeas* const pCB = pWriter->GetCB();
    return pCB ? pCB->DoStop(m_pActTime.get()) : trace.BadPointer("pCB");
}

/// Repeats a failed start: if the server answered too late, the channel would otherwise stay stopped until the next
/// loss of the link.
void CJobOMA::StartWriteAgain()
{
    if (m_nPassesToStart == 0 || --m_nPassesToStart > 0)
        return;
    CVdsOutMeas* const pWriter = MeasWriter();
    if (pWriter && pWriter->GetCB() && !pWriter->GetCB()->IsDisconnected())
        ReStartWrite();
}

bool CJobOMA::ReStartWrite()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ReStartWrite");
    CVdsOutMeas* const pWriter = MeasWriter();
    if (!pWriter)
        return true;
    CVdsOutCbMeas* const pCB = pWriter->GetCB();
    if (!pCB)
        return trace.BadPointer("pCB");
    if (pCB->IsStarted())
        return true;
    unsigned nPolls = 0;
    for (; nPolls < g_nPollsConnect && pCB->IsDisconnected(); ++nPolls)
    {
        if (m_bTerminate || m_bTerminateRequest)
            return false;
        Sleep(g_nPollConnect_ms);
    }
    const bool bConnected = nPolls < g_nPollsConnect;
    // While this thread waited, the writer may have started by itself because its connection came up.
    const unsigned nStarts = pCB->NoOfStarts();
    if (bConnected && !pCB->IsStarted() && !pCB->DoStart(m_pActTime.get()))
    {
        // Stop only our own start, not one that the returning connection has made meanwhile.
        if (pCB->NoOfStarts() == nStarts + 1)
            pCB->DoStop(m_pActTime.get());
        m_nPassesToStart = g_nPassesToStart;
        return false;
    }
    trace.Warning("OK: Wait Time [ms] = ", nPolls * 10.0);
    return bConnected ? true : trace.Error("DLI write connection timeout -> Cannot start channel write");
}
