#include "host/run/Threads.h"
#include "host/base/ApplicationControl.h"
#include "host/base/PollUntil.h"
#include "link/input/CEventReadOMA.h"
#include "link/post/CEventWriteOMA.h"
#include <boost/chrono.hpp>
#include <exception>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strCreate = "CreateThreadsOMA";
constexpr std::string_view g_strHandles = "CreateHandlesOMA";
constexpr std::string_view g_strClean = "CleanOMA";
constexpr DWORD g_nEndLimit_ms = 60000; ///< longest wait for one thread, far above the stopping threads' own limits
constexpr unsigned g_nEndPolls = 6000;

bool Refuse(std::string_view p_strText)
{
    SuspendApp(g_strCreate, p_strText);
    return false;
}

bool InvalidPtr(CTraceOMA* p_pTrace, std::string_view p_strMethod, std::string_view p_strName)
{
    if (p_pTrace)
        p_pTrace->TraceInvalidPtr(p_strMethod, p_strName);
    return false;
}

void Error(CTraceOMA* p_pTrace, std::string_view p_strText)
{
    if (p_pTrace)
        p_pTrace->TraceError(g_strClean, p_strText);
}

// ---- start ----

/// Whether any job can run. @return false after SuspendApp.
bool FindActiveJob(const CVdsOMA& p_oma, bool& r_bFound)
{
    if (!p_oma.m_pvecpJob)
        return true;
    for (const auto& pJob : *p_oma.m_pvecpJob)
    {
        if (!pJob)
            return Refuse("Invalid Pointer: #pJob#");
        r_bFound = r_bFound || pJob->m_bActive;
        if (r_bFound)
            break;
    }
    return true;
}

/// Starts a worker. It waits on its handles until its session has reached the server.
bool StartWorker(CJobOMA& r_job, CTraceOMA* p_pTrace, std::vector<boost::thread*>& r_vecThread)
{
    auto pvech = std::make_unique<std::vector<HANDLE>>(eJobEventCount);
    if (!CreateHandlesOMA(pvech.get(), p_pTrace))
        return false;
    r_job.m_pvechOMA = std::move(pvech);
    r_job.m_pThread = std::make_unique<boost::thread>([pJob = &r_job] { pJob->ThreadCB(); });
    r_vecThread.push_back(r_job.m_pThread.get());
    return true;
}

bool StartWorkers(const CConfiguration* p_pConfig, CVdsOMA& r_oma, CTraceOMA* p_pTrace,
                  std::vector<boost::thread*>& r_vecThread)
{
    for (const auto& pJob : *r_oma.m_pvecpJob)
    {
        if (!pJob)
            return Refuse("Invalid pointer: #pJob#");
        pJob->m_bUsingNTM = r_oma.m_bEnabledNTM && pJob->m_bUsingNTM && IsJobOnStaticNTM(p_pConfig, pJob.get());
        if (pJob->m_bActive && !StartWorker(*pJob, p_pTrace, r_vecThread))
            return false;
    }
    return true;
}

/// Starts the workers, then their session. @return false after SuspendApp. r_bRunning is set once the instance runs.
bool StartInstance(const CConfiguration* p_pConfig, CVdsOMA& r_oma, CTraceOMA* p_pTrace,
                   boost::thread_group& r_threadGroup, bool& r_bRunning)
{
    if (!r_oma.m_bActive)
        return true;
    bool bAnyJob = false;
    if (!FindActiveJob(r_oma, bAnyJob))
        return false;
    if (!bAnyJob)
    {
        r_oma.m_bActive = false;
        if (p_pTrace)
            p_pTrace->TraceWarning(g_strCreate, "OMA instance [" + (r_oma.m_pTrace ? r_oma.m_pTrace->Name() : "") +
                                                    "] declared as active in SCF but no jobs running");
        return true;
    }
    if (!r_oma.CreateHandleReceiveEventDLI())
        return Refuse("Cannot create Windows handle for messages from DLI event Receive() CB method");
    std::vector<boost::thread*> vecThread;
    if (!StartWorkers(p_pConfig, r_oma, p_pTrace, vecThread))
        return false;
    if (vecThread.empty())
        return Refuse("No data proc. job thread although at last one job checked to be ACTIVE");
    r_oma.m_pThread = std::make_unique<boost::thread>([pOMA = &r_oma, vecThread] { pOMA->ThreadCB(vecThread); });
    r_threadGroup.add_thread(r_oma.m_pThread.get());
    r_bRunning = true;
    return true;
}

bool IsPmuOfInput(const CConfiguration& p_config, const NTM::CInput& p_input, const CPmu& p_pmu1, const CPmu& p_pmu2)
{
    const CMeasurementUnit* const pUnit = p_config.GetDatapoints().Datapoint(p_input.RefId()).MeasurementUnit();
    return pUnit && (pUnit->Id() == p_pmu1.m_nId || pUnit->Id() == p_pmu2.m_nId);
}

// ---- end ----

