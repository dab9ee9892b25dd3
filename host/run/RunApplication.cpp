#include "host/run/RunApplication.h"
#include "CTrace.h"
#include "FileName.h"
#include "WinClock.h"
#include "WinEvents.h"
#include "host/base/ApplicationControl.h"
#include "host/run/ObjectGraph.h"
#include "host/run/Threads.h"
#include "host/shell/CShellOMA.h"
#include "link/input/CEventReadOMA.h"
#include "link/post/SuspensionPost.h"
#include "offline/CReadFileMeas.h"
#include <algorithm>
#include <memory>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strRun = "RunApplication";
constexpr std::string_view g_strLoop = "RunApplicationLoop";
constexpr std::int64_t g_nPassPause_ms = 1000; ///< limits repeated restarts to one pass a second
constexpr std::int64_t g_nStopStep_ms = 10000; ///< a suspended process checks for a stop at least this often

std::int64_t TimeOfDay_ms()
{
    STimeB64 now{};
    _ftime64_s(&now);
    return now.time * 1000 + now.millitm;
}

/// Sleeps until the clock shows this time, at most g_nStopStep_ms in case the clock is set back.
void SleepUntil(std::int64_t p_nTime_ms)
{
    const std::int64_t nRest_ms = std::clamp<std::int64_t>(p_nTime_ms - TimeOfDay_ms(), 0, g_nStopStep_ms);
    if (nRest_ms > 0)
        Sleep(static_cast<DWORD>(nRest_ms));
}

bool Refuse(std::string_view p_strText)
{
    SuspendApp(g_strRun, p_strText);
    return false;
}

/// Reads the whole measurement file if it is the data source.
bool OpenDataSource(CTraceOMA* p_pTrace, std::unique_ptr<CReadFileMeas>* p_ppReadFile)
{
    g_eDataSource = GetDataSource();
    if (g_eDataSource != eSrcMeasFile)
        return true;
    *p_ppReadFile =
        std::make_unique<CReadFileMeas>(g_pShell->GetMeasFile(), g_pShell->IsVoltAngle(), g_pShell->GetColsVolt(),
                                        g_pShell->GetColsCurr(), g_pShell->GetStart(), g_pShell->GetStop(), p_pTrace);
    return (*p_ppReadFile)->ReadData() || Refuse("Error reading meas.file");
}

void RunAllPasses(CReadFileMeas* p_pReadFile, CTraceOMA* p_pTrace)
{
    const std::string strConfigFile = FileNameForReading(g_pShell->GetConfigFile()).string();
    do
    {
        RunApplicationLoop(strConfigFile, 0, p_pReadFile, p_pTrace);
        SleepUntil(TimeOfDay_ms() + g_nPassPause_ms);
    } while (GetAppState() == eAppRun);
    p_pTrace->TraceInfo(g_strRun, "Main loop has been exited", true);
}

void AwaitStop(CTraceOMA* p_pTrace)
{
    p_pTrace->TraceInfo("Application waiting for service being stopped...", true);
    std::int64_t nWake_ms = TimeOfDay_ms();
    do
    {
        nWake_ms += g_nStopStep_ms;
        SleepUntil(nWake_ms);
    } while (GetAppState() != eAppStop);
}

/// Starts the event thread of a pass and waits for its end. All other threads of the pass end with it.
void RunEventThread(const CConfiguration* p_pConfig, VecOMA* p_pvecOMA, boost::thread_group* p_pThreadGroup,
                    CTraceOMA* p_pTrace, std::unique_ptr<boost::thread>* p_ppThread)
{
    auto pNew = std::make_unique<CEventReadOMA>(g_hSockEvent, p_pConfig, p_pTrace, p_pvecOMA);
    CEventReadOMA* const pEventRead = pNew.get();
    {
        const std::lock_guard lock(g_mtxEventRead);
        g_pEventRead = std::move(pNew);
        // A stop during the construction of the pass could not wake the event thread, which did not exist yet.
        if (GetAppState() == eAppStop)
            pEventRead->Exit();
    }
    try
    {
        *p_ppThread = std::make_unique<boost::thread>([pEventRead, p_pThreadGroup, p_pvecOMA]
                                                      { pEventRead->ThreadCB(p_pThreadGroup, p_pvecOMA); });
        (*p_ppThread)->join();
    }
    catch (const std::exception& error)
    {
        SuspendApp(g_strLoop, std::string("Error when joining DLI event thread: ") + error.what());
    }
}
} // namespace

