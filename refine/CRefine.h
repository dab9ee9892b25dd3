#pragma once
#include "refine/CAmbient.h"
#include "refine/CBlockBuffer.h"
#include "refine/CSwingEstimator.h"
#include "refine/SEstimate.h"
#include <cstdint>
#include <memory>
#include <vector>

/// Second estimate of one job's modes, from the job's actual values.
///
/// Use      AddSample for every measurement cycle; SetStanding for each mode whenever its state is known (its output channels
///          write: standing); once a second, and where a figure is wanted, Estimate and Ambient. A swing that is no longer
///          standing can be asked for as long as its samples are kept (60 s).
/// Owner    whoever shows the figures; never the real-time path: an estimate takes up to milliseconds.
/// Threads  one at a time. Different jobs may run on different threads.
/// Errors   nothing is thrown for data: values that are not finite count as missing, time stamps that do not rise are passed
///          over, a jump ahead of more than what is kept empties the buffers, one back by more than 10 s begins anew. What cannot be told is unknown (nSwings 0, eNone).
/// Memory   about 100 kB a mode at most.
class CRefine
{
  public:
    /// One configured mode. A limit not above 0 is none: then 0.05 Hz and 5 Hz hold, and never more than 0.4 of the rate.
    struct SMode
    {
        double fMin_Hz;
        double fMax_Hz;
    };
    /// @param p_nRate rate coding of the configuration: r samples a second, or -n: one sample every n seconds; 0 counts as 1
    /// @param p_bAngle values are degrees folded into -180 to 180, and are unfolded here
    CRefine(int p_nRate, bool p_bAngle, const std::vector<SMode>& p_vecMode);
    ~CRefine();

    /// @param p_nTime ticks of 100 ns since 0001-01-01 UTC @param p_nQuality 0 is VALID; any other sample is left out
    void AddSample(std::int64_t p_nTime, double p_fValue, unsigned p_nQuality);
    /// Standing samples take no part in the ambient estimate, nor do the first AFTER_S seconds after them.
    void SetStanding(std::size_t p_iMode, bool p_bStanding);

    /// The swing of a mode as of the newest sample. 0.2 to 2.5 ms.
    SEstimate Estimate(std::size_t p_iMode);
    /// The mode in quiet times. Worked out anew when 30 s of samples have come since the last time, otherwise the last one.
    SAmbient Ambient(std::size_t p_iMode);
    std::size_t Modes() const { return m_vecpMode.size(); }

    static constexpr double AFTER_S = 20.0;

  private:
    struct SModeState;
    void Restart(std::int64_t p_nTime);
    unsigned Merge(const SModeState& p_mode) const;
    void KeepOnset(SModeState& r_mode, const CSwingEstimator::SFound& p_found, double p_fOldest_s,
                   SEstimate& r_estimate) const;
    std::int64_t TimeOf(std::int64_t p_nPosition) const;

    double m_fCycle_s;
    bool m_bAngle;
    bool m_bFirst = true;
    std::int64_t m_nOrigin = 0;   ///< ticks of position 0
    std::int64_t m_nPosition = 0; ///< of the newest sample, valid or not
    double m_fLast = 0.0;         ///< newest valid value, unfolded
    std::vector<std::unique_ptr<SModeState>> m_vecpMode;
};
