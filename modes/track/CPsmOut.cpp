#include "modes/track/CPsmOut.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "host/base/TraceFilter.h"
#include <exception>

namespace
{
constexpr std::string_view g_strClass = "CPsmOut";
}

CPsmOut::CPsmOut(bool p_bPower, unsigned long p_hVds, std::uint32_t p_nId, std::uint32_t p_nUnitId,
                 const std::vector<unsigned long>& p_vecnOutRefId, std::int32_t p_nRepRate, double p_fFreqMin_Hz,
                 double p_fFreqMax_Hz, std::int32_t p_eEventMin, const VecSpec* p_pvecpSpec, std::uint32_t p_nDeqMax,
                 CDOE* p_pDOE, std::unique_ptr<CTraceOMA> p_pTrace)
    : CPSM(p_bPower, p_nId, p_pvecpSpec, p_nDeqMax, p_pDOE, p_pTrace.get()), m_pTraceOwn(std::move(p_pTrace)),
      m_hStatus(CreateEventW(nullptr, 0, 0, nullptr)), m_nRepRate(p_nRepRate),
      m_pEventData(std::make_unique<CEventDataOMA>(p_bPower, p_nId, p_pDOE, p_eEventMin, m_pTrace))
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CPsmOut");
    if (p_fFreqMin_Hz > g_fEpsilon)
        m_fFreqMin_Hz = p_fFreqMin_Hz;
    if (p_fFreqMax_Hz > g_fEpsilon)
        m_fFreqMax_Hz = p_fFreqMax_Hz;
    if (!m_hStatus)
    {
        trace.Suspend("Cannot create Windows handle for messages from DLI data Status() method");
        return;
    }
    try
    {
        m_pVdsOutPS = std::make_unique<CVdsOutPS>(p_hVds, p_nUnitId, p_vecnOutRefId, p_nRepRate, m_pTrace);
    }
    catch (const std::exception& error)
    {
        trace.Suspend("Cannot create DLI writing channel: ", error.what());
    }
}

CPsmOut::~CPsmOut() = default;

bool CPsmOut::WriteActualData(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WriteActualData");
    m_bOutpValid = false;
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (!m_pVdsOutPS)
        return trace.BadPointer("m_pVdsOutPS");
    CVdsOutCbPS* const pVdsOutCbPS = m_pVdsOutPS->GetCB();
    if (!pVdsOutCbPS)
        return trace.BadPointer("pVdsOutCbPS");
    // Read once, because a library thread may clear it at any time when the link is lost.
    const bool bStarted = pVdsOutCbPS->IsStarted();

    if (m_eStatz != eStatzActive)
    {
        if (bStarted)
            EndOutput(p_pActTime);
        return true;
    }
    double fFreq = -1.0;
    double fMagn = -1.0;
    double fDamp = -1.0;
    double fDOE = -1.0;
    std::int32_t eQual = eQualError;
    if (!CreateOutputValues(p_pActTime, fFreq, fMagn, fDamp, fDOE, eQual))
    {
        if (bStarted)
            EndOutput(p_pActTime);
        return false;
    }
    m_bOutpValid = true;
    if (!bStarted && !StartOutput(p_pActTime))
    {
        EndOutput(p_pActTime);
        return true;
    }
    if (IsTraceFilterFor(m_pVdsOutPS->GetChanId(0)))
        trace.Error(" Init. write for PS data of ID=", m_pVdsOutPS->GetChanId(0),
                    " at                       TS=", ActTimeAsText(*p_pActTime));
    m_pVdsOutPS->DoWritePS(p_pActTime, fFreq, fMagn, fDamp, fDOE, eQual);
    // SUSPECT values are written to the channels, but raise no event.
    if (eQual != eQualValid)
        m_pEventData->ProcessDIS(p_pActTime);
    else
        m_pEventData->ProcessAPP(p_pActTime, fFreq, fMagn, fDamp, fDOE);
    return true;
}

bool CPsmOut::StartOutput(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WriteActualData");
    if (m_pEventData->GetLastEvent() != 0)
        trace.Error("Invalid event type before new PS output start: ", m_pEventData->GetLastEvent());
    if (m_pEventData->GetTrans() != 0)
        trace.Error("Invalid APP trans. of last recent event before new PS output start");
    return m_pVdsOutPS->GetCB()->DoStart(p_pActTime);
}

void CPsmOut::EndOutput(const CTime* p_pActTime)
{
    m_pVdsOutPS->GetCB()->DoStop(p_pActTime);
    m_pEventData->ProcessDIS(p_pActTime);
}

