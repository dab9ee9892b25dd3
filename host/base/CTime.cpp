#include "host/base/CTime.h"
#include "WinClock.h"
#include "link/dli/Ticks.h"
#include <algorithm>
#include <numeric>

// Counts use unsigned arithmetic, so that a meaningless stamp or rate from outside wraps instead of overflowing;
// results become signed only at the end. A stamp before the epoch has no index.

namespace
{
/// Truncates. NaN and negative values give 0, values that are too large the largest double below 2^63.
template <class T>
T Truncate(double p_fValue)
{
    constexpr double fLimit = 9223372036854774784.0; // largest double below 2^63
    if (!(p_fValue > 0.0))
        return 0;
    return static_cast<T>(std::min(p_fValue, fLimit));
}
} // namespace

CTime::SPos CTime::Pos() const
{
    const std::lock_guard lock(m_mtxPos);
    return m_pos;
}

void CTime::Reset()
{
    const std::lock_guard lock(m_mtxPos);
    m_pos.nIdx = 0;
    m_pos.nSec = 0;
}

bool CTime::IsZero() const
{
    const SPos pos = Pos();
    return pos.nIdx == 0 && pos.nSec == 0;
}

bool CTime::IsEqual(const CTime& p_other) const
{
    const SPos pos = Pos();
    const SPos other = p_other.Pos();
    return pos.nSec == other.nSec && pos.nIdx == other.nIdx;
}

bool CTime::Copy(const CTime* p_pOther, bool p_bWithRate)
{
    if (!p_pOther)
        return false;
    const SPos other = p_pOther->Pos();
    const std::lock_guard lock(m_mtxPos);
    m_pos = {p_bWithRate ? other.nRate : m_pos.nRate, other.nIdx, other.nSec};
    return true;
}

void CTime::SetRate(std::int64_t p_nRate)
{
    const std::lock_guard lock(m_mtxPos);
    m_pos.nRate = p_nRate;
}

bool CTime::SetTicks(std::int64_t p_nTicks)
{
    const std::lock_guard lock(m_mtxPos);
    std::uint64_t nIdx = 0;
    if (!TicksToIdx(m_pos, p_nTicks, &nIdx))
        return false;
    if (m_pos.nRate > 0)
    {
        // A stamp one tick before a full second already counts as that second, and its index as 0.
        m_pos.nIdx = nIdx % static_cast<std::uint64_t>(m_pos.nRate);
        m_pos.nSec = TicksToSec(p_nTicks);
    }
    else
    {
        m_pos.nIdx = nIdx;
        m_pos.nSec = 0;
    }
    return true;
}

std::int64_t CTime::GetNowTicks()
{
    STimeB64 now{};
    _ftime64_s(&now);
    return now.time * g_nTicksPerSec + now.millitm * 10000LL + g_nTicksOf1970;
}

double CTime::CycleTimeFromRate(std::int32_t p_nRate)
{
    if (p_nRate == 0)
        return -1.0;
    return p_nRate > 0 ? 1.0 / p_nRate : -static_cast<double>(p_nRate);
}

std::uint64_t CTime::SlowDist_s(std::int64_t p_nRate)
{
    return p_nRate < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(p_nRate) : 0;
}

std::uint64_t CTime::TicksToSec(std::int64_t p_nTicks)
{
    // Dividing as unsigned avoids an overflow for the largest stamp.
    if (p_nTicks < 0)
        return static_cast<std::uint64_t>((p_nTicks + 1) / g_nTicksPerSec);
    return (static_cast<std::uint64_t>(p_nTicks) + 1) / g_nTicksPerSec;
}

bool CTime::TicksToIdx(std::int64_t p_nTicks, std::uint64_t* p_pnIdx) const
{
    return TicksToIdx(Pos(), p_nTicks, p_pnIdx);
}

