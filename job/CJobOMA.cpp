#include "job/CJobOMA.h"
#include "FileName.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "offline/CReadFileMeas.h"
#include "offline/CWriteFile.h"
#include <algorithm>
#include <exception>
#include <limits>

namespace
{
constexpr std::string_view g_strClass = "CJobOMA";

/// Truncates to a count: negative values and NaN give 0, values that are too large the largest count.
unsigned TruncToCount(double p_fValue)
{
    constexpr double fMax = std::numeric_limits<unsigned>::max();
    if (!(p_fValue > 0.0))
        return 0;
    return p_fValue < fMax ? static_cast<unsigned>(p_fValue) : std::numeric_limits<unsigned>::max();
}
} // namespace

CJobOMA::CJobOMA(const std::string& p_strName, std::uint32_t p_nId, bool p_bActive, std::int32_t p_eJobMode,
                 std::unique_ptr<VecSpec> p_pvecpSpec, std::uint32_t p_nUnitId, std::uint32_t p_nOutputRefId,
                 std::uint32_t p_nSamplesPS, std::int32_t p_nRepRate, std::unique_ptr<CDOE> p_pDOE,
                 std::unique_ptr<CTraceOMA> p_pTrace, CReadFileMeas* p_pReadFile)
    : CJob(p_strName, p_nId, p_bActive, p_pTrace.get()),
      m_pvecpProc(std::make_unique<std::vector<std::unique_ptr<CProcOMA>>>()), m_eJobMode(p_eJobMode),
      m_nUnitId(p_nUnitId), m_nOutputRefId(p_nOutputRefId), m_pvecpSpec(std::move(p_pvecpSpec)),
      m_nSamplesPS(p_nSamplesPS), m_nRepRate(p_nRepRate), m_pReadFile(p_pReadFile), m_pDOE(std::move(p_pDOE)),
      m_pTraceOwn(std::move(p_pTrace)), m_vecnStatDeg(360, 0), m_vecnStatDeciDeg(3600, 0),
      m_pFileStatDeg(std::make_unique<CWriteFile>(L"c:\\OMA_VPAD_Stati_deg.log", m_pTrace)),
      m_pFileStatDeciDeg(std::make_unique<CWriteFile>(L"c:\\OMA_VPAD_Stati_decideg.log", m_pTrace))
{
    CreateProcs();
    if (m_pReadFile)
        m_pReadFile->SetTrace(m_pTrace);
}

CJobOMA::~CJobOMA()
{
    DeleteAllPsmOuts();
    DeleteTrace();
}

/// Creates one evaluator for each used band, in band order.
void CJobOMA::CreateProcs()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CJobOMA");
    if (!m_pvecpSpec)
    {
        m_bOk = trace.BadPointer("p_pvecpSpec");
        return;
    }
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            m_bOk = trace.BadPointer("pSpec");
        else if (pSpec->IsUsed())
            m_pvecpProc->push_back(std::make_unique<CProcOMA>(m_pdeqMeas.get(), pSpec.get(), m_pDOE.get(), m_pTrace));
    }
    if (m_bOk)
        m_nMaxSpecSize = RetrveMaxSpecSize();
}

void CJobOMA::DeleteAllSpecs()
{
    m_pvecpProc.reset();
    m_pvecpSpec.reset();
    m_nMaxSpecSize = 0;
}

void CJobOMA::DeleteTrace()
{
    m_pVdsOutMeas.reset();
    m_pvecpProc.reset();
    m_pFileStatDeg.reset();
    m_pFileStatDeciDeg.reset();
    if (m_pReadFile)
        m_pReadFile->ForgetTrace(m_pTrace);
    m_pTrace = nullptr;
    m_pTraceOwn.reset();
}

SMeas CJobOMA::GetActValue() const
{
    const std::lock_guard lock(m_mtxAct);
    return m_ActValue;
}

