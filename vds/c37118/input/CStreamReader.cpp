#include "vds/c37118/input/CStreamReader.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/input/StateOfStat.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>

namespace
{
constexpr double g_fDegree = 180.0 / std::numbers::pi;
/// A longer gap is a jump of the clock: it is not counted as lost frames.
constexpr std::int64_t g_nGapMax = 60 * g_nTicksPerSec;
constexpr std::uint64_t g_nStateUnknown = 0x4000; ///< no information about the data: INVALID
constexpr unsigned g_nAskedMost = 2;
using TTicks = std::chrono::duration<std::int64_t, std::ratio<1, g_nTicksPerSec>>;

std::string RateText(std::int32_t p_nRate)
{
    return p_nRate > 0 ? std::to_string(p_nRate) + " frames per second"
                       : "one frame every " + std::to_string(-p_nRate) + " s";
}

SSourceSample MakeSample(const std::complex<double>& p_value, std::uint64_t p_nState)
{
    // Written so that NaN counts as absent too.
    if (!(std::abs(p_value) <= std::numeric_limits<float>::max()))
        return {};
    return {static_cast<float>(std::abs(p_value)), static_cast<float>(std::arg(p_value) * g_fDegree), p_nState, true};
}
} // namespace

CStreamReader::CStreamReader(const SStreamConfig& p_stream, const SSynchrophasorConfig& p_config,
                             CConcentrator* p_pConcentrator, std::size_t p_nStream, std::size_t p_nFirstSample,
                             TLine p_fnLine)
    : m_stream(p_stream), m_limits(p_config), m_pConcentrator(p_pConcentrator), m_nStream(p_nStream),
      m_nFirstSample(p_nFirstSample), m_fnLine(std::move(p_fnLine)), m_limit(std::chrono::minutes(1), 64, 6)
{
}

/// The time is the frames' arrival time, so that a capture gives the same messages at any speed.
void CStreamReader::Line(const char* p_pKind, const std::string& p_strText)
{
    if (!m_fnLine)
        return;
    // A recording may jump by centuries, which nanoseconds cannot hold.
    constexpr std::int64_t nMost = std::numeric_limits<std::int64_t>::max() / 1000;
    const CLineLimit::TTime tNow{TTicks(std::clamp(m_nArrival - m_nFirstArrival, -nMost, nMost))};
    if (const auto strTail = m_limit.Tail(p_pKind, tNow))
        m_fnLine("stream " + m_stream.strName + ": " + p_strText + *strTail);
}

void CStreamReader::Forget()
{
    m_bConfig = false;
    m_eWish = eNoWish;
    m_bDoubt = m_bMisfit = false;
    m_nAsked = m_nStale = 0;
    m_parts.Reset();
    m_vecnConfig.clear();
    m_vecbChange.clear();
    m_nLast = -1;
    m_bActive = false;
    m_bToldId = m_bToldConfig = m_bToldGrid = m_bToldClock = false;
    if (m_pConcentrator)
        m_pConcentrator->SetActive(m_nStream, false);
}

void CStreamReader::ConfigAsked()
{
    m_eWish = m_bDoubt ? eWishLater : eNoWish;
    m_nAsked = std::min(m_nAsked + 1, g_nAskedMost);
}

double CStreamReader::Period_s() const
{
    return static_cast<double>(m_grid.Period_ticks()) / g_nTicksPerSec;
}

void CStreamReader::OnFrame(std::span<const std::uint8_t> p_frame, std::int64_t p_nArrival)
{
    SFrameHead head;
    if (!DecodeHead(p_frame, head, m_strError))
        return;
    m_nArrival = p_nArrival;
    if (m_nFirstArrival < 0)
        m_nFirstArrival = p_nArrival;
    if (head.nIdCode != m_stream.nStreamId)
    {
        if (IsFirst(m_bToldId))
            Line("id", "received frames of stream " + std::to_string(head.nIdCode) + ", expected those of stream " +
                           std::to_string(m_stream.nStreamId));
    }
    else if (head.eType == eFrameCfg2 || head.eType == eFrameCfg3)
        OnConfig(p_frame);
    else if (head.eType == eFrameData && m_bConfig)
        OnData(p_frame, p_nArrival);
}

