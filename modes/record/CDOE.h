#pragma once
#include "host/base/CTraceOMA.h"
#include <memory>
#include <vector>

class CMethodTrace;

/// Limits of one job and its degree of exposure: magnitude and damping ratio of a swing in one number between 0 and 12.
/// The whole part is the violation level (a cell of three magnitude and four damping zones), the fraction the place
/// within the cell.
/// Owner    the job. Threads: its worker; the limits do not change after start-up.
/// Limits   magnitude: warning, alarm, W or degrees. Damping: warning <= alarm <= 0, a decaying swing being negative.
class CDOE
{
  public:
    using VecLimit = std::vector<double>;
    CDOE(std::unique_ptr<VecLimit> p_pvecLimitMagn, std::unique_ptr<VecLimit> p_pvecLimitDamp);

    /// @return false leaves r_fDOE as far as it came; a magnitude exactly on a limit has no DOE (kept as it stands).
    bool Calc(double p_fMagn, double p_fDamp, CTraceOMA* p_pTrace, double& r_fDOE) const;
    /// Whole part; 12 and false for a DOE outside 0 to below 12.
    bool RetrveViolLevel(double p_fDOE, CTraceOMA* p_pTrace, unsigned& r_nLevel) const;
    bool CheckDoeVsMagn(double p_fMagn, double p_fDamp, double p_fDOE, CTraceOMA* p_pTrace) const;
    bool CheckDoeVsDamp(double p_fMagn, double p_fDamp, double p_fDOE, CTraceOMA* p_pTrace) const;
    /// The floor for any output and any peak: 0.4 of the warning limit, left in r_fThresh.
    bool IsPSmagnAboveThresh(double p_fMagn, double& r_fThresh) const;
    /// Null if the job was given none.
    const VecLimit* GetLimitMagn() const { return m_pvecLimitMagn.get(); }

  private:
    bool CheckLimits(const CMethodTrace& p_trace) const;

    std::unique_ptr<VecLimit> m_pvecLimitMagn;
    std::unique_ptr<VecLimit> m_pvecLimitDamp;
};
