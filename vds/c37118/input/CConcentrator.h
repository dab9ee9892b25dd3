#pragma once
#include "vds/base/CGrid.h"
#include "vds/base/ISource.h"
#include <map>
#include <span>
#include <utility>

/// Combines the streams on one grid of cycles. A cycle is output as soon as all streams expected in it have delivered
/// their frame, at the latest the waiting time after its first frame, and always in order of time. There is no cycle
/// where no frame arrived.
///
/// Time     no internal clock: arrival times are parameters, in ticks of any steady clock that is roughly
///          UTC. A stamp more than 10 s from the newest one is taken for a clock error and refused, unless it is
///          nearer to the arrival time by as much, or nothing else has arrived for 2 s: then the time line jumps to it.
/// Threads  one.
class CConcentrator
{
  public:
    enum EPut
    {
        eTaken,
        eLate,      ///< the cycle has been output
        eDuplicate, ///< the stream has already delivered its frame of this cycle
        eBadClock
    };
    using TSample = std::pair<std::size_t, SSourceSample>; ///< index in the cycle, value

    CConcentrator(std::int32_t p_nRate, std::int64_t p_nMaxWait_ticks, std::size_t p_nSamples, std::size_t p_nStreams);

    const CGrid& Grid() const { return m_grid; }
    /// Cycles wait for a stream while it is active. @param p_nRate of the stream: it is expected only on its own grid.
    void SetActive(std::size_t p_nStream, bool p_bActive, std::int32_t p_nRate = 0);
    /// A frame of a stream. @param p_nIndex index on the grid.
    EPut Put(std::size_t p_nStream, std::int64_t p_nIndex, std::span<const TSample> p_samples, std::int64_t p_nArrival);
    /// Next cycle, if it may be output at this time.
    bool Take(SSourceCycle& r_cycle, std::int64_t p_nNow);
    /// Latest time at which the next cycle is output; the maximum if there is none.
    std::int64_t Due() const;

  private:
    using TKey = std::pair<std::uint64_t, std::int64_t>; ///< section of the time line, index
    struct SPending
    {
        std::int64_t nFirstArrival = 0;
        std::vector<SSourceSample> vecSample;
        std::vector<bool> vecbCame; ///< by stream
    };
    using TPending = std::map<TKey, SPending>;
    struct SStream
    {
        bool bActive = false;
        std::int32_t nEvery = 1; ///< expected at every n-th point of the grid; 0: unknown
    };

    bool IsPlausible(std::int64_t p_nIndex, std::int64_t p_nArrival);
    bool IsComplete(const TPending::value_type& p_pending) const;
    SPending& Slot(const TKey& p_key, std::int64_t p_nArrival);

    const CGrid m_grid;
    const std::int64_t m_nMaxWait;
    const std::size_t m_nSamples;
    std::vector<SStream> m_vecStream;
    TPending m_mapPending;
    std::vector<TPending::node_type> m_vecFree; ///< reused, so that the normal cycle allocates no memory
    std::uint64_t m_nStretch = 0;               ///< counts the jumps of the time line
    TKey m_keyOut{0, -1};                       ///< of the newest cycle that was output
    bool m_bAny = false;
    std::int64_t m_nNewest = 0;  ///< index
    std::int64_t m_nArrival = 0; ///< of the last frame on the time line
};