// ---- configuration ----

/// @return false while parts are missing, and for a configuration that is refused or already in use.
bool CStreamReader::TakeConfig(std::span<const std::uint8_t> p_frame, SConfigFrame& r_config)
{
    std::span<const std::uint8_t> body = p_frame.subspan(14, p_frame.size() - 16);
    SFrameHead head;
    DecodeHead(p_frame, head, m_strError);
    if (head.eType == eFrameCfg3)
    {
        if (!m_parts.Put(body))
            return false;
        body = m_parts.Whole();
    }
    if (m_bConfig && head.eType == m_config.head.eType && std::ranges::equal(body, m_vecnConfig))
    {
        ConfirmConfig(true);
        return false;
    }
    if (!DecodeConfigBody(head, body, r_config, m_strError))
    {
        if (IsFirst(m_bToldConfig))
            Line("refused", "configuration refused: " + m_strError);
        return false;
    }
    m_vecnConfig.assign(body.begin(), body.end());
    ConfirmConfig(false);
    return true;
}

/// A reply to a request sent before the change says nothing about the layout after it, unless it differs.
void CStreamReader::ConfirmConfig(bool p_bSame)
{
    m_nAsked -= m_nAsked > 0 ? 1U : 0U;
    if (p_bSame && m_bDoubt && m_nStale > 0)
    {
        --m_nStale;
        m_eWish = m_nAsked == 0 ? eWishNow : m_eWish;
        return;
    }
    m_bDoubt = m_bMisfit = false;
    m_nStale = 0;
    m_eWish = eNoWish;
}

void CStreamReader::OnConfig(std::span<const std::uint8_t> p_frame)
{
    SConfigFrame config;
    if (!TakeConfig(p_frame, config))
        return;
    if (m_bConfig)
    {
        ++m_counters.nConfigChanges;
        Line("new", "new configuration");
    }
    m_config = std::move(config);
    m_grid = CGrid(m_config.nDataRate);
    m_nLast = -1;
    // A bit 10 that is set must first fall, whatever the PMUs are now; one that rises with the new layout is expected.
    const bool bStands = std::ranges::find(m_vecbChange, true) != m_vecbChange.end();
    m_vecbChange.assign(bStands ? m_config.vecPmu.size() : 0U, true);
    m_bConfig = true;
    m_bToldGrid = false;
    MapPhasors();
    LinesOfConfig();
    if (m_pConcentrator)
        m_pConcentrator->SetActive(m_nStream, m_bActive, m_config.nDataRate);
}

void CStreamReader::LinesOfConfig()
{
    if (!m_fnLine)
        return;
    LineOfFactor();
    Line("found", std::to_string(m_config.vecPmu.size()) + (m_config.vecPmu.size() == 1 ? " PMU, " : " PMUs, ") +
                      RateText(m_config.nDataRate) + ", " + std::to_string(m_vecPlace.size()) + " of " +
                      std::to_string(m_stream.vecPhasor.size()) + " phasors found");
    if (!m_pConcentrator)
        return;
    const CGrid& grid = m_pConcentrator->Grid();
    if (m_grid.Period_ticks() < grid.Period_ticks() ||
        (grid.Rate() > 0 && m_grid.Rate() > 0 && grid.Rate() % m_grid.Rate() != 0))
        Line("rate", "only frames on the grid of the cycles are used: expected a Rate that is a multiple of " +
                         std::to_string(m_grid.Rate()) + ", it is " + std::to_string(grid.Rate()));
}