/// Objects in use by a thread that did not end. They are kept until the process ends, and not destroyed even then.
struct SBuried
{
    std::unique_ptr<CVdsOMA> pOMA;
    std::unique_ptr<boost::thread_group> pThreadGroup;
    std::unique_ptr<CEventWriteOMA> pEventWrite;
};
std::vector<SBuried>& Graveyard()
{
    static auto* const s_pvecBuried = new std::vector<SBuried>();
    return *s_pvecBuried;
}

bool IsEnded(boost::thread* p_pThread)
{
    return !p_pThread || !p_pThread->joinable() || p_pThread->try_join_for(boost::chrono::milliseconds(0));
}

bool AwaitEnd(boost::thread* p_pThread)
{
    return PollUntil([p_pThread] { return IsEnded(p_pThread); }, g_nEndPolls, g_nEndLimit_ms);
}

void Detach(boost::thread* p_pThread)
{
    if (p_pThread && p_pThread->joinable())
        p_pThread->detach();
}

void Bury(std::unique_ptr<CVdsOMA> p_pOMA)
{
    Detach(p_pOMA->m_pThread.get());
    if (p_pOMA->m_pvecpJob)
        for (const auto& pJob : *p_pOMA->m_pvecpJob)
            if (pJob)
                Detach(pJob->m_pThread.get());
    Graveyard().push_back({std::move(p_pOMA), nullptr, nullptr});
}

/// Wakes a worker that has not been told to stop, for example after a session could not be set up.
bool EndWorker(CJobOMA& r_job)
{
    if (!r_job.m_bThreadDone && r_job.m_pvechOMA && r_job.m_pvechOMA->size() > eJobEventTerminate)
    {
        r_job.m_bTerminateRequest = true;
        SetEvent((*r_job.m_pvechOMA)[eJobEventTerminate]);
    }
    return AwaitEnd(r_job.m_pThread.get());
}

/// Waits for all threads of an instance, stopping them if necessary. @return false if one is still running: then
/// nothing may be deleted.
bool EndThreads(CVdsOMA& r_oma)
{
    if (!IsEnded(r_oma.m_pThread.get()))
    {
        if (!r_oma.m_bThreadDone)
            r_oma.StopThread();
        if (!AwaitEnd(r_oma.m_pThread.get()))
            return false;
    }
    bool bEnded = true;
    if (r_oma.m_pvecpJob)
        for (const auto& pJob : *r_oma.m_pvecpJob)
            bEnded = (!pJob || EndWorker(*pJob)) && bEnded;
    return bEnded;
}

void CleanJob(CJobOMA& r_job, CTraceOMA* p_pTrace)
{
    if (r_job.m_bActive)
    {
        r_job.m_pThread.reset();
        // Intended: frees only the vector. The six handles stay open; each costs an entry in the platform's table.
        r_job.m_pvechOMA.reset();
        DeleteAllPsmOuts(&r_job, p_pTrace);
        DeleteAllSpecs(&r_job, p_pTrace);
        DeleteAllDoeData(&r_job, p_pTrace);
    }
    r_job.DeleteTrace();
}

void CleanInstance(std::unique_ptr<CVdsOMA> p_pOMA, boost::thread_group* p_pThreadGroup, CTraceOMA* p_pTrace)
{
    if (p_pOMA->m_pvecpJob)
        for (auto& pJob : *p_pOMA->m_pvecpJob)
        {
            if (!pJob)
            {
                InvalidPtr(p_pTrace, g_strClean, "pJob");
                continue;
            }
            CleanJob(*pJob, p_pTrace);
            pJob.reset();
        }
    p_pOMA->m_pvecpJob.reset();
    if (p_pOMA->m_bActive)
    {
        if (p_pOMA->m_hEventDLI)
            CloseHandle(p_pOMA->m_hEventDLI);
        else
            Error(p_pTrace, "Active OMA app. handle does not exist");
        if (!p_pOMA->m_pThread)
            Error(p_pTrace, "Active OMA app. thread does not exist");
        else if (!p_pThreadGroup)
            InvalidPtr(p_pTrace, g_strClean, "p_pThreadGroup");
        else
            p_pThreadGroup->remove_thread(p_pOMA->m_pThread.get());
        p_pOMA->m_pThread.reset();
        p_pOMA->DeletePmus();
    }
    p_pOMA->DeleteTrace();
}

/// Normally the starter has already joined the event thread. If it could not, wake and join it here.
void EndEventThread(boost::thread* p_pEventThread)
{
    if (!p_pEventThread || !p_pEventThread->joinable())
        return;
    {
        const std::lock_guard lock(g_mtxEventRead);
        if (g_pEventRead)
            g_pEventRead->Exit();
    }
    p_pEventThread->join();
}

void CleanInstances(VecOMA* p_pvecOMA, boost::thread_group* p_pThreadGroup, CTraceOMA* p_pTrace)
{
    if (!p_pvecOMA)
        return;
    for (auto& pOMA : *p_pvecOMA)
    {
        if (!pOMA)
        {
            InvalidPtr(p_pTrace, g_strClean, "pOMA");
        }
        else if (EndThreads(*pOMA))
        {
            CleanInstance(std::move(pOMA), p_pThreadGroup, p_pTrace);
        }
        else
        {
            Error(p_pTrace,
                  "Threads of OMA instance do not end, its objects are kept: ID=" + std::to_string(pOMA->m_nId));
            Bury(std::move(pOMA));
        }
    }
}

