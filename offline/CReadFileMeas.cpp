#include "offline/CReadFileMeas.h"
#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace
{
constexpr std::string_view g_strClass = "CReadFileMeas";
constexpr char g_cSeparator = ';';
constexpr std::size_t g_nMaxPhases = 3;
/// Limit for a file that never ends, such as a device. At one line a second, this many lines last a hundred days.
constexpr std::size_t g_nMaxLines = 10'000'000;
constexpr double g_fRadPerDeg = 0.017453292519943295;
constexpr double g_fDegPerRad = 57.29577951308232;
constexpr double g_fTwoPi = 6.283185307179586;

/// A part of the file for a message: shortened, and without control characters.
std::string Shown(std::string_view p_strText)
{
    constexpr std::size_t nLongest = 40;
    std::string strShown(p_strText.substr(0, nLongest));
    std::replace_if(
        strShown.begin(), strShown.end(), [](unsigned char p_c) { return p_c < 0x20 || p_c == 0x7f; }, '?');
    return p_strText.size() > nLongest ? strShown + "..." : strShown;
}

/// Reads the fields of a line in order. After the last one every field is empty.
class CFields
{
  public:
    explicit CFields(const std::string& p_strLine) : m_pszRest(p_strLine.c_str()) {}

    std::string_view Next()
    {
        const char* const pszBegin = m_pszRest;
        while (*m_pszRest != '\0' && *m_pszRest != g_cSeparator)
            ++m_pszRest;
        const std::string_view strField(pszBegin, static_cast<std::size_t>(m_pszRest - pszBegin));
        if (*m_pszRest == g_cSeparator)
            ++m_pszRest;
        ++m_nNext;
        return strField;
    }
    /// The conversion stops at the separator, which is not part of a number. Records a field that is partly a number.
    double NextNumber()
    {
        const std::int64_t nField = m_nNext;
        const std::string_view strField = Next();
        char* pszEnd = nullptr;
        const double fValue = std::strtod(strField.data(), &pszEnd);
        const std::size_t nRead = static_cast<std::size_t>(pszEnd - strField.data());
        if (nRead > 0 && m_nCut == 0 && strField.find_first_not_of(" \t", nRead) != std::string_view::npos)
            m_nCut = nField;
        return fValue;
    }
    /// Number of the first field with further text after its number; 0: none.
    std::int64_t Cut() const { return m_nCut; }
    void SkipTo(std::int64_t p_nField)
    {
        while (m_nNext < p_nField && *m_pszRest != '\0')
            Next();
        m_nNext = std::max(m_nNext, p_nField);
    }

  private:
    const char* m_pszRest;
    std::int64_t m_nNext = 0; ///< number of the next field
    std::int64_t m_nCut = 0;
};

std::complex<double> PhasorFromPolar(double p_fMagn, double p_fAngle_deg)
{
    const double fRad = std::fmod(p_fAngle_deg + 360.0, 360.0) * g_fRadPerDeg;
    return {p_fMagn * std::cos(fRad), p_fMagn * std::sin(fRad)};
}

double PhasePower(const std::complex<double>& p_cplxV, const std::complex<double>& p_cplxI)
{
    return (p_cplxV * std::conj(p_cplxI)).real();
}

std::vector<std::int32_t> UsedColumns(const std::vector<std::int32_t>& p_vecnColumn)
{
    std::vector<std::int32_t> vecnUsed;
    std::copy_if(p_vecnColumn.begin(), p_vecnColumn.end(), std::back_inserter(vecnUsed),
                 [](std::int32_t p_nColumn) { return p_nColumn != 0; });
    return vecnUsed;
}
} // namespace

CReadFileMeas::CReadFileMeas(const std::wstring& p_wstrPath, bool p_bVoltAngle,
                             const std::vector<std::int32_t>& p_vecnColVolt,
                             const std::vector<std::int32_t>& p_vecnColCurr, const std::string& p_strStart,
                             const std::string& p_strStop, CTraceOMA* p_pTrace)
    : CReadFile(p_wstrPath, p_pTrace), m_bVoltAngle(p_bVoltAngle), m_vecnColVolt(p_vecnColVolt),
      m_vecnColCurr(p_vecnColCurr), m_strStart(p_strStart), m_strStop(p_strStop)
{
}

