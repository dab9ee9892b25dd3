#include "host/base/AppState.h"
#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include "host/shell/CShellOMA.h"
#include "job/CJobOMA.h"
#include "offline/CStudyOMA.h"
#include "offline/CWriteFile.h"

// One pass of the analysis, step by step.

namespace
{
constexpr std::string_view g_strClass = "CJobOMA";
constexpr unsigned g_nStartRespWarn_ms = 200; ///< a longer total wait for start answers in a pass gives a warning

enum EGridQual : std::int32_t
{
    eGridIntact = 0,
    eGridPotentialSplit = 1,
    eGridActualSplit = 2
};

bool IsOffline()
{
    return g_eDataSource != eSrcServer;
}
} // namespace

bool CJobOMA::RunWorker(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RunWorker");
    if (!TakeActTime(trace))
        return false;
    if (!CheckGrid(trace))
        return true;
    if (!RetrveValue(trace) || !UpdateInputQual(trace))
        return false;
    if (IsOffline())
        WriteCalcdValue();
    if (m_eInputQual == eQualInvalid)
    {
        StopAllPsmOut();
        ResetDeqMeas();
        return true;
    }
    if (IsOffline() && !AddMeasToBuf())
        return false;
    return ProcessMeas(trace, p_pFileCSV, p_pnCsvRows);
}

/// From the queue to the outputs. Runs only while grid and input are good.
bool CJobOMA::ProcessMeas(const CMethodTrace& p_trace, CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows)
{
    if (!CheckDataAndTime(p_trace) || !CheckCycleProc(p_trace))
        return false;
    if (!CreateStudyData() || !RunAllProcs(p_trace))
        return false;
    if (!CheckCycleWrite(p_trace) || !UpdateAllPSMs() || !WriteDataPS())
        return false;
    if (p_pFileCSV && !WriteDataToCSV(p_pFileCSV, p_pnCsvRows))
        return false;
    TraceAllPSMData();
    m_nMeasSinceShift = 0;
    return true;
}

// ---- time, grid and input ----

bool CJobOMA::TakeActTime(const CMethodTrace& p_trace)
{
    if (!m_pActTime)
        return p_trace.BadPointer("m_pActTime");
    return m_pActTime->Copy(m_pTimeInp, true) ? true : p_trace.Error("Cannot copy actual time stamp");
}

bool CJobOMA::CheckGrid(const CMethodTrace& p_trace)
{
    if (IsOffline() || !m_bUsingNTM)
    {
        m_eGridQual = eGridIntact;
        return true;
    }
    m_eGridQual = RetrveGridQualFromNTM();
    if (m_eGridQual == eGridActualSplit)
    {
        SuspendBySplit(p_trace);
        return false;
    }
    if (!m_bSplitActive)
        return true;
    ResetDeqMeas();
    p_trace.Warning("OMA data analysis re-started due to network re-closing");
    m_bSplitActive = false;
    return false;
}

/// Stops the outputs once; the measurement channel sends an INVALID value in each pass.
void CJobOMA::SuspendBySplit(const CMethodTrace& p_trace)
{
    WriteInvalidActualValue();
    if (m_bSplitActive)
        return;
    StopAllPsmOut();
    p_trace.Warning("No OMA data analysis due to actual network split");
    m_bSplitActive = true;
}

std::int32_t CJobOMA::RetrveGridQualFromNTM()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrveGridQualFromNTM");
    if (m_eJobMode != 1 || !m_bUsingNTM)
        return eGridIntact;
    if (!m_pPmu1st || !m_pPmu2nd)
    {
        trace.BadPointer(m_pPmu1st ? "m_pPmu2nd" : "m_pPmu1st");
        return eGridActualSplit;
    }
    const std::int32_t eQual1 = m_pPmu1st->m_eZoneQual;
    const std::int32_t eQual2 = m_pPmu2nd->m_eZoneQual;
    const bool bSplit = m_pPmu1st->m_nIsland.Get() != m_pPmu2nd->m_nIsland.Get();
    const bool bSubsplit = m_pPmu1st->m_nZone.Get() != m_pPmu2nd->m_nZone.Get();
    if (eQual1 != eQual2)
    {
        trace.Error("PMU zone qualities do not match: q1=", QualAsText(eQual1), " q2=", QualAsText(eQual2));
        return eGridActualSplit;
    }
    switch (eQual1)
    {
    case eQualValid:
        trace.Data(bSplit && IsTraceData(6), "Actual Network Split");
        trace.Data(!bSplit && bSubsplit && IsTraceData(6), "Potential Network Subsplit");
        if (bSplit)
            return eGridActualSplit;
        return bSubsplit ? eGridPotentialSplit : eGridIntact;
    case eQualSuspect:
        trace.Data(bSplit && IsTraceData(6), "Potential Network Split");
        trace.Data(bSubsplit && IsTraceDataAll(), "Potential Network Subsplit");
        if (bSplit && bSubsplit)
            trace.Error("Pot.split AND pot.subsplit states must NOT exist at the same time");
        return bSplit || bSubsplit ? eGridPotentialSplit : eGridIntact;
    case eQualInvalid:
        return eGridIntact;
    default:
        trace.Error("Invalid Quality Status: ", eQual1);
        return eGridActualSplit;
    }
}

