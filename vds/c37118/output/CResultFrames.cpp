#include "vds/c37118/output/CResultFrames.h"
#include "link/dli/EDli.h"
#include "vds/base/SEvent.h"
#include <algorithm>
#include <cmath>
#include <limits>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::int64_t g_nTolerance = 5000; ///< time stamps up to half a millisecond apart count as equal
constexpr std::int64_t g_nChangeTold = 60 * g_nTicksPerSec;
constexpr std::size_t g_nMinWaiting = 256;
constexpr std::size_t g_nMaxBlocks = 200000; ///< of all waiting frames

/// The last grid point at or before a time.
std::int64_t GridFloor(std::int64_t p_nTicks, const CGrid& p_grid)
{
    const std::int64_t nIndex = p_grid.Index(p_nTicks);
    return p_grid.Ticks(p_grid.Ticks(nIndex) > p_nTicks + g_nTolerance ? nIndex - 1 : nIndex);
}

std::uint16_t LevelOfKey(std::int32_t p_eKey)
{
    switch (p_eKey)
    {
    case Runtime::eIkPsNotified:
        return g_nLevelNotified;
    case Runtime::eIkPsDistinct:
        return g_nLevelDistinct;
    case Runtime::eIkPsCritical:
        return g_nLevelCritical;
    case Runtime::eIkPsUndampedCritical:
        return g_nLevelUndamped;
    default:
        return 0;
    }
}

void SetLevel(const SEvent& p_event, std::uint16_t& r_nLevel)
{
    const std::uint16_t nBit = LevelOfKey(p_event.eKey);
    r_nLevel = static_cast<std::uint16_t>(p_event.eTrans == Runtime::eAPP ? r_nLevel | nBit : r_nLevel & ~nBit);
}
} // namespace

CResultFrames::CResultFrames(const SOutputStreamConfig& p_output, const SConfigFrame& p_config)
    : m_grid(p_config.nDataRate), m_nTimeBase(p_config.nTimeBase), m_tWait(p_output.nWait_ms),
      m_empty(EmptyData(p_config)),
      m_nMaxWaiting(std::max(g_nMinWaiting, g_nMaxBlocks / std::max<std::size_t>(p_config.vecPmu.size(), 1))),
      m_vecnLevel(p_config.vecPmu.size(), 0)
{
    for (std::size_t i = 0; i < p_output.vecPmu.size(); ++i)
    {
        const SOutputPmu& pmu = p_output.vecPmu[i];
        for (std::size_t j = 0; j < pmu.vecChannel.size(); ++j)
            m_mapChannel[pmu.vecChannel[j].nId] = {i, j, -1, 0, 0.0F, 2};
        if (pmu.eKind == EOutputPmu::eMode)
            m_mapMode[pmu.nElement] = i;
    }
}

void CResultFrames::OnCycle(std::int64_t p_nTicks)
{
    const std::int64_t nGrid = GridFloor(p_nTicks, m_grid);
    // A time that goes back starts a new time line; each grid point occurs only once.
    if (nGrid == m_nLast)
        return;
    m_nLast = nGrid;
    m_nFirst = m_nFirst < 0 ? nGrid : m_nFirst;
    Open(nGrid);
}

void CResultFrames::Open(std::int64_t p_nTicks)
{
    SWaiting& waiting = m_queWaiting.emplace_back();
    waiting.nTicks = p_nTicks;
    waiting.data = m_empty;
    for (const auto& [nId, channel] : m_mapChannel)
    {
        if (Holds(channel, p_nTicks))
            Put(channel, waiting.data);
    }
    for (const auto& [nId, nPmu] : m_mapMode)
        waiting.data.vecPmu[nPmu].vecnDigital[0] = m_vecnLevel[nPmu];
}

