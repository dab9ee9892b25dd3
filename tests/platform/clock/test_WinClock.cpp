#include "WinClock.h"
#include "WinEvents.h"
#include <chrono>
#include <gtest/gtest.h>
#include <string>

namespace
{
constexpr std::uint64_t g_nTicks1601To1970 = 116444736000000000;

std::int64_t Now_ms()
{
    STimeB64 now;
    EXPECT_EQ(_ftime64_s(&now), 0);
    return now.time * 1000 + now.millitm;
}

std::int64_t SystemNow_ms()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

FILETIME FileTime(std::uint64_t p_nTicks)
{
    return {static_cast<std::uint32_t>(p_nTicks), static_cast<std::uint32_t>(p_nTicks >> 32)};
}
} // namespace

TEST(WinClock, TellsTheTimeOfDay)
{
    const std::int64_t nBefore_ms = SystemNow_ms();
    const std::int64_t nTold_ms = Now_ms();
    EXPECT_LE(nBefore_ms, nTold_ms);
    EXPECT_LE(nTold_ms, SystemNow_ms());
    EXPECT_NE(_ftime64_s(nullptr), 0);
}

TEST(WinClock, FollowsTheFakeClock)
{
    EventsUseFakeClock(true);
    const std::int64_t nBegin_ms = Now_ms();
    EventsAdvance(1500);
    EXPECT_EQ(Now_ms(), nBegin_ms + 1500);
    ClockSet(1700000000123);
    EXPECT_EQ(Now_ms(), 1700000000123);
    EventsAdvance(877);
    STimeB64 now;
    _ftime64_s(&now);
    EXPECT_EQ(now.time, 1700000001);
    EXPECT_EQ(now.millitm, 0);
    ClockSet(-1);
    EXPECT_EQ(Now_ms(), nBegin_ms + 1500 + 877);
    EventsUseFakeClock(false);
}

TEST(WinClock, FileTimeBecomesADate)
{
    struct SCase
    {
        std::uint64_t nTicks;
        SYSTEMTIME time; ///< year, month, day of week, day, hour, minute, second, ms
    };
    const SCase cases[] = {
        {0, {1601, 1, 1, 1, 0, 0, 0, 0}},
        {g_nTicks1601To1970, {1970, 1, 4, 1, 0, 0, 0, 0}},
        {g_nTicks1601To1970 + 951782399 * 10000000ULL + 9999999, {2000, 2, 1, 28, 23, 59, 59, 999}},
        {g_nTicks1601To1970 + 951782400 * 10000000ULL, {2000, 2, 2, 29, 0, 0, 0, 0}},
        {g_nTicks1601To1970 + 1709222709 * 10000000ULL + 400000, {2024, 2, 4, 29, 16, 5, 9, 40}},
        {0x7FFFFFFFFFFFFFFF, {30828, 9, 4, 14, 2, 48, 5, 477}},
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(c.nTicks);
        const FILETIME fileTime = FileTime(c.nTicks);
        SYSTEMTIME time;
        ASSERT_NE(FileTimeToSystemTime(&fileTime, &time), 0);
        EXPECT_EQ(time.wYear, c.time.wYear);
        EXPECT_EQ(time.wMonth, c.time.wMonth);
        EXPECT_EQ(time.wDayOfWeek, c.time.wDayOfWeek);
        EXPECT_EQ(time.wDay, c.time.wDay);
        EXPECT_EQ(time.wHour, c.time.wHour);
        EXPECT_EQ(time.wMinute, c.time.wMinute);
        EXPECT_EQ(time.wSecond, c.time.wSecond);
        EXPECT_EQ(time.wMilliseconds, c.time.wMilliseconds);
    }
    const FILETIME none = FileTime(0x8000000000000000);
    SYSTEMTIME time;
    EXPECT_EQ(FileTimeToSystemTime(&none, &time), 0);
}
