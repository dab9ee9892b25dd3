#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "job/CJobOMA.h"
#include "offline/CWriteFile.h"
#include <algorithm>
#include <cmath>

// The CSV file of a job: four header lines, then one line for each complete pass. Also traces the same mode data.

namespace
{
constexpr std::string_view g_strClass = "CJobOMA";
constexpr double g_fRadPerDeg = 0.017453292519943295;
constexpr unsigned g_nModeChannels = 4;
constexpr const char* g_pszTimebase = "1000"; ///< the time column is in ms, whatever the grid frequency
constexpr const char* g_pszFreqNom = "50";

std::string g_strServerAddr; ///< of the server link; set before the jobs of a pass are created
unsigned g_nServerPort = 0;

/// Width and precision of a number.
struct SFormat
{
    unsigned nWidth;
    unsigned nPrecision;
};
constexpr SFormat g_formatVolt{11, 4};
constexpr SFormat g_formatCurr{12, 6};
constexpr SFormat g_formatRad{12, 9};
constexpr SFormat g_formatModePower[g_nModeChannels] = {{6, 3}, {8, 0}, {6, 4}, {6, 2}};
constexpr SFormat g_formatModeAngle[g_nModeChannels] = {{6, 3}, {6, 2}, {6, 4}, {6, 2}};

void WritePhasor(CWriteFile* p_pFileCSV, const SPhasor& p_phasor, const SFormat& p_formatMagn)
{
    p_pFileCSV->WriteField(p_phasor.fMagn, p_formatMagn.nWidth, p_formatMagn.nPrecision);
    p_pFileCSV->WriteField(p_phasor.fAngle_deg * g_fRadPerDeg, g_formatRad.nWidth, g_formatRad.nPrecision);
}
} // namespace

void CJobOMA::SetServerAddress(const std::string& p_strIpAddr, unsigned p_nPort)
{
    g_strServerAddr = p_strIpAddr;
    g_nServerPort = p_nPort;
}

// ---- head ----

bool CJobOMA::WriteHeadToCSV(CWriteFile* p_pFileCSV)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WriteHeadToCSV");
    if (!p_pFileCSV)
        return trace.BadPointer("p_pFileCSV");
    if (!CheckPmuPhasors(trace, "pvecPhasor_1st", "pvecPhasor_2nd"))
        return false;
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    p_pFileCSV->WriteLine("Name,ID,IPAddr,Port,IPtype,Timebase,FNOM,REPRATE,CoordType");
    for (const std::string& strField :
         {m_strName, std::to_string(m_nId), g_strServerAddr, std::to_string(g_nServerPort), std::string("tcp"),
          std::string(g_pszTimebase), std::string(g_pszFreqNom), std::to_string(m_nRepRate), std::string("polar")})
        p_pFileCSV->WriteField(strField);
    p_pFileCSV->EndLine();
    return WriteHeadOfColumns(p_pFileCSV, trace) && WriteHeadOfUnits(p_pFileCSV, trace);
}

/// The format has one id for each phasor, although its values occupy two columns.
bool CJobOMA::WriteHeadOfColumns(CWriteFile* p_pFileCSV, const CMethodTrace& p_trace)
{
    p_pFileCSV->WriteField("Time");
    for (const CPmu* pPmu : {m_pPmu1st, m_pPmu2nd})
        for (const SPhasor& phasor : *pPmu->GetPhasors())
            p_pFileCSV->WriteField(std::to_string(phasor.nId));
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        if (!pPSM)
            return p_trace.BadPointer("pPSM");
        const CVdsOutPS* const pVdsOutPS = pPSM->GetVdsOutPS();
        if (!pVdsOutPS)
            return p_trace.BadPointer("pVdsOutPS");
        for (unsigned i = 0; i < g_nModeChannels; ++i)
            p_pFileCSV->WriteField(std::to_string(pVdsOutPS->GetChanId(i)));
    }
    p_pFileCSV->EndLine();
    return true;
}

bool CJobOMA::WriteHeadOfUnits(CWriteFile* p_pFileCSV, const CMethodTrace& p_trace)
{
    p_pFileCSV->WriteField("ms");
    for (std::size_t i = 0; i < m_pPmu1st->GetPhasors()->size(); ++i)
    {
        p_pFileCSV->WriteField("V");
        p_pFileCSV->WriteField("rad");
    }
    const bool bModeKnown = m_eJobMode == 0 || m_eJobMode == 1;
    if (!bModeKnown && !m_pPmu2nd->GetPhasors()->empty())
        return p_trace.Error("Invalid 'case' (1/2)");
    for (std::size_t i = 0; i < m_pPmu2nd->GetPhasors()->size(); ++i)
    {
        p_pFileCSV->WriteField(m_eJobMode == 0 ? "A" : "V");
        p_pFileCSV->WriteField("rad");
    }
    if (!bModeKnown && !m_pvecpPsmOut->empty())
        return p_trace.Error("Invalid 'case' (2/2)");
    for (std::size_t i = 0; i < m_pvecpPsmOut->size(); ++i)
        for (unsigned nChannel = 0; nChannel < g_nModeChannels; ++nChannel)
            p_pFileCSV->WriteField(CVdsOutPS::GetUnit(m_eJobMode == 0, nChannel));
    p_pFileCSV->EndLine();
    return true;
}