bool CResultFrames::Holds(const SChannel& p_channel, std::int64_t p_nTicks)
{
    return p_channel.nTicks >= 0 && p_nTicks >= p_channel.nTicks - g_nTolerance &&
           p_nTicks - p_channel.nTicks < p_channel.nHold;
}

void CResultFrames::Put(const SChannel& p_channel, SDataFrame& r_data)
{
    constexpr std::uint16_t nStatDoubtful = 0x4000;
    SPmuData& pmu = r_data.vecPmu[p_channel.nPmu];
    const bool bUsable = (p_channel.eQual == 0 || p_channel.eQual == 1) && std::isfinite(p_channel.fValue);
    pmu.vecfAnalog[p_channel.nAnalog] = bUsable ? p_channel.fValue : std::numeric_limits<float>::quiet_NaN();
    pmu.nStat = bUsable ? (p_channel.eQual == 0 ? std::uint16_t{0} : nStatDoubtful) : g_nStatFiller;
}

void CResultFrames::OnTaken(std::int64_t p_nTicks, TTime p_tNow)
{
    for (SWaiting& waiting : m_queWaiting)
    {
        if (!waiting.tTaken && waiting.nTicks <= p_nTicks + g_nTolerance)
            waiting.tTaken = p_tNow;
    }
}

void CResultFrames::OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue,
                            int p_eQual)
{
    const auto it = m_mapChannel.find(p_nChannel);
    if (it == m_mapChannel.end() || p_nRate == 0)
        return;
    SChannel& channel = it->second;
    channel.nTicks = p_nTicks;
    channel.fValue = p_fValue;
    channel.eQual = p_eQual;
    // Less than a period, so that the next value of a thinned grid does not coincide with the previous one.
    const std::int64_t nRate = p_nRate;
    channel.nHold = (nRate > 0 ? g_nTicksPerSec / nRate : -nRate * g_nTicksPerSec) - g_nTolerance / 5;
    for (SWaiting& waiting : m_queWaiting)
    {
        if (Holds(channel, waiting.nTicks))
            Put(channel, waiting.data);
    }
}

void CResultFrames::OnEvent(const SEvent& p_event)
{
    const auto it = m_mapMode.find(p_event.nElemId);
    if (it == m_mapMode.end() || p_event.eElemType != Norvik::Energy::Kestrel::eElemOMA ||
        LevelOfKey(p_event.eKey) == 0)
        return;
    SetLevel(p_event, m_vecnLevel[it->second]);
    for (SWaiting& waiting : m_queWaiting)
    {
        if (waiting.nTicks >= p_event.nTicks - g_nTolerance)
            SetLevel(p_event, waiting.data.vecPmu[it->second].vecnDigital[0]);
    }
}

const SDataFrame* CResultFrames::Next(TTime p_tNow, bool p_bAll)
{
    if (m_queWaiting.empty())
        return nullptr;
    const SWaiting& front = m_queWaiting.front();
    const bool bDue = front.tTaken && p_tNow >= *front.tTaken + m_tWait;
    if (!bDue && !p_bAll && m_queWaiting.size() <= m_nMaxWaiting)
        return nullptr;
    m_out = std::move(m_queWaiting.front().data);
    PutStat(m_out, front.nTicks);
    m_queWaiting.pop_front();
    return &m_out;
}

/// For the minute after the start this signals readers of an earlier run that the configuration may have changed.
void CResultFrames::PutStat(SDataFrame& r_data, std::int64_t p_nTicks) const
{
    SetFrameTicks(r_data.head, p_nTicks, m_nTimeBase);
    if (p_nTicks - m_nFirst >= g_nChangeTold)
        return;
    for (SPmuData& pmu : r_data.vecPmu)
        pmu.nStat |= g_nStatConfigChange;
}

std::optional<CResultFrames::TTime> CResultFrames::Due() const
{
    if (m_queWaiting.empty() || !m_queWaiting.front().tTaken)
        return {};
    return *m_queWaiting.front().tTaken + m_tWait;
}
