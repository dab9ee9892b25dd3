#include "spectrum/fit/CFitLsqOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CFitLsqOMA";
constexpr unsigned g_nCoefs = 3;
constexpr double g_fNoLog = -24.0; ///< a smaller logarithm subtracts nothing from an amplitude of epsilon or more
} // namespace

CFitLsqOMA::CFitLsqOMA(const std::valarray<double>& p_vecLog, CTraceOMA* p_pTrace) : CFitLSQ(p_vecLog, p_pTrace) {}

bool CFitLsqOMA::FitPeak(const unsigned* p_pnLeft, const unsigned* p_pnRight, VecCoef* p_pvecCoef)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "FitPeak");
    const unsigned nData = IsRange(*p_pnLeft, *p_pnRight) ? *p_pnRight - *p_pnLeft + 1 : 0;
    if (nData > g_nCoefs)
    {
        if (!PolFit(*p_pnLeft, *p_pnRight, g_nCoefs - 1, eWeightNone))
        {
            trace.Warning("Fit of PS peak failed");
            return false;
        }
    }
    else if (nData == g_nCoefs)
        ExactParabola(*p_pnLeft);
    else
        return trace.Error("Invalid No Of Data!");
    *p_pvecCoef = *m_pvecCoefs;
    for (const double fCoef : *p_pvecCoef)
        if (std::isnan(fCoef))
            return trace.Error("Invalid PS peak fit coefficients");
    return true;
}

/// Lagrange's parabola through the three points left, left + 1 and left + 2.
void CFitLsqOMA::ExactParabola(unsigned p_nLeft)
{
    const double fX0 = p_nLeft;
    const double fX1 = fX0 + 1.0;
    const double fX2 = fX0 + 2.0;
    const double fL0 = m_vecData[p_nLeft] / ((fX0 - fX1) * (fX0 - fX2));
    const double fL1 = m_vecData[p_nLeft + 1] / ((fX1 - fX0) * (fX1 - fX2));
    const double fL2 = m_vecData[p_nLeft + 2] / ((fX2 - fX0) * (fX2 - fX1));
    m_pvecCoefs->assign({fL0 * fX1 * fX2 + fL1 * fX0 * fX2 + fL2 * fX0 * fX1,
                         -(fL0 * (fX1 + fX2) + fL1 * (fX0 + fX2) + fL2 * (fX0 + fX1)), fL0 + fL1 + fL2});
    m_fChiSq = 0.0;
}

double CFitLsqOMA::CalcPeakFreq(const VecCoef& p_vecCoef, unsigned) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPeakFreq");
    if (p_vecCoef.size() < g_nCoefs)
    {
        trace.Error("No.of fit coef.s [", p_vecCoef.size(), "] below expected no. [3]");
        return -1.0;
    }
    const double fFreq = -p_vecCoef[1] / (2.0 * p_vecCoef[2]);
    if (!(fFreq < g_fEpsilon))
        return fFreq;
    trace.Warning("Invalid LSQ fit results: f[Hz]=", fFreq, " coef_0=", p_vecCoef[0], " coef_1=", p_vecCoef[1],
                  " coef_2=", p_vecCoef[2]);
    return -1.0;
}

bool CFitLsqOMA::CalcPeakLogAmplMax(const VecCoef& p_vecCoef, unsigned p_nLeft, double* p_pfLog) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPeakLogAmplMax");
    const double fFreq = CalcPeakFreq(p_vecCoef, p_nLeft);
    if (fFreq < 0.0)
    {
        trace.Warning("Invalid PS peak freq.channel");
        return false;
    }
    *p_pfLog = (p_vecCoef[2] * fFreq + p_vecCoef[1]) * fFreq + p_vecCoef[0];
    return true;
}

double CFitLsqOMA::CalcPeakAmplMax(const VecCoef& p_vecCoef, unsigned p_nLeft) const
{
    double fLog = 0.0;
    if (CalcPeakLogAmplMax(p_vecCoef, p_nLeft, &fLog))
        return std::pow(10.0, fLog);
    CMethodTrace(m_pTrace, g_strClass, "CalcPeakAmplMax").Warning("Invalid PS peak freq.channel");
    return -1.0;
}

double CFitLsqOMA::CalcPeakFWHM(const VecCoef& p_vecCoef, unsigned p_nLeft) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPeakFWHM");
    if (CalcPeakFreq(p_vecCoef, p_nLeft) < 0.0)
    {
        trace.Warning("Invalid PS peak freq.channel");
        return -1.0;
    }
    double fLogMax = 0.0;
    if (!CalcPeakLogAmplMax(p_vecCoef, p_nLeft, &fLogMax))
    {
        trace.Warning("Invalid PS peak log.magn.");
        return -1.0;
    }
    const double fDisc = p_vecCoef[1] * p_vecCoef[1] - 4.0 * p_vecCoef[2] * (std::log10(2.0) + p_vecCoef[0] - fLogMax);
    return fDisc < 0.0 ? -1.0 : std::sqrt(fDisc) / std::abs(p_vecCoef[2]);
}

bool CFitLsqOMA::CalcPeakData(const VecCoef& p_vecCoef, unsigned p_nLeft, double p_fStep_Hz, double* p_pfFreq_Hz,
                              double* p_pfFWHM_Hz, double* p_pfAmplMax) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPeakData");
    *p_pfAmplMax = CalcPeakAmplMax(p_vecCoef, p_nLeft);
    if (std::isnan(*p_pfAmplMax))
    {
        trace.Warning("Invalid peak ampl.max.");
        return false;
    }
    *p_pfFreq_Hz = CalcPeakFreq(p_vecCoef, p_nLeft) * p_fStep_Hz;
    if (!(*p_pfFreq_Hz > 0.0))
    {
        trace.Warning("Invalid peak freq.");
        return false;
    }
    *p_pfFWHM_Hz = CalcPeakFWHM(p_vecCoef, p_nLeft) * p_fStep_Hz;
    if (!(*p_pfFWHM_Hz > 0.0))
    {
        trace.Warning("Invalid peak FWHM");
        return false;
    }
    return true;
}

void CFitLsqOMA::CalcCurve(const VecCoef& p_vecCoef, std::valarray<double>* p_pvecOut) const
{
    const double fC0 = p_vecCoef[0];
    const double fC1 = p_vecCoef[1];
    const double fC2 = p_vecCoef[2];
    /// @return false, with nothing written, where the curve is negligible.
    const auto Put = [&](std::size_t p_nChan)
    {
        const auto fX = static_cast<double>(p_nChan);
        const double fLog = fC0 + fC1 * fX + fC2 * (fX * fX);
        if (fLog < g_fNoLog)
            return false;
        (*p_pvecOut)[p_nChan] = std::pow(10.0, fLog);
        return true;
    };
    *p_pvecOut = 0.0;
    const std::size_t nSize = p_pvecOut->size();
    // A peak falls off to both sides of its centre; once the curve is negligible it stays so. There is no centre if the
    // coefficients come from an amplitude of exactly 0, whose logarithm is infinite.
    const double fVertex = -fC1 / (2.0 * fC2);
    const bool bPeak = fC2 < 0.0 && std::isfinite(fVertex);
    const double fCentre = bPeak ? std::clamp(fVertex, 0.0, static_cast<double>(nSize)) : 0.0;
    const auto nCentre = static_cast<std::size_t>(fCentre + 0.5);
    for (std::size_t nChan = nCentre; nChan < nSize && (Put(nChan) || !bPeak); ++nChan)
        ;
    for (std::size_t nChan = std::min(nCentre, nSize); nChan-- > 0 && Put(nChan);)
        ;
}
