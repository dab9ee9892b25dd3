#include "view/answer/Exports.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace
{
constexpr const char* g_ppQuantity[] = {"frequency_Hz", "magnitude", "damping_ratio", "exposure"};
constexpr std::int64_t g_nTicksPerUs = 10;
/// A stamp of 32 bits holds 71 minutes of microseconds.
constexpr std::int64_t g_nLongUs = 3'600'000'000;

/// Empty for what is not there.
std::string Number(double p_fValue)
{
    if (!std::isfinite(p_fValue))
        return "";
    char pText[40];
    return {pText, std::to_chars(pText, pText + sizeof pText, static_cast<float>(p_fValue)).ptr};
}

/// Quoted where the form needs it. A text that a table program would take for a formula gets an apostrophe.
std::string Text(std::string p_strText)
{
    if (!p_strText.empty() && std::string_view("=+-@\t\r").find(p_strText[0]) != std::string_view::npos)
        p_strText.insert(0, 1, '\'');
    if (p_strText.find_first_of("\",\r\n") == std::string::npos)
        return p_strText;
    std::string strQuoted = "\"";
    for (const char nChar : p_strText)
        strQuoted += nChar == '"' ? std::string("\"\"") : std::string(1, nChar);
    return strQuoted + '"';
}

/// "W" or "deg", for names of columns.
const char* UnitName(const SViewJob& p_job)
{
    return p_job.bPower ? "W" : "deg";
}

void AddColumn(std::string& r_strLine, const SCurve::SColumn& p_column, std::size_t p_nRow)
{
    for (const std::vector<double>* pvecfValue : {&p_column.vecfMean, &p_column.vecfMin, &p_column.vecfMax})
        r_strLine += ',' + (p_nRow < pvecfValue->size() ? Number((*pvecfValue)[p_nRow]) : "");
}

/// The pass before a time, within three of them: its place in the course; -1: none.
class CPassBefore
{
  public:
    CPassBefore(const SCurve& p_course, double p_fPass_s)
        : m_course(p_course), m_nLimit_ms(std::llround(3000 * p_fPass_s))
    {
    }
    std::ptrdiff_t At(std::int64_t p_nTime_ms)
    {
        const std::vector<std::int64_t>& vecnTime = m_course.vecnTime_ms;
        while (m_nNext < vecnTime.size() && vecnTime[m_nNext] <= p_nTime_ms)
            ++m_nNext;
        if (m_nNext == 0 || p_nTime_ms - vecnTime[m_nNext - 1] > m_nLimit_ms)
            return -1;
        return static_cast<std::ptrdiff_t>(m_nNext) - 1;
    }

  private:
    const SCurve& m_course;
    const std::int64_t m_nLimit_ms;
    std::size_t m_nNext = 0;
};

/// Level that stood at a time.
int LevelAt(const std::vector<SViewStep>& p_vecStep, std::int64_t p_nTicks)
{
    int nLevel = 0;
    for (const SViewStep& step : p_vecStep)
        if (step.nTicks <= p_nTicks)
            nLevel = step.bApp ? step.nLevel : 0;
    return nLevel;
}
} // namespace

std::string TrendsCsv(const SViewModel& p_model, const std::vector<SModeRef>& p_vecMode,
                      const std::vector<SCurve>& p_vecCurve)
{
    std::string strText = "time,job,mode,unit";
    for (const char* pQuantity : g_ppQuantity)
        for (const char* pEnd : {"", "_min", "_max"})
            strText += std::string(",") + pQuantity + pEnd;
    strText += "\r\n";
    for (std::size_t i = 0; i < p_vecMode.size(); ++i)
    {
        const SViewJob& job = p_model.vecJob[p_vecMode[i].iJob];
        for (std::size_t nRow = 0; nRow < p_vecCurve[i].vecnTime_ms.size(); ++nRow)
        {
            strText += IsoFromMs(p_vecCurve[i].vecnTime_ms[nRow]) + ',' + Text(job.strName) + ',' +
                       Text(job.vecMode[p_vecMode[i].iMode].strName) + ',' + UnitName(job);
            for (const SCurve::SColumn& column : p_vecCurve[i].vecColumn)
                AddColumn(strText, column, nRow);
            strText += "\r\n";
        }
    }
    return strText;
}

std::string ValuesCsv(const SViewJob& p_job, const SCurve& p_curve)
{
    const std::string strUnit = UnitName(p_job);
    std::string strText = "time,value_" + strUnit + ",min_" + strUnit + ",max_" + strUnit + "\r\n";
    for (std::size_t nRow = 0; nRow < p_curve.vecnTime_ms.size(); ++nRow)
    {
        strText += IsoFromMs(p_curve.vecnTime_ms[nRow]);
        AddColumn(strText, p_curve.vecColumn[0], nRow);
        strText += "\r\n";
    }
    return strText;
}

