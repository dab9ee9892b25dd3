#include "view/state/ViewTime.h"
#include <chrono>
#include <cstdio>

namespace
{
using namespace std::chrono;

std::string Format(std::int64_t p_nMs, bool p_bDate)
{
    const sys_time<milliseconds> time{milliseconds(p_nMs)};
    const year_month_day date(floor<days>(time));
    const hh_mm_ss clock(time - floor<days>(time));
    char pText[80];
    const int nHours = static_cast<int>(clock.hours().count());
    const int nMinutes = static_cast<int>(clock.minutes().count());
    const int nSeconds = static_cast<int>(clock.seconds().count());
    if (p_bDate)
        std::snprintf(pText, sizeof pText, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), nHours, nMinutes,
                      nSeconds, static_cast<int>(clock.subseconds().count()));
    else
        std::snprintf(pText, sizeof pText, "%02d:%02d:%02d", nHours, nMinutes, nSeconds);
    return pText;
}
} // namespace

std::int64_t WallMs()
{
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string IsoFromMs(std::int64_t p_nMs)
{
    return Format(p_nMs, true);
}

std::string ClockFromMs(std::int64_t p_nMs)
{
    return Format(p_nMs, false);
}
