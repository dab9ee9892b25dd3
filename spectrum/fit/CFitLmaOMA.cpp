#include "spectrum/fit/CFitLmaOMA.h"
#include "host/base/CMethodTrace.h"
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CFitLmaOMA";
constexpr std::size_t g_nCoefs = 3;
} // namespace

CFitLmaOMA::CFitLmaOMA(const std::valarray<double>& p_vecAmpl, CTraceOMA* p_pTrace) : CFitLMA(p_vecAmpl, p_pTrace) {}

bool CFitLmaOMA::FitPeak(const unsigned* p_pnLeft, const unsigned* p_pnRight, VecCoef* p_pvecCoef)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "FitPeak");
    const unsigned nData = IsRange(*p_pnLeft, *p_pnRight) ? *p_pnRight - *p_pnLeft + 1 : 0;
    if (nData < g_nCoefs)
    {
        trace.Warning("Too few data points for calculation (required: >= 3)");
        return false;
    }
    if (m_vecCoefs.size() < g_nCoefs || !RunLMA(*p_pnLeft, *p_pnRight, {0, 1, 2}))
        return trace.Error("Fit Parameters Could Not Be Improved");
    p_pvecCoef->assign(m_vecCoefs.begin(), m_vecCoefs.begin() + g_nCoefs);
    for (const double fCoef : *p_pvecCoef)
        if (std::isnan(fCoef))
            return false;
    return true;
}

bool CFitLmaOMA::Model(double p_fX, const VecCoef& p_vecCoef, double* p_pfY, VecCoef* p_pvecDyDa) const
{
    const double fU = 2.0 * (p_fX - p_vecCoef[1]) / p_vecCoef[2];
    const double fD = 1.0 / (2.0 * fU * fU + 1.0);
    *p_pfY = p_vecCoef[0] * fD;
    (*p_pvecDyDa)[0] = fD;
    (*p_pvecDyDa)[1] = fD * fD * 4.0 * fU / p_vecCoef[2];
    (*p_pvecDyDa)[2] = fD * fD * 2.0 * fU * fU / p_vecCoef[2];
    return true;
}

bool CFitLmaOMA::CalcPeakData(const VecCoef& p_vecCoef, double p_fStep_Hz, double* p_pfFreq_Hz, double* p_pfFWHM_Hz,
                              double* p_pfAmplMax) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPeakData");
    if (p_vecCoef.size() < g_nCoefs)
        return false;
    *p_pfAmplMax = p_vecCoef[0];
    if (std::isnan(*p_pfAmplMax))
    {
        trace.Warning(" Invalid #fAmplMax# value");
        return false;
    }
    *p_pfFreq_Hz = p_vecCoef[1] * p_fStep_Hz;
    if (!(*p_pfFreq_Hz > 0.0))
    {
        trace.Warning(" Invalid #fFreq_Hz# value");
        return false;
    }
    *p_pfFWHM_Hz = p_vecCoef[2] * p_fStep_Hz;
    if (!(*p_pfFWHM_Hz > 0.0))
    {
        trace.Warning(" Invalid #fFWHM_Hz# value");
        return false;
    }
    return true;
}

void CFitLmaOMA::CalcCurve(const VecCoef& p_vecCoef, std::valarray<double>* p_pvecOut) const
{
    for (std::size_t nChan = 0; nChan < p_pvecOut->size(); ++nChan)
    {
        const double fV = 2.0 * (static_cast<double>(nChan) - p_vecCoef[1]) / p_vecCoef[2];
        (*p_pvecOut)[nChan] = p_vecCoef[0] / (fV * fV + 1.0);
    }
}
