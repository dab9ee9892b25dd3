#include "IColumn.h"
#include "link/dli/Ticks.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
/// Grid points are counted from p_nSec: sample p_nIdx of the second, at p_nRate samples per second.
bool TicksOfPlace(std::int64_t p_nSec, std::int64_t p_nIdx, std::int64_t p_nRate, std::int64_t* p_pnTicks)
{
    return !__builtin_mul_overflow(p_nSec, g_nTicksPerSec, p_pnTicks) &&
           !__builtin_add_overflow(*p_pnTicks, GridTicks(p_nIdx, p_nRate), p_pnTicks);
}

/// Floor division, also for negative counts.
void Divide(std::int64_t p_nCount, std::int64_t p_nSize, std::int64_t* p_pnWhole, std::int64_t* p_pnRest)
{
    *p_pnWhole = p_nCount / p_nSize;
    *p_pnRest = p_nCount % p_nSize;
    if (*p_pnRest < 0)
    {
        *p_pnRest += p_nSize;
        --*p_pnWhole;
    }
}

bool NextOnFastGrid(std::int64_t p_nTicks, std::int64_t p_nRate, std::int64_t p_nSteps, std::int64_t* p_pnNext)
{
    std::int64_t nSec = 0;
    std::int64_t nRest = 0;
    Divide(p_nTicks, g_nTicksPerSec, &nSec, &nRest);
    // The 1 compensates for a stamp that rounding has placed one tick before its grid point.
    std::int64_t nIdx = 0;
    if (nRest != 0)
        nIdx = static_cast<std::int64_t>((static_cast<double>(nRest + 1) / 10000000.0) * static_cast<double>(p_nRate));
    std::int64_t nSecAdd = 0;
    if (__builtin_add_overflow(nIdx, p_nSteps, &nIdx))
        return false;
    Divide(nIdx, p_nRate, &nSecAdd, &nIdx);
    return !__builtin_add_overflow(nSec, nSecAdd, &nSec) && TicksOfPlace(nSec, nIdx, p_nRate, p_pnNext);
}

bool NextOnSlowGrid(std::int64_t p_nTicks, std::int64_t p_nDist_s, std::int64_t p_nSteps, std::int64_t* p_pnNext)
{
    std::int64_t nDist = 0;
    if (__builtin_mul_overflow(p_nDist_s, g_nTicksPerSec, &nDist))
        return false;
    std::int64_t nPlace = 0;
    std::int64_t nRest = 0;
    Divide(p_nTicks, nDist, &nPlace, &nRest);
    if (nRest == nDist - 1)
        ++nPlace;
    return !__builtin_add_overflow(nPlace, p_nSteps, &nPlace) && !__builtin_mul_overflow(nPlace, nDist, p_pnNext);
}
} // namespace

std::int64_t IColumn::GetNextTimeStamp(std::int64_t p_nTicks, std::int64_t p_nRate, std::int64_t p_nSteps)
{
    // Above 2^53 a double cannot represent every rate; no stream comes near it.
    constexpr std::int64_t nRateMax = std::int64_t{1} << 53;
    std::int64_t nNext = 0;
    if (p_nRate > 0 && p_nRate <= nRateMax && NextOnFastGrid(p_nTicks, p_nRate, p_nSteps, &nNext))
        return nNext;
    if (p_nRate < 0 && p_nRate >= -nRateMax && NextOnSlowGrid(p_nTicks, -p_nRate, p_nSteps, &nNext))
        return nNext;
    return p_nTicks;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
