#include "WinClock.h"
#include "WinEvents.h"
#include <chrono>

namespace
{
constexpr std::int64_t g_nFakeDayBegin_ms = 1577836800000; ///< 2020-01-01 00:00:00 UTC
constexpr std::uint64_t g_nTicksPerMs = 10000;
constexpr std::uint64_t g_nTicksPerDay = 864000000000;
constexpr std::int64_t g_nDays1601To1970 = 134774;

std::int64_t UnixTime_ms()
{
    if (EventsIsFakeClock())
        return g_nFakeDayBegin_ms + EventsNow_ms();
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}
} // namespace

int _ftime64_s(STimeB64* p_pTime)
{
    if (!p_pTime)
        return 22; // EINVAL
    const std::int64_t nTime_ms = UnixTime_ms();
    p_pTime->time = nTime_ms / 1000;
    p_pTime->millitm = static_cast<unsigned short>(nTime_ms % 1000);
    return 0;
}

int FileTimeToSystemTime(const FILETIME* p_pFileTime, SYSTEMTIME* p_pSystemTime)
{
    if (!p_pFileTime || !p_pSystemTime)
        return 0;
    const std::uint64_t nTicks = (std::uint64_t{p_pFileTime->dwHighDateTime} << 32) | p_pFileTime->dwLowDateTime;
    if (nTicks >> 63)
        return 0;

    using namespace std::chrono;
    const sys_days day{days(static_cast<std::int64_t>(nTicks / g_nTicksPerDay) - g_nDays1601To1970)};
    const year_month_day date(day);
    p_pSystemTime->wYear = static_cast<std::uint16_t>(static_cast<int>(date.year()));
    p_pSystemTime->wMonth = static_cast<std::uint16_t>(static_cast<unsigned>(date.month()));
    p_pSystemTime->wDay = static_cast<std::uint16_t>(static_cast<unsigned>(date.day()));
    p_pSystemTime->wDayOfWeek = static_cast<std::uint16_t>(weekday(day).c_encoding());

    const std::uint64_t nDay_ms = nTicks % g_nTicksPerDay / g_nTicksPerMs;
    p_pSystemTime->wHour = static_cast<std::uint16_t>(nDay_ms / 3600000);
    p_pSystemTime->wMinute = static_cast<std::uint16_t>(nDay_ms / 60000 % 60);
    p_pSystemTime->wSecond = static_cast<std::uint16_t>(nDay_ms / 1000 % 60);
    p_pSystemTime->wMilliseconds = static_cast<std::uint16_t>(nDay_ms % 1000);
    return 1;
}