// ---- data ----

bool CJobOMA::WriteDataToCSV(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "WriteDataToCSV");
    if (!p_pFileCSV)
        return trace.BadPointer("p_pFileCSV");
    if (!p_pnCsvRows)
        return trace.BadPointer("p_pnCsvRows");
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    // Counts rows, so a lost pass leaves no gap in the time column.
    const double fTime_ms = *p_pnCsvRows * 1000.0 * CTime::CycleTimeFromRate(m_nRepRate) + g_fEpsilon;
    p_pFileCSV->WriteField(std::to_string(static_cast<std::int64_t>(fTime_ms)));
    if (!Write1stPmuDataToCSV(p_pFileCSV) || !Write2ndPmuDataToCSV(p_pFileCSV))
        return false;
    const SFormat* const pFormat = m_eJobMode == 0 ? g_formatModePower : g_formatModeAngle;
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        if (!pPSM)
            return trace.BadPointer("pPSM");
        const CVdsOutPS* const pVdsOutPS = pPSM->GetVdsOutPS();
        if (!pVdsOutPS)
            return trace.BadPointer("pVdsOutPS");
        for (unsigned i = 0; i < g_nModeChannels; ++i)
            p_pFileCSV->WriteField(pVdsOutPS->GetValue(i), pFormat[i].nWidth, pFormat[i].nPrecision);
    }
    p_pFileCSV->EndLine();
    ++*p_pnCsvRows;
    return true;
}

/// Intended: the second PMU determines the number of columns. If the first PMU has fewer phasors, fewer are written.
bool CJobOMA::Write1stPmuDataToCSV(CWriteFile* p_pFileCSV)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Write1stPmuDataToCSV");
    if (!p_pFileCSV)
        return trace.BadPointer("p_pFileCSV");
    if (!CheckPmuPhasors(trace, "pvecPhasor_1st", "pvecPhasor_2nd"))
        return false;
    const std::vector<SPhasor>& vecPhasor = *m_pPmu1st->GetPhasors();
    const std::size_t nPhasors = std::min(vecPhasor.size(), m_pPmu2nd->GetPhasors()->size());
    for (std::size_t i = 0; i < nPhasors; ++i)
        WritePhasor(p_pFileCSV, vecPhasor[i], g_formatVolt);
    return true;
}

bool CJobOMA::Write2ndPmuDataToCSV(CWriteFile* p_pFileCSV)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Write2ndPmuDataToCSV");
    if (!p_pFileCSV)
        return trace.BadPointer("p_pFileCSV");
    if (!CheckPmuPhasors(trace, "pvecPhasor_1st", "pvecPhasor_2nd"))
        return false;
    if (m_eJobMode != 0 && m_eJobMode != 1)
        return trace.Error("Invalid 'case'");
    for (const SPhasor& phasor : *m_pPmu2nd->GetPhasors())
        WritePhasor(p_pFileCSV, phasor, m_eJobMode == 0 ? g_formatCurr : g_formatVolt);
    return true;
}

// ---- trace ----

/// Intended: prints nothing, because no counter is 0 after the ageing of a pass.
bool CJobOMA::TraceAllPSMData()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "TraceAllPSMData");
    if (!m_pvecpPsmOut)
        return trace.BadPointer("m_pvecpPsmOut");
    const std::string_view strUnit = m_eJobMode == 0 ? "VA" : m_eJobMode == 1 ? "deg" : "???";
    unsigned nMode = 0;
    for (const auto& pPSM : *m_pvecpPsmOut)
    {
        ++nMode;
        if (!pPSM)
            return trace.BadPointer("pPSM");
        const CVdsOutPS* const pVdsOutPS = pPSM->GetVdsOutPS();
        if (!pVdsOutPS)
            return trace.BadPointer("pVdsOutPS");
        if (pPSM->GetCntr() == 0)
            trace.Data(true, "PS Mode ", nMode, ": ", "  m_Cntr=", pPSM->GetCntr(),
                       "  Freq.[Hz]=", pVdsOutPS->GetValue(0), "  Magn.[", strUnit, "]=", pVdsOutPS->GetValue(1),
                       "  Damp.Ratio[-]=", pVdsOutPS->GetValue(2), "  DOE[-]=", pVdsOutPS->GetValue(3));
    }
    return true;
}
