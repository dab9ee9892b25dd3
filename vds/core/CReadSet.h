#pragma once
#include "link.pb.h"
#include "vds/base/ISource.h"
#include "vds/core/CDecimator.h"
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// How long clients take for a cycle, from passing it to the link until the client has received it. Counted in classes
/// that grow by 10 %: the 99 % time is the upper bound of its class.
class CDeliveryTimes
{
  public:
    void Add(std::chrono::nanoseconds p_tTaken);
    std::uint64_t Count() const { return m_nCount; }
    double Worst_ms() const { return m_fWorst_ms; }
    double Percent99_ms() const;
    double Sum_ms() const { return m_fSum_ms; }
    /// Those within a limit, to a tenth of it.
    std::uint64_t CountWithin(double p_fLimit_ms) const;

  private:
    std::vector<std::uint64_t> m_vecnCount;
    std::uint64_t m_nCount = 0;
    double m_fWorst_ms = 0.0;
    double m_fSum_ms = 0.0;
};

/// Rate at which a source serves a set that requests p_nRate (or, if that is 0, a cycle time): the highest rate whose
/// grid is part of both grids. A source slower than 1 Hz serves all sets at its own rate.
std::int32_t ActualRate(std::int32_t p_nSourceRate, std::int32_t p_nRate, std::int64_t p_nCycle_ms);
/// Cycle time of a rate in ms, truncated.
std::int64_t CycleTime_ms(std::int32_t p_nRate);

/// One started read set of a client: which cycles it gets, with which channels, and how far the client has got.
class CReadSet
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CReadSet(const ISource& p_source, const Norvik::Energy::Kestrel::Link::StartSet& p_start, std::size_t p_nWindow);

    unsigned StartNumber() const { return m_nStart; }
    /// Calls p_fnSend for each cycle of the set that results from a cycle of the source: this cycle itself or, where
    /// the source is filtered down to the set's rate, a slightly earlier one.
    void Offer(const SSourceCycle& p_cycle, const std::function<void(const SSourceCycle&)>& p_fnSend);
    /// Whether a cycle of the source belongs to the set. Cycles on the source's grid but not on the set's are skipped;
    /// a stamp on neither grid is a data fault and is passed on.
    std::size_t Channels() const { return m_veciSample.size(); }
    bool Takes(std::int64_t p_nTicks) const;
    /// A missing or INVALID sample carries the last valid value of its channel: readers check the state of only some
    /// cycles but use the values of all, and a dropout among the values would look like a swing.
    void Fill(const SSourceCycle& p_cycle, TTime p_tNow, Norvik::Energy::Kestrel::Link::Cycle& r_cycle);

    // ---- progress of the client ----
    bool HasCredit() const { return m_nSent - m_nTaken < m_nWindow; }
    bool AllTaken() const { return m_nSent == m_nTaken; }
    /// Time of the newest cycle that the client has confirmed; the maximum if it has confirmed all.
    std::int64_t TakenTicks() const;
    void Taken(std::uint64_t p_nSeq, TTime p_tNow, CDeliveryTimes& r_times);

    bool m_bReady = false;   ///< the client has received the reply to the start
    bool m_bSettled = false; ///< data may be sent
    TTime m_tStart;

  private:
    const unsigned m_nSet;
    const unsigned m_nStart;
    const std::int32_t m_nSourceRate;
    const std::int32_t m_nRate;
    const std::size_t m_nWindow;
    std::unique_ptr<CDecimator> m_pDecimator; ///< null: no filter
    std::vector<std::size_t> m_veciSample;    ///< index of each channel in the source's samples; out of range: unknown
                                              ///< id
    std::vector<SSourceSample> m_vecLast;     ///< the last usable sample of each channel
    std::uint64_t m_nSent = 0;
    std::uint64_t m_nTaken = 0;
    std::deque<std::pair<TTime, std::int64_t>> m_quetSent; ///< send times of the newest unconfirmed cycles, and their
                                                           ///< stamps
};