double CReadFileMeas::GetActData() const
{
    const std::size_t nData = m_nData;
    return nData < m_vecData.size() ? m_vecData[nData] : 0.0;
}

bool CReadFileMeas::IncrDataCntr()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "IncrDataCntr");
    if (m_vecData.empty())
        return trace.Error("No data in buffer");
    m_nData = (m_nData + 1) % m_vecData.size();
    return true;
}

void CReadFileMeas::ForgetTrace(const CTraceOMA* p_pTrace)
{
    if (m_pTrace == p_pTrace)
        m_pTrace = nullptr;
}

bool CReadFileMeas::ReadData()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ReadData");
    m_vecData.clear();
    m_nData = 0;
    m_nLine = 0;
    m_bCutTold = false;
    m_strFirst.clear();
    m_strLast.clear();
    std::vector<SColumn> vecColumn;
    if (!DoSort(UsedColumns(m_vecnColVolt), UsedColumns(m_vecnColCurr), vecColumn) || !Open())
        return false;
    const bool bOk = ReadRecords(vecColumn, trace);
    Close();
    if (!bOk)
        m_vecData.clear();
    else if (m_vecData.empty())
        trace.Warning("Samples taken from the file: 0");
    else // as a warning, so that it is visible: start and stop easily match unexpected lines
        trace.Warning("Samples taken from the file: ", m_vecData.size(), ", from \"", Shown(m_strFirst), "\" to \"",
                      Shown(m_strLast), "\"");
    return bOk;
}

/// The columns of both PMUs in the order in which they are read from a line.
bool CReadFileMeas::DoSort(const std::vector<std::int32_t>& p_vecnVolt, const std::vector<std::int32_t>& p_vecnCurr,
                           std::vector<SColumn>& r_vecColumn) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "DoSort");
    if (p_vecnVolt.empty() || p_vecnVolt.size() > g_nMaxPhases)
        return trace.Error("Invalid no.of 1st PMU data: ", p_vecnVolt.size());
    if (p_vecnCurr.empty() || p_vecnCurr.size() > g_nMaxPhases)
        return trace.Error("Invalid no.of 2nd PMU data: ", p_vecnCurr.size());
    for (const std::int32_t nColumn : p_vecnVolt)
        r_vecColumn.push_back({nColumn, true});
    for (const std::int32_t nColumn : p_vecnCurr)
        r_vecColumn.push_back({nColumn, false});
    std::stable_sort(r_vecColumn.begin(), r_vecColumn.end(),
                     [](const SColumn& p_left, const SColumn& p_right) { return p_left.nColumn < p_right.nColumn; });
    if (r_vecColumn.size() == 1)
    {
        trace.Warning("Only SINGLE PMU with VALID/SUSPECT. filt.d freq.data");
        return false;
    }
    return true;
}

bool CReadFileMeas::ReadRecords(const std::vector<SColumn>& p_vecColumn, const CMethodTrace& p_trace)
{
    bool bStart = m_strStart.empty();
    bool bStop = false;
    std::size_t nLines = 0;
    VecPhasor vecVolt;
    VecPhasor vecCurr;
    ReadLine(); // header
    m_nLine = 1;
    while (!(bStart && bStop) && ReadLine())
    {
        ++m_nLine;
        if (++nLines > g_nMaxLines)
            return p_trace.Error("File has more lines than ", g_nMaxLines);
        const std::string_view strTime = CFields(GetLine()).Next();
        bStart = bStart || strTime.find(m_strStart) != std::string_view::npos;
        // Intended: an empty stop text matches every time stamp, so without one the first accepted record is also the
        // last. A stop text that matches before the start has the same effect.
        bStop = bStop || strTime.find(m_strStop) != std::string_view::npos;
        if (!bStart)
            continue;
        if (!AddRecord(p_vecColumn, vecVolt, vecCurr))
            return false;
        if (m_vecData.size() == 1)
            m_strFirst = strTime;
        m_strLast = strTime;
    }
    p_trace.Data(IsTraceData(7), "No.of lines read from CSV file: ", nLines);
    return true;
}

