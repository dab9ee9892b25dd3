#pragma once
#include "spectrum/data/CPeak.h"

/// A peak with the job's additions: its resolution and two marks for the assignment to modes.
class CPeakOMA : public CPeak
{
  public:
    explicit CPeakOMA(CTraceOMA* p_pTrace) : CPeak(p_pTrace) {}

    std::int32_t m_eReso = 3;       ///< 0 LR, 1 MR, 2 HR; 3: outside the three resolutions
    bool m_bAboveMagnLimit = false; ///< the raw spectral magnitude is at least 0.2 of the warning limit
    bool m_bAssigned = false;       ///< taken by a mode
};
