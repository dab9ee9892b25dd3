#include "WinEvents.h"
#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

namespace
{
constexpr int g_nLimit_ms = 20000; ///< generous: reached only if something hangs

/// Events that are closed automatically.
template <std::size_t N>
struct SEvents
{
    SEvents()
    {
        for (HANDLE& hEvent : vechEvent)
            hEvent = CreateEventW(nullptr, 0, 0, nullptr);
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

} // namespace

TEST(WinEvents, LowestSignalledIndexWinsAndLeavesTheOthersSignalled)
{
    SEvents<3> events;
    SetEvent(events[2]);
    SetEvent(events[1]);
    EXPECT_EQ(events.Wait(0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(events.Wait(0), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(events.Wait(0), WAIT_TIMEOUT);
}

TEST(WinEvents, ClosingAHandleEndsTheWaitOnIt)
{
    const HANDLE hEvent = CreateEventW(nullptr, 0, 0, nullptr);
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

// Two threads pass a token to each other through two events: a lost signal would stop them for good.
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

// Each step is either a signal or a time-out. The thread must see every one of them, in order.
TEST(WinEvents, NeitherSignalNorTimeOutGetsLostInManySteps)
{
    constexpr int nSteps = 5000;
    EventsUseFakeClock(true);
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
        {
            EventsAdvance(9);
            EXPECT_TRUE(EventsAwaitParked(1, 0)) << "the wait ended too early";
            EventsAdvance(1);
        }
        else
            SetEvent(events[0]);
    }
    waiter.join();
    EventsUseFakeClock(false);
    EXPECT_EQ(vecSeen, vecSent);
}
