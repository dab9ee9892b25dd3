#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

// What the memory keeps in its blobs, little endian.

inline constexpr std::int64_t g_nMinute_ms = 60000;

inline std::int64_t MinuteOf(std::int64_t p_nTime_ms)
{
    return p_nTime_ms >= 0 ? p_nTime_ms / g_nMinute_ms : (p_nTime_ms - g_nMinute_ms + 1) / g_nMinute_ms;
}

/// Frequency, magnitude, damping ratio, degree of exposure; NaN: none.
using TPass = std::array<float, 4>;

/// Passes of a mode in one minute, by the ms in it. 18 bytes each: u16, four singles.
using TPassMinute = std::map<std::uint16_t, TPass>;
std::string EncodePasses(const TPassMinute& p_mapPass);
/// Adds to what is there; bytes that make no whole pass are passed over.
void DecodePasses(std::span<const char> p_blob, TPassMinute& r_mapPass);

/// One actual value. NaN: not valid.
struct SSample
{
    std::int64_t nTicks = 0;
    float fValue = 0.0F;
};
/// 8 bytes each: u32 ticks from the first one on, single. At most seven minutes in one.
std::string EncodeSamples(std::span<const SSample> p_vecSample);
void DecodeSamples(std::int64_t p_nBegin, std::span<const char> p_blob, std::vector<SSample>& r_vecSample);

/// Minimum, mean and maximum.
struct SExtremes
{
    std::uint32_t nCount = 0;
    double fMin = 0.0;
    double fSum = 0.0;
    double fMax = 0.0;

    void Add(double p_fValue);
    double Min() const;
    double Mean() const;
    double Max() const;
};
