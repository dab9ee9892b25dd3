#pragma once
#include <cstdint>
#include <mutex>

/// A position on a grid of whole samples: rate, whole second, and sample index within that second. Ticks are signed
/// 64-bit counts of 100 ns since 0001-01-01 UTC. A zero position means that no time has been set.
///
/// Rate     r > 0: r samples a second; -n: one sample every n seconds; 0: invalid, every computation returns false.
/// Index    within the second for rates of 2 and above; for other rates a running sample count, with second 0.
/// Threads  any. A lock guards the fields, because the read callback resets or advances its time stamp while a job
///          copies it; every computation works on one consistent copy.
/// Errors   false, without a message; the caller traces.
class CTime
{
  public:
    explicit CTime(std::int32_t p_nRate) : m_pos{p_nRate, 0, 0} {}
    CTime(const CTime&) = delete;
    CTime& operator=(const CTime&) = delete;

    std::int64_t GetRate() const { return Pos().nRate; }
    std::uint64_t GetIdx() const { return Pos().nIdx; }
    std::uint64_t GetSec() const { return Pos().nSec; }
    /// Clears index and second; keeps the rate.
    void Reset();
    bool IsZero() const;
    /// Compares second and index, not the rate.
    bool IsEqual(const CTime& p_other) const;
    /// Copies second and index, and the rate if p_bWithRate. @return false for a null source.
    bool Copy(const CTime* p_pOther, bool p_bWithRate);
    /// Changes the rate only: the rate of a connection is not known until the server has answered.
    void SetRate(std::int64_t p_nRate);
    /// Takes second and index from a time stamp. @return false, with nothing changed, if it has no index at this rate.
    bool SetTicks(std::int64_t p_nTicks);

    /// Current time of day in ticks.
    static std::int64_t GetNowTicks();
    /// Sample distance in s: 1/r, or n for -n; -1.0 for 0.
    static double CycleTimeFromRate(std::int32_t p_nRate);

    /// (nTicks + 1) / 10000000: the 1 compensates for a stamp that rounding has left one tick before a full second.
    static std::uint64_t TicksToSec(std::int64_t p_nTicks);
    bool TicksToIdx(std::int64_t p_nTicks, std::uint64_t* p_pnIdx) const;
    /// Ticks of a sample within its second: truncate((nIdx / r) * 10000000.0 + 0.5). 0 for rates of 0 and below.
    std::int64_t IdxToTicks(std::uint64_t p_nIdx) const;
    bool ToTicks(std::int64_t* p_pnTicks) const;
    bool IsValid(std::int64_t p_nTicks) const;
    /// Signed number of samples from the given stamp to this position.
    bool CheckWithNextTS(std::int64_t p_nTicks, std::int64_t* p_pnGap) const;
    /// The position after this one.
    bool CalcNextTS(std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec) const;
    /// The position after the given ticks.
    bool CalcNextTS(std::int64_t p_nTicks, std::uint64_t* p_pnIdx, std::uint64_t* p_pnSec) const;
    /// Moves forward by one sample.
    bool Advance();
    /// Whether this position lies on a grid of rate p_nRate.
    bool IsAlignedTo(std::int32_t p_nRate) const;
    /// Number of the cycle, at rate p_nRate, that contains this position. Above one cycle a second the numbers are not
    /// consecutive; a job's check for lost PS cycles depends on it.
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
    /// Seconds between two samples at a negative rate; 0 for other rates.
    static std::uint64_t SlowDist_s(std::int64_t p_nRate);

    mutable std::mutex m_mtxPos;
    SPos m_pos;
};