bool CJobOMA::RetrveValue(const CMethodTrace& p_trace)
{
    switch (g_eDataSource.load())
    {
    case eSrcServer:
        return true;
    case eSrcMeasFile:
        return RetrveActValueFromFile();
    case eSrcStudy:
        return CalcActualValue();
    default:
        return p_trace.Error("Invalid global OMA operation mode");
    }
}

/// Changes state on VALID and INVALID values only, and reports each change once.
bool CJobOMA::UpdateInputQual(const CMethodTrace& p_trace)
{
    switch (GetActValue().eQual)
    {
    case eQualInvalid:
        if (m_eInputQual == eQualValid)
        {
            m_eInputQual = eQualInvalid;
            p_trace.Warning("APP - INVALID PMU input data (wait for DIS warning...)");
        }
        return true;
    case eQualValid:
        if (m_eInputQual == eQualInvalid)
        {
            m_eInputQual = eQualValid;
            p_trace.Warning("DIS - PMU input data again all VALID now");
        }
        return true;
    default:
        return p_trace.Suspend("Invalid #eQual# value");
    }
}

// ---- enough data, right time ----

bool CJobOMA::CheckDataAndTime(const CMethodTrace& p_trace)
{
    const std::uint32_t nMeasMin = RetrveMinSpecSize();
    if (nMeasMin == 0)
        return p_trace.Suspend("Invalid #nMeasMin# value");
    if (m_pdeqMeas->Size() < nMeasMin)
    {
        p_trace.Warning("Insufficient data in deque (possibly due to island split)");
        return false;
    }
    if (m_nMeasSinceShift < NoOfMeasPerTimeShift())
        return p_trace.Error("Invalid time shift counter");
    return m_pActTime->IsAlignedTo(m_nRepRate) ? true : p_trace.Error("TS does not match PS cycle");
}

/// Whether this pass belongs to the PS cycle after r_nCycleLast (0: none yet). If so, r_nCycleLast advances to it.
bool CJobOMA::IsNextCycle(std::atomic<std::uint64_t>& r_nCycleLast, std::int64_t& r_nMissing) const
{
    std::uint64_t nCycle = 0;
    m_pActTime->CycleNumber(m_nRepRate, &nCycle);
    const std::uint64_t nCycleLast = r_nCycleLast;
    r_nMissing = static_cast<std::int64_t>(nCycle - nCycleLast - 1);
    if (nCycleLast != 0 && r_nMissing != 0)
        return false;
    r_nCycleLast = nCycle;
    return true;
}

bool CJobOMA::CheckCycleProc(const CMethodTrace& p_trace)
{
    std::int64_t nMissing = 0;
    if (IsNextCycle(m_nCycleProc, nMissing))
        return true;
    p_trace.Error("BEFORE DATA PROC. - Missing OMA input data: # PS cycles = ", nMissing);
    StopAllPsmOut();
    ResetDeqMeas();
    return false;
}

/// Repeats the check before writing, to detect a gap that arose while the pass was running.
bool CJobOMA::CheckCycleWrite(const CMethodTrace& p_trace)
{
    std::int64_t nMissing = 0;
    if (IsNextCycle(m_nCycleWrite, nMissing))
        return true;
    p_trace.Error("BEFORE WRITE ALL PSM - Missing OMA input data: # PS cycles = ", nMissing);
    StopAllPsmOut();
    p_trace.Error("BEFORE WRITE ALL PSM - DONE STOP All PSM");
    ResetDeqMeas();
    p_trace.Error("BEFORE WRITE ALL PSM - DONE RESET Deq Meas");
    return false;
}

// ---- spectra and peaks ----

/// With -study, the synthetic signal replaces the whole window.
bool CJobOMA::CreateStudyData()
{
    if (!g_pShell || !g_pShell->IsStudy())
        return true;
    CStudyOMA study(m_pdeqMeas.get(), static_cast<unsigned>(m_pdeqMeas->Size()), m_fCycle_s, m_pTrace);
    return study.CreateData(g_pShell->GetStudyPeaks(), NoOfMeasPerTimeShift(), g_pShell->GetNoise(),
                            g_pShell->GetShift(), g_pShell->GetRange());
}

bool CJobOMA::RetrveRunSettings(const CMethodTrace& p_trace, SRunSettings& r_settings) const
{
    if (g_pShell && g_pShell->IsFileFFT())
        GetFftFileName(&r_settings.wstrFileFFT);
    if (g_pShell && g_pShell->IsFilePSM())
        GetPsmFileName(&r_settings.wstrFilePSM);
    r_settings.eFit = g_pShell && g_pShell->IsLMA() ? 2 : 1;
    p_trace.Data(IsTraceData(7), "Before 3xSPEC");
    return RetrveTotalFreqEnd(&r_settings.fFreqEnd_Hz);
}