void CJobOMA::SetActValue(const SMeas& p_meas)
{
    const std::lock_guard lock(m_mtxAct);
    m_ActValue = p_meas;
}

// ---- counts of measurements, cycles and samples ----

unsigned CJobOMA::CalcNoOfMeas(double p_fRange_s) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcNoOfMeas");
    const double fCycle_s = m_fCycle_s;
    if (p_fRange_s < g_fEpsilon)
    {
        trace.Error("Invalid time range");
        return 0;
    }
    if (fCycle_s < g_fEpsilon)
    {
        trace.Error("Invalid VDS read cycle time");
        return 0;
    }
    return TruncToCount(p_fRange_s / fCycle_s + 1.0 - g_fEpsilon);
}

unsigned CJobOMA::NoOfMeasPerTimeShift() const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "NoOfMeasPerTimeShift");
    if (m_nRepRate == 0)
    {
        trace.Suspend("Invalid PS repetition rate: 0");
        return 0;
    }
    return CalcNoOfMeas(CTime::CycleTimeFromRate(m_nRepRate));
}

unsigned CJobOMA::NoOfCyclesInactive() const
{
    return TruncToCount(m_fInact_s / CTime::CycleTimeFromRate(m_nRepRate) + g_fEpsilon);
}

std::uint32_t CJobOMA::RetrveMaxSpecSize() const
{
    if (m_nMaxSpecSize > 0)
        return m_nMaxSpecSize;
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveMaxSpecSize");
    if (!m_pvecpSpec)
        return trace.BadPointer("m_pvecpSpec");
    std::uint32_t nMax = 0;
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            return trace.BadPointer("pSpec");
        if (pSpec->IsUsed())
            nMax = std::max(nMax, pSpec->GetNoOfSamples());
    }
    return nMax;
}

std::uint32_t CJobOMA::RetrveMinSpecSize() const
{
    std::uint32_t nMin = RetrveMaxSpecSize();
    if (nMin == 0)
        return 0;
    for (const auto& pSpec : *m_pvecpSpec)
        if (pSpec->IsUsed())
            nMin = std::min(nMin, pSpec->GetNoOfSamples());
    return nMin;
}

bool CJobOMA::RetrveTotalFreqEnd(double* p_pfEnd_Hz) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveTotalFreqEnd");
    if (!p_pfEnd_Hz)
        return trace.BadPointer("p_pfEnd_Hz");
    if (!m_pvecpSpec)
        return trace.BadPointer("m_pvecpSpec");
    *p_pfEnd_Hz = -1.0;
    for (const auto& pSpec : *m_pvecpSpec)
    {
        if (!pSpec)
            return trace.BadPointer("pSpec");
        *p_pfEnd_Hz = std::max(*p_pfEnd_Hz, pSpec->GetFreqEnd());
    }
    return *p_pfEnd_Hz < 0.0 ? trace.Error("No valid freq.end value available from SPECs") : true;
}

// ---- queue ----

bool CJobOMA::AddMeasToBuf()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "AddMeasToBuf");
    const std::uint32_t nMeasMax = RetrveMaxSpecSize();
    if (nMeasMax == 0)
        return trace.Suspend("Invalid #nMeasMax# value");
    m_pdeqMeas->Push(GetActValue(), nMeasMax);
    ++m_nMeasSinceShift;
    return true;
}

bool CJobOMA::ResetDeqMeas()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ResetDeqMeas");
    m_pdeqMeas->Clear();
    m_nMeasSinceShift = 0;
    m_nCycleProc = 0;
    m_nCycleWrite = 0;
    m_nCycleSpare = 0;
    trace.Warning("RESET Meas.Deque");
    return true;
}

bool CJobOMA::RetrveActValueFromFile()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveActValueFromFile");
    if (!m_pReadFile)
        return trace.BadPointer("m_pReadFile");
    SetActValue({m_pReadFile->GetActData(), eQualValid});
    return m_pReadFile->IncrDataCntr();
}