bool CPsmOut::CreateOutputValues(const CTime* p_pActTime, double& r_fFreq, double& r_fMagn, double& r_fDamp,
                                 double& r_fDOE, std::int32_t& r_eQual)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CreateOutputValues");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (!m_pVdsOutPS)
        return trace.BadPointer("m_pVdsOutPS");
    r_eQual = eQualError;
    const CSpecDyn* const pSpec = RetrveOutpSpec(p_pActTime, r_eQual);
    if (!pSpec)
    {
        if (IsTraceFilterFor(m_pVdsOutPS->GetChanId(0)))
            trace.Error(" MISSING output spec. for PS data of        ID=", m_pVdsOutPS->GetChanId(0),
                        " at  TS=", ActTimeAsText(*p_pActTime));
        return false;
    }
    if (r_eQual == eQualError)
        return trace.Error("Error in spec.data quality");
    if (r_eQual == eQualInvalid)
        return trace.Error("Invalid data only");
    if (!CalcOutpFreq(pSpec, r_fFreq) || !CalcOutpDamp(pSpec, r_fDamp) || !CalcOutpMagn(pSpec, r_fMagn))
        return false;
    if (!m_pDOE)
        return trace.BadPointer("m_pDOE");
    double fThresh = 0.0;
    if (!m_pDOE->IsPSmagnAboveThresh(r_fMagn, fThresh))
    {
        trace.Warning("PS magn. [", r_fMagn, "] below thresh. [", fThresh, "]");
        return false;
    }
    if (!CalcOutpDOE(pSpec, r_fDOE))
        return false;
    if (IsTraceData(1) && m_pTrace && m_pTrace->IsDataOn())
        trace.Data(true, "PS outp.data: TS=", ActTimeAsText(*p_pActTime), "  Freq.[Hz]=", r_fFreq,
                   "  Magn.[W-or-deg]=", r_fMagn, "  Damp.Ratio[-]=", r_fDamp, "  DOE[-]=", r_fDOE);
    return true;
}

bool CPsmOut::CalcOutpFreq(const CSpecDyn* p_pSpec, double& r_fValue) const
{
    const CDataPS* const pActDataPS = ActData(p_pSpec, "CalcOutpFreq");
    if (!pActDataPS)
        return false;
    r_fValue = pActDataPS->GetFreq();
    return !(r_fValue < g_fEpsilon);
}

bool CPsmOut::CalcOutpDamp(const CSpecDyn* p_pSpec, double& r_fValue) const
{
    const CDataPS* const pActDataPS = ActData(p_pSpec, "CalcOutpDamp");
    if (!pActDataPS)
        return false;
    r_fValue = pActDataPS->GetDamp();
    return true;
}

bool CPsmOut::CalcOutpMagn(const CSpecDyn* p_pSpec, double& r_fValue) const
{
    const CDataPS* const pActDataPS = ActData(p_pSpec, "CalcOutpMagn");
    if (!pActDataPS)
        return false;
    r_fValue = pActDataPS->GetMagn();
    return true;
}

bool CPsmOut::CalcOutpDOE(const CSpecDyn* p_pSpec, double& r_fValue) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcOutpDOE");
    if (!ActData(p_pSpec, "CalcOutpDOE"))
        return false;
    const CSpecDyn::DeqDataPS* const pDeqDataPS = p_pSpec->GetDeqDataPS();
    if (!pDeqDataPS)
        return trace.BadPointer("pDeqDataPS");
    if (pDeqDataPS->empty())
        return trace.Error("No valid PS data in contrast to previous query results");
    double fMagn = -1.0;
    double fDamp = -1.0;
    if (!MagnForDoeFromLastValue(p_pSpec, fMagn) || !DampForDoeFromLastValue(p_pSpec, fDamp))
        return false;
    if (!m_pDOE)
        return trace.BadPointer("m_pDOE");
    return m_pDOE->Calc(fMagn, fDamp, m_pTrace, r_fValue);
}

bool CPsmOut::DampForDoeFromLastValue(const CSpecDyn* p_pSpec, double& r_fValue) const
{
    const CDataPS* const pActDataPS = ActData(p_pSpec, "DampForDoeFromLastValue");
    if (!pActDataPS)
        return false;
    r_fValue = pActDataPS->GetDamp();
    return true;
}

bool CPsmOut::MagnForDoeFromLastValue(const CSpecDyn* p_pSpec, double& r_fValue) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "MagnForDoeFromLastValue");
    const CDataPS* const pActDataPS = ActData(p_pSpec, "MagnForDoeFromLastValue");
    if (!pActDataPS)
        return false;
    r_fValue = pActDataPS->GetMagn();
    if (r_fValue < g_fEpsilon)
        return trace.Error("Invalid actual PS magn.: ", r_fValue);
    return true;
}

const CDataPS* CPsmOut::ActData(const CSpecDyn* p_pSpec, std::string_view p_strMethod) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, p_strMethod);
    if (!p_pSpec)
    {
        trace.BadPointer("p_pSpec");
        return nullptr;
    }
    if (!p_pSpec->GetActDataPS())
        trace.BadPointer("pActDataPS");
    return p_pSpec->GetActDataPS();
}

