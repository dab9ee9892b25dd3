#pragma once
#include "spectrum/fit/CFitLSQ.h"

/// Fits a peak as a parabola to the decimal logarithm of the amplitudes, that is, a Gaussian on the linear axis. y = c0
/// + c1 x + c2 x^2, x the channel number. Centre: -c1 / (2 c2). Width: where y is log10(2) below its vertex.
class CFitLsqOMA : public CFitLSQ
{
  public:
    /// @param p_vecLog log10 of the amplitudes.
    CFitLsqOMA(const std::valarray<double>& p_vecLog, CTraceOMA* p_pTrace);
    CFitLsqOMA(std::valarray<double>&&, CTraceOMA*) = delete;

    /// Fits channels *p_pnLeft to *p_pnRight. @param[out] p_pvecCoef c0, c1, c2.
    bool FitPeak(const unsigned* p_pnLeft, const unsigned* p_pnRight, VecCoef* p_pvecCoef);
    bool CalcPeakData(const VecCoef& p_vecCoef, unsigned p_nLeft, double p_fStep_Hz, double* p_pfFreq_Hz,
                      double* p_pfFWHM_Hz, double* p_pfAmplMax) const;
    /// In channels; -1.0 after an error line.
    double CalcPeakFreq(const VecCoef& p_vecCoef, unsigned p_nLeft) const;
    double CalcPeakFWHM(const VecCoef& p_vecCoef, unsigned p_nLeft) const;
    double CalcPeakAmplMax(const VecCoef& p_vecCoef, unsigned p_nLeft) const;
    bool CalcPeakLogAmplMax(const VecCoef& p_vecCoef, unsigned p_nLeft, double* p_pfLog) const;
    /// Linear fit curve for all channels of *p_pvecOut.
    void CalcCurve(const VecCoef& p_vecCoef, std::valarray<double>* p_pvecOut) const;

  private:
    void ExactParabola(unsigned p_nLeft);
};