/// Evaluates one spectrum after the other; assigns its peaks to the modes before the next one starts.
bool CJobOMA::RunAllProcs(const CMethodTrace& p_trace)
{
    SRunSettings settings;
    if (!RetrveRunSettings(p_trace, settings))
        return false;
    if (!m_pvecpProc)
        return p_trace.BadPointer("m_pvecpProc");
    SPass pass;
    bool bOk = true;
    for (const auto& pProc : *m_pvecpProc)
    {
        if (!pProc)
            return p_trace.BadPointer("pProc");
        if (!pProc->GetSpec())
            return p_trace.BadPointer("pSpec");
        bOk = RunProc(pProc.get(), settings, p_trace, pass);
        if (!bOk)
            break;
    }
    if (pass.nPeaks != 0)
        p_trace.Data(IsTraceData(7), "TOTAL # peaks detected: ", pass.nPeaks);
    if (pass.nNotAssigned != 0)
        p_trace.Warning("TOTAL # peaks not assigned to PSMs: ", pass.nNotAssigned);
    return bOk;
}

/// Skips a resolution that does not have enough data yet.
bool CJobOMA::RunProc(CProcOMA* p_pProc, const SRunSettings& p_settings, const CMethodTrace& p_trace, SPass& r_pass)
{
    const std::uint32_t nSamples = p_pProc->GetSpec()->GetNoOfSamples();
    const std::size_t nMeas = m_pdeqMeas->Size();
    p_trace.Data(IsTraceData(7), "Before PROC Run: nMeas=", nMeas, ", nSamplesInp=", nSamples);
    if (nMeas < nSamples)
        return true;
    CProcOMA::VecPeak vecpPeak;
    p_pProc->Run(p_settings.fFreqEnd_Hz, p_settings.wstrFileFFT, p_settings.wstrFilePSM, p_settings.eFit, m_eGridQual,
                 &vecpPeak);
    return vecpPeak.empty() || AssignPeaks(p_pProc, &vecpPeak, p_trace, r_pass);
}

bool CJobOMA::AssignPeaks(CProcOMA* p_pProc, CProcOMA::VecPeak* p_pvecpPeak, const CMethodTrace& p_trace, SPass& r_pass)
{
    r_pass.nPeaks += static_cast<unsigned>(p_pvecpPeak->size());
    bool bOk = true;
    if (!CheckAllPeaksForMagnLimit(p_pvecpPeak, p_pProc->GetAmpl(), p_pProc->GetFreqStep()))
        bOk = p_trace.Error("Unexpected RETURN after 'CheckAllPeaksForMagnLimit'");
    else if (!AssignAllPeaksToPSMs(p_pvecpPeak, p_pProc->GetAmpl(), p_pProc->GetFreqStep()))
        bOk = p_trace.Error("Unexpected RETURN after 'AssignAllPeaksToPSMs'");
    for (const auto& pPeak : *p_pvecpPeak)
    {
        if (!pPeak)
            bOk = p_trace.BadPointer("pPeak");
        else if (!pPeak->m_bAssigned)
            ++r_pass.nNotAssigned;
    }
    return bOk;
}

// ---- modes and outputs ----

bool CJobOMA::UpdateAllPSMs()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "UpdateAllPSMs");
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        if (!pPSM)
            return trace.BadPointer("pPSM");
        pPSM->UpdateCntrAndStatz();
        if (!pPSM->Update(m_pActTime.get()))
            return false;
    }
    return true;
}

bool CJobOMA::WriteDataPS()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WriteDataPS");
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    if (GetTraceFilterId() != 0)
        trace.Data(true, " Init. write for all PS data at                                     TS=",
                   ActTimeAsText(*m_pActTime));
    unsigned nTotal_ms = 0;
    bool bOk = true;
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        bOk = pPSM ? WriteModePS(pPSM.get(), trace, nTotal_ms) : trace.BadPointer("pPSM");
        if (!bOk)
            break;
    }
    if (nTotal_ms >= g_nStartRespWarn_ms)
        trace.Warning("Total VDS Start Write Resp.Time [ms]: ", nTotal_ms);
    return bOk;
}

/// Writes the output of one mode. r_nTotal_ms grows by the wait for the start of its channels.
bool CJobOMA::WriteModePS(CPsmOut* p_pPSM, const CMethodTrace& p_trace, unsigned& r_nTotal_ms)
{
    CVdsOutPS* const pVdsOutPS = p_pPSM->GetVdsOutPS();
    if (!pVdsOutPS)
        return p_trace.BadPointer("pVdsOutPS");
    CVdsOutCbPS* const pCB = pVdsOutPS->GetCB();
    if (!pCB)
        return p_trace.BadPointer("pVdsOutCbPS");
    pCB->m_nWaited_ms = 0;
    if (!p_pPSM->WriteActualData(m_pActTime.get()))
        return false;
    r_nTotal_ms += pCB->m_nWaited_ms;
    return true;
}
