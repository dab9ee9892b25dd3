#include "StubGraph.h"
#include "WinEvents.h"
#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/ApplicationControl.h"
#include "host/CShellOMA.h"
#include "host/RunApplication.h"
#include "link/CEventReadOMA.h"
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <thread>
#include <unistd.h>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsSupersetOf;

namespace
{
constexpr int g_nLimit_ms = 20000; ///< generous: reached only if something hangs

/// RunApplication on a thread of its own, on the fake clock.
struct RunApplicationTest : testing::Test
{
    RunApplicationTest()
    {
        dir = fs::temp_directory_path() / ("oma_run_" + std::to_string(getpid()));
        fs::create_directories(dir);
        std::ofstream(dir / "cfg.xml") << "<x/>";
        std::ofstream(dir / "meas.csv") << "time;u;i\n10:00:00;1;2\n";
        EventsUseFakeClock(true);
        FakeDli::Reset();
        StubGraph::Reset();
        SetAppState(eAppRun);
        g_eDataSource = eSrcServer;
    }
    ~RunApplicationTest() override
    {
        if (thread.joinable())
        {
            StopApplication();
            while (!bDone)
            {
                EventsAwaitParked(1, 50);
                EventsAdvance(10000);
            }
            thread.join();
        }
        SetAppState(eAppRun);
        EventsUseFakeClock(false);
        fs::remove_all(dir);
    }
    void Start(std::vector<std::wstring> p_vecOption = {}, bool p_bXml = true)
    {
        vecArg = std::move(p_vecOption);
        if (p_bXml)
            vecArg.insert(vecArg.begin(), L"-xml:" + (dir / "cfg.xml").wstring());
        vecArg.insert(vecArg.begin(), L"oma");
        for (std::wstring& wstrArg : vecArg)
            vecpArg.push_back(wstrArg.data());
        thread = std::thread(
            [this]
            {
                nResult = RunApplication(static_cast<int>(vecpArg.size()), vecpArg.data());
                bDone = true;
            });
    }
    template <class TCondition>
    static bool Await(TCondition p_fnCondition)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(g_nLimit_ms);
        while (!p_fnCondition())
        {
            if (std::chrono::steady_clock::now() > limit)
                return false;
            std::this_thread::yield();
        }
        return true;
    }
    /// The event thread of this pass waits.
    static void AwaitPass(int p_nPass)
    {
        ASSERT_TRUE(Await([p_nPass] { return StubGraph::g_nPasses == p_nPass && FakeDli::EventCallBack(); }));
        ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
    }
    /// The main thread sleeps, behind this many passes.
    void AwaitSleep(int p_nCleaned)
    {
        ASSERT_TRUE(Await([p_nCleaned] { return StubGraph::g_nCleaned == p_nCleaned; }));
        ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
    }
    static void PostRestart()
    {
        CEvent restart(eAPP, Norvik::Energy::Kestrel::eElemPlatform, 0, eIkRestart, "");
        std::vector<CEvent*> vecEvent{&restart};
        ASSERT_TRUE(FakeDli::EventReceive(vecEvent));
    }
    void ExpectEnd()
    {
        thread.join();
        EXPECT_EQ(nResult, 0U);
        EXPECT_EQ(capture.Lines().back(), "Service stopping");
        EXPECT_EQ(g_pShell, nullptr);
        EXPECT_EQ(g_pEventRead, nullptr);
    }

    CaptureTrace capture{ETraceLevel::eInfo};
    fs::path dir;
    std::vector<std::wstring> vecArg;
    std::vector<wchar_t*> vecpArg;
    std::thread thread;
    std::uint32_t nResult = 99;
    std::atomic<bool> bDone{false};
};
} // namespace

TEST_F(RunApplicationTest, RestartIsOneMorePassASecondLaterAndAStopEndsTheCycle)
{
    Start();
    for (int nPass = 1; nPass <= 3; ++nPass)
    {
        AwaitPass(nPass);
        EXPECT_EQ(EventsNow_ms(), (nPass - 1) * 1000);
        if (nPass == 3)
            break;
        PostRestart();
        AwaitSleep(nPass);
        EventsAdvance(999);
        EXPECT_TRUE(EventsAwaitParked(1, 0)) << "still within the second";
        EXPECT_EQ(StubGraph::g_nPasses, nPass);
        EventsAdvance(1);
    }
    StopApplication();
    AwaitSleep(3);
    EventsAdvance(1000);
    ExpectEnd();
    EXPECT_EQ(StubGraph::g_nPasses, 3);
    EXPECT_EQ(capture.Lines().front(), "Starting OMA application");
    EXPECT_EQ(capture.Count("Data from KESTREL config.file successfully being processed."), 3U);
    EXPECT_EQ(capture.Count("All OMA data pre-processing done"), 3U);
    EXPECT_EQ(capture.Count("All threads have been finished"), 3U);
    EXPECT_EQ(capture.Count("Returning to main loop"), 3U);
    EXPECT_TRUE(capture.Has("StopApplication():StopApplication(): Init. stopping OMA app.."));
    EXPECT_TRUE(capture.Has("RunApplication():Main loop has been exited."));
    EXPECT_FALSE(capture.Has("Application waiting"));
}

TEST_F(RunApplicationTest, StopInThePauseBetweenPassesBeginsNoOther)
{
    Start();
    AwaitPass(1);
    PostRestart();
    AwaitSleep(1);
    StopApplication();
    EventsAdvance(1000);
    ExpectEnd();
    EXPECT_EQ(StubGraph::g_nPasses, 1);
}

