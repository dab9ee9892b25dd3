#include "WinEvents.h"
#include <array>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

namespace
{
constexpr int g_nLimit_ms = 20000; ///< generous: reached only if something hangs

HANDLE NewEvent(bool p_bManual = false, bool p_bSignalled = false)
{
    return CreateEventW(nullptr, p_bManual, p_bSignalled, nullptr);
}

/// Events that close themselves.
template <std::size_t N>
struct SEvents
{
    SEvents()
    {
        for (HANDLE& hEvent : vechEvent)
            hEvent = NewEvent();
    }
    ~SEvents()
    {
        for (HANDLE hEvent : vechEvent)
            CloseHandle(hEvent);
    }
    DWORD Wait(DWORD p_nTimeout_ms) { return WaitForMultipleObjects(N, vechEvent.data(), 0, p_nTimeout_ms); }
    HANDLE operator[](std::size_t p_n) const { return vechEvent[p_n]; }
    std::array<HANDLE, N> vechEvent{};
};

struct FakeClock : testing::Test
{
    FakeClock() { EventsUseFakeClock(true); }
    ~FakeClock() override { EventsUseFakeClock(false); }
};
} // namespace

TEST(WinEvents, AutomaticResetReleasesOneWaitAndFallsBack)
{
    const SEvents<1> events;
    EXPECT_EQ(WaitForSingleObject(events[0], 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(events[0]));
    EXPECT_TRUE(SetEvent(events[0]));
    EXPECT_EQ(WaitForSingleObject(events[0], INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(events[0], 0), WAIT_TIMEOUT);
}

TEST(WinEvents, LowestSignalledIndexWinsAndLeavesTheOthersSignalled)
{
    SEvents<3> events;
    SetEvent(events[2]);
    SetEvent(events[1]);
    EXPECT_EQ(events.Wait(0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(events.Wait(0), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(events.Wait(0), WAIT_TIMEOUT);
}

TEST(WinEvents, BadArgumentsFail)
{
    const SEvents<1> events;
    std::array<HANDLE, MAXIMUM_WAIT_OBJECTS + 1> vechMany{};
    vechMany.fill(events[0]);
    EXPECT_EQ(WaitForMultipleObjects(0, vechMany.data(), 0, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, vechMany.data(), 0, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForMultipleObjects(1, nullptr, 0, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForMultipleObjects(1, vechMany.data(), 1, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, vechMany.data(), 0, 0), WAIT_TIMEOUT);
    EXPECT_EQ(CreateEventW(nullptr, 0, 0, L"name"), nullptr);
    EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
    EXPECT_FALSE(SetEvent(nullptr));
}

TEST(WinEvents, ClosedHandleIsUnknown)
{
    const std::size_t nBefore = EventsHandleCount();
    const HANDLE hEvent = NewEvent(true, true);
    EXPECT_EQ(EventsHandleCount(), nBefore + 1);
    EXPECT_TRUE(CloseHandle(hEvent));
    EXPECT_EQ(EventsHandleCount(), nBefore);
    EXPECT_FALSE(CloseHandle(hEvent));
    EXPECT_FALSE(SetEvent(hEvent));
    EXPECT_EQ(WaitForSingleObject(hEvent, INFINITE), WAIT_FAILED);
}

TEST(WinEvents, ClosingAHandleEndsTheWaitOnIt)
{
    const HANDLE hEvent = NewEvent();
    std::atomic<DWORD> nAnswer{0};
    std::thread waiter([&] { nAnswer = WaitForSingleObject(hEvent, INFINITE); });
    ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
    CloseHandle(hEvent);
    waiter.join();
    EXPECT_EQ(nAnswer, WAIT_FAILED);
}

TEST(WinEvents, EverySignalReleasesAnotherParkedWait)
{
    constexpr std::size_t nWaiters = 4;
    const SEvents<1> events;
    std::atomic<unsigned> nReleased{0};
    std::vector<std::thread> vecThread;
    for (std::size_t n = 0; n < nWaiters; ++n)
        vecThread.emplace_back([&] { nReleased += WaitForSingleObject(events[0], INFINITE) == WAIT_OBJECT_0; });
    ASSERT_TRUE(EventsAwaitParked(nWaiters, g_nLimit_ms));
    for (std::size_t n = 0; n < nWaiters; ++n)
        SetEvent(events[0]);
    for (std::thread& thread : vecThread)
        thread.join();
    EXPECT_EQ(nReleased, nWaiters);
    EXPECT_EQ(WaitForSingleObject(events[0], 0), WAIT_TIMEOUT);
}

TEST(WinEvents, RealTimeOutLastsAtLeastItsTime)
{
    const SEvents<1> events;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(events[0], 20), WAIT_TIMEOUT);
    Sleep(20);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
}

// Two threads hand each other a token through two events: a signal that got lost would stop them for ever.
TEST(WinEvents, NoSignalIsLostBetweenTwoThreads)
{
    constexpr int nRounds = 20000;
    const SEvents<2> events;
    std::thread other(
        [&]
        {
            for (int n = 0; n < nRounds; ++n)
            {
                WaitForSingleObject(events[0], INFINITE);
                SetEvent(events[1]);
            }
        });
    int nTokens = 0;
    for (int n = 0; n < nRounds; ++n)
    {
        SetEvent(events[0]);
        nTokens += WaitForSingleObject(events[1], INFINITE) == WAIT_OBJECT_0;
    }
    other.join();
    EXPECT_EQ(nTokens, nRounds);
}

TEST_F(FakeClock, MovesOnlyAsToldAndZeroTimeOutsDoNotPark)
{
    EXPECT_TRUE(EventsIsFakeClock());
    EXPECT_EQ(EventsNow_ms(), 0);
    EventsAdvance(1234);
    EXPECT_EQ(EventsNow_ms(), 1234);
    const SEvents<1> events;
    EXPECT_EQ(WaitForSingleObject(events[0], 0), WAIT_TIMEOUT);
    Sleep(0);
    EXPECT_EQ(EventsNow_ms(), 1234);
}

TEST_F(FakeClock, TimeOutComesWithItsMillisecondAndNotBefore)
{
    SEvents<2> events;
    std::atomic<DWORD> nAnswer{0};
    std::thread waiter([&] { nAnswer = events.Wait(20000); });
    ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
    EventsAdvance(19999);
    EXPECT_TRUE(EventsAwaitParked(1, 0)) << "the wait ended too early";
    EventsAdvance(1);
    waiter.join();
    EXPECT_EQ(nAnswer, WAIT_TIMEOUT);
}

// Each step is either a signal or a time-out. The thread must see every one of them, in order.
TEST_F(FakeClock, NeitherSignalNorTimeOutGetsLostInManySteps)
{
    constexpr int nSteps = 5000;
    const SEvents<1> events;
    std::vector<DWORD> vecSeen;
    std::thread waiter(
        [&]
        {
            for (int n = 0; n < nSteps; ++n)
                vecSeen.push_back(WaitForSingleObject(events[0], 10));
        });
    std::mt19937 random(1);
    std::vector<DWORD> vecSent;
    for (int n = 0; n < nSteps; ++n)
    {
        ASSERT_TRUE(EventsAwaitParked(1, g_nLimit_ms));
        vecSent.push_back(random() % 2 ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
        if (vecSent.back() == WAIT_TIMEOUT)
            EventsAdvance(10);
        else
            SetEvent(events[0]);
    }
    waiter.join();
    EXPECT_EQ(vecSeen, vecSent);
}

// The pattern of the read callback: one thread polls a flag in steps of 10 ms, the other clears long time-outs.
TEST_F(FakeClock, ClockJumpsByItselfWhileAllThreadsAreParked)
{
    for (int nRound = 0; nRound < 200; ++nRound)
    {
        EventsUseFakeClock(true);
        EventsAutoAdvance(2);
        const SEvents<1> events;
        std::atomic<bool> bDone{false};
        std::atomic<int> nTimeOuts{0};
        std::thread worker(
            [&]
            {
                for (int n = 0; n < 3; ++n)
                    nTimeOuts += WaitForSingleObject(events[0], 20000) == WAIT_TIMEOUT;
                bDone = true;
                SetEvent(events[0]);
                Sleep(10); // so that the poller's last step does not wait alone
            });
        int nPolls = 0;
        for (; !bDone; ++nPolls)
            Sleep(10);
        EventsAutoAdvance(1);
        worker.join();
        EXPECT_EQ(nTimeOuts, 3);
        EXPECT_GE(nPolls, 5999);
        EXPECT_LE(nPolls, 6001);
    }
}
