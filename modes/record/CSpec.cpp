#include "modes/record/CSpec.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CSpec";
}

CSpec::CSpec(bool p_bUsed, std::int32_t p_eReso, std::uint32_t p_nSamples, double p_fFreqBeg_Hz, double p_fFreqEnd_Hz,
             std::uint32_t p_nOwnerId, CTraceOMA* p_pTrace)
    : m_eReso(p_eReso), m_nSamples(p_nSamples), m_fFreqBeg_Hz(p_fFreqBeg_Hz), m_fFreqEnd_Hz(p_fFreqEnd_Hz),
      m_nOwnerId(p_nOwnerId), m_pTrace(p_pTrace), m_bUsed(p_bUsed)
{
}

bool CSpec::IsInRange(double p_fFreq_Hz) const
{
    return m_fFreqBeg_Hz <= p_fFreq_Hz && p_fFreq_Hz < m_fFreqEnd_Hz;
}

std::int32_t CSpec::RetrveNextNeighb(double p_fFreq_Hz) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveNextNeighb");
    if (!IsInRange(p_fFreq_Hz))
    {
        trace.Error("Freq. not in preferred range: f=", p_fFreq_Hz, "f_beg=", m_fFreqBeg_Hz, "f_end=", m_fFreqEnd_Hz);
        return eResoInvalid;
    }
    switch (m_eReso)
    {
    case LR:
    case HR:
        return MR;
    case MR:
        return CalcNextNeighbMR(p_fFreq_Hz);
    default:
        trace.Error("Invalid #m_eReso# value");
        return eResoInvalid;
    }
}

std::int32_t CSpec::CalcNextNeighbMR(double p_fFreq_Hz) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcNextNeighbMR");
    if (m_eReso != MR)
    {
        trace.Error("#m_eReso# not MR as expected");
        return eResoInvalid;
    }
    if (m_fFreqBeg_Hz < g_fEpsilon)
    {
        trace.Error("Too small value for #m_fFreqBeg_Hz#");
        return eResoInvalid;
    }
    if (m_fFreqEnd_Hz < g_fEpsilon)
    {
        trace.Error("Too small value for #m_fFreqEnd_Hz#");
        return eResoInvalid;
    }
    // Geometric middle, because frequencies are compared on a logarithmic scale.
    const double fMid_Hz = std::exp((std::log(m_fFreqEnd_Hz) + std::log(m_fFreqBeg_Hz)) * 0.5);
    return fMid_Hz <= p_fFreq_Hz ? LR : HR;
}
