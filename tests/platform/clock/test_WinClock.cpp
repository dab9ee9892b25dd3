#include "WinClock.h"
#include "WinEvents.h"
#include <chrono>
#include <gtest/gtest.h>
#include <sstream>
#include <utility>

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
    const std::pair<std::uint64_t, const char*> cases[] = {
        {0, "1601-1-1 (1) 0:0:0.0"},
        {g_nTicks1601To1970, "1970-1-1 (4) 0:0:0.0"},
        {g_nTicks1601To1970 + 951782399 * 10000000ULL + 9999999, "2000-2-28 (1) 23:59:59.999"},
        {g_nTicks1601To1970 + 951782400 * 10000000ULL, "2000-2-29 (2) 0:0:0.0"},
        {g_nTicks1601To1970 + 1709222709 * 10000000ULL + 400000, "2024-2-29 (4) 16:5:9.40"},
        {0x7FFFFFFFFFFFFFFF, "30828-9-14 (4) 2:48:5.477"},
    };
    for (const auto& [nTicks, pText] : cases)
    {
        const FILETIME fileTime = FileTime(nTicks);
        SYSTEMTIME t;
        ASSERT_NE(FileTimeToSystemTime(&fileTime, &t), 0);
        std::ostringstream text;
        text << t.wYear << "-" << t.wMonth << "-" << t.wDay << " (" << t.wDayOfWeek << ") " << t.wHour << ":"
             << t.wMinute << ":" << t.wSecond << "." << t.wMilliseconds;
        EXPECT_EQ(text.str(), pText);
    }
    const FILETIME none = FileTime(0x8000000000000000);
    SYSTEMTIME time;
    EXPECT_EQ(FileTimeToSystemTime(&none, &time), 0);
}