void CleanThreadGroup(std::unique_ptr<boost::thread_group> p_pThreadGroup, CTraceOMA* p_pTrace)
{
    if (p_pThreadGroup && p_pThreadGroup->size() == 0)
        return;
    Error(p_pTrace, "OMA app.instances thread group cannot be removed");
    if (p_pThreadGroup)
        Graveyard().push_back({nullptr, std::move(p_pThreadGroup), nullptr});
}

void CleanEventRead()
{
    std::unique_ptr<CEventReadOMA> pEventRead; // destroyed after the lock is released
    const std::lock_guard lock(g_mtxEventRead);
    if (g_pEventRead)
        g_pEventRead->ClearVecOMA();
    pEventRead = std::move(g_pEventRead);
}

/// If p_bPosters, a thread that did not end may still post, so the writer has to be kept.
void CleanEventWrite(bool p_bPosters)
{
    if (p_bPosters && g_pEventWrite)
        Graveyard().push_back({nullptr, nullptr, std::move(g_pEventWrite)});
    g_pEventWrite.reset();
}
} // namespace

bool CreateThreadsOMA(const CConfiguration* p_pConfig, VecOMA* p_pvecOMA, CTraceOMA* p_pTrace,
                      std::unique_ptr<boost::thread_group>* p_ppThreadGroup)
{
    if (!p_pConfig)
        return InvalidPtr(p_pTrace, g_strCreate, "p_pConfig");
    if (!p_pvecOMA)
        return InvalidPtr(p_pTrace, g_strCreate, "p_pvecOMA");
    *p_ppThreadGroup = std::make_unique<boost::thread_group>();
    bool bAny = false;
    try
    {
        for (const auto& pOMA : *p_pvecOMA)
        {
            if (!pOMA)
                Refuse("Invalid Pointer: #pOMA#");
            if (!pOMA || !StartInstance(p_pConfig, *pOMA, p_pTrace, **p_ppThreadGroup, bAny))
                break;
        }
    }
    catch (const std::exception& error)
    {
        Refuse(std::string("Cannot start thread: ") + error.what());
    }
    if (!bAny && p_pTrace)
        p_pTrace->TraceWarning(g_strCreate, "No OMA instances being active and running");
    return true;
}

bool CreateHandlesOMA(std::vector<HANDLE>* p_pvechOMA, CTraceOMA* p_pTrace)
{
    if (!p_pvechOMA)
        return InvalidPtr(p_pTrace, g_strHandles, "p_pvechOMA");
    for (HANDLE& hEvent : *p_pvechOMA)
    {
        hEvent = CreateEventW(nullptr, 0, 0, nullptr);
        if (!hEvent)
        {
            SuspendApp(g_strHandles, "Cannot create Windows event handle");
            return false;
        }
    }
    return true;
}

bool CleanOMA(std::unique_ptr<VecOMA> p_pvecOMA, std::unique_ptr<boost::thread_group> p_pThreadGroup,
              std::unique_ptr<boost::thread> p_pEventThread, std::unique_ptr<CXMLConfiguration> p_pXml,
              CConfiguration* p_pConfig, CTraceOMA* p_pTrace)
{
    EndEventThread(p_pEventThread.get());
    const std::size_t nBuried = Graveyard().size();
    CleanInstances(p_pvecOMA.get(), p_pThreadGroup.get(), p_pTrace);
    CleanThreadGroup(std::move(p_pThreadGroup), p_pTrace);
    const bool bPosters = Graveyard().size() > nBuried;
    CleanEventRead();
    p_pvecOMA.reset();
    p_pEventThread.reset();
    CleanEventWrite(bPosters);
    // A failed step may already have freed the tree: the pointer only says that there was one.
    if (p_pConfig)
        CConfiguration::DeleteInstance();
    p_pXml.reset();
    return true;
}

bool IsJobOnStaticNTM(const CConfiguration* p_pConfig, const CJobOMA* p_pJob)
{
    if (!p_pConfig || !p_pJob || p_pJob->m_eJobMode != eJobVPAD || !p_pJob->m_pPmu1st || !p_pJob->m_pPmu2nd)
        return false;
    for (const NTM::CNTM& ntm : p_pConfig->GetNTMs())
    {
        if (!ntm.IsActive())
            continue;
        for (const NTM::CJob& job : ntm.GetJobs())
        {
            if (job.Name() != "Static" || !job.IsActive())
                continue;
            // Intended: two inputs of the same PMU also count as 2.
            unsigned nCount = 0;
            for (const NTM::CInput& input : job.GetInputs())
                if (IsPmuOfInput(*p_pConfig, input, *p_pJob->m_pPmu1st, *p_pJob->m_pPmu2nd) && ++nCount == 2)
                    return true;
        }
    }
    return false;
}
