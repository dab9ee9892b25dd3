#include "modes/record/CDataPS.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "spectrum/fit/CFitLSQ.h"
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CDataPS";
}

bool CDataPS::DampTriple(const std::valarray<double>& p_vecAtten, unsigned p_nStart, double p_fFreq_Hz,
                         CTraceOMA* p_pTrace, double& r_fDamp)
{
    const CMethodTrace trace(p_pTrace, g_strClass, "DampTriple");
    const std::size_t nData = p_vecAtten.size();
    if (nData <= p_nStart)
        return trace.Error("No.of data [", nData, "] smaller or equal start index [", p_nStart, "]");

    // A polynomial of degree 0 is the mean. The fit rejects a single value; the coefficient is then 0.
    CFitLSQ fit(p_vecAtten, p_pTrace);
    fit.PolFit(p_nStart, static_cast<unsigned>(nData - 1), 0, CFitLSQ::eWeightNone);
    CFit::VecCoef vecCoef(2, 0.0);
    fit.SwapCoefs(vecCoef);
    bool bOk = true;
    for (const double fCoef : vecCoef)
        if (std::isnan(fCoef))
            bOk = false;
    r_fDamp = DampRatio(p_fFreq_Hz, vecCoef.empty() ? 0.0 : vecCoef[0]);
    return bOk;
}

bool CDataPS::DampForTupel(double p_fVal1, double p_fVal2, double p_fFreq_Hz, CTraceOMA* p_pTrace, double& r_fDamp)
{
    const CMethodTrace trace(p_pTrace, g_strClass, "DampForTupel");
    // Intended: checks the second value, although the first one is the divisor.
    if (p_fVal2 < g_fEpsilon)
        return trace.Error(" Invalid denominator: 0");
    if ((p_fVal1 < 0.0 && p_fVal2 > 0.0) || (p_fVal1 > 0.0 && p_fVal2 < 0.0))
        return trace.Error(" Differing sign values not allowed here");
    r_fDamp = DampRatio(p_fFreq_Hz, -2.0 * std::log(p_fVal2 / p_fVal1) * p_fFreq_Hz);
    return true;
}

double CDataPS::DampRatio(double p_fFreq_Hz, double p_fAtten)
{
    const double fAng = AngFreq(p_fFreq_Hz);
    return p_fAtten / std::sqrt(fAng * fAng + p_fAtten * p_fAtten);
}

double CDataPS::AttenFromDamp(double p_fFreq_Hz, double p_fDamp)
{
    return AngFreq(p_fFreq_Hz) * p_fDamp / std::sqrt(1.0 - p_fDamp * p_fDamp);
}
