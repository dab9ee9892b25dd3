#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include "job/CJobOMA.h"
#include <algorithm>
#include <cmath>

// Computes the value of a job from the phasors of its two PMUs.
//
//   active power    P = sum over the phases of Re(V * conj(I)), W. No factor: a one-phase PMU gives one phase's power
//   angle           dPhi = arg(V1) - arg(V2) of the positive sequences, wrapped to -180 <= dPhi < 180 degrees

namespace
{
constexpr std::string_view g_strClass = "CJobOMA";
constexpr double g_fPhysLimit = 1e15; ///< W; a larger power is not physical
constexpr double g_fRadPerDeg = 0.017453292519943295;
constexpr double g_fDegPerRad = 57.29577951308232;
constexpr double g_fPhaseShift_deg = 120.0;

bool IsPhysical(double p_fValue)
{
    return !(p_fValue > g_fPhysLimit) && !(p_fValue < -g_fPhysLimit);
}

bool AreAllValid(const std::vector<SPhasor>& p_vecPhasor)
{
    return std::all_of(p_vecPhasor.begin(), p_vecPhasor.end(),
                       [](const SPhasor& p_phasor) { return p_phasor.eQual.Get() == eQualValid; });
}

/// Width 7: sign, three digits, two decimals.
std::string AngleAsText(double p_fAngle_deg)
{
    return DoubleAsText(p_fAngle_deg, 3, 2, true);
}
} // namespace

bool CJobOMA::CalcActualValue()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcActualValue");
    const std::int32_t eQual = CalcTotalQual();
    double fValue = 0.0;
    bool bOk = false;
    switch (m_eJobMode)
    {
    case 0:
        bOk = CalcActivePower(&fValue);
        break;
    case 1:
        bOk = CalcPhaseAngleDiff(&fValue);
        break;
    default:
        return trace.Suspend("Invalid #m_eJobMode# value");
    }
    if (!bOk)
    {
        SetActValue(SMeas());
        return false;
    }
    SetActValue({fValue, eQual});
    if (!IsPhysical(fValue))
        trace.Error(" No physical value for total power [W]: ", fValue);
    return true;
}

/// VALID if all phasors are VALID, otherwise INVALID; never SUSPECT.
std::int32_t CJobOMA::CalcTotalQual()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcTotalQual");
    if (!CheckPmuPhasors(trace, "pvecPhasor_1st", "pvecPhasor_2nd"))
        return eQualError;
    return AreAllValid(*m_pPmu1st->GetPhasors()) && AreAllValid(*m_pPmu2nd->GetPhasors()) ? eQualValid : eQualInvalid;
}

bool CJobOMA::CheckPmuPhasors(const CMethodTrace& p_trace, std::string_view p_strName1st,
                              std::string_view p_strName2nd) const
{
    if (!m_pPmu1st)
        return p_trace.BadPointer("m_pPmu1st");
    if (!m_pPmu2nd)
        return p_trace.BadPointer("m_pPmu2nd");
    if (!m_pPmu1st->GetPhasors())
        return p_trace.BadPointer(p_strName1st);
    return m_pPmu2nd->GetPhasors() ? true : p_trace.BadPointer(p_strName2nd);
}

// ---- active power ----

bool CJobOMA::CalcActivePower(double* p_pfSum)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcActivePower");
    if (!p_pfSum)
        return trace.BadPointer("p_pfSum");
    *p_pfSum = 0.0;
    if (!CheckPmuPhasors(trace, " pvecV_V", " pvecI_A"))
        return false;
    const std::size_t nV = m_pPmu1st->GetPhasors()->size();
    const std::size_t nI = m_pPmu2nd->GetPhasors()->size();
    if (nV != nI)
        return trace.Error("No.of Phasors does not match [V: ", nV, ", I: ", nI, "]");
    for (unsigned nPhase = 0; nPhase < nV; ++nPhase)
    {
        double fPhase = 0.0;
        if (!CalcActivePower(nPhase, &fPhase))
            return false;
        *p_pfSum += fPhase;
    }
    // Intended: tested here and again in CalcActualValue, so such a value is reported twice.
    if (!IsPhysical(*p_pfSum))
        trace.Error(" No physical value for total power [W]: ", *p_pfSum);
    if (IsTraceDataAll())
        TraceActivePower(*p_pfSum, CalcTotalQual());
    return true;
}

bool CJobOMA::CalcActivePower(unsigned p_nPhase, double* p_pfPhase)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcActivePower");
    if (!p_pfPhase)
        return trace.BadPointer("p_pfPhase");
    std::complex<double> cplxV;
    std::complex<double> cplxI;
    if (!RetrievePhasor(m_pPmu1st, p_nPhase, &cplxV) || !RetrievePhasor(m_pPmu2nd, p_nPhase, &cplxI))
        return false;
    *p_pfPhase = (cplxV * std::conj(cplxI)).real();
    if (!IsPhysical(*p_pfPhase))
        trace.Error(" No physical value for phase power [W]: ", *p_pfPhase);
    return true;
}

bool CJobOMA::TraceActivePower(double p_fValue, std::int32_t p_eQual)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "TraceActivePower");
    if (!m_pPmu1st)
        return trace.BadPointer("m_pPmu1st");
    if (!m_pPmu2nd)
        return trace.BadPointer("m_pPmu2nd");
    if (!IsTraceDataAll())
        return true;
    const CTime* const pTime = m_pTimeInp;
    trace.Data(true, " [", ActTimeAsText(pTime ? *pTime : *m_pActTime), "] ", " PMU_V=", m_pPmu1st->m_nId,
               " PMU_I=", m_pPmu2nd->m_nId, "  P[MW]=", DoubleAsText(p_fValue * 1e-06, 3, 2, true),
               "  Q=", QualAsText(p_eQual));
    return true;
}

