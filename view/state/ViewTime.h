#pragma once
#include <cstdint>
#include <string>

/// Ticks of 100 ns from 0001-01-01 UTC to 1970.
inline constexpr std::int64_t g_nEpochTicks = 621355968000000000;
inline constexpr std::int64_t g_nTicksPerMs = 10000;

inline std::int64_t MsFromTicks(std::int64_t p_nTicks)
{
    return (p_nTicks - g_nEpochTicks) / g_nTicksPerMs;
}
inline std::int64_t TicksFromMs(std::int64_t p_nMs)
{
    return p_nMs * g_nTicksPerMs + g_nEpochTicks;
}
/// The wall clock.
std::int64_t WallMs();
/// "2026-03-05T10:00:00.000Z".
std::string IsoFromMs(std::int64_t p_nMs);
/// "10:00:00", UTC.
std::string ClockFromMs(std::int64_t p_nMs);
