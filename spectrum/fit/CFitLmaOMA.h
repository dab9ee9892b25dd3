#pragma once
#include "spectrum/fit/CFitLMA.h"

/// Fits a peak as a Lorentzian to the linear amplitudes: c0 height, c1 centre and c2 FWHM in channels. Intended: the
/// model of the steps differs from CalcCurve, and its derivatives are not exact (factor 2 in the denominator, no c0 and
/// no inner derivative). The fitted values depend on it; a step only has to reduce chi-square.
class CFitLmaOMA : public CFitLMA
{
  public:
    CFitLmaOMA(const std::valarray<double>& p_vecAmpl, CTraceOMA* p_pTrace);
    CFitLmaOMA(std::valarray<double>&&, CTraceOMA*) = delete;

    bool FitPeak(const unsigned* p_pnLeft, const unsigned* p_pnRight, VecCoef* p_pvecCoef);
    bool CalcPeakData(const VecCoef& p_vecCoef, double p_fStep_Hz, double* p_pfFreq_Hz, double* p_pfFWHM_Hz,
                      double* p_pfAmplMax) const;
    /// c0 / (v^2 + 1), v = 2 (x - c1) / c2, for all channels of *p_pvecOut.
    void CalcCurve(const VecCoef& p_vecCoef, std::valarray<double>* p_pvecOut) const;

  protected:
    bool Model(double p_fX, const VecCoef& p_vecCoef, double* p_pfY, VecCoef* p_pvecDyDa) const override;
};
