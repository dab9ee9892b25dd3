#pragma once
#include <chrono>
#include <cstdint>

/// Determines when the cycles of a source are due. Cycles are as far apart as their time stamps; where a stamp goes
/// back or jumps by more than 10 s, the period of the rate is used, so that a gap of hours in a recording is skipped.
class CPace
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    /// @param p_fSpeed multiple of real time; 0: every cycle is due at once.
    /// @param p_bCatchUp true: a late source sends faster until it is back on time; false: it continues from where it
    /// is.
    CPace(double p_fSpeed, std::int32_t p_nRate, bool p_bCatchUp);
    TTime Due(std::int64_t p_nTicks, TTime p_tNow) const;
    /// Call when the cycle has been sent.
    void Sent(std::int64_t p_nTicks, TTime p_tNow);

  private:
    double m_fSpeed;
    std::int64_t m_nPeriod; ///< ticks
    bool m_bCatchUp;
    bool m_bFirst = true;
    std::int64_t m_nLastTicks = 0;
    TTime m_tLast; ///< when the last cycle was due
};
