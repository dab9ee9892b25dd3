#pragma once
#include <cstdint>
#include <mutex>

/// A position on a grid of whole samples: a rate, a whole second and a sample index in that second.
/// Ticks are signed 64-bit counts of 100 ns from 0001-01-01 UTC. A zero position means that no time is set yet.
///
/// Rate     r > 0: r samples a second; -n: one sample every n seconds; 0: invalid, every computation answers false.
/// Index    within the second for rates of 2 or more; a running sample count (second 0) for 1 and negative rates.
/// Threads  the fields are copied in and out under a lock of the object, so that the read callback may reset or advance
///          its time stamp while a job copies it; a computation works on one consistent copy.
/// Errors   false, without a message: the caller traces.
class CTime
{
  public:
    explicit CTime(std::int32_t p_nRate) : m_pos{p_nRate, 0, 0} {}
    CTime(const CTime&) = delete;
    CTime& operator=(const CTime&) = delete;

    std::int64_t GetRate() const { return Pos().nRate; }
    std::uint64_t GetIdx() const { return Pos().nIdx; }
    std::uint64_t GetSec() const { return Pos().nSec; }
    /// Index and second become 0; the rate stays.
    void Reset();
    bool IsZero() const;
    /// Compares second and index, not the rate.
    bool IsEqual(const CTime& p_other) const;
    /// Copies second and index, and the rate if p_bWithRate. @return false for a null source.
    bool Copy(const CTime* p_pOther, bool p_bWithRate);
    /// The rate of a connection is known only when the server has answered; second and index stay.
    void SetRate(std::int64_t p_nRate);
    /// Takes second and index from a time stamp. @return false, nothing changed, if it has no index on this rate.
    bool SetTicks(std::int64_t p_nTicks);

    /// Present time of day in ticks.
    static std::int64_t GetNowTicks();
    /// Sample distance in s: 1/r, or n for -n; -1.0 for 0.
    static double CycleTimeFromRate(std::int32_t p_nRate);

    /// (nTicks + 1) / 10000000: the 1 absorbs a stamp that rounding has put one tick short of a full second.
    static std::uint64_t TicksToSec(std::int64_t p_nTicks);
    bool TicksToIdx(std::int64_t p_nTicks, std::uint64_t* p_pnIdx) const;
    /// Ticks of a sample within its second: truncate((nIdx / r) * 10000000.0 + 0.5). 0 for rates of 0 and below.
    std::int64_t IdxToTicks(std::uint64_t p_nIdx) const;
    bool ToTicks(std::int64_t* p_pnTicks) const;
    bool IsValid(std::int64_t p_nTicks) const;
    /// Signed number of samples between the given stamp and the position held.
    bool CheckWithNextTS(std::int64_t p_nTicks, std::int64_t* p_pnGap) const;
    /// The position that follows this one.
    bool CalcNextTS(std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec) const;
    /// The position that follows the given ticks.
    bool CalcNextTS(std::int64_t p_nTicks, std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec) const;
    /// Moves on by one sample.
    bool Advance();
    /// Whether this position lies on a grid of rate p_nRate.
    bool IsAlignedTo(std::int32_t p_nRate) const;
    /// Number of the cycle of rate p_nRate in which this position lies. Kept as it stands: with more than one cycle a
    /// second the numbers are not consecutive.
    bool CycleNumber(std::int32_t p_nRate, std::uint64_t* p_pnCycle) const;
    bool MatchesRateOf(const CTime& p_other) const;

  private:
    struct SPos
    {
        std::int64_t nRate;
        std::uint64_t nIdx;
        std::uint64_t nSec; ///< s since the epoch
    };
    SPos Pos() const;
    static bool TicksToIdx(const SPos& p_pos, std::int64_t p_nTicks, std::uint64_t* p_pnIdx);
    static std::int64_t IdxToTicks(const SPos& p_pos, std::uint64_t p_nIdx);
    static bool CalcNextTS(const SPos& p_pos, std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec);
    static bool IsAligned(const SPos& p_pos, std::int64_t p_nRate);
    /// Length of a negative rate in s, 0 for others.
    static std::uint64_t SlowDist_s(std::int64_t p_nRate);

    mutable std::mutex m_mtxPos;
    SPos m_pos;
};