bool CTime::TicksToIdx(const SPos& p_pos, std::int64_t p_nTicks, std::uint64_t* p_pnIdx)
{
    *p_pnIdx = 0;
    if (p_pos.nRate == 0)
        return false;
    if (p_pos.nRate > 0)
    {
        const std::int64_t nRest = p_nTicks % g_nTicksPerSec;
        if (nRest != 0)
            *p_pnIdx = Truncate<std::uint64_t>((static_cast<double>(nRest + 1) / 10000000.0) *
                                               static_cast<double>(p_pos.nRate));
        return true;
    }
    // Intended: divides the raw ticks, not the seconds. The gap counts at negative rates depend on it.
    const std::uint64_t nDist = SlowDist_s(p_pos.nRate);
    if (p_nTicks < 0 || static_cast<std::uint64_t>(p_nTicks) % nDist != 0)
        return false;
    *p_pnIdx = static_cast<std::uint64_t>(p_nTicks) / nDist;
    return true;
}

std::int64_t CTime::IdxToTicks(std::uint64_t p_nIdx) const
{
    return IdxToTicks(Pos(), p_nIdx);
}

std::int64_t CTime::IdxToTicks(const SPos& p_pos, std::uint64_t p_nIdx)
{
    if (p_pos.nRate <= 0)
        return 0;
    return Truncate<std::int64_t>((static_cast<double>(p_nIdx) / static_cast<double>(p_pos.nRate)) * 10000000.0 + 0.5);
}

bool CTime::ToTicks(std::int64_t* p_pnTicks) const
{
    const SPos pos = Pos();
    if (pos.nRate == 0)
        return false;
    const std::uint64_t nWhole_s = pos.nRate > 0 ? pos.nSec : pos.nIdx * SlowDist_s(pos.nRate);
    *p_pnTicks =
        static_cast<std::int64_t>(nWhole_s * g_nTicksPerSec + static_cast<std::uint64_t>(IdxToTicks(pos, pos.nIdx)));
    return true;
}

bool CTime::IsValid(std::int64_t p_nTicks) const
{
    const SPos pos = Pos();
    if (pos.nRate == 0)
        return false;
    if (pos.nRate < 0)
    {
        const auto nTicks = static_cast<std::uint64_t>(p_nTicks);
        return (p_nTicks < 0 ? std::uint64_t{0} - nTicks : nTicks) % SlowDist_s(pos.nRate) == 0;
    }
    const std::int64_t nRest = p_nTicks % g_nTicksPerSec;
    if (nRest == 0)
        return true;
    // Find the first sample of the second that is not before the stamp. Ticks grow with the index.
    std::uint64_t nFrom = 0;
    std::uint64_t nTo = static_cast<std::uint64_t>(pos.nRate);
    while (nFrom < nTo)
    {
        const std::uint64_t nMid = nFrom + (nTo - nFrom) / 2;
        if (IdxToTicks(pos, nMid) < nRest)
            nFrom = nMid + 1;
        else
            nTo = nMid;
    }
    return nFrom < static_cast<std::uint64_t>(pos.nRate) && IdxToTicks(pos, nFrom) == nRest;
}

bool CTime::CheckWithNextTS(std::int64_t p_nTicks, std::int64_t* p_pnGap) const
{
    const SPos pos = Pos();
    std::uint64_t nIdxIn = 0;
    if (!TicksToIdx(pos, p_nTicks, &nIdxIn))
        return false;
    const auto nRate = static_cast<std::uint64_t>(pos.nRate);
    if (pos.nRate >= 2)
    {
        const std::uint64_t nIdxHeld = pos.nIdx % nRate;
        const std::uint64_t nSecHeld = nIdxHeld != 0 ? pos.nSec : pos.nSec + 1;
        *p_pnGap = static_cast<std::int64_t>((nSecHeld - TicksToSec(p_nTicks)) * nRate + (nIdxHeld - nIdxIn));
        return true;
    }
    // Intended: only negative rates add the step to the next sample. At rate 1 the gap is 0 for every stamp on the grid.
    const std::uint64_t nIdxHeld = pos.nRate == 1 ? 0 : pos.nIdx + 1;
    *p_pnGap = static_cast<std::int64_t>((nIdxHeld - nIdxIn) * nRate);
    return true;
}

