#include "modes/track/CPSM.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CPSM";
}

std::atomic<int> CPSM::s_nCount{0};

CPSM::CPSM(bool p_bPower, std::uint32_t p_nId, const VecSpec* p_pvecpSpec, std::uint32_t p_nDeqMax, CDOE* p_pDOE,
           CTraceOMA* p_pTrace)
    : m_bPower(p_bPower), m_pvecpSpec(std::make_unique<std::vector<std::unique_ptr<CSpecDyn>>>()), m_nId(p_nId),
      m_pDOE(p_pDOE), m_pTrace(p_pTrace)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CPSM");
    ++s_nCount;
    if (!p_pvecpSpec)
    {
        m_bOk = trace.BadPointer("p_pvecpSpec");
        return;
    }
    for (const auto& pSpecSrc : *p_pvecpSpec)
    {
        if (!pSpecSrc)
        {
            m_bOk = trace.BadPointer("pSpecSrc");
            return;
        }
        if (pSpecSrc->IsUsed())
            m_pvecpSpec->push_back(std::make_unique<CSpecDyn>(pSpecSrc.get(), p_nDeqMax, p_nId, p_pTrace));
    }
}

CPSM::~CPSM()
{
    --s_nCount;
}

bool CPSM::AddPeak(const CPeakOMA* p_pPeak, const std::valarray<double>&, double, const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "AddPeak");
    if (!p_pPeak)
        return trace.BadPointer("p_pPeak");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (std::isnan(p_pPeak->GetFreq()))
    {
        trace.Error("Invalid [NAN] PS freq.value");
        return true;
    }
    CSpecDyn* const pSpec = RetrveSpec(p_pPeak->m_eReso);
    if (!pSpec)
        return trace.BadPointer("pSpec");
    if (!pSpec->GetLastTimePS())
        return trace.BadPointer("m_pLastTimePS");
    pSpec->GetLastTimePS()->Copy(p_pActTime, false);
    CDataPS* const pActDataPS = pSpec->GetActDataPS();
    if (!pActDataPS)
        return trace.BadPointer("pActDataPS");
    pActDataPS->SetFreq(p_pPeak->GetFreq());
    pActDataPS->SetQual(p_pPeak->GetGridQual());

    // The reference frequencies include the new one and those that other bands have stored in this PS cycle.
    if (const double fMean = CalcActFreq(eQualValid, p_pActTime); fMean > 0.0)
    {
        m_fLastValidFreq_Hz = fMean;
        m_bLastValidFreq = true;
    }
    if (const double fMean = CalcActFreq(eQualSuspect, p_pActTime); fMean > 0.0)
    {
        m_fLastFreq_Hz = fMean;
        m_bLastFreq = true;
    }
    pActDataPS->SetMagn(p_pPeak->GetMagn());
    pActDataPS->SetDamp(p_pPeak->GetDamp());
    m_nCntr = 0;
    m_eStatz = eStatzActive;
    return true;
}

void CPSM::UpdateCntrAndStatz()
{
    const auto Limit = [this](std::uint32_t p_nValue) { return std::max(1U, std::min(p_nValue, m_nCntrMax)); };
    if (m_nCntr == 0)
    {
        m_nCntrInc = Limit((m_nCntrInc + 1) / 2);
        m_nCntr = Limit((m_nCntrInc + 1) / 2);
        m_eStatz = eStatzActive;
    }
    else
    {
        m_nCntrInc = Limit(2 * m_nCntrInc);
        m_nCntr = std::min(m_nCntr + m_nCntrInc, m_nCntrMax);
        m_eStatz = m_nCntr >= m_nCntrMax ? eStatzInactive : eStatzFading;
    }
}

bool CPSM::Update(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Update");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (!m_pvecpSpec)
        return trace.BadPointer("m_pvecpSpec");
    bool bAnyValid = false;
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            return trace.BadPointer("pSpec");
        if (!UpdateSpec(*pSpec, *p_pActTime, bAnyValid) || !UpdateDeque(pSpec.get()))
            return false;
    }
    m_nCntValidCycles = bAnyValid ? m_nCntValidCycles + 1 : 0;
    return true;
}

bool CPSM::UpdateSpec(CSpecDyn& p_spec, const CTime& p_actTime, bool& r_bAnyValid) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Update");
    CDataPS* const pActDataPS = p_spec.GetActDataPS();
    if (!pActDataPS)
        return trace.BadPointer("m_pActDataPS");
    if (!p_spec.GetLastTimePS())
        return trace.BadPointer("m_pLastTimePS");
    const bool bActual = p_spec.GetLastTimePS()->IsEqual(p_actTime);
    switch (bActual ? pActDataPS->GetQual() : eQualInvalid)
    {
    case eQualValid:
        p_spec.IncCntValid();
        r_bAnyValid = true;
        return true;
    case eQualSuspect:
        p_spec.ClrCntValid();
        return true;
    case eQualInvalid:
        p_spec.ClrCntValid();
        pActDataPS->Reset();
        return true;
    default:
        return trace.Suspend("No 'case'");
    }
}

