#include "offline/CStudyOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace
{
constexpr std::string_view g_strClass = "CStudyOMA";
constexpr double g_fNoiseDivisor = 4294967295.0; ///< not the range of rand(). Intended: the noise level depends on it
} // namespace

std::atomic<unsigned> CStudyOMA::s_nCount = 0;

CStudyOMA::CStudyOMA(CDeqMeas* p_pdeqData, unsigned p_nSamples, double p_fDeltaT_s, CTraceOMA* p_pTrace)
    : m_pdeqData(p_pdeqData), m_nSamples(p_nSamples), m_fDeltaT_s(p_fDeltaT_s), m_pTrace(p_pTrace)
{
}

bool CStudyOMA::CreateData(const std::vector<std::unique_ptr<CPeakOMA>>* p_pvecpPeak, unsigned p_nCycleSamples,
                           double p_fNoise, double p_fShift, double p_fRange_s)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CreateData");
    if (!p_pvecpPeak)
        return trace.BadPointer("p_pvecpPeak");
    if (!m_pdeqData)
        return trace.BadPointer("m_pdeqData");
    m_pdeqData->Clear();
    if (p_pvecpPeak->empty())
        return trace.Error("No study PS modes specified");
    const double fChannels =
        m_nSamples == 0 ? 0.0 : static_cast<double>(std::bit_ceil(std::uint64_t{m_nSamples})) * 0.5;
    if (fChannels < 0.9)
        return trace.Error("Freq.spectrum has 0 channels");
    const bool bNoise = g_fEpsilon < p_fNoise;
    const bool bShift = g_fEpsilon < p_fShift;
    const double fOffset = bShift ? static_cast<double>(s_nCount) * p_nCycleSamples * p_fShift : 0.0;
    for (unsigned i = 0; i < m_nSamples; ++i)
    {
        double fValue = bNoise ? std::rand() * p_fNoise / g_fNoiseDivisor : 0.0;
        for (const auto& pPeak : *p_pvecpPeak)
        {
            if (!pPeak)
                return trace.BadPointer("pPeak");
            if (!AddPeak(*pPeak, i + fOffset, fValue))
                return false;
        }
        m_pdeqData->Append({fValue, eQualValid});
    }
    return bShift ? CountCycle(p_nCycleSamples, p_fShift, p_fRange_s) : true;
}

/// Adds one damped sinusoid at time p_fTime (in samples); nothing before the start of the sinusoid.
bool CStudyOMA::AddPeak(const CPeakOMA& p_peak, double p_fTime, double& r_fValue) const
{
    double fDamp = 0.0;
    if (!p_peak.CalcDamp(&fDamp))
        return false;
    const double fTime = p_fTime - p_peak.GetOffset() / m_fDeltaT_s;
    if (fTime > 0.0)
    {
        const double fAngle = m_fDeltaT_s * 6.283185307179586 * p_peak.GetFreq() * fTime;
        r_fValue += std::sin(fAngle) * std::exp(fDamp * fAngle) * p_peak.GetAmpl();
    }
    return true;
}

/// Counts the evaluations, so that the signal repeats after p_fRange_s.
bool CStudyOMA::CountCycle(unsigned p_nCycleSamples, double p_fShift, double p_fRange_s) const
{
    const double fCycles = p_fRange_s / (p_nCycleSamples * m_fDeltaT_s) / p_fShift;
    constexpr double fMax = std::numeric_limits<unsigned>::max();
    const unsigned nCycles = fCycles > 0.0 ? static_cast<unsigned>(std::min(fCycles, fMax)) : 0U;
    if (nCycles == 0)
        return CMethodTrace(m_pTrace, g_strClass, "CreateData").Error("Cannot increment counter");
    s_nCount = (s_nCount + 1) % nCycles;
    return true;
}
