#include "WinClock.h"
#include <gtest/gtest.h>
#include <sstream>
#include <utility>

namespace
{
constexpr std::uint64_t g_nTicks1601To1970 = 116444736000000000;

FILETIME FileTime(std::uint64_t p_nTicks)
{
    return {static_cast<std::uint32_t>(p_nTicks), static_cast<std::uint32_t>(p_nTicks >> 32)};
}
} // namespace

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
