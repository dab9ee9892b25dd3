#pragma once
#include "vds/base/IsoTime.h"
#include <cmath>
#include <cstdint>

/// The time stamps of a rate, numbered consecutively: r per second, or with -n one every n seconds. Rate 0 is not
/// allowed.
class CGrid
{
  public:
    explicit CGrid(std::int32_t p_nRate) : m_nRate(p_nRate != 0 ? p_nRate : 1) {}

    std::int32_t Rate() const { return m_nRate; }
    std::int64_t Period_ticks() const { return m_nRate > 0 ? g_nTicksPerSec / m_nRate : -g_nTicksPerSec * m_nRate; }
    /// Number of the nearest grid point.
    std::int64_t Index(std::int64_t p_nTicks) const
    {
        if (m_nRate < 0)
            return (p_nTicks + Period_ticks() / 2) / Period_ticks();
        const std::int64_t nRest = p_nTicks % g_nTicksPerSec;
        return p_nTicks / g_nTicksPerSec * m_nRate +
               std::llround(static_cast<double>(nRest) * m_nRate / g_nTicksPerSec);
    }
    std::int64_t Ticks(std::int64_t p_nIndex) const
    {
        if (m_nRate < 0)
            return p_nIndex * Period_ticks();
        return p_nIndex / m_nRate * g_nTicksPerSec + GridTicks(p_nIndex % m_nRate, m_nRate);
    }

  private:
    std::int32_t m_nRate;
};
