#pragma once
#include <algorithm>
#include <chrono>
#include <utility>

/// How long to wait before the next connection: 1 s, twice as long each time up to 30 s, and 1 s again once data has
/// come. A stream that was closed for what it cost has to behave for a minute first: its data alone proves nothing.
///
/// Threads  one. The time is handed in, in s.
class CRetryPause
{
  public:
    /// A connection begins.
    void Begin(double p_fNow_s) { m_fBegin_s = p_fNow_s; }
    /// Data has been read.
    void Data(double p_fNow_s)
    {
        m_bCostly = m_bCostly && p_fNow_s - m_fBegin_s < g_fClean_s;
        if (!m_bCostly)
            m_tPause = g_tFirst;
    }
    /// The stream costs too much. @return whether that is news.
    bool Costly() { return !std::exchange(m_bCostly, true); }
    /// The connection is lost. @return the wait.
    std::chrono::milliseconds Next() { return std::exchange(m_tPause, std::min(2 * m_tPause, g_tMost)); }

  private:
    static constexpr std::chrono::milliseconds g_tFirst{1000};
    static constexpr std::chrono::milliseconds g_tMost{30000};
    static constexpr double g_fClean_s = 60.0;

    std::chrono::milliseconds m_tPause = g_tFirst;
    double m_fBegin_s = 0.0;
    bool m_bCostly = false;
};
