#include "link/input/CEventReadOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/CTime.h"
#include "host/base/PollUntil.h"
#include <exception>

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

std::unique_ptr<CEventReadOMA> g_pEventRead;
std::mutex g_mtxEventRead;

namespace
{
constexpr std::string_view g_strClass = "CEventReadReadOMA"; // intended spelling
constexpr unsigned g_nPasses = 3000;                         ///< of 10 ms, for the UPC request and a session's end
constexpr DWORD g_nWait_ms = 30000;
constexpr DWORD g_nBadWait_ms = 1000; ///< avoids a busy loop when a wait fails immediately
} // namespace

CEventReadOMA::CEventReadOMA(unsigned long p_hConn, const CConfiguration* p_pConfig, CTraceOMA* p_pTrace,
                             VecOMA* p_pvecOMA)
    : CEventRead(p_hConn, p_pTrace), m_pvecOMA(p_pvecOMA)
{
    const CMethodTrace trace(m_pTrace, g_strClass, g_strClass);
    try
    {
        m_pEventData = &CEventdata::GetInstance(m_hConn);
    }
    catch (const std::exception&)
    {
        trace.Suspend("Error resulting from DLI GetInstance() call");
        return;
    }
    // The library returns a reference taken from a table of pointers, so it can still be null.
    if (!m_pEventData)
    {
        trace.Suspend("Invalid DLI event handler instance");
        return;
    }
    m_pEventCb = std::make_unique<CEventReadCbOMA>(p_pConfig, p_pvecOMA, p_pTrace);
    m_bExit = false;
}

CEventReadOMA::~CEventReadOMA() = default;

void CEventReadOMA::Exit()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Exit");
    m_bExit = true;
    trace.Info("Inititialize exiting while loop");
    if (m_pEventCb)
        SetEvent(m_pEventCb->m_hStatus);
}

int CEventReadOMA::ThreadCB(boost::thread_group* p_pThreadGroup, VecOMA* p_pvecOMA)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ThreadCB");
    if (!p_pThreadGroup)
    {
        trace.BadPointer("p_pThreadGroup");
        return -1;
    }
    if (!p_pvecOMA)
    {
        trace.BadPointer("p_pvecOMA");
        return -1;
    }
    trace.Info("Start");
    if (!m_pEventData || !m_pEventCb)
    {
        trace.BadPointer(m_pEventData ? "m_pEventCb" : "m_pEventData");
        // The sessions must not outlive the pass.
        StopAllChildThreads(p_pThreadGroup, p_pvecOMA);
        return -1;
    }
    m_pEventData->AddCallBack(m_pEventCb.get(), eElemOMA);
    SThread thread;
    WaitForEvents(thread, trace);
    if (!thread.bNeedRead)
        m_pEventData->Unsubscribe();
    m_pEventData->RemoveCallBack(m_pEventCb.get());
    trace.Info("Message loop left");
    StopAllChildThreads(p_pThreadGroup, p_pvecOMA);
    trace.Info("Terminating thread");
    return 0;
}

void CEventReadOMA::WaitForEvents(SThread& r_thread, const CMethodTrace& p_trace)
{
    const HANDLE phWait[] = {m_pEventCb->m_hStatus, m_pEventCb->m_hReceive};
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
        case WAIT_OBJECT_0:
            OnStatus(r_thread, p_trace);
            break;
        case WAIT_OBJECT_0 + 1:
            OnCommand(p_trace);
            break;
        case WAIT_TIMEOUT:
            if (!r_thread.bLost)
                p_trace.Error("Connection to VDS server lost");
            r_thread.bLost = true;
            break;
        default:
            Sleep(g_nBadWait_ms);
            break;
        }
    }
}

void CEventReadOMA::OnStatus(SThread& r_thread, const CMethodTrace& p_trace)
{
    switch (m_pEventCb->m_eStatus)
    {
    case eConnected:
        r_thread.bLost = false;
        if (r_thread.bNeedRead)
            RequestUpc(r_thread, p_trace);
        break;
    case eReqFinished:
        p_trace.Info("Request finished");
        break;
    default:
        if (!r_thread.bNeedRead)
            m_pEventData->Unsubscribe();
        r_thread.bNeedRead = true;
        break;
    }
}

/// Requests all currently active events, then subscribes to everything from the same time on.
void CEventReadOMA::RequestUpc(SThread& r_thread, const CMethodTrace& p_trace)
{
    const std::int64_t nNow = CTime::GetNowTicks();
    m_pEventCb->m_bUpcFinished = false;
    m_pEventCb->m_nUpcReq = m_pEventData->Read(nNow, 0);
    const auto fnDone = [this] { return m_pEventCb->m_bUpcFinished || m_bExit; };
    if (!PollUntil(fnDone, g_nPasses, g_nWait_ms))
    {
        // The next connect will try again.
        p_trace.Error("No 'request finished' status after 'EventManager::Read()' query");
        return;
    }
    if (m_bExit)
        return;
    m_pEventData->Subscribe(nNow, 2, 0, 0);
    r_thread.bNeedRead = false;
}

void CEventReadOMA::OnCommand(const CMethodTrace& p_trace)
{
    p_trace.Info("New event data received");
    switch (m_pEventCb->m_eCommand)
    {
    case eCommandRestart:
        p_trace.Info("Initializing OMA re-start");
        break;
    case eCommandSuspend:
        p_trace.Info("Initializing OMA suspension");
        break;
    default:
        return;
    }
    NotifyAboutStop(m_pvecOMA);
    m_bExit = true;
}

bool CEventReadOMA::NotifyAboutStop(VecOMA* p_pvecOMA)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "NotifyAboutStop");
    if (!p_pvecOMA)
        return trace.BadPointer("p_pvecOMA");
    trace.Info("Inform all OMA instances about STOP");
    for (const auto& pOMA : *p_pvecOMA)
    {
        if (!pOMA)
            return trace.BadPointer("pOMA");
        if (!pOMA->SetCbStop())
            return trace.BadPointer("pVdsCB");
    }
    trace.Info("All OMA app.threads informed about STOP");
    return true;
}

bool CEventReadOMA::StopAllChildThreads(boost::thread_group* p_pThreadGroup, VecOMA* p_pvecOMA)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "StopAllChildThreads");
    if (!p_pThreadGroup)
        return trace.BadPointer("p_pThreadGroup");
    if (!p_pvecOMA)
        return trace.BadPointer("p_pvecOMA");
    trace.Info("Start stopping OMA app.threads");
    // Includes sessions that were not notified: after Exit, or after an instance without a callback.
    for (const auto& pOMA : *p_pvecOMA)
        if (pOMA)
            pOMA->SetCbStop();
    for (const auto& pOMA : *p_pvecOMA)
    {
        if (!pOMA)
            return trace.BadPointer("pOMA");
        if (!pOMA->m_bActive)
            continue;
        pOMA->StopThread();
        const bool bDone = PollUntil([&pOMA] { return pOMA->m_bThreadDone.load(); }, g_nPasses, g_nWait_ms);
        if (!pOMA->m_pTrace)
            return trace.BadPointer("pTraceOMA");
        if (bDone)
            trace.Info("OMA app. thread ", pOMA->m_pTrace->Name(), " successfully terminated");
        else
            trace.Error("Cannot terminate OMA app. thread ", pOMA->m_pTrace->Name());
    }
    trace.Info("Finished stopping all OMA app.threads");
    return true;
}
