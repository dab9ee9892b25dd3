#pragma once
#include <chrono>
#include <cstdint>
#include <ratio>

// Time stamps of the link: signed 64-bit counts of 100 ns since 0001-01-01 00:00:00 UTC.

constexpr std::int64_t g_nTicksPerSec = 10'000'000;
constexpr std::int64_t g_nTicksOf1970 = 621'355'968'000'000'000; ///< 1970-01-01, the epoch of most other clocks

using TTicks = std::chrono::duration<std::int64_t, std::ratio<1, g_nTicksPerSec>>;

/// The current wall-clock time.
inline std::int64_t WallTicks()
{
    return g_nTicksOf1970 +
           std::chrono::duration_cast<TTicks>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// Ticks of sample p_nIdx within its second at p_nRate samples per second: the grid that all time stamps lie on. The
/// doubles and this order of operations are intentional: client and server have to agree to the tick.
inline std::int64_t GridTicks(std::int64_t p_nIdx, std::int64_t p_nRate)
{
    return static_cast<std::int64_t>((static_cast<double>(p_nIdx) / static_cast<double>(p_nRate)) * 10000000.0 + 0.5);
}
