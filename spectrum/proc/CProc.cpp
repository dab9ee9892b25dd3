#include "spectrum/proc/CProc.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "spectrum/fft/ManyNumbers.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CProc";
constexpr std::size_t g_nBlock = 64; ///< channels examined together
} // namespace

CProc::CProc(const CDeqMeas* p_pdeqData, const CSpec* p_pSpec, const CDOE* p_pDOE, CTraceOMA* p_pTrace)
    : m_pdeqData(p_pdeqData), m_pSpec(p_pSpec), m_pDOE(p_pDOE), m_pTrace(p_pTrace)
{
}

bool CProc::FindNextPeakNEW(const std::valarray<double>& p_vecData, unsigned p_nOffs,
                            const std::vector<unsigned>& p_vecBeg, const std::vector<unsigned>& p_vecEnd,
                            double p_fThresh, unsigned* p_pnPeak) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "FindNextPeakNEW");
    const std::size_t nData = p_vecData.size();
    if (nData < p_nOffs)
        return trace.Error("Invalid no.of data");
    for (std::size_t i = 0; i < p_vecBeg.size(); ++i)
        if (i >= p_vecEnd.size() || p_vecBeg[i] >= nData || p_vecEnd[i] >= nData)
            return trace.Error(" Invalid prohibited region");

    const auto Allowed = [&](std::size_t p_nChan)
    { return p_nChan >= p_nOffs && IsChanAllowed(static_cast<unsigned>(p_nChan), p_vecBeg, p_vecEnd); };
    double fMax = 0.0;
    std::size_t nMax = p_nOffs;
    for (std::size_t nBeg = p_nOffs; nBeg < nData; nBeg += g_nBlock)
    {
        const std::size_t nEnd = std::min(nBeg + g_nBlock, nData);
        if (!IsOneAbove(std::begin(p_vecData) + nBeg, std::begin(p_vecData) + nEnd, fMax))
            continue;
        for (std::size_t nChan = nBeg; nChan < nEnd; ++nChan)
            if (p_vecData[nChan] > fMax && Allowed(nChan))
            {
                fMax = p_vecData[nChan];
                nMax = nChan;
            }
    }

    // Intended: judges only one candidate; if it is rejected, the search ends.
    if (nMax == p_nOffs || nMax + 1 >= nData)
        return false;
    if (!Allowed(nMax - 1) || !Allowed(nMax + 1) || p_vecData[nMax - 1] < g_fEpsilon ||
        p_vecData[nMax + 1] < g_fEpsilon)
        return false;
    // The weight favours higher channels.
    if (!(p_fThresh <= std::sqrt(static_cast<double>(nMax) + 1.0) * fMax))
        return false;
    *p_pnPeak = static_cast<unsigned>(nMax);
    return true;
}

bool CProc::CalcDataThresh(const std::valarray<double>& p_vecData, unsigned p_nOffs, double p_fFactor,
                           double* p_pfThresh) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcDataThresh");
    const auto nDiff = static_cast<std::int64_t>(p_vecData.size()) - static_cast<std::int64_t>(p_nOffs);
    if (nDiff < 1)
        return trace.Error("Invalid no.of data: #nData#=", p_vecData.size(), " #nOffs#=)", p_nOffs);
    const SSums sumsLow = SumsOf(std::begin(p_vecData), std::begin(p_vecData) + p_nOffs);
    const SSums sums = SumsOf(std::begin(p_vecData) + p_nOffs, std::end(p_vecData));
    const double fMean = (sumsLow.fSumAbs + sums.fSumAbs) / static_cast<double>(nDiff);
    const double fMeanCheck = sums.fSum / static_cast<double>(nDiff);
    if (std::abs(fMeanCheck) > g_fEpsilon && std::abs(fMean - fMeanCheck) / std::abs(fMeanCheck) > 0.001)
        return trace.Error("Data thresh. calc. failed: #fMean#=", fMean, " #fMeanCheck#=)", fMeanCheck);
    *p_pfThresh = fMean * p_fFactor;
    return true;
}

bool CProc::IsChanAllowed(unsigned p_nChan, const std::vector<unsigned>& p_vecBeg,
                          const std::vector<unsigned>& p_vecEnd) const
{
    for (std::size_t i = 0; i < std::min(p_vecBeg.size(), p_vecEnd.size()); ++i)
        if (p_vecBeg[i] <= p_nChan && p_nChan <= p_vecEnd[i])
            return false;
    return true;
}

bool CProc::InitData(std::valarray<double>& p_vecData, unsigned p_nLeft, unsigned p_nRight,
                     std::vector<unsigned>& p_vecBeg, std::vector<unsigned>& p_vecEnd) const
{
    if (p_nRight < p_nLeft || p_nRight >= p_vecData.size())
        return CMethodTrace(m_pTrace, g_strClass, "InitData")
            .Error("Invalid data point index: #nData#=", p_vecData.size(), " #p_ifLeft#=", p_nLeft,
                   " #p_ifRight#=", p_nRight);
    for (std::size_t nChan = p_nLeft; nChan <= p_nRight; ++nChan)
        p_vecData[nChan] = 0.0;
    p_vecBeg.push_back(p_nLeft);
    p_vecEnd.push_back(p_nRight);
    return true;
}