/// One message for all phasors: a device with one wrong factor has them all wrong.
void CStreamReader::LineOfFactor()
{
    if (m_config.head.eType != eFrameCfg3)
        return;
    for (const SPlace& place : m_vecPlace)
    {
        const SPmuConfig& pmu = m_config.vecPmu[place.nPmu];
        const SPhasorConfig& phasor = pmu.vecPhasor[place.nPhasor];
        if (!pmu.bPhasorFloat || phasor.fScale == 1.0)
            continue;
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "%g", phasor.fScale);
        return Line("factor", "PMU " + std::to_string(pmu.nIdCode) + ", phasor '" + Printable(phasor.strName) +
                                  "': expected a magnitude factor of 1 in its CFG-3, since it sends floating-point "
                                  "values, got " +
                                  text.data() +
                                  (phasor.fFloatFactor == 1.0F ? "; it is not applied" : "; it is applied"));
    }
}

bool CStreamReader::FindPhasor(const SStreamPhasor& p_phasor, SPlace& r_place) const
{
    for (r_place.nPmu = 0; r_place.nPmu < m_config.vecPmu.size(); ++r_place.nPmu)
    {
        const SPmuConfig& pmu = m_config.vecPmu[r_place.nPmu];
        if (p_phasor.nPmu != 0 && p_phasor.nPmu != pmu.nIdCode)
            continue;
        // The configuration file holds the name as the probe prints it.
        const auto it = std::ranges::find(pmu.vecPhasor, p_phasor.strName,
                                          [](const SPhasorConfig& p_config) { return Printable(p_config.strName); });
        r_place.nPhasor = static_cast<std::size_t>(it - pmu.vecPhasor.begin());
        if (it != pmu.vecPhasor.end())
            return true;
    }
    return false;
}

void CStreamReader::MapPhasors()
{
    m_vecPlace.clear();
    for (std::size_t i = 0; i < m_stream.vecPhasor.size(); ++i)
    {
        const SStreamPhasor& phasor = m_stream.vecPhasor[i];
        SPlace place;
        place.nSample = m_nFirstSample + i;
        if (!FindPhasor(phasor, place))
        {
            Line("missing", "phasor '" + phasor.strName + "'" +
                                (phasor.nPmu != 0 ? " of PMU " + std::to_string(phasor.nPmu) : "") +
                                " is not in its configuration");
            continue;
        }
        m_vecPlace.push_back(place);
        const float fOffset = m_config.vecPmu[place.nPmu].vecPhasor[place.nPhasor].fAngleOffset_rad;
        if (fOffset != 0.0F)
            Line("offset", "phasor '" + phasor.strName + "': its configuration subtracts " +
                               std::to_string(fOffset * g_fDegree) + " degrees from the angle");
    }
}

// ---- data ----

void CStreamReader::OnData(std::span<const std::uint8_t> p_frame, std::int64_t p_nArrival)
{
    if (!DecodeData(p_frame, m_config, m_data, m_strError))
    {
        ++m_counters.nLengthMismatches;
        m_eWish = std::max(m_eWish, m_bMisfit ? eWishLater : eWishNow);
        m_bMisfit = true;
        return;
    }
    ++m_nData;
    m_bMisfit = false;
    WatchConfigChange();
    if (!m_bActive && m_pConcentrator)
        m_pConcentrator->SetActive(m_nStream, true, m_config.nDataRate);
    m_bActive = true;
    std::int64_t nTicks = FrameTicks(m_data.head, m_config.nTimeBase);
    std::int64_t nIndex = 0;
    if (OnGrid(nTicks, nIndex) && FollowTime(nIndex) && m_pConcentrator)
        PutSamples(nTicks, p_nArrival);
}

