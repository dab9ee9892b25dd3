#include "vds/source/CSourceReplay.h"

#include "vds/base/IsoTime.h"
#include "vds/source/OpenSource.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace
{
/// Number of time stamps used to find the rate.
constexpr std::size_t g_nLinesForRate = 240;
/// A distance matches a rate if it is within this tolerance. Stamps with three decimals at 60 Hz are 2 % off.
constexpr double g_fRateTolerance = 0.05;
/// Rounded stamps are moved onto the grid if they are within this distance: half a millisecond.
constexpr std::int64_t g_nSnapTicks = 5000;
/// 2000-01-01T00:00:00Z, for recordings in seconds without a given start.
constexpr std::int64_t g_nDefaultStart = 630'822'816'000'000'000;

constexpr std::array<std::int32_t, 16> g_arrRate{1, 2, 3, 4, 5, 6, 10, 12, 15, 20, 25, 30, 50, 60, 100, 120};

std::string_view Trim(std::string_view p_strText)
{
    constexpr std::string_view strBlank = " \t\r";
    const std::size_t iBeg = p_strText.find_first_not_of(strBlank);
    if (iBeg == std::string_view::npos)
    {
        return {};
    }
    return p_strText.substr(iBeg, p_strText.find_last_not_of(strBlank) - iBeg + 1);
}

/// Text up to the next ';', which is removed from r_strRest. @return false if r_strRest was exhausted before.
bool TakeField(std::string_view& r_strRest, bool& r_bMore, std::string_view& r_strField)
{
    if (!r_bMore)
    {
        return false;
    }
    const std::size_t iEnd = r_strRest.find(';');
    r_strField = Trim(r_strRest.substr(0, iEnd));
    r_bMore = iEnd != std::string_view::npos;
    r_strRest = r_bMore ? r_strRest.substr(iEnd + 1) : std::string_view{};
    return true;
}

template <typename T, typename... Args>
bool ParseWhole(std::string_view p_strText, T& r_value, Args... p_args)
{
    const char* pEnd = p_strText.data() + p_strText.size();
    const auto result = std::from_chars(p_strText.data(), pEnd, r_value, p_args...);
    return result.ec == std::errc{} && result.ptr == pEnd;
}

/// Numbers too small for single precision are rejected.
bool ParseSample(std::string_view p_strText, float& r_fValue)
{
    if (ParseWhole(p_strText, r_fValue))
        return true;
    double fValue = 0.0;
    r_fValue = 0.0F;
    return ParseWhole(p_strText, fValue) && std::abs(fValue) < std::numeric_limits<float>::min();
}

bool ParseState(std::string_view p_strText, std::uint64_t& r_nState)
{
    if (p_strText.starts_with("0x") || p_strText.starts_with("0X"))
    {
        return ParseWhole(p_strText.substr(2), r_nState, 16);
    }
    return ParseWhole(p_strText, r_nState);
}

/// Text of a field for a message; long text is cut.
std::string Quoted(std::string_view p_strText)
{
    constexpr std::size_t nMax = 40;
    return "\"" + std::string(p_strText.substr(0, nMax)) + (p_strText.size() > nMax ? "...\"" : "\"");
}

/// Rate for a time distance between two stamps; 0 if no known rate is near.
std::int32_t RateOfDistance(double p_fDistance_s)
{
    for (const std::int32_t nRate : g_arrRate)
    {
        if (std::abs(p_fDistance_s * nRate - 1.0) < g_fRateTolerance)
        {
            return nRate;
        }
    }
    const double fWhole_s = std::round(p_fDistance_s);
    const bool bSlow = fWhole_s > 1.5 && fWhole_s < 86400.5 && std::abs(p_fDistance_s / fWhole_s - 1.0) < 0.01;
    return bSlow ? -static_cast<std::int32_t>(fWhole_s) : 0;
}
} // namespace

std::unique_ptr<ISource> OpenReplay(const std::string& p_strPath, std::int64_t p_nStartTicks, std::string* p_pstrError)
{
    auto pSource = std::make_unique<CSourceReplay>();
    if (!pSource->Open(p_strPath, p_nStartTicks == 0 ? g_nDefaultStart : p_nStartTicks))
    {
        if (p_pstrError != nullptr)
        {
            *p_pstrError = pSource->Error();
        }
        return nullptr;
    }
    return pSource;
}

bool CSourceReplay::Open(const std::string& p_strPath, std::int64_t p_nStartTicks)
{
    m_strPath = p_strPath;
    m_nStartTicks = p_nStartTicks;
    return ReadHeader() && FindRate() && Rewind();
}

bool CSourceReplay::Rewind()
{
    m_vecColumn.clear();
    m_vecnId.clear();
    m_strError.clear();
    return ReadHeader();
}

