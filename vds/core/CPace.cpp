#include "vds/core/CPace.h"
#include "vds/base/IsoTime.h"

namespace
{
constexpr auto g_tLate = std::chrono::milliseconds(200);
}

CPace::CPace(double p_fSpeed, std::int32_t p_nRate, bool p_bCatchUp)
    : m_fSpeed(p_fSpeed), m_nPeriod(p_nRate > 0 ? g_nTicksPerSec / p_nRate : -g_nTicksPerSec * p_nRate),
      m_bCatchUp(p_bCatchUp)
{
}

CPace::TTime CPace::Due(std::int64_t p_nTicks, TTime p_tNow) const
{
    if (m_bFirst || m_fSpeed <= 0.0)
        return p_tNow;
    std::int64_t nDistance = p_nTicks - m_nLastTicks;
    if (nDistance < 0 || nDistance > 10 * g_nTicksPerSec)
        nDistance = m_nPeriod;
    const std::chrono::duration<double> tDistance(static_cast<double>(nDistance) / g_nTicksPerSec / m_fSpeed);
    return m_tLast + std::chrono::duration_cast<TTime::duration>(tDistance);
}

void CPace::Sent(std::int64_t p_nTicks, TTime p_tNow)
{
    const TTime tDue = Due(p_nTicks, p_tNow);
    m_tLast = !m_bCatchUp && p_tNow - tDue > g_tLate ? p_tNow : tDue;
    m_nLastTicks = p_nTicks;
    m_bFirst = false;
}