std::string EventsCsv(const SViewModel& p_model, const std::vector<SViewEvent>& p_vecEvent)
{
    std::string strText = "id,begin,end,duration_s,job,mode,text,level_worst,frequency_Hz,magnitude_max,unit,"
                          "damping_ratio_max,exposure_max,acknowledged_by,acknowledged,notes\r\n";
    for (const SViewEvent& event : p_vecEvent)
    {
        const auto itJob = event.bMode ? p_model.mapJob.find(event.nJob) : p_model.mapJob.end();
        const SViewJob* pJob = itJob == p_model.mapJob.end() ? nullptr : &p_model.vecJob[itJob->second];
        std::string strMode;
        for (const SViewMode& mode : pJob ? pJob->vecMode : std::vector<SViewMode>())
            strMode = mode.nId == event.nMode ? mode.strName : strMode;
        strText += std::to_string(event.nId) + ',' + IsoFromMs(event.nBegin_ms) + ',' +
                   (event.Stands() ? ","
                                   : IsoFromMs(event.nEnd_ms) + ',' +
                                         Number(static_cast<double>(event.nEnd_ms - event.nBegin_ms) / 1000.0)) +
                   ',' + Text(pJob ? pJob->strName : "") + ',' + Text(strMode) + ',' + Text(event.strText) + ',' +
                   std::to_string(event.nWorst) + ',' + Number(event.fFreq_Hz) + ',' + Number(event.fMagnMax) + ',' +
                   (pJob ? UnitName(*pJob) : "") + ',' + Number(event.fDampMax) + ',' + Number(event.fDOEMax) + ',' +
                   Text(event.strAckBy) + ',' + (event.nAck_ms == 0 ? "" : IsoFromMs(event.nAck_ms)) + ',' +
                   std::to_string(event.nNotes) + "\r\n";
    }
    return strText;
}

std::string RecordCsv(const SViewModel& p_model, const SEventRecord& p_record)
{
    const SViewJob& job = p_model.vecJob[p_record.iJob];
    const std::string strUnit = UnitName(job);
    std::string strText =
        "time,value_" + strUnit + ",level,frequency_Hz,magnitude_" + strUnit + ",damping_ratio,exposure\r\n";
    CPassBefore before(p_record.course, job.fPass_s);
    for (const SSample& sample : p_record.vecSample)
    {
        const std::int64_t nTime_ms = MsFromTicks(sample.nTicks);
        strText += IsoFromMs(nTime_ms) + ',' + Number(sample.fValue) + ',' +
                   std::to_string(LevelAt(p_record.vecStep, sample.nTicks));
        const std::ptrdiff_t nPass = before.At(nTime_ms);
        for (const SCurve::SColumn& column : p_record.course.vecColumn)
            strText += ',' + (nPass < 0 ? "" : Number(column.vecfMean[static_cast<std::size_t>(nPass)]));
        strText += "\r\n";
    }
    return strText;
}