bool CSourceReplay::Next(SSourceCycle& r_cycle)
{
    r_cycle.vecEvent.clear();
    r_cycle.vecSample.assign(m_vecnId.size(), SSourceSample{});
    return m_strError.empty() && ReadLine() && ParseLine(r_cycle);
}

/// Reads the next line that is not blank. @return false at the end of the file, and with Error() set if reading fails.
bool CSourceReplay::ReadLine()
{
    while (std::getline(m_file, m_strLine))
    {
        ++m_nLine;
        if (!Trim(m_strLine).empty())
        {
            return true;
        }
    }
    if (m_file.bad())
    {
        ++m_nLine;
        return Fail("reading the file failed");
    }
    return false;
}

bool CSourceReplay::ReadHeader()
{
    m_file.close();
    m_file.clear();
    m_file.open(m_strPath, std::ios::binary);
    m_nLine = 0;
    if (!m_file.is_open())
    {
        m_strError = m_strPath + ": the recording cannot be opened for reading";
        return false;
    }
    if (!ReadLine())
    {
        m_strError = !m_strError.empty()
                         ? m_strError
                         : m_strPath + ": no header line found, expected time;<datapoint>.magn;<datapoint>.angle...";
        return false;
    }
    std::string_view strRest = m_strLine;
    if (strRest.starts_with("\xEF\xBB\xBF"))
    {
        strRest.remove_prefix(3);
    }
    bool bMore = true;
    std::string_view strField;
    while (TakeField(strRest, bMore, strField))
    {
        if (!AddColumn(strField))
        {
            return false;
        }
    }
    if (m_vecnId.empty() || m_vecColumn.back().eKind == SColumn::eMagn)
    {
        return FailAt(m_vecColumn.size() + 1, "",
                      m_vecnId.empty()
                          ? "expected <datapoint>.magn, found the end of the header"
                          : "expected " + std::to_string(m_vecnId.back()) + ".angle, found the end of the header");
    }
    return true;
}

/// Takes one name of the header; the columns of a datapoint are in the order magn, angle, state.
bool CSourceReplay::AddColumn(std::string_view p_strName)
{
    const std::size_t iColumn = m_vecColumn.size() + 1;
    SColumn column{.strName = std::string(p_strName)};
    if (m_vecColumn.empty())
    {
        m_vecColumn.push_back(column);
        return p_strName == "time" || FailAt(iColumn, "", "expected time, found " + Quoted(p_strName));
    }

    const SColumn::EKind eLast = m_vecColumn.back().eKind;
    const std::size_t iDot = p_strName.find('.');
    const std::string_view strKind = iDot == std::string_view::npos ? "" : p_strName.substr(iDot + 1);
    unsigned long nId = 0;
    const bool bId = ParseWhole(p_strName.substr(0, iDot), nId) && nId > 0;
    const bool bSame = bId && !m_vecnId.empty() && nId == m_vecnId.back();
    if (eLast == SColumn::eMagn)
    {
        if (!bSame || strKind != "angle")
        {
            return FailAt(iColumn, "",
                          "expected " + std::to_string(m_vecnId.back()) + ".angle, found " + Quoted(p_strName));
        }
        column.eKind = SColumn::eAngle;
    }
    else if (eLast == SColumn::eAngle && bSame && strKind == "state")
    {
        column.eKind = SColumn::eState;
    }
    else if (bId && strKind == "magn")
    {
        if (std::find(m_vecnId.begin(), m_vecnId.end(), nId) != m_vecnId.end())
        {
            return FailAt(iColumn, "", "datapoint " + std::to_string(nId) + " occurs twice");
        }
        column.eKind = SColumn::eMagn;
        m_vecnId.push_back(nId);
    }
    else
    {
        return FailAt(iColumn, "", "expected <datapoint>.magn with a positive number, found " + Quoted(p_strName));
    }
    column.iSample = m_vecnId.size() - 1;
    m_vecColumn.push_back(std::move(column));
    return true;
}

/// The rate is derived from the median distance of the first time stamps, so that gaps and repetitions do not count.
bool CSourceReplay::FindRate()
{
    SSourceCycle cycle;
    std::vector<std::int64_t> vecDistance;
    std::int64_t nLast = 0;
    m_nRate = 0;
    for (std::size_t i = 0; i < g_nLinesForRate && Next(cycle); ++i)
    {
        if (i > 0 && cycle.nTicks > nLast)
        {
            vecDistance.push_back(cycle.nTicks - nLast);
        }
        nLast = cycle.nTicks;
    }
    if (!m_strError.empty())
    {
        return false;
    }
    if (vecDistance.empty())
    {
        m_strError = m_strPath + ": no rate can be found, expected at least two lines with increasing times";
        return false;
    }
    const auto itMiddle = vecDistance.begin() + static_cast<std::ptrdiff_t>(vecDistance.size() / 2);
    std::nth_element(vecDistance.begin(), itMiddle, vecDistance.end());
    const double fDistance_s = static_cast<double>(*itMiddle) / static_cast<double>(g_nTicksPerSec);
    m_nRate = RateOfDistance(fDistance_s);
    if (m_nRate == 0)
    {
        m_strError =
            m_strPath + ": the lines are " + std::to_string(fDistance_s) +
            " s apart, which is not a known rate (1 to 6, 10, 12, 15, 20, 25, 30, 50, 60, 100 or 120 per second, "
            "or one every whole number of seconds)";
        return false;
    }
    return true;
}