std::uint32_t RunApplication(int p_nArgc, wchar_t* p_ppArgv[])
{
    CTrace::Init();
    CTrace::CheckTraceArg(p_nArgc, p_ppArgv);
    auto pTrace = std::make_unique<CTraceOMA>("OMA_Main_Run");
    pTrace->TraceInfo("Starting OMA application", true);

    g_pShell = std::make_unique<CShellOMA>();
    SetEventContext(Norvik::Energy::Kestrel::eElemOMA);
    std::unique_ptr<CReadFileMeas> pReadFile;
    if ((g_pShell->ExtractCmdLinePars(p_nArgc, p_ppArgv, pTrace.get()) || Refuse("Invalid command line parameters")) &&
        OpenDataSource(pTrace.get(), &pReadFile))
    {
        RunAllPasses(pReadFile.get(), pTrace.get());
    }
    pReadFile.reset();
    g_pShell.reset();

    if (GetAppState() == eAppSuspend)
        AwaitStop(pTrace.get());
    pTrace->TraceInfo("Service stopping", true);
    pTrace.reset();
    CTrace::Exit();
    return 0;
}

bool RunApplicationLoop(const std::string& p_strConfigFile, int, CReadFileMeas* p_pReadFile, CTraceOMA* p_pTrace)
{
    std::unique_ptr<CXMLConfiguration> pXml;
    CConfiguration* pConfig = nullptr;
    std::unique_ptr<VecOMA> pvecOMA;
    std::unique_ptr<boost::thread_group> pThreadGroup;
    std::unique_ptr<boost::thread> pEventThread;

    bool bOk = CreateBaseOMA(p_strConfigFile, p_pTrace, &pXml, &pConfig, &g_hSockEvent, &g_hSockData);
    if (bOk)
    {
        bOk = CreateDataOMA(p_pReadFile, pConfig, g_hSockEvent, g_hSockData, p_pTrace, &pvecOMA);
        if (bOk)
            p_pTrace->TraceInfo("Data from KESTREL config.file successfully being processed.", true);
    }
    if (bOk)
    {
        bOk = CreateThreadsOMA(pConfig, pvecOMA.get(), p_pTrace, &pThreadGroup);
        if (bOk)
            p_pTrace->TraceInfo("All OMA data pre-processing done", true);
    }
    if (bOk)
        RunEventThread(pConfig, pvecOMA.get(), pThreadGroup.get(), p_pTrace, &pEventThread);

    p_pTrace->TraceInfo("All threads have been finished", true);
    CleanOMA(std::move(pvecOMA), std::move(pThreadGroup), std::move(pEventThread), std::move(pXml), pConfig, p_pTrace);
    p_pTrace->TraceInfo("Returning to main loop", true);
    return true;
}

void StopApplication()
{
    CTraceOMA trace("OMA_Main_Stop");
    // Intended: the method name appears twice. The line is part of the recorded trace.
    trace.TraceInfo("StopApplication", "StopApplication(): Init. stopping OMA app.", true);
    SetAppState(eAppStop);
    const std::lock_guard lock(g_mtxEventRead);
    if (g_pEventRead)
        g_pEventRead->Exit();
}

EDataSource GetDataSource()
{
    if (g_pShell && g_pShell->IsStudy())
        return eSrcStudy;
    if (g_pShell && g_pShell->IsMeasFile())
        return eSrcMeasFile;
    return eSrcServer;
}
