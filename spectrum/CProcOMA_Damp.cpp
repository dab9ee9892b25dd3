#include "host/CMethodTrace.h"
#include "host/CShellOMA.h"
#include "modes/CDataPS.h"
#include "spectrum/CFFT.h"
#include "spectrum/CMathBAS.h"
#include "spectrum/CProcOMA.h"
#include <cmath>

// Magnitude and damping ratio of a peak from the time signal of its band: the signal is cut at its zero crossings into
// half cycles, their extremes give the envelope, its decay the damping ratio.

namespace
{
constexpr std::string_view g_strClass = "CProcOMA";
constexpr std::string_view g_strMethod = " DampFromTimeData";
constexpr unsigned g_nMaxHS = 8;
} // namespace

bool CProcOMA::DampFromTimeData(unsigned p_nLoChan, unsigned p_nHiChan, const CFFT* p_pFFT, double p_fFreq_Hz,
                                std::valarray<double>* p_pvecTime, double* p_pfMagn, double* p_pfDamp) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, g_strMethod);
    if (!p_pFFT || !p_pvecTime || p_pvecTime->size() == 0)
        return trace.BadPointer(!p_pFFT ? "p_pFFT" : "p_pvecTime");
    {
        CFFT fftInverse(m_pTrace);
        fftInverse.IFFTbyMKL(p_pFFT->GetData(), p_nLoChan, p_nHiChan);
        fftInverse.RetrveTime(*p_pvecTime);
    }
    *p_pvecTime -= p_pvecTime->sum() / static_cast<double>(p_pvecTime->size());

    const SHalfCycles half = FindHalfCycles(*p_pvecTime);
    const std::size_t nFirst = half.vecFirst.size();
    const std::size_t nSecond = half.vecSecond.size();
    if (nFirst == 0)
    {
        trace.Warning("No max. found");
        return false;
    }
    if (nSecond == 0)
    {
        trace.Warning("Too few data");
        return false;
    }
    const double fDeltaT_s = m_fDeltaT_s;
    bool bOk = false;
    double fAtten = 0.0;
    if (nFirst == 1 && nSecond == 1)
    {
        *p_pfMagn = (half.vecFirst[0] + half.vecSecond[0]) * 0.5;
        const double fDelta_s = (half.vecIdx[1] - half.vecIdx[0]) * fDeltaT_s;
        bOk = CMathBAS::Atten(half.vecFirst[0], half.vecSecond[0], fDelta_s, m_pTrace, &fAtten);
        if (bOk)
            *p_pfDamp = CDataPS::DampFromDecay(p_fFreq_Hz, fAtten);
    }
    else if (nFirst == 2 && nSecond == 1)
    {
        const double fSwing1 = half.vecFirst[0] + half.vecSecond[0];
        const double fSwing2 = half.vecSecond[0] + half.vecFirst[1];
        *p_pfMagn = 0.5 * fSwing2;
        const double fDelta_s = (half.vecIdx[2] - half.vecIdx[0]) * 0.5 * fDeltaT_s;
        bOk = CMathBAS::Atten(fSwing1, fSwing2, fDelta_s, m_pTrace, &fAtten);
        if (bOk)
            *p_pfDamp = CDataPS::DampFromDecay(p_fFreq_Hz, fAtten);
    }
    else
        bOk = DampFromSeries(half, p_fFreq_Hz, p_pfMagn, p_pfDamp);
    if (bOk && *p_pfMagn < 0.0)
        return trace.Error("Invalid PS magn.: ", *p_pfMagn);
    return bOk;
}

/// The half cycles before the first and behind the last crossing are open and do not count; an exact zero is no crossing.
CProcOMA::SHalfCycles CProcOMA::FindHalfCycles(const std::valarray<double>& p_vecTime)
{
    SHalfCycles half;
    bool bCrossed = false;
    bool bToFirst = true;
    double fExt = 0.0;
    unsigned nExt = 0;
    double fLast = p_vecTime[0];
    for (unsigned i = 1; i < p_vecTime.size(); ++i)
    {
        const double fValue = p_vecTime[i];
        if (fValue * fLast < 0.0)
        {
            if (bCrossed)
            {
                (bToFirst ? half.vecFirst : half.vecSecond).push_back(fExt);
                half.vecIdx.push_back(nExt);
                bToFirst = !bToFirst;
            }
            fExt = std::abs(fValue);
            nExt = i;
            fLast = fValue;
            bCrossed = true;
        }
        else if (fExt < std::abs(fValue))
        {
            fExt = std::abs(fValue);
            nExt = i;
        }
    }
    return half;
}

/// Each sum of two neighbouring extremes is a peak-to-peak swing, in which an offset cancels; two overlapping swings one
/// half cycle apart give one rate. Only the newest half cycles take part.
bool CProcOMA::DampFromSeries(const SHalfCycles& p_half, double p_fFreq_Hz, double* p_pfMagn, double* p_pfDamp) const
{
    const auto nTuples = static_cast<unsigned>(p_half.vecFirst.size() + p_half.vecSecond.size() - 2);
    const auto nLimit = static_cast<unsigned>(g_pShell ? g_pShell->GetNoMaxHS() : static_cast<int>(g_nMaxHS)) - 2U;
    const unsigned nStart = nTuples > nLimit ? nTuples - nLimit : 0;
    std::valarray<double> vecAtten(0.0, nTuples);
    bool bEven = nStart % 2 == 0;
    for (unsigned i = nStart; i < nTuples; ++i)
    {
        const double fDelta_s = (p_half.vecIdx[i + 2] - p_half.vecIdx[i]) * 0.5 * m_fDeltaT_s;
        const unsigned k = i / 2;
        const double fSwing1 =
            bEven ? p_half.vecFirst[k] + p_half.vecSecond[k] : p_half.vecSecond[k] + p_half.vecFirst[k + 1];
        const double fSwing2 =
            bEven ? p_half.vecSecond[k] + p_half.vecFirst[k + 1] : p_half.vecFirst[k + 1] + p_half.vecSecond[k + 1];
        bEven = !bEven;
        if (i + 1 == nTuples)
            *p_pfMagn = 0.5 * fSwing2;
        if (!CMathBAS::Atten(fSwing1, fSwing2, fDelta_s, m_pTrace, &vecAtten[i]))
            return false;
    }
    if (nTuples == 1)
    {
        *p_pfDamp = CDataPS::DampFromDecay(p_fFreq_Hz, vecAtten[0]);
        return true;
    }
    return CDataPS::DampTriple(vecAtten, nStart, p_fFreq_Hz, m_pTrace, *p_pfDamp);
}
