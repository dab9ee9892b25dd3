#pragma once
#include <algorithm>
#include <cstdint>

/// Bounds the work that one stream may cause, counted in bytes: what has been saved up, and what is added each second.
/// Frames and bytes that are no frame have accounts of their own: each of the latter may be the beginning of a frame
/// and costs far more, whatever rate the device says it has.
///
/// Threads  one. The time is handed in, in s.
class CByteBudget
{
  public:
    void Reset(double p_fNow_s)
    {
        m_fFrames = g_fFramesMost;
        m_fSkipped = g_fSkippedMost;
        m_fLast_s = p_fNow_s;
    }
    /// @param p_nBytes received, p_nSkipped of them in no frame. @param p_fRate usual bytes a second of the stream; 0:
    /// not known yet, which may be any. @return false: the stream costs too much.
    bool Spend(std::uint64_t p_nBytes, std::uint64_t p_nSkipped, double p_fRate, double p_fNow_s)
    {
        const double fTime_s = std::max(p_fNow_s - m_fLast_s, 0.0);
        const double fRate = p_fRate > 0.0 ? std::min(p_fRate, g_fLargest) : g_fLargest;
        m_fLast_s = p_fNow_s;
        m_fFrames = std::min(m_fFrames + fTime_s * (g_fLeast + 4.0 * fRate), std::max(g_fFramesMost, 10.0 * fRate));
        m_fSkipped = std::min(m_fSkipped + fTime_s * g_fSkippedRate, g_fSkippedMost);
        m_fFrames -= static_cast<double>(p_nBytes);
        m_fSkipped -= static_cast<double>(p_nSkipped);
        return m_fFrames >= 0.0 && m_fSkipped >= 0.0;
    }

  private:
    static constexpr double g_fLargest = 65535.0 * 120.0; ///< the largest frames, at a rate that devices have
    static constexpr double g_fLeast = 1e6;               ///< a second, whatever the stream's own rate is
    static constexpr double g_fFramesMost = 8e6;          ///< or 10 s of the stream: what a network held back
    static constexpr double g_fSkippedRate = 64e3;
    static constexpr double g_fSkippedMost = 512e3; ///< a few of the largest frames that came broken

    double m_fFrames = g_fFramesMost;
    double m_fSkipped = g_fSkippedMost;
    double m_fLast_s = 0.0;
};
