#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "job/CJobOMA.h"

// Decides which peaks are worth tracking as swings and which mode each belongs to. The order of the modes in the
// configuration breaks ties: the first one that matches takes the peak.

namespace
{
constexpr std::string_view g_strClass = "CJobOMA";
constexpr double g_fMagnFactor = 0.2; ///< of the warning limit: rejects spectral noise only
constexpr double g_fMatchLow = 0.75;  ///< of the last valid frequency; both limits inclusive
constexpr double g_fMatchHigh = 1.25;

/// Conditions for one attempt to find a mode for a peak.
struct STry
{
    std::int32_t eStatz;
    bool bCheckLastFreq;
};
/// Order of the attempts. A known mode must not jump: only a fully aged mode may start anew anywhere in its range.
constexpr STry g_vecTry[] = {
    {eStatzActive, true}, {eStatzFading, true}, {eStatzInactive, true}, {eStatzInactive, false}};
} // namespace

bool CJobOMA::CheckAllPeaksForMagnLimit(CProcOMA::VecPeak* p_pvecpPeak, const std::valarray<double>& p_vecfAmpl,
                                        double p_fFreqStep_Hz)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CheckAllPeaksForMagnLimit");
    if (!p_pvecpPeak)
        return trace.BadPointer("p_pvecpPeak");
    for (const auto& pPeak : *p_pvecpPeak)
    {
        if (!pPeak)
            return trace.BadPointer("pPeak");
        pPeak->m_bAboveMagnLimit = CheckPeakForMagnLimit(pPeak.get(), p_vecfAmpl, p_fFreqStep_Hz);
    }
    return true;
}

bool CJobOMA::CheckPeakForMagnLimit(const CPeakOMA* p_pPeak, const std::valarray<double>& p_vecfAmpl,
                                    double p_fFreqStep_Hz)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CheckPeakForMagnLimit");
    if (!p_pPeak)
        return trace.BadPointer("p_pPeak");
    if (!m_pDOE)
        return trace.BadPointer("m_pDOE");
    const CDOE::VecLimit* const pvecLimitMagn = m_pDOE->GetLimitMagn();
    if (!pvecLimitMagn || pvecLimitMagn->empty())
        return trace.BadPointer("pvecLimitMagn");
    return g_fMagnFactor * pvecLimitMagn->front() <= p_pPeak->CalcMagn(p_vecfAmpl, p_fFreqStep_Hz);
}

bool CJobOMA::AssignAllPeaksToPSMs(CProcOMA::VecPeak* p_pvecpPeak, const std::valarray<double>& p_vecfAmpl,
                                   double p_fFreqStep_Hz)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "AssignAllPeaksToPSMs");
    if (!p_pvecpPeak)
        return trace.BadPointer("p_pvecpPeak");
    for (const auto& pPeak : *p_pvecpPeak)
    {
        if (!pPeak)
            return trace.BadPointer("pPeak");
        if (!pPeak->m_bAboveMagnLimit)
            continue;
        for (const STry& oneTry : g_vecTry)
        {
            if (pPeak->m_bAssigned)
                break;
            if (!AssignPeakToPsmOut(pPeak.get(), p_vecfAmpl, p_fFreqStep_Hz, oneTry.eStatz, oneTry.bCheckLastFreq))
                return false;
        }
    }
    return true;
}

/// True even if no mode takes the peak.
bool CJobOMA::AssignPeakToPsmOut(CPeakOMA* p_pPeak, const std::valarray<double>& p_vecfAmpl, double p_fFreqStep_Hz,
                                 std::int32_t p_eStatz, bool p_bCheckLastFreq)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "AssignPeakToPsmOut");
    if (!p_pPeak)
        return trace.BadPointer("p_pPeak");
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    const double fFreq_Hz = p_pPeak->GetFreq();
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        if (!pPSM)
            return trace.BadPointer("pPSM");
        if (pPSM->GetStatz() != p_eStatz || !CheckPSModeSpecFreqLims(fFreq_Hz, pPSM.get()) ||
            (p_bCheckLastFreq && !CheckForMatchLastValidFreq(fFreq_Hz, pPSM.get())))
            continue;
        if (!pPSM->AddPeak(p_pPeak, p_vecfAmpl, p_fFreqStep_Hz, m_pActTime.get()))
            return false;
        p_pPeak->m_bAssigned = true;
        return true;
    }
    return true;
}

/// Checks the mode's frequency limits, both inclusive. A limit that is not set does not restrict.
bool CJobOMA::CheckPSModeSpecFreqLims(double p_fFreq_Hz, const CPSM* p_pPSM)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CheckPSModeSpecFreqLims");
    if (!p_pPSM)
        return trace.BadPointer("p_pPSM");
    if (p_fFreq_Hz < 0.0)
        return trace.Error("Negative freq.value [Hz]: ", p_fFreq_Hz);
    if (p_pPSM->GetFreqMin() > g_fEpsilon && p_fFreq_Hz < p_pPSM->GetFreqMin())
        return false;
    return !(p_pPSM->GetFreqMax() > g_fEpsilon && p_fFreq_Hz > p_pPSM->GetFreqMax());
}

/// A mode that has never had VALID data (-1.0) matches nothing.
bool CJobOMA::CheckForMatchLastValidFreq(double p_fFreq_Hz, const CPSM* p_pPSM)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CheckForMatchLastValidFreq");
    if (!p_pPSM)
        return trace.BadPointer("p_pPSM");
    if (p_fFreq_Hz < g_fEpsilon)
        return trace.Error("Negative peak freq.value [Hz]: ", p_fFreq_Hz);
    const double fLast_Hz = p_pPSM->GetLastValidFreq();
    if (fLast_Hz < g_fEpsilon && p_pPSM->IsLastValidFreq())
        return trace.Error("Missing last valid frequency value");
    return fLast_Hz * g_fMatchLow <= p_fFreq_Hz && p_fFreq_Hz <= fLast_Hz * g_fMatchHigh;
}
