#include "vds/c37118/input/StateOfStat.h"
#include "vds/c37118/codec/Frames.h"

namespace
{
constexpr unsigned g_nUnlockedMask = 0x0030;

/// Bits 5-4 mean 10, 100 and 1000 s, but only while synchronisation is lost.
bool IsUnlockedTooLong(unsigned p_nStat, int p_nLimit_s)
{
    if ((p_nStat & g_nStatSyncLost) == 0 || p_nLimit_s < 0)
        return false;
    const unsigned nTime = (p_nStat & g_nUnlockedMask) >> 4;
    const unsigned nLeast = p_nLimit_s >= 1000 ? 3 : p_nLimit_s >= 100 ? 2 : p_nLimit_s >= 10 ? 1 : 0;
    return nTime >= nLeast;
}

/// Time quality of the PMU, bits 8-6, as a clock quality: 1 is 100 ns, code 3, and so on; 0: no information.
unsigned PmuClockQuality(unsigned p_nStat)
{
    const unsigned nQuality = (p_nStat >> 6) & 7U;
    return nQuality == 0 ? 0 : nQuality + 2;
}
} // namespace

std::uint64_t StateOfStat(std::uint16_t p_nStat, std::uint8_t p_nClockQuality, const SSynchrophasorConfig& p_config)
{
    const bool bBadTime = IsUnlockedTooLong(p_nStat, p_config.nUnlockedLimit_s) ||
                          p_nClockQuality > p_config.nClockQualityLimit ||
                          PmuClockQuality(p_nStat) > p_config.nClockQualityLimit;
    const unsigned nRest = p_nStat & ~(unsigned{g_nStatSyncLost} | g_nUnlockedMask);
    return nRest | (bBadTime ? unsigned{g_nStatSyncLost} : 0U);
}