bool CTime::CalcNextTS(std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec) const
{
    return CalcNextTS(Pos(), p_pnIdx, p_pnSec);
}

bool CTime::CalcNextTS(std::int64_t p_nTicks, std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec) const
{
    *p_pnIdx = 0;
    *p_pnSec = 0;
    SPos pos = Pos();
    if (!TicksToIdx(pos, p_nTicks, &pos.nIdx))
        return false;
    pos.nSec = TicksToSec(p_nTicks);
    return CalcNextTS(pos, p_pnIdx, p_pnSec);
}

bool CTime::CalcNextTS(const SPos& p_pos, std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec)
{
    if (p_pos.nRate == 0)
        return false;
    if (p_pos.nRate >= 2)
    {
        *p_pnIdx = (p_pos.nIdx + 1) % static_cast<std::uint64_t>(p_pos.nRate);
        *p_pnSec = p_pos.nSec + (*p_pnIdx == 0 ? 1 : 0);
        return true;
    }
    *p_pnIdx = p_pos.nIdx + 1;
    *p_pnSec = 0;
    return true;
}

bool CTime::Advance()
{
    const std::lock_guard lock(m_mtxPos);
    std::uint64_t nIdx = 0;
    std::uint64_t nSec = 0;
    if (!CalcNextTS(m_pos, &nIdx, &nSec))
        return false;
    m_pos.nIdx = nIdx;
    m_pos.nSec = nSec;
    return true;
}

bool CTime::IsAlignedTo(std::int32_t p_nRate) const
{
    return IsAligned(Pos(), p_nRate);
}

bool CTime::IsAligned(const SPos& p_pos, std::int64_t p_nRate)
{
    if (p_nRate == 0 || p_pos.nRate <= 0)
        return false;
    if (p_nRate < 0)
        return p_pos.nIdx == 0 && p_pos.nSec % SlowDist_s(p_nRate) == 0;
    const auto nStep = static_cast<std::uint64_t>(p_pos.nRate / std::gcd(p_pos.nRate, p_nRate));
    return p_pos.nIdx % nStep == 0;
}

bool CTime::CycleNumber(std::int32_t p_nRate, std::uint64_t* p_pnCycle) const
{
    const SPos pos = Pos();
    if (p_nRate == 0 || pos.nRate <= 0)
        return false;
    const std::int64_t nRate = p_nRate == 1 ? -1 : p_nRate;
    if (nRate < 0)
    {
        *p_pnCycle = pos.nSec / SlowDist_s(nRate);
        return true;
    }
    const auto nGcd = static_cast<std::uint64_t>(std::gcd(pos.nRate, nRate));
    *p_pnCycle = pos.nSec + (pos.nIdx * nGcd) / static_cast<std::uint64_t>(nRate);
    return true;
}

bool CTime::MatchesRateOf(const CTime& p_other) const
{
    const SPos pos = Pos();
    const SPos other = p_other.Pos();
    if (pos.nRate == 0 || other.nRate == 0)
        return false;
    if (pos.nRate > 0)
        return IsAligned(pos, other.nRate);
    const std::uint64_t nDist = SlowDist_s(pos.nRate);
    if (other.nRate > 0)
        return other.nIdx == 0 && other.nSec % nDist == 0;
    const std::uint64_t nOther = SlowDist_s(other.nRate);
    std::uint64_t nLcm = 0;
    if (__builtin_mul_overflow(nDist / std::gcd(nDist, nOther), nOther, &nLcm))
        return false;
    return nDist * pos.nIdx % nLcm == 0;
}
