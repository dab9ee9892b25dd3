#pragma once
#include "vds/base/CGrid.h"
#include "vds/base/ISource.h"
#include "vds/c37118/output/OutputFrames.h"

/// Data frames of the source's own phasors, one per source cycle that lies on the output's grid.
///
/// States   VALID and SUSPECT samples are sent; all others, and missing samples, become fillers. A PMU without
///          any value has bits 15-14 of STAT = 2.
/// Threads  one.
class CPhasorFrames
{
  public:
    /// @param p_output its channels are those of the source.
    CPhasorFrames(const SOutputStreamConfig& p_output, const SConfigFrame& p_config, const ISource& p_source);
    /// @return null: the cycle is not on the output's grid. Valid until the next call.
    const SDataFrame* OnCycle(const SSourceCycle& p_cycle);

  private:
    bool IsOnGrid(std::int64_t p_nTicks) const;

    const CGrid m_grid;
    const bool m_bAll; ///< the output has the source's rate
    const std::uint32_t m_nTimeBase;
    std::vector<std::vector<std::size_t>> m_vecveciSample; ///< by PMU and phasor
    std::int64_t m_nFirst = -1;
    SDataFrame m_data;
};