bool CSourceReplay::ParseLine(SSourceCycle& r_cycle)
{
    std::string_view strRest = m_strLine;
    std::string_view strField;
    bool bMore = true;
    std::size_t nField = 0;
    while (TakeField(strRest, bMore, strField))
    {
        if (nField < m_vecColumn.size() && !ParseField(m_vecColumn[nField], strField, r_cycle))
        {
            return false;
        }
        ++nField;
    }
    if (nField != m_vecColumn.size())
    {
        return Fail("expected " + std::to_string(m_vecColumn.size()) + " fields as in the header, found " +
                    std::to_string(nField));
    }
    return true;
}

bool CSourceReplay::ParseField(const SColumn& p_column, std::string_view p_strText, SSourceCycle& r_cycle)
{
    const auto fail = [&](const char* p_strExpected)
    {
        const auto iColumn = static_cast<std::size_t>(&p_column - m_vecColumn.data()) + 1;
        return FailAt(iColumn, p_column.strName,
                      std::string("expected ") + p_strExpected + ", found " + Quoted(p_strText));
    };
    if (p_column.eKind == SColumn::eTime)
    {
        return ParseTime(p_strText, r_cycle.nTicks) ||
               fail("a UTC time such as 2024-03-05T10:00:00.02Z or seconds such as 0.02");
    }
    SSourceSample& sample = r_cycle.vecSample[p_column.iSample];
    switch (p_column.eKind)
    {
    case SColumn::eMagn:
        sample.bPresent = !p_strText.empty();
        return p_strText.empty() || ParseSample(p_strText, sample.fMagn) || fail("a magnitude as a decimal number");
    case SColumn::eAngle:
        sample.bPresent = sample.bPresent && !p_strText.empty();
        return p_strText.empty() || ParseSample(p_strText, sample.fAngle_deg) ||
               fail("an angle in degrees as a decimal number");
    default:
        return p_strText.empty() || ParseState(p_strText, sample.nState) ||
               fail("a 64-bit state word, decimal or with 0x");
    }
}

bool CSourceReplay::ParseTime(std::string_view p_strText, std::int64_t& r_nTicks) const
{
    if (p_strText.find(':') != std::string_view::npos)
    {
        unsigned nDigits = 0;
        const auto nTicks = TicksFromIso(p_strText, &nDigits);
        r_nTicks = !nTicks ? 0 : nDigits >= 7 ? *nTicks : SnapToGrid(*nTicks);
        return nTicks.has_value();
    }
    double fSec = 0.0;
    if (!ParseWhole(p_strText, fSec) || !(std::abs(fSec) < 1e10))
    {
        return false;
    }
    const std::int64_t nTicks = m_nStartTicks + std::llround(fSec * static_cast<double>(g_nTicksPerSec));
    r_nTicks = SnapToGrid(nTicks);
    return nTicks >= 0 && nTicks <= g_nTicksMax;
}

std::int64_t CSourceReplay::SnapToGrid(std::int64_t p_nTicks) const
{
    if (m_nRate == 0 || p_nTicks < 0)
    {
        return p_nTicks;
    }
    const std::int32_t nRate = std::max(m_nRate, 1); // slower than one per second: whole seconds
    const std::int64_t nInSec = p_nTicks % g_nTicksPerSec;
    const std::int64_t nIdx = (nInSec * nRate + g_nTicksPerSec / 2) / g_nTicksPerSec;
    const std::int64_t nGrid = GridTicks(nIdx, nRate);
    return std::abs(nGrid - nInSec) <= g_nSnapTicks ? p_nTicks - nInSec + nGrid : p_nTicks;
}

bool CSourceReplay::Fail(const std::string& p_strWhat)
{
    m_strError = m_strPath + ":" + std::to_string(m_nLine) + ": " + p_strWhat;
    return false;
}

bool CSourceReplay::FailAt(std::size_t p_iColumn, const std::string& p_strName, const std::string& p_strWhat)
{
    return Fail("column " + std::to_string(p_iColumn) + (p_strName.empty() ? "" : " (" + p_strName + ")") + ": " +
                p_strWhat);
}