/// Intended: the sample is always the power, even in a file of voltage angles.
bool CReadFileMeas::AddRecord(const std::vector<SColumn>& p_vecColumn, VecPhasor& r_vecVolt, VecPhasor& r_vecCurr)
{
    if (const std::int64_t nCut = ExtractPhasors(p_vecColumn, r_vecVolt, r_vecCurr); nCut > 0 && !m_bCutTold)
        TellCut(nCut);
    double fAngle_deg = 0.0;
    double fPower_W = 0.0;
    if (m_bVoltAngle && !CalcVoltAngle(r_vecVolt, r_vecCurr, &fAngle_deg))
        return false;
    if (!CalcActivePower(r_vecVolt, r_vecCurr, &fPower_W))
        return false;
    m_vecData.push_back(fPower_W);
    return true;
}

/// Warns once for each file. With a decimal comma, only the part before the comma is read as a number.
void CReadFileMeas::TellCut(std::int64_t p_nField)
{
    m_bCutTold = true;
    CFields fields(m_strLine);
    fields.SkipTo(p_nField);
    CMethodTrace(m_pTrace, g_strClass, "ReadData")
        .Warning("Line ", m_nLine, ", column ", p_nField, ": only the number at the beginning of \"",
                 Shown(fields.Next()), "\" is read; use a point as the decimal separator");
}

/// Reads the line once, forwards. A column inside a phasor that has already been read continues after that phasor.
std::int64_t CReadFileMeas::ExtractPhasors(const std::vector<SColumn>& p_vecColumn, VecPhasor& r_vecVolt,
                                           VecPhasor& r_vecCurr) const
{
    r_vecVolt.clear();
    r_vecCurr.clear();
    CFields fields(m_strLine);
    fields.Next();
    for (const SColumn& column : p_vecColumn)
    {
        fields.SkipTo(column.nColumn);
        const double fMagn = fields.NextNumber();
        const double fAngle_deg = fields.NextNumber();
        (column.bVolt ? r_vecVolt : r_vecCurr).push_back(PhasorFromPolar(fMagn, fAngle_deg));
    }
    return fields.Cut();
}

bool CReadFileMeas::CalcActivePower(const VecPhasor& p_vecVolt, const VecPhasor& p_vecCurr, double* p_pfP) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcActivePower");
    const std::size_t nV = p_vecVolt.size();
    const std::size_t nI = p_vecCurr.size();
    std::complex<double> cplxMean;
    if (nV == nI && (nV == 1 || nV == 3))
    {
        double fSum = 0.0;
        for (std::size_t i = 0; i < nV; ++i)
            fSum += PhasePower(p_vecVolt[i], p_vecCurr[i]);
        *p_pfP = fSum * (3.0 / static_cast<double>(nV));
        return true;
    }
    if (nV == 3 && nI == 1 && PhasorsToPosSequ(p_vecVolt, &cplxMean))
    {
        *p_pfP = 3.0 * PhasePower(cplxMean, p_vecCurr[0]);
        return true;
    }
    if (nV == 1 && nI == 3 && PhasorsToPosSequ(p_vecCurr, &cplxMean))
    {
        *p_pfP = 3.0 * PhasePower(p_vecVolt[0], cplxMean);
        return true;
    }
    return trace.Error("Invalid current/voltage phase configuration: #phases V=", nV, ", #phases I=", nI);
}

bool CReadFileMeas::CalcVoltAngle(const VecPhasor& p_vec1st, const VecPhasor& p_vec2nd, double* p_pfAngle_deg) const
{
    std::complex<double> cplx1st;
    std::complex<double> cplx2nd;
    if (!PhasorsToPosSequ(p_vec1st, &cplx1st) || !PhasorsToPosSequ(p_vec2nd, &cplx2nd))
        return false;
    *p_pfAngle_deg = std::fmod(std::arg(cplx1st) - std::arg(cplx2nd), g_fTwoPi) * g_fDegPerRad;
    return true;
}

/// The plain mean; the phases are not rotated.
bool CReadFileMeas::PhasorsToPosSequ(const VecPhasor& p_vecPhasor, std::complex<double>* p_pcplx) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "PhasorsToPosSequ");
    if (p_vecPhasor.size() != 1 && p_vecPhasor.size() != 3)
        return trace.Error("Invalid no.of phasors: ", p_vecPhasor.size());
    std::complex<double> cplxSum;
    for (const std::complex<double>& cplx : p_vecPhasor)
        cplxSum += cplx;
    *p_pcplx = cplxSum / static_cast<double>(p_vecPhasor.size());
    return true;
}
