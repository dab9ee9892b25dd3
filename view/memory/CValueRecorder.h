#pragma once
#include "view/memory/Records.h"
#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <vector>

/// The actual values of one job on their way to the memory: the last two minutes at full rate, of which a record is made
/// around events, and minimum, mean and maximum of each minute.
///
/// Owner    CMemory. Threads: any, under the lock of the state.
class CValueRecorder
{
  public:
    static constexpr std::int64_t g_nBefore_ticks = 120 * 10'000'000LL;
    static constexpr std::int64_t g_nAfter_ticks = 60 * 10'000'000LL;

    struct SSink
    {
        /// At most ten seconds, in order.
        std::function<void(std::span<const SSample>)> fnRecord;
        std::function<void(std::int64_t p_nMinute, const SExtremes&, std::uint32_t p_nMissing)> fnMinute;
    };
    explicit CValueRecorder(double p_fRate_Hz);

    void OnSample(const SSample& p_sample, const SSink& p_sink);
    /// An event of the job begins, goes on or ends (p_nEnd 0: it stands).
    void OnEvent(std::int64_t p_nId, std::int64_t p_nBegin, std::int64_t p_nEnd, const SSink& p_sink);
    /// Hands over what is still here, the minute that has begun as well.
    void Flush(const SSink& p_sink);

  private:
    bool IsRecording(std::int64_t p_nTicks) const { return !m_setStanding.empty() || p_nTicks <= m_nUntil; }
    void Record(const SSink& p_sink);
    void EndMinute(const SSink& p_sink);

    const std::size_t m_nRing;
    std::vector<SSample> m_vecRing; ///< grows to its size with the first samples
    std::size_t m_nFirst = 0;       ///< place of the oldest one
    std::int64_t m_nLast = 0;       ///< ticks of the newest one
    std::int64_t m_nRecorded = 0;   ///< all up to here is on its way
    std::vector<SSample> m_vecPending;
    std::set<std::int64_t> m_setStanding;
    std::int64_t m_nUntil = 0;
    std::int64_t m_nMinute = 0;
    SExtremes m_extremes;
    std::uint32_t m_nMissing = 0;
};