namespace
{
/// "25/11/2026,10:00:00.123456", UTC.
std::string ComtradeTime(std::int64_t p_nTicks)
{
    const std::string strIso = IsoFromMs(MsFromTicks(p_nTicks));
    char pText[80];
    std::snprintf(pText, sizeof pText, "%.2s/%.2s/%.4s,%.8s.%06d", strIso.c_str() + 8, strIso.c_str() + 5,
                  strIso.c_str(), strIso.c_str() + 11, static_cast<int>(p_nTicks / g_nTicksPerUs % 1'000'000));
    return pText;
}

/// Names are fields between commas.
std::string ComtradeName(std::string p_strText)
{
    for (char& nChar : p_strText)
        nChar = nChar == ',' || static_cast<unsigned char>(nChar) < 0x20 ? ' ' : nChar;
    return p_strText.substr(0, 64);
}

template <class T>
void Put(std::string& r_strBytes, T p_value)
{
    char pBytes[sizeof(T)];
    std::memcpy(pBytes, &p_value, sizeof(T));
    r_strBytes.append(pBytes, sizeof(T));
}

struct SComtrade
{
    static constexpr std::size_t g_nAnalogs = 5;
    static constexpr int g_nDigitals = 4;
    std::string strData;
    std::array<float, g_nAnalogs> vecfMin;
    std::array<float, g_nAnalogs> vecfMax;
    std::int64_t nTimeMult = 1;
    bool bRegular = true;
};

/// Actual value and the mode's four; four digitals, one a level.
SComtrade ComtradeData(const SViewJob& p_job, const SEventRecord& p_record)
{
    constexpr float fMissing = std::numeric_limits<float>::lowest();
    SComtrade data;
    data.vecfMin.fill(0.0F);
    data.vecfMax.fill(0.0F);
    const std::int64_t nFirst = p_record.vecSample.front().nTicks;
    const std::int64_t nSpan_us = (p_record.vecSample.back().nTicks - nFirst) / g_nTicksPerUs;
    data.nTimeMult = nSpan_us > g_nLongUs ? 1000 : 1;
    CPassBefore before(p_record.course, p_job.fPass_s);
    std::uint32_t nNumber = 0;
    std::int64_t nLast = nFirst;
    for (const SSample& sample : p_record.vecSample)
    {
        data.bRegular &= static_cast<double>(sample.nTicks - nLast) * p_job.fRate_Hz < 1.5e7;
        nLast = sample.nTicks;
        Put(data.strData, ++nNumber);
        Put(data.strData, static_cast<std::uint32_t>((sample.nTicks - nFirst) / (g_nTicksPerUs * data.nTimeMult)));
        const std::ptrdiff_t nPass = before.At(MsFromTicks(sample.nTicks));
        std::array<float, SComtrade::g_nAnalogs> vecfValue;
        vecfValue[0] = sample.fValue;
        for (std::size_t i = 0; i < 4; ++i)
            vecfValue[i + 1] =
                nPass < 0 ? std::numeric_limits<float>::quiet_NaN()
                          : static_cast<float>(p_record.course.vecColumn[i].vecfMean[static_cast<std::size_t>(nPass)]);
        for (std::size_t i = 0; i < vecfValue.size(); ++i)
        {
            if (std::isfinite(vecfValue[i]))
            {
                data.vecfMin[i] = std::min(data.vecfMin[i], vecfValue[i]);
                data.vecfMax[i] = std::max(data.vecfMax[i], vecfValue[i]);
            }
            Put(data.strData, std::isfinite(vecfValue[i]) ? vecfValue[i] : fMissing);
        }
        const int nLevel = LevelAt(p_record.vecStep, sample.nTicks);
        Put(data.strData, static_cast<std::uint16_t>(nLevel == 0 ? 0 : 1 << (nLevel - 1)));
    }
    return data;
}

std::string ComtradeConfig(const SViewJob& p_job, const SEventRecord& p_record, const SComtrade& p_data)
{
    const std::string strUnit = UnitName(p_job);
    const std::array<std::pair<const char*, std::string>, SComtrade::g_nAnalogs> vecChannel = {
        {{"value", strUnit}, {"frequency", "Hz"}, {"magnitude", strUnit}, {"damping ratio", ""}, {"exposure", ""}}};
    constexpr const char* ppLevel[] = {"notified", "distinct", "critical", "undamped critical"};
    const std::string strCircuit = ComtradeName(p_job.strName);
    std::string strText = strCircuit + ",omaview,2013\r\n9,5A,4D\r\n";
    for (std::size_t i = 0; i < vecChannel.size(); ++i)
        strText += std::to_string(i + 1) + "," + vecChannel[i].first + ",," + strCircuit + "," + vecChannel[i].second +
                   ",1,0,0," + Number(p_data.vecfMin[i]) + "," + Number(p_data.vecfMax[i]) + ",1,1,P\r\n";
    for (std::size_t i = 0; i < SComtrade::g_nDigitals; ++i)
        strText += std::to_string(i + 1) + "," + ppLevel[i] + ",," + strCircuit + ",0\r\n";
    strText += "\r\n"; // the line frequency is not known here
    const std::string strLast = std::to_string(p_record.vecSample.size());
    strText +=
        p_data.bRegular ? "1\r\n" + Number(p_job.fRate_Hz) + "," + strLast + "\r\n" : "0\r\n0," + strLast + "\r\n";
    strText += ComtradeTime(p_record.vecSample.front().nTicks) + "\r\n" +
               ComtradeTime(TicksFromMs(p_record.event.nBegin_ms)) + "\r\nFLOAT32\r\n" +
               std::to_string(p_data.nTimeMult) + "\r\n0,0\r\n0,3\r\n";
    return strText;
}
} // namespace

std::string RecordComtrade(const SViewModel& p_model, const SEventRecord& p_record)
{
    const SViewJob& job = p_model.vecJob[p_record.iJob];
    const SComtrade data = ComtradeData(job, p_record);
    return "--- file type: CFG ---\r\n" + ComtradeConfig(job, p_record, data) +
           "--- file type: INF ---\r\n\r\n--- file type: HDR ---\r\n" + ComtradeName(p_record.event.strText) + ", " +
           ComtradeName(job.strName) + ", " + ComtradeName(job.vecMode[p_record.iMode].strName) +
           "\r\n--- file type: DAT BINARY: " + std::to_string(data.strData.size()) + " ---\r\n" + data.strData;
}
