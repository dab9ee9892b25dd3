#pragma once
#include <algorithm>
#include <chrono>
#include <cstdint>

/// Limits the work that one stream may cause, counted in bytes: a saved-up budget plus an amount per second. Bytes
/// outside frames cost more, since each may be the start of a frame.
///
/// Threads  one. The time is passed in.
class CByteBudget
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    void Reset(TTime p_tNow)
    {
        m_fLeft = g_fMost;
        m_tLast = p_tNow;
    }
    /// @param p_nBytes bytes received, p_nSkipped of them outside frames. @param p_fRate normal bytes per second of the
    /// stream.
    /// @return false: the stream exceeds its budget.
    bool Spend(std::uint64_t p_nBytes, std::uint64_t p_nSkipped, double p_fRate, TTime p_tNow)
    {
        const double fTime_s = std::chrono::duration<double>(p_tNow - m_tLast).count();
        m_tLast = p_tNow;
        m_fLeft = std::min(m_fLeft + fTime_s * (g_fLeast + 4.0 * p_fRate), g_fMost);
        m_fLeft -= static_cast<double>(p_nBytes) + g_fSkipped * static_cast<double>(p_nSkipped);
        return m_fLeft >= 0.0;
    }

  private:
    static constexpr double g_fMost = 8e6;     ///< two seconds of the largest frames at 60 per second
    static constexpr double g_fLeast = 1e6;    ///< per second, whatever the stream's own rate is
    static constexpr double g_fSkipped = 16.0; ///< extra cost of a byte outside frames

    double m_fLeft = g_fMost;
    TTime m_tLast;
};