bool CPSM::UpdateDeque(CSpecDyn* p_pSpec)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "UpdateDeque");
    if (!p_pSpec)
        return trace.BadPointer("p_pSpec");
    CSpecDyn::DeqDataPS* const pdeqDataPS = p_pSpec->GetDeqDataPS();
    if (!pdeqDataPS)
        return trace.BadPointer("m_pdeqDataPS");
    if (!p_pSpec->GetActDataPS())
        return trace.BadPointer("m_pActDataPS");
    const std::size_t nMax = std::max(1U, p_pSpec->GetDeqMax());
    if (pdeqDataPS->full() && pdeqDataPS->capacity() < nMax)
        pdeqDataPS->set_capacity(std::min(nMax, 2 * pdeqDataPS->capacity() + 8));
    pdeqDataPS->push_back(*p_pSpec->GetActDataPS());
    return true;
}

CSpecDyn* CPSM::RetrveSpec(std::int32_t p_eReso) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveSpec");
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
        {
            trace.BadPointer("pSpec");
            return nullptr;
        }
        if (pSpec->GetReso() == p_eReso)
            return pSpec.get();
    }
    return nullptr;
}

double CPSM::CalcActFreq(std::int32_t p_eQualMax, const CTime* p_pActTime) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcActFreq");
    if (!p_pActTime)
    {
        trace.BadPointer("p_pActTime");
        return 0.0;
    }
    VecFreq vecfFreq;
    VecFreq vecfWeight;
    if (!CollectActFreqs(eQualValid, p_pActTime, &vecfFreq, &vecfWeight))
        return -1.0;
    if (vecfFreq.empty())
    {
        if (p_eQualMax != eQualSuspect)
            return -1.0;
        if (!CollectActFreqs(eQualSuspect, p_pActTime, &vecfFreq, &vecfWeight))
            return -1.0;
        if (vecfFreq.empty())
        {
            trace.Error("No VALID nor SUSPECT freq.data");
            return -1.0;
        }
    }
    double fSum = 0.0;
    double fSumWeight = 0.0;
    for (std::size_t i = 0; i < vecfFreq.size(); ++i)
    {
        fSum += vecfFreq[i] * vecfWeight[i];
        fSumWeight += vecfWeight[i];
    }
    if (!(fSumWeight > g_fEpsilon))
    {
        trace.Error("Invalid weighting sum");
        return -1.0;
    }
    return fSum / fSumWeight;
}

bool CPSM::CollectActFreqs(std::int32_t p_eQualMax, const CTime* p_pActTime, VecFreq* p_pvecfFreq,
                           VecFreq* p_pvecfWeight) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CollectActFreqs");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (!p_pvecfFreq)
        return trace.BadPointer("p_pvecfFreq");
    if (!p_pvecfWeight)
        return trace.BadPointer("p_pvecfWeight");
    if (!m_pvecpSpec)
        return trace.BadPointer("m_pvecpSpec");
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            return trace.BadPointer("pSpec");
        if (!pSpec->GetLastTimePS())
            return trace.BadPointer("m_pLastTimePS");
        const CDataPS* const pActDataPS = pSpec->GetActDataPS();
        if (!pActDataPS)
            return trace.BadPointer("m_pActDataPS");
        if (pSpec->GetLastTimePS()->IsEqual(*p_pActTime) && pActDataPS->GetFreq() > 0.0 &&
            pActDataPS->GetQual() <= p_eQualMax)
        {
            p_pvecfFreq->push_back(pActDataPS->GetFreq());
            p_pvecfWeight->push_back(CalcWeight(pSpec.get(), pActDataPS->GetFreq()));
        }
    }
    return true;
}

double CPSM::CalcWeight(const CSpecDyn*, double) const
{
    return 1.0;
}

double CPSM::CalcRawMagn(const CPeakOMA* p_pPeak, const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcRawMagn");
    if (!p_pPeak)
    {
        trace.BadPointer("p_pPeak");
        return 0.0;
    }
    if (!(m_fPeakBeg_Hz >= 0.0 && m_fPeakEnd_Hz >= 0.0))
    {
        m_fPeakBeg_Hz = p_pPeak->GetFreqBeg();
        m_fPeakEnd_Hz = p_pPeak->GetFreqEnd();
    }
    return p_pPeak->CalcMagn(p_vecAmpl, p_fFreqStep_Hz, m_fPeakBeg_Hz, m_fPeakEnd_Hz);
}