/// Both edges of bit 10 trigger a configuration request: the editions of the standard differ in which edge announces
/// the change. From the falling edge on the layout may be different, including the rest of the same frame.
void CStreamReader::WatchConfigChange()
{
    const bool bFirst = m_vecbChange.size() != m_data.vecPmu.size();
    m_vecbChange.resize(m_data.vecPmu.size());
    for (std::size_t i = 0; i < m_data.vecPmu.size(); ++i)
    {
        const bool bChange = (m_data.vecPmu[i].nStat & g_nStatConfigChange) != 0;
        if (!bFirst && bChange != m_vecbChange[i])
        {
            m_eWish = eWishNow;
            if (!bChange)
            {
                m_bDoubt = true;
                m_nStale = m_nAsked;
            }
        }
        m_vecbChange[i] = bChange;
    }
}

/// Moves a stamp to its grid point. @return false if it is off the grid and must not be rounded.
bool CStreamReader::OnGrid(std::int64_t& r_nTicks, std::int64_t& r_nIndex)
{
    r_nIndex = m_grid.Index(r_nTicks);
    const std::int64_t nGrid = m_grid.Ticks(r_nIndex);
    const std::int64_t nTolerance =
        std::max(15 * g_nTicksPerSec / 10 / m_config.nTimeBase + 1, m_grid.Period_ticks() / 50);
    const bool bOnGrid = std::abs(r_nTicks - nGrid) <= nTolerance;
    r_nTicks = nGrid;
    if (bOnGrid)
        return true;
    ++m_counters.nOffGrid;
    if (!m_stream.bRoundToGrid && m_pConcentrator && IsFirst(m_bToldGrid))
        Line("grid", "time stamps are off the grid of " + RateText(m_config.nDataRate) +
                         ": their frames are dropped unless RoundToGrid is set");
    return m_stream.bRoundToGrid || !m_pConcentrator;
}

/// @return false for a frame that was already received.
bool CStreamReader::FollowTime(std::int64_t p_nIndex)
{
    const std::int64_t nStep = m_nLast < 0 ? 1 : p_nIndex - m_nLast;
    const std::int64_t nFar = std::max<std::int64_t>(g_nGapMax / m_grid.Period_ticks(), 10);
    if (nStep == 0)
    {
        ++m_counters.nDuplicates;
        return false;
    }
    if (nStep < 0)
        ++m_counters.nTimeBack;
    if (nStep > 1)
    {
        ++m_counters.nGaps;
        m_counters.nLost += nStep <= nFar ? static_cast<std::uint64_t>(nStep - 1) : 0U;
    }
    // A frame that was overtaken in transit does not set the clock back.
    if (nStep > 0 || nStep < -nFar)
        m_nLast = p_nIndex;
    return true;
}

void CStreamReader::PutSamples(std::int64_t p_nTicks, std::int64_t p_nArrival)
{
    const CGrid& grid = m_pConcentrator->Grid();
    const std::int64_t nIndex = grid.Index(p_nTicks);
    if (std::abs(grid.Ticks(nIndex) - p_nTicks) > grid.Period_ticks() / 50)
        return;
    m_vecSample.clear();
    for (const SPlace& place : m_vecPlace)
    {
        const SPmuData& pmu = m_data.vecPmu[place.nPmu];
        const std::uint64_t nState = StateOfStat(pmu.nStat, m_data.head.ClockQuality(), m_limits);
        m_vecSample.emplace_back(place.nSample,
                                 MakeSample(pmu.vecPhasor[place.nPhasor], nState | (m_bDoubt ? g_nStateUnknown : 0U)));
    }
    const CConcentrator::EPut ePut = m_pConcentrator->Put(m_nStream, nIndex, m_vecSample, p_nArrival);
    if (ePut == CConcentrator::eBadClock && IsFirst(m_bToldClock))
        Line("clock", "its clock shows " + IsoFromTicks(p_nTicks) + ", far from the other time stamps");
    m_counters.nBadClock += ePut == CConcentrator::eBadClock ? 1U : 0U;
    m_counters.nLate += ePut == CConcentrator::eLate ? 1U : 0U;
    m_counters.nDuplicates += ePut == CConcentrator::eDuplicate ? 1U : 0U;
}