// ---- angle difference ----

bool CJobOMA::CalcPhaseAngleDiff(double* p_pfValue)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPhaseAngleDiff");
    if (!p_pfValue)
        return trace.BadPointer("p_pfValue");
    if (!CheckPmuPhasors(trace, "pvecPhasor_1st", "pvecPhasor_2nd"))
        return false;
    std::complex<double> cplx1st;
    std::complex<double> cplx2nd;
    if (!CalcPhasorOfPmu(m_pPmu1st, "No 'case' (1st int. PMU)", trace, &cplx1st) ||
        !CalcPhasorOfPmu(m_pPmu2nd, "No 'case' (2nd int. PMU)", trace, &cplx2nd))
        return false;
    const double fDiff_deg = g_fDegPerRad * (std::arg(cplx1st) - std::arg(cplx2nd));
    *p_pfValue = std::fmod(fDiff_deg + 540.0, 360.0) - 180.0;
    // Intended: prints the quality of the previous value.
    if (IsTraceDataAll())
        TracePhaseAngleDiff(*p_pfValue, GetActValue().eQual);
    return true;
}

/// Returns a single phasor unchanged; of three phasors the positive sequence.
bool CJobOMA::CalcPhasorOfPmu(const CPmu* p_pPmu, std::string_view p_strNoCase, const CMethodTrace& p_trace,
                              std::complex<double>* p_pcplx)
{
    switch (p_pPmu->GetPhasors()->size())
    {
    case 1:
        return RetrievePhasor(p_pPmu, p_pcplx);
    case 3:
        return PhasorsToPosSequ(p_pPmu, p_pcplx);
    default:
        return p_trace.Suspend(p_strNoCase);
    }
}

bool CJobOMA::TracePhaseAngleDiff(double p_fValue, std::int32_t p_eQual)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "TracePhaseAngleDiff");
    if (!IsTraceDataAll())
        return true;
    if (!CheckPmuPhasors(trace, "pvecPhasor_1st", "pvecPhasor_2nd"))
        return false;
    std::string strAngles;
    for (const CPmu* pPmu : {m_pPmu1st, m_pPmu2nd})
    {
        const std::vector<SPhasor>& vecPhasor = *pPmu->GetPhasors();
        if (vecPhasor.size() != 1 && vecPhasor.size() != 3)
            return trace.Error("PMU [ID=", pPmu->m_nId, "] shows invalid no.of phasors: ", vecPhasor.size());
        strAngles += pPmu == m_pPmu1st ? "  PMU 1:" : "  PMU 2:";
        for (const SPhasor& phasor : vecPhasor)
            strAngles += " " + AngleAsText(phasor.fAngle_deg);
    }
    trace.Data(true, " dPhi=", p_fValue, " Q=", QualAsText(p_eQual), strAngles);
    return true;
}

// ---- phasors as complex numbers ----

bool CJobOMA::PhasorsToPosSequ(const CPmu* p_pPmu, std::complex<double>* p_pcplx)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "PhasorsToPosSequ");
    if (!p_pcplx)
        return trace.BadPointer("p_pcplx");
    std::complex<double> cplxSum;
    for (unsigned nPhase = 0; nPhase < 3; ++nPhase)
    {
        std::complex<double> cplx;
        if (!RetrievePhasor(p_pPmu, nPhase, &cplx))
            return false;
        cplxSum += cplx;
    }
    *p_pcplx = cplxSum / 3.0;
    if (IsTraceDataAll())
        trace.Data(true, "ampl.=", std::abs(*p_pcplx),
                   "  deg.s=", std::fmod(std::arg(*p_pcplx) * 180 / 3.141592653589793 + 360.0, 360.0));
    return true;
}

bool CJobOMA::RetrievePhasor(const CPmu* p_pPmu, std::complex<double>* p_pcplx)
{
    return RetrievePhasor(p_pPmu, 0, p_pcplx);
}

/// Rotates the phasor into the reference of phase 0, so that the three phases of a balanced system add up.
bool CJobOMA::RetrievePhasor(const CPmu* p_pPmu, unsigned p_nPhase, std::complex<double>* p_pcplx)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrievePhasor");
    if (!p_pPmu)
        return trace.BadPointer("p_pPmu");
    if (!p_pcplx)
        return trace.BadPointer("p_pcplx");
    const std::vector<SPhasor>* const pvecPhasor = p_pPmu->GetPhasors();
    if (!pvecPhasor)
        return trace.BadPointer("pvecPhasor");
    if (p_nPhase >= pvecPhasor->size())
        return trace.Error("Invalid phasor index: ", p_nPhase);
    const SPhasor& phasor = (*pvecPhasor)[p_nPhase];
    const double fMagn = phasor.fMagn;
    const double fDeg = std::fmod(phasor.fAngle_deg + 360.0 + phasor.nPhase * g_fPhaseShift_deg, 360.0);
    const double fRad = g_fRadPerDeg * fDeg;
    *p_pcplx = {fMagn * std::cos(fRad), fMagn * std::sin(fRad)};
    return true;
}