CSpecDyn* CPsmOut::RetrveOutpSpec(const CTime* p_pActTime, std::int32_t& r_eQual)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveOutpSpec");
    const auto BadPointer = [&trace](std::string_view p_strName) -> CSpecDyn*
    {
        trace.BadPointer(p_strName);
        return nullptr;
    };
    if (!p_pActTime)
        return BadPointer("p_pActTime");
    if (!m_pvecpSpec)
        return BadPointer("m_pvecpSpec");

    // A VALID band may follow a SUSPECT one, but has to exceed its priority; a SUSPECT band after a VALID one is
    // skipped. Intended, because the chosen band depends on it: the reported quality is the best one found, and on
    // equal priority the earlier band wins.
    r_eQual = eQualError;
    bool bOk = true;
    bool bFound = false;
    CSpecDyn* pBest = nullptr;
    std::int32_t nBest = 0;
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            return BadPointer("pSpec");
        if (!pSpec->GetLastTimePS())
            return BadPointer("m_pLastTimePS");
        if (!pSpec->GetLastTimePS()->IsEqual(*p_pActTime))
            continue;
        bFound = true;
        const CDataPS* const pActDataPS = pSpec->GetActDataPS();
        if (!pActDataPS)
            return BadPointer("pActDataPS");
        if (pActDataPS->GetQual() > r_eQual)
            continue;
        r_eQual = pActDataPS->GetQual();
        if (r_eQual == eQualInvalid || r_eQual == eQualError)
            continue;
        const double fFreq_Hz = pActDataPS->GetFreq();
        if (fFreq_Hz < g_fEpsilon)
        {
            bOk = trace.Error("INVALID PS freq. despite VALID qual.: f[Hz]=", fFreq_Hz);
            break;
        }
        std::int32_t eNeighb = eNeighbInvalid;
        if (!CalcNeighb(fFreq_Hz, pSpec->GetReso(), eNeighb))
        {
            bOk = false;
            break;
        }
        const std::int32_t nPrio = pSpec->CalcPrioOutp(p_pActTime, eNeighb);
        if (nPrio > nBest)
        {
            pBest = pSpec.get();
            nBest = nPrio;
        }
    }
    if (bOk && !bFound)
        bOk = trace.Error("No ACTUAL data");
    if (bOk && !pBest)
        trace.Error("No spec.s despite calc. of output values");
    return pBest;
}

bool CPsmOut::CalcNeighb(double p_fFreq_Hz, std::int32_t p_eReso, std::int32_t& r_eNeighb) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcNeighb");
    if (!m_pvecpSpec)
        return trace.BadPointer("m_pvecpSpec");
    std::int32_t eOwn = eResoInvalid;
    std::int32_t eNext = eResoInvalid;
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            return trace.BadPointer("pSpec");
        if (pSpec->IsInRange(p_fFreq_Hz))
        {
            eOwn = pSpec->GetReso();
            eNext = pSpec->RetrveNextNeighb(p_fFreq_Hz);
            break;
        }
    }
    if (eOwn == eResoInvalid)
    {
        if (m_pvecpSpec->size() >= 3)
        {
            r_eNeighb = eNeighbInvalid;
            return trace.Error("No spec.range containing PS freq. found");
        }
        // If -spec has removed the band that contains the frequency, every band counts as its own.
        eOwn = p_eReso;
    }
    if (p_eReso == eOwn)
        r_eNeighb = eNeighbOwn;
    else
        r_eNeighb = p_eReso == eNext ? eNeighbNext : eNeighbFar;
    return true;
}

bool CPsmOut::Stop(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Stop");
    if (!m_pVdsOutPS)
        return trace.Error("Invalid pointer: m_pVdsOutPS");
    if (!m_pVdsOutPS->GetCB())
        return trace.BadPointer("pVdsOutCbPS");
    if (m_pVdsOutPS->GetCB()->IsStarted())
        EndOutput(p_pActTime);
    else if (m_pEventData->GetLastEvent() != 0)
        return trace.Error("UPC event exists although PS output (DLI write channel) is stopped");
    return true;
}

bool CPsmOut::ProcessEvents(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessEvents");
    if (!m_pEventData)
        return trace.BadPointer("m_pEventData");
    if (m_eStatz != eStatzActive || !m_bOutpValid)
        return m_pEventData->ProcessDIS(p_pActTime);
    if (!m_pVdsOutPS)
        return trace.BadPointer("m_pVdsOutPS");
    if (m_pVdsOutPS->GetQual() != eQualValid)
        return m_pEventData->ProcessDIS(p_pActTime);
    const double fFreq_Hz = m_pVdsOutPS->GetValue(0);
    if (fFreq_Hz <= g_fEpsilon)
    {
        m_pEventData->ProcessDIS(p_pActTime);
        trace.Error("Invalid Freq.Value: ", fFreq_Hz);
        return true;
    }
    return m_pEventData->ProcessAPP(p_pActTime, fFreq_Hz, m_pVdsOutPS->GetValue(1), m_pVdsOutPS->GetValue(2),
                                    m_pVdsOutPS->GetValue(3));
}
