#include "spectrum/data/CPeak.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::string_view g_strClassPeak = "CPeak";

/// Channel of a frequency, rounded. Negative values and NaN give 0; values that are too large stay large.
std::size_t ChannelOf(double p_fFreq_Hz, double p_fFreqStep_Hz)
{
    const double fChannel = p_fFreq_Hz / p_fFreqStep_Hz + 0.5;
    if (!(fChannel > 0.0))
        return 0;
    return static_cast<std::size_t>(std::min(fChannel, 9.0e18));
}
} // namespace

bool CPeak::CalcDamp(double* p_pfDamp) const
{
    const CMethodTrace trace(m_pTrace, g_strClassPeak, "CalcDamp");
    if (!p_pfDamp)
        return trace.BadPointer("p_pfDamp");
    if (!(m_fFWHM_Hz >= g_fEpsilon))
        return trace.Error("Invalid FWHM: 0.0");
    const double fQ = 2.0 * m_fFreq_Hz / m_fFWHM_Hz;
    const double fRatio = 1.0 / std::sqrt(fQ * fQ + 1.0);
    const double fSign = m_fNegDamp == 0.0 ? 1.0 : -1.0;
    *p_pfDamp = fRatio * fSign * m_fDampCorr;
    return true;
}

double CPeak::CalcFWHM(double p_fDamp)
{
    // For a ratio of 0 this is infinite and the width becomes 0.
    const double fSquare = 1.0 / (p_fDamp * p_fDamp) - 1.0;
    if (!(fSquare >= g_fEpsilon))
        return -1.0;
    m_fFWHM_Hz = 2.0 * m_fFreq_Hz / std::sqrt(fSquare);
    return m_fFWHM_Hz;
}

double CPeak::CalcMagn(const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz) const
{
    return CalcMagn(p_vecAmpl, p_fFreqStep_Hz, GetFreqBeg(), GetFreqEnd());
}

double CPeak::CalcMagn(const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz, double p_fBeg_Hz,
                       double p_fEnd_Hz) const
{
    const CMethodTrace trace(m_pTrace, g_strClassPeak, "CalcMagn");
    // Intended: the check needs a trace; without one, negative limits are accepted.
    if ((p_fBeg_Hz < 0.0 || p_fEnd_Hz < 0.0) && m_pTrace)
    {
        trace.Error("Invalid peak limits: Beg.[Hz]=", p_fBeg_Hz, ", End [Hz]=", p_fEnd_Hz, ", Mean[Hz]=", m_fFreq_Hz,
                    ", FWHM[Hz]=", m_fFWHM_Hz);
        return -1.0;
    }
    if (p_fBeg_Hz > p_fEnd_Hz)
    {
        trace.Error("Lower peak limit above higher limit");
        return -1.0;
    }
    if (p_vecAmpl.size() == 0)
    {
        trace.Error("No freq.ampl. data");
        return -1.0;
    }

    std::size_t nBeg = ChannelOf(p_fBeg_Hz, p_fFreqStep_Hz);
    std::size_t nEnd = ChannelOf(p_fEnd_Hz, p_fFreqStep_Hz);
    const std::size_t nLast = p_vecAmpl.size() - 1;
    if (nBeg > nLast || nEnd > nLast)
    {
        trace.Warning("Peak limits not within buffer size: nData=", p_vecAmpl.size(), " iBeg=", nBeg, " iEnd=", nEnd);
        nBeg = std::min(nBeg, nLast);
        nEnd = std::min(nEnd, nLast);
    }
    double fMagn = 0.0;
    for (std::size_t n = nBeg; n <= nEnd; ++n)
        fMagn += p_vecAmpl[n];
    return fMagn;
}

double CPeak::GetLimit(double p_fSign) const
{
    return std::max(m_fFreq_Hz + p_fSign * m_fFWHM_Hz, 0.0);
}
