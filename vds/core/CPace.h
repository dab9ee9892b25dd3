#pragma once
#include <chrono>
#include <cstdint>

/// When the cycles of a source are due. The distance of two cycles is that of their time stamps; where a stamp goes
/// back or leaps by more than 10 s, it is the one of the rate: a gap of hours in a recording is not waited for.
class CPace
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    /// @param p_fSpeed times real time; 0: every cycle is due at once.
    /// @param p_bCatchUp a source that is late hurries until it is back on time; otherwise it goes on from where it is.
    CPace(double p_fSpeed, std::int32_t p_nRate, bool p_bCatchUp);
    TTime Due(std::int64_t p_nTicks, TTime p_tNow) const;
    /// The cycle has been sent.
    void Sent(std::int64_t p_nTicks, TTime p_tNow);

  private:
    double m_fSpeed;
    std::int64_t m_nPeriod; ///< ticks
    bool m_bCatchUp;
    bool m_bFirst = true;
    std::int64_t m_nLastTicks = 0;
    TTime m_tLast; ///< when the last cycle was due
};
