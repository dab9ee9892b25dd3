#include "WinEvents.h"
#include "WinSignal.h"
#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/AppState.h"
#include "host/ServiceControl.h"
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <iostream>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace
{
int wmainWithoutOptions()
{
    wchar_t wstrName[] = L"oma";
    wchar_t* ppArgv[] = {wstrName, nullptr};
    return wmain(1, ppArgv);
}

/// The process of these tests has no usable options, so that the application is suspended at once and waits.
struct ServiceControl : testing::Test
{
    ServiceControl() : pBuffer(std::wcout.rdbuf(wstrUsage.rdbuf()))
    {
        EventsUseFakeClock(true);
        FakeDli::Reset();
        SetAppState(eAppRun);
        g_bServiceStop = false;
    }
    ~ServiceControl() override
    {
        StopSignalThread();
        SetAppState(eAppRun);
        EventsUseFakeClock(false);
        unsetenv("NOTIFY_SOCKET");
        std::wcout.rdbuf(pBuffer);
    }
    /// Sends a signal to the waiting process and lets time pass until it has ended.
    void SendWhileWaiting(int p_nSystem)
    {
        helper = std::thread(
            [this, p_nSystem]
            {
                sigset_t all;
                sigfillset(&all);
                pthread_sigmask(SIG_BLOCK, &all, nullptr);
                EXPECT_TRUE(EventsAwaitParked(1, 20000));
                kill(getpid(), p_nSystem);
                while (!bEnded)
                {
                    EventsAwaitParked(1, 10);
                    EventsAdvance(300);
                }
            });
    }
    void EndHelper()
    {
        bEnded = true;
        helper.join();
    }

    std::wstringstream wstrUsage;
    std::wstreambuf* pBuffer;
    CaptureTrace capture{Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel::eInfo};
    std::thread helper;
    std::atomic<bool> bEnded{false};
};
} // namespace

TEST_F(ServiceControl, ConsoleRunEndsByEachOfItsSignals)
{
    unsetenv("NOTIFY_SOCKET");
    for (const int nSystem : {SIGTERM, SIGINT, SIGQUIT, SIGABRT, SIGILL, SIGFPE})
    {
        SetAppState(eAppRun);
        bEnded = false;
        capture.Clear();
        SendWhileWaiting(nSystem);
        EXPECT_EQ(wmainWithoutOptions(), 0);
        EndHelper();
        EXPECT_EQ(GetAppState(), eAppStop);
        EXPECT_TRUE(capture.Has("Missing (at least) KESTREL config.file name"));
        EXPECT_EQ(capture.Lines().back(), "Service stopping");
        StopSignalThread();
    }
}

TEST_F(ServiceControl, ServiceRunReportsItsStatesAndEndsByTheControl)
{
    // A manager that nobody listens for: the reports go nowhere, and nobody looks at their result.
    setenv("NOTIFY_SOCKET", "/nonexistent/notify", 1);
    SendWhileWaiting(SIGTERM);
    EXPECT_EQ(wmainWithoutOptions(), 0);
    EndHelper();
    EXPECT_TRUE(g_bServiceStop);
    EXPECT_EQ(GetAppState(), eAppStop);
    EXPECT_EQ(g_svcStatus.dwServiceType, 16U);
    EXPECT_EQ(g_svcStatus.dwControlsAccepted, 5U);
    EXPECT_EQ(g_svcStatus.dwCurrentState, 1U);
    EXPECT_EQ(g_svcStatus.dwWin32ExitCode, 0U);
    EXPECT_EQ(g_svcStatus.dwServiceSpecificExitCode, 0U);
    EXPECT_EQ(capture.Lines().back(), "Service stopping");
}

TEST_F(ServiceControl, OnlyStopAndShutdownAreHeeded)
{
    for (const DWORD nControl : {0U, 2U, 3U, 4U, 6U})
    {
        g_svcStatus.dwCurrentState = 4;
        ServiceCtrlHandler(nControl);
        EXPECT_EQ(g_svcStatus.dwCurrentState, 4U) << nControl;
        EXPECT_FALSE(g_bServiceStop);
        EXPECT_EQ(GetAppState(), eAppRun);
    }
    ServiceCtrlHandler(5);
    EXPECT_EQ(g_svcStatus.dwCurrentState, 3U);
    EXPECT_TRUE(g_bServiceStop);
    EXPECT_EQ(GetAppState(), eAppStop);
}

TEST_F(ServiceControl, ServiceThatCannotRegisterEndsSilently)
{
    ServiceMain(0, nullptr);
    EXPECT_THAT(capture.Lines(), testing::IsEmpty());
    EXPECT_EQ(g_svcStatus.dwCurrentState, 1U);
}
