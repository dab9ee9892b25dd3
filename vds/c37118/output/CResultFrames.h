#pragma once
#include "vds/base/CGrid.h"
#include "vds/c37118/output/OutputFrames.h"
#include <chrono>
#include <deque>
#include <map>
#include <optional>

struct SEvent;

/// Data frames of the results: one frame for each point of the output's grid that the data passes, filled with what the
/// application writes for that time.
///
/// Time     a frame waits until the clients have received the data of its time, and then as long as the application
///          may need. A value is valid for the period of its own channel, so a channel written less often than
///          frames are sent repeats its value, and one written more often is thinned out.
/// Quality  VALID: STAT 0; SUSPECT: value with bits 15-14 = 1; INVALID or no value: filler with bits 15-14 = 2.
/// Bounds   the number of waiting frames is limited; beyond it the oldest is sent.
/// Threads  one.
class CResultFrames
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CResultFrames(const SOutputStreamConfig& p_output, const SConfigFrame& p_config);

    /// The data has reached this time.
    void OnCycle(std::int64_t p_nTicks);
    /// The clients have received everything up to this time.
    void OnTaken(std::int64_t p_nTicks, TTime p_tNow);
    /// @param p_nRate of the channel: r values per second, or -n. @param p_eQual 0 VALID, 1 SUSPECT, otherwise INVALID.
    void OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue, int p_eQual);
    void OnEvent(const SEvent& p_event);

    /// The oldest frame, if it may be sent or p_bAll is set; valid until the next call of a method. @return null: no
    /// frame.
    const SDataFrame* Next(TTime p_tNow, bool p_bAll);
    /// When Next will have a frame if nothing else happens. @return nullopt: unknown.
    std::optional<TTime> Due() const;

  private:
    struct SChannel
    {
        std::size_t nPmu = 0;
        std::size_t nAnalog = 0;
        std::int64_t nTicks = -1; ///< -1: no value yet
        std::int64_t nHold = 0;   ///< ticks for which the value is valid
        float fValue = 0.0F;
        int eQual = 2;
    };
    struct SWaiting
    {
        std::int64_t nTicks = 0;
        std::optional<TTime> tTaken;
        SDataFrame data;
    };
    static bool Holds(const SChannel& p_channel, std::int64_t p_nTicks);
    static void Put(const SChannel& p_channel, SDataFrame& r_data);
    void Open(std::int64_t p_nTicks);
    void PutStat(SDataFrame& r_data, std::int64_t p_nTicks) const;

    const CGrid m_grid;
    const std::uint32_t m_nTimeBase;
    const std::chrono::milliseconds m_tWait;
    const SDataFrame m_empty;
    std::size_t m_nMaxWaiting;
    std::map<std::uint64_t, SChannel> m_mapChannel;
    std::map<std::uint64_t, std::size_t> m_mapMode; ///< PMU by id of the mode
    std::vector<std::uint16_t> m_vecnLevel;         ///< digital word by PMU
    std::deque<SWaiting> m_queWaiting;
    std::int64_t m_nFirst = -1; ///< time of the first frame
    std::int64_t m_nLast = -1;  ///< time of the newest frame
    SDataFrame m_out;
};