// ---- measurement channel ----

bool CJobOMA::SetCycleTime(double p_fCycle_s, const CMethodTrace& p_trace)
{
    m_fCycle_s = p_fCycle_s;
    if (!m_pvecpProc)
        return p_trace.BadPointer("pvecpProc");
    for (const auto& pProc : *m_pvecpProc)
    {
        if (!pProc)
            return p_trace.BadPointer("pProc");
        pProc->SetDeltaT(p_fCycle_s);
    }
    if (!m_pvecpPsmOut)
        return p_trace.BadPointer("pvecpPSM");
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        if (!pPSM)
            return p_trace.BadPointer("pPSM");
        pPSM->m_fCycle_s = p_fCycle_s;
    }
    return true;
}

bool CJobOMA::CreateVdsOutMeas(unsigned long p_hWrite, std::int32_t p_nCycleRate)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CreateVdsOutMeas");
    const std::lock_guard lock(m_mtxWrite);
    if (m_pVdsOutMeas)
        return true;
    try
    {
        m_pVdsOutMeas = std::make_unique<CVdsOutMeas>(p_hWrite, m_nUnitId, std::vector<unsigned long>{m_nOutputRefId},
                                                      p_nCycleRate, m_pTrace);
    }
    catch (const std::exception& error)
    {
        return trace.Error("Cannot create output channel of measurement: ", error.what());
    }
    return true;
}

bool CJobOMA::WriteCalcdValue()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WriteCalcdValue");
    const std::lock_guard lock(m_mtxWrite);
    if (!m_pVdsOutMeas)
        return trace.BadPointer("m_pVdsOutMeas");
    if (!m_pVdsOutMeas->GetCB())
        return trace.BadPointer("pCB");
    const CTime* pTime = m_pTimeInp;
    if (!pTime)
        pTime = m_pActTime.get();
    else if (m_bWorkerDone)
        m_pActTime->Copy(pTime, true);
    if (!m_pVdsOutMeas->GetCB()->IsStarted())
        return true;
    const SMeas meas = GetActValue();
    m_pVdsOutMeas->SetActTS(pTime);
    m_pVdsOutMeas->SetQual(meas.eQual);
    m_pVdsOutMeas->SetValue(0, meas.fValue);
    return m_pVdsOutMeas->DoWriteRT(pTime);
}

bool CJobOMA::WriteInvalidActualValue()
{
    SetActValue(SMeas());
    return WriteCalcdValue();
}

// ---- modes ----

bool CJobOMA::StopAllPsmOut()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "StopAllPsmOut");
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        if (!pPSM)
            return trace.BadPointer("pPSM");
        if (!pPSM->Stop(m_pActTime.get()))
            return false;
    }
    return true;
}

void CJobOMA::InitForNewTimeLine()
{
    const std::lock_guard lock(m_mtxModes);
    StopAllPsmOut();
    ResetDeqMeas();
}

// ---- names of the result files ----

bool CJobOMA::GetCsvFileName(std::wstring* p_pwstr) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "GetCsvFileName");
    if (!p_pwstr)
        return trace.BadPointer("p_pwstr");
    *p_pwstr = L"c:\\OMA_" + WideText(m_strName) + L".csv";
    return true;
}

bool CJobOMA::GetFftFileName(std::wstring* p_pwstr) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "GetFftFileName");
    if (!p_pwstr)
        return trace.BadPointer("p_pwstr");
    *p_pwstr = L"c:\\OMA_" + WideText(m_strName) + L"_FFT.dat";
    return true;
}

bool CJobOMA::GetPsmFileName(std::wstring* p_pwstr) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "GetPsmFileName");
    if (!p_pwstr)
        return trace.BadPointer("p_pwstr");
    *p_pwstr = L"c:\\OMA_" + WideText(m_strName) + L"_PsmExt.dat";
    return true;
}
