#pragma once
#include "host/base/CTraceOMA.h"
#include <memory>
#include <vector>

class CMethodTrace;

/// Limits of one job and its degree of exposure (DOE), which combines magnitude and damping ratio of a swing in a
/// number between 0 and 12. The integer part is the violation level (one of three magnitude by four damping zones), the
/// fraction the position within that zone.
/// Owner    the job. Threads: its worker; the limits do not change after start-up.
/// Limits   magnitude: warning, alarm, W or degrees. Damping: warning <= alarm <= 0; a decaying swing is negative.
class CDOE
{
  public:
    using VecLimit = std::vector<double>;
    CDOE(std::unique_ptr<VecLimit> p_pvecLimitMagn, std::unique_ptr<VecLimit> p_pvecLimitDamp);

    /// @return false if there is no valid DOE; r_fDOE may then hold an intermediate value. Intended: a magnitude
    /// exactly on a limit has no DOE.
    bool Calc(double p_fMagn, double p_fDamp, CTraceOMA* p_pTrace, double& r_fDOE) const;
    /// Integer part of the DOE. Sets 12 and returns false unless the DOE is above -1 and below 12.
    bool RetrveViolLevel(double p_fDOE, CTraceOMA* p_pTrace, unsigned& r_nLevel) const;
    bool CheckDoeVsMagn(double p_fMagn, double p_fDamp, double p_fDOE, CTraceOMA* p_pTrace) const;
    bool CheckDoeVsDamp(double p_fMagn, double p_fDamp, double p_fDOE, CTraceOMA* p_pTrace) const;
    /// Minimum magnitude of any output and any peak: 0.4 of the warning limit, returned in r_fThresh.
    bool IsPSmagnAboveThresh(double p_fMagn, double& r_fThresh) const;
    /// Null if the job has none.
    const VecLimit* GetLimitMagn() const { return m_pvecLimitMagn.get(); }

  private:
    bool CheckLimits(const CMethodTrace& p_trace) const;

    std::unique_ptr<VecLimit> m_pvecLimitMagn;
    std::unique_ptr<VecLimit> m_pvecLimitDamp;
};
