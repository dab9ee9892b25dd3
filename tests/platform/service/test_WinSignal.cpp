#include "WinEvents.h"
#include "WinSignal.h"
#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace
{
std::atomic<int> g_nSignal{0};
std::atomic<std::thread::id> g_threadId;
HANDLE g_hHandled = nullptr;

void Handler(int p_nSignal)
{
    g_nSignal = p_nSignal;
    g_threadId = std::this_thread::get_id();
    SetEvent(g_hHandled);
}

struct WinSignal : testing::Test
{
    WinSignal() { g_hHandled = CreateEventW(nullptr, 0, 0, nullptr); }
    ~WinSignal() override
    {
        StopSignalThread();
        CloseHandle(g_hHandled);
    }
};

void SendTwice(int p_nSystem)
{
    g_hHandled = CreateEventW(nullptr, 0, 0, nullptr);
    InstallSignalHandler(15, Handler);
    InstallSignalHandler(2, Handler);
    kill(getpid(), p_nSystem);
    WaitForSingleObject(g_hHandled, INFINITE);
    kill(getpid(), p_nSystem);
    WaitForSingleObject(g_hHandled, 20000);
    _exit(0);
}
} // namespace

TEST_F(WinSignal, EachNumberReachesTheHandlerOnceOnAThreadOfItsOwn)
{
    const std::pair<int, int> numbers[] = {{22, SIGABRT}, {15, SIGTERM}, {2, SIGINT}, {4, SIGILL},
                                           {8, SIGFPE},   {21, SIGQUIT}, {21, SIGHUP}};
    for (const auto& [nSignal, nSystem] : numbers)
    {
        ASSERT_TRUE(InstallSignalHandler(nSignal, Handler));
        g_nSignal = 0;
        kill(getpid(), nSystem);
        ASSERT_EQ(WaitForSingleObject(g_hHandled, 20000), WAIT_OBJECT_0) << nSystem;
        EXPECT_EQ(g_nSignal, nSignal);
        EXPECT_NE(g_threadId.load(), std::this_thread::get_id());
    }
}

TEST_F(WinSignal, UnknownNumbersAreRefused)
{
    EXPECT_FALSE(InstallSignalHandler(11, Handler));
    EXPECT_FALSE(InstallSignalHandler(15, nullptr));
}

using WinSignalDeathTest = WinSignal;

TEST_F(WinSignalDeathTest, SecondSignalOfAKindTakesTheDefaultAction)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(SendTwice(SIGTERM), testing::KilledBySignal(SIGTERM), "");
    EXPECT_EXIT(SendTwice(SIGINT), testing::KilledBySignal(SIGINT), "");
}
