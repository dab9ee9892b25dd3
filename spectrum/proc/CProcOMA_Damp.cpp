#include "host/base/CMethodTrace.h"
#include "host/shell/CShellOMA.h"
#include "modes/record/CDataPS.h"
#include "spectrum/data/TPool.h"
#include "spectrum/fft/CMathBAS.h"
#include "spectrum/fft/ManyNumbers.h"
#include "spectrum/proc/CProcOMA.h"
#include "spectrum/proc/ProcBuffers.h"
#include <algorithm>
#include <cmath>

// Magnitude and damping ratio of a peak from the time signal of its band. Zero crossings cut the signal into half
// cycles. Their extremes form the envelope, whose decay gives the damping ratio.

namespace
{
constexpr std::string_view g_strClass = "CProcOMA";
constexpr std::string_view g_strMethod = " DampFromTimeData";
constexpr int g_nMaxHS = 8;

/// Never destroyed, because it may be in use while the process exits.
TPool<SDampBuffers>& g_poolDamp = *new TPool<SDampBuffers>;
} // namespace

bool CProcOMA::DampFromTimeData(unsigned p_nLoChan, unsigned p_nHiChan, const CFFT* p_pFFT, double p_fFreq_Hz,
                                std::valarray<double>* p_pvecTime, double* p_pfMagn, double* p_pfDamp) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, g_strMethod);
    if (!p_pFFT || !p_pvecTime || p_pvecTime->size() == 0)
        return trace.BadPointer(!p_pFFT ? "p_pFFT" : "p_pvecTime");
    const auto pBuffers = g_poolDamp.Lend(p_pvecTime->size());
    pBuffers->fft.Restart(m_pTrace);
    pBuffers->fft.IFFTbyMKL(p_pFFT->GetData(), p_nLoChan, p_nHiChan);
    if (!pBuffers->fft.RetrveTime(*p_pvecTime))
        *p_pvecTime = 0.0;
    // A band that starts above channel 0 has no mean.
    if (p_nLoChan == 0 || p_nHiChan == 0)
        *p_pvecTime -= p_pvecTime->sum() / static_cast<double>(p_pvecTime->size());

    const auto nMaxHS = static_cast<unsigned>(g_pShell ? g_pShell->GetNoMaxHS() : g_nMaxHS);
    FindHalfCycles(*p_pvecTime, nMaxHS, *pBuffers);
    const std::vector<double>& vecExt = pBuffers->vecExt;
    if (vecExt.empty())
    {
        trace.Warning("No max. found");
        return false;
    }
    if (vecExt.size() == 1)
    {
        trace.Warning("Too few data");
        return false;
    }
    bool bOk = false;
    if (vecExt.size() == 2)
    {
        *p_pfMagn = (vecExt[0] + vecExt[1]) * 0.5;
        const double fDelta_s = (pBuffers->vecIdx[1] - pBuffers->vecIdx[0]) * m_fDeltaT_s;
        double fAtten = 0.0;
        bOk = CMathBAS::Atten(vecExt[0], vecExt[1], fDelta_s, m_pTrace, &fAtten);
        if (bOk)
            *p_pfDamp = CDataPS::DampFromDecay(p_fFreq_Hz, fAtten);
    }
    else
    {
        // A signal has fewer half cycles than samples, whatever number is requested.
        const std::size_t nRates = std::min<std::size_t>(nMaxHS, p_pvecTime->size()) - 2;
        if (pBuffers->vecAtten.size() != nRates)
            pBuffers->vecAtten.resize(nRates);
        bOk = DampFromSeries(*pBuffers, p_fFreq_Hz, p_pfMagn, p_pfDamp);
    }
    if (bOk && *p_pfMagn < 0.0)
        return trace.Error("Invalid PS magn.: ", *p_pfMagn);
    return bOk;
}

/// The half cycles before the first and after the last crossing are incomplete and do not count. An exact zero is not a
/// crossing; one at the very start hides all crossings. The search runs backwards from the end, so that older half
/// cycles have no influence.
void CProcOMA::FindHalfCycles(const std::valarray<double>& p_vecTime, unsigned p_nMax, SDampBuffers& r_buffers)
{
    std::vector<double>& vecExt = r_buffers.vecExt;
    std::vector<unsigned>& vecIdx = r_buffers.vecIdx;
    vecExt.clear();
    vecIdx.clear();
    if (p_vecTime[0] == 0.0)
        return;
    const double* const pfTime = std::begin(p_vecTime);
    std::size_t nBeg = p_vecTime.size();
    while (pfTime[nBeg - 1] == 0.0)
        --nBeg; // stops at the first sample
    for (bool bOpen = true; vecExt.size() < p_nMax; bOpen = false)
    {
        const std::size_t nEnd = nBeg;
        const double fSign = pfTime[nEnd - 1];
        while (nBeg > 0 && !(pfTime[nBeg - 1] * fSign < 0.0))
            --nBeg;
        if (nBeg == 0)
            break;
        if (bOpen)
            continue;
        const double fExt = LargestOf(pfTime + nBeg, pfTime + nEnd);
        const auto IsExt = [fExt](double p_fValue) { return std::abs(p_fValue) == fExt; };
        vecExt.push_back(fExt);
        vecIdx.push_back(static_cast<unsigned>(std::find_if(pfTime + nBeg, pfTime + nEnd, IsExt) - pfTime));
    }
    std::reverse(vecExt.begin(), vecExt.end());
    std::reverse(vecIdx.begin(), vecIdx.end());
}

/// The sum of two adjacent extremes is a peak-to-peak swing, in which an offset cancels. Two such swings, one half
/// cycle apart, give one rate.
bool CProcOMA::DampFromSeries(SDampBuffers& r_buffers, double p_fFreq_Hz, double* p_pfMagn, double* p_pfDamp) const
{
    const std::vector<double>& vecExt = r_buffers.vecExt;
    const std::vector<unsigned>& vecIdx = r_buffers.vecIdx;
    const std::size_t nTuples = vecExt.size() - 2;
    std::valarray<double>& vecAtten = r_buffers.vecAtten;
    const std::size_t nStart = vecAtten.size() - nTuples;
    for (std::size_t i = 0; i < nTuples; ++i)
    {
        const double fDelta_s = (vecIdx[i + 2] - vecIdx[i]) * 0.5 * m_fDeltaT_s;
        const double fSwing1 = vecExt[i] + vecExt[i + 1];
        const double fSwing2 = vecExt[i + 1] + vecExt[i + 2];
        if (i + 1 == nTuples)
            *p_pfMagn = 0.5 * fSwing2;
        if (!CMathBAS::Atten(fSwing1, fSwing2, fDelta_s, m_pTrace, &vecAtten[nStart + i]))
            return false;
    }
    if (nTuples == 1)
    {
        *p_pfDamp = CDataPS::DampFromDecay(p_fFreq_Hz, vecAtten[nStart]);
        return true;
    }
    return CDataPS::DampTriple(vecAtten, static_cast<unsigned>(nStart), p_fFreq_Hz, m_pTrace, *p_pfDamp);
}
