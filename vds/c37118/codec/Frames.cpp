#include "vds/c37118/codec/Frames.h"
#include "vds/base/IsoTime.h"
#include <algorithm>

std::size_t DataFrameSize(const SConfigFrame& p_config)
{
    std::size_t nSize = g_nFrameMin;
    for (const SPmuConfig& pmu : p_config.vecPmu)
        nSize += 2 + pmu.vecPhasor.size() * (pmu.bPhasorFloat ? 8U : 4U) + (pmu.bFreqFloat ? 8U : 4U) +
                 pmu.vecAnalog.size() * (pmu.bAnalogFloat ? 4U : 2U) + pmu.vecDigital.size() * 2U;
    return nSize;
}

std::int64_t FrameTicks(const SFrameHead& p_head, std::uint32_t p_nTimeBase)
{
    const std::int64_t nBase = std::max<std::int64_t>(p_nTimeBase, 1);
    const std::int64_t nFraction = (p_head.nFraction * g_nTicksPerSec + nBase / 2) / nBase;
    return g_nTicksOf1970 + p_head.nSoc * g_nTicksPerSec + nFraction;
}

void SetFrameTicks(SFrameHead& r_head, std::int64_t p_nTicks, std::uint32_t p_nTimeBase)
{
    const std::int64_t nBase = std::max<std::int64_t>(p_nTimeBase, 1);
    const std::int64_t nLast = (std::int64_t{1} << 32) * g_nTicksPerSec - 1;
    const std::int64_t nTicks =
        std::clamp<std::int64_t>(p_nTicks, g_nTicksOf1970, g_nTicksOf1970 + nLast) - g_nTicksOf1970;
    std::int64_t nSoc = nTicks / g_nTicksPerSec;
    std::int64_t nFraction = (nTicks % g_nTicksPerSec * nBase + g_nTicksPerSec / 2) / g_nTicksPerSec;
    if (nFraction >= nBase)
    {
        nFraction = 0;
        ++nSoc;
    }
    r_head.nSoc = static_cast<std::uint32_t>(std::min<std::int64_t>(nSoc, 0xFFFFFFFF));
    r_head.nFraction = static_cast<std::uint32_t>(nFraction);
}
