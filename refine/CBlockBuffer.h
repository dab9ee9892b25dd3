#pragma once
#include "refine/SSeries.h"
#include <cstdint>
#include <deque>

/// The newest stretch of a signal as means over blocks of a fixed number of grid positions. A mean over D samples keeps what
/// a swing far below the block rate says of itself, costs a D-th of the work, and leaves white noise white.
/// Errors  positions that do not rise are passed over; a jump beyond the length kept empties the buffer.
class CBlockBuffer
{
  public:
    /// @param p_fCycle_s distance of two grid positions @param p_nDecimation positions a block @param p_fKeep_s length kept
    CBlockBuffer(double p_fCycle_s, unsigned p_nDecimation, double p_fKeep_s);

    /// One valid sample at a grid position. Positions without a valid sample are simply not given.
    void Add(std::int64_t p_nPosition, double p_fValue);
    void Clear();

    /// Closed blocks of the newest p_fSpan_s, p_nMerge of them joined to one. Time 0 is the grid position Reference().
    SSeries Series(double p_fSpan_s, unsigned p_nMerge = 1) const;
    /// Grid position of the newest sample in a closed block; 0 if there is none.
    std::int64_t Reference() const { return m_nReference; }
    double Block_s() const { return m_fCycle_s * m_nDecimation; }

  private:
    struct SBlock
    {
        std::int64_t nNumber; ///< grid position / decimation
        unsigned nCount;
        double fMean;
        double fPos;  ///< mean of the positions, relative to the begin of the block
        double fPos2; ///< mean of their squares
    };
    void Close();

    double m_fCycle_s;
    unsigned m_nDecimation;
    std::size_t m_nKeep; ///< blocks
    std::deque<SBlock> m_deqBlock;
    SBlock m_open{0, 0, 0.0, 0.0, 0.0}; ///< sums instead of means
    std::int64_t m_nLast = 0;
    std::int64_t m_nReference = 0;
};