TEST_F(RunApplicationTest, WrongCommandLineWaitsInStepsOfTenSecondsForTheStop)
{
    Start({L"-study", L"-xml:" + (dir / "none.xml").wstring()}, false);
    for (int n = 0; n < 3; ++n)
    {
        ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
        EventsAdvance(10000);
    }
    ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
    StopApplication();
    EventsAdvance(9999);
    EXPECT_TRUE(EventsAwaitParked(1, 0)) << "the state is tested after each step only";
    EventsAdvance(1);
    ExpectEnd();
    EXPECT_EQ(StubGraph::g_nPasses, 0);
    EXPECT_THAT(capture.Lines(),
                ElementsAre("Starting OMA application",
                            "CShellOMA::ExtractCmdLinePars(): Specified KESTREL config.file does not exist! -> Suspend "
                            "Application.",
                            "RunApplication(): Invalid command line parameters! -> Suspend Application.",
                            "Application waiting for service being stopped...",
                            "StopApplication():StopApplication(): Init. stopping OMA app..", "Service stopping"));
    const auto vecPost = FakeDli::Posts();
    ASSERT_EQ(vecPost.size(), 2U) << "one event for each suspension";
    EXPECT_EQ(vecPost[0].eKey, eIkServiceStopOMA);
    EXPECT_EQ(vecPost[0].eElem, Norvik::Energy::Kestrel::eElemOMA);
}

TEST_F(RunApplicationTest, PassThatCannotBeBuiltIsTheLast)
{
    for (const bool bBase : {true, false})
    {
        capture.Clear();
        StubGraph::Reset();
        SetAppState(eAppRun);
        vecpArg.clear();
        bDone = false;
        const auto Fail = []
        {
            SuspendApp("Stub", "No such thing");
            return false;
        };
        (bBase ? StubGraph::g_fnCreateBase : StubGraph::g_fnCreateData) = Fail;
        Start();
        AwaitSleep(1);
        EventsAdvance(1000);
        ASSERT_TRUE(Await([this] { return capture.Has("Application waiting for service being stopped..."); }));
        ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
        StopApplication();
        EventsAdvance(10000);
        ExpectEnd();
        EXPECT_EQ(StubGraph::g_nPasses, 1);
        EXPECT_TRUE(capture.Has("All threads have been finished"));
        EXPECT_FALSE(capture.Has("pre-processing done"));
    }
}

TEST_F(RunApplicationTest, StopWhileThePassIsBeingBuiltEndsIt)
{
    StubGraph::g_fnCreateData = []
    {
        StopApplication();
        return true;
    };
    Start();
    AwaitSleep(1);
    EventsAdvance(1000);
    ExpectEnd();
    EXPECT_EQ(StubGraph::g_nPasses, 1);
}

TEST_F(RunApplicationTest, SuspensionDuringThePassEndsTheProcessOnlyAfterTheStop)
{
    Start();
    AwaitPass(1);
    SuspendApp("Worker", "Broken");
    EXPECT_TRUE(EventsAwaitParked(1, 0)) << "nothing local ends the pass";
    PostRestart();
    AwaitSleep(1);
    EventsAdvance(1000);
    ASSERT_TRUE(Await([this] { return capture.Has("Application waiting for service being stopped..."); }));
    EXPECT_EQ(GetAppState(), eAppSuspend);
    EXPECT_EQ(StubGraph::g_nPasses, 1);
}

TEST_F(RunApplicationTest, SourceFollowsTheOptions)
{
    const std::wstring wstrMeas = L"-measfile:" + (dir / "meas.csv").wstring();
    const std::pair<std::vector<std::wstring>, EDataSource> cases[] = {
        {{L"-lma"}, eSrcServer},
        {{L"-study", wstrMeas, L"-voltage:1", L"-current:2"}, eSrcStudy},
        {{wstrMeas, L"-voltage:2,0,0", L"-current:3,0,0", L"-start:10", L"-stop:10"}, eSrcMeasFile},
    };
    for (const auto& [vecOption, eSource] : cases)
    {
        capture.Clear();
        StubGraph::Reset();
        SetAppState(eAppRun);
        vecpArg.clear();
        Start(vecOption);
        AwaitPass(1);
        EXPECT_EQ(g_eDataSource, eSource);
        StopApplication();
        AwaitSleep(1);
        EventsAdvance(1000);
        ExpectEnd();
    }
}

TEST_F(RunApplicationTest, UnreadableMeasurementsSuspendWithoutAPass)
{
    // No columns: the reader refuses.
    Start({L"-measfile:" + (dir / "meas.csv").wstring()});
    ASSERT_TRUE(Await([this] { return capture.Has("Application waiting for service being stopped..."); }));
    EXPECT_TRUE(capture.Has("RunApplication(): Error reading meas.file! -> Suspend Application."));
    EXPECT_EQ(StubGraph::g_nPasses, 0);
}

TEST_F(RunApplicationTest, MissingMeasurementFileGivesOneLastPassFromTheServer)
{
    Start({L"-measfile:" + (dir / "none.csv").wstring()});
    AwaitPass(1);
    EXPECT_EQ(g_eDataSource, eSrcServer);
    EXPECT_EQ(GetAppState(), eAppSuspend);
    PostRestart();
    AwaitSleep(1);
    EventsAdvance(1000);
    ASSERT_TRUE(Await([this] { return capture.Has("Application waiting for service being stopped..."); }));
    EXPECT_EQ(StubGraph::g_nPasses, 1);
}
