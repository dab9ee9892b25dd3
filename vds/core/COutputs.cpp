#include "vds/core/COutputs.h"
#include "vds/core/COutputFeed.h"
#include <algorithm>

namespace
{
constexpr std::uint64_t g_nStateSuspect = 0x0080000000000000;
constexpr std::size_t g_nMaxWriters = 20000; ///< 5,000 jobs of three modes
/// Number of channels whose newest value is kept after they have been stopped.
constexpr std::size_t g_nMaxStopped = 10000;
constexpr std::size_t g_nMaxChannels = 100000;
constexpr std::uint64_t g_nStateNoValue = 0x2000; ///< reads as INVALID

std::uint64_t StateOfQuality(int p_eQual)
{
    return p_eQual == 0 ? 0 : p_eQual == 1 ? g_nStateSuspect : g_nStateNoValue;
}
} // namespace

int QualityOfState(std::uint64_t p_nState)
{
    if (p_nState == 0)
        return 0;
    return p_nState == g_nStateSuspect ? 1 : 2;
}

COutputs::EError COutputs::Start(std::uint64_t p_nSession, unsigned p_nWriter, std::uint64_t p_nPmu,
                                 const std::vector<std::uint64_t>& p_vecnId, std::int32_t p_nRate)
{
    if (p_vecnId.empty())
        return eNoChannels;
    if (p_nRate == 0)
        return eBadRate;
    const auto itOwner = m_mapOwner.find(p_nPmu);
    if (itOwner != m_mapOwner.end() && itOwner->second.nSession != p_nSession)
        return eOtherConnection;
    const bool bNew = !m_mapWriter.contains({p_nSession, p_nWriter});
    // Several writers may declare the same channels: each declaration counts.
    if ((bNew && m_mapWriter.size() >= g_nMaxWriters) || m_mapChannel.size() + p_vecnId.size() > g_nMaxChannels ||
        m_nDeclared + p_vecnId.size() > g_nMaxChannels)
        return eTooMany;
    SWriter& writer = m_mapWriter[{p_nSession, p_nWriter}];
    for (const std::uint64_t nId : writer.vecnId)
        m_mapChannel[{writer.nPmu, nId}].bStarted = false;
    if (!writer.vecnId.empty())
        Release(writer.nPmu);
    m_nDeclared += p_vecnId.size() - writer.vecnId.size();
    m_mapOwner[p_nPmu].nSession = p_nSession;
    ++m_mapOwner[p_nPmu].nWriters;
    writer.nPmu = p_nPmu;
    writer.vecnId = p_vecnId;
    writer.nRate = p_nRate;
    const bool bMeasurement = std::all_of(
        p_vecnId.begin(), p_vecnId.end(),
        [this](std::uint64_t p_nId) { return m_config.setMeasurement.count(static_cast<unsigned long>(p_nId)) != 0; });
    writer.bLogged = m_bLogMeasurements || !bMeasurement;

    std::string strIds;
    for (const std::uint64_t nId : p_vecnId)
    {
        m_mapChannel[{p_nPmu, nId}] = {p_nPmu, nId, 0, 0.0F, 2, true};
        strIds += (strIds.empty() ? "" : ",") + std::to_string(nId);
    }
    if (m_pFeed)
        m_pFeed->OnStart(p_nPmu, p_vecnId);
    if (writer.bLogged)
        m_log.Write("{\"op\":\"start\",\"pmu\":" + std::to_string(p_nPmu) + ",\"channels\":[" + strIds +
                    "],\"rate\":" + std::to_string(p_nRate) + '}');
    return eAccepted;
}

void COutputs::Stop(std::uint64_t p_nSession, unsigned p_nWriter)
{
    const auto it = m_mapWriter.find({p_nSession, p_nWriter});
    if (it != m_mapWriter.end())
        Stop(it);
}

void COutputs::Stop(TWriters::iterator p_it)
{
    const SWriter writer = std::move(p_it->second);
    m_mapWriter.erase(p_it);
    m_nDeclared -= writer.vecnId.size();
    Release(writer.nPmu);
    for (const std::uint64_t nId : writer.vecnId)
    {
        if (m_mapChannel.size() > g_nMaxStopped)
            m_mapChannel.erase({writer.nPmu, nId});
        else
            m_mapChannel[{writer.nPmu, nId}].bStarted = false;
    }
    if (m_pFeed)
        m_pFeed->OnStop(writer.nPmu, writer.vecnId);
    if (writer.bLogged)
        m_log.Write("{\"op\":\"stop\",\"pmu\":" + std::to_string(writer.nPmu) + '}');
}

/// Removes one writer of a virtual PMU; ignored if it is not started.
void COutputs::Release(std::uint64_t p_nPmu)
{
    const auto it = m_mapOwner.find(p_nPmu);
    if (it != m_mapOwner.end() && --it->second.nWriters == 0)
        m_mapOwner.erase(it);
}

void COutputs::StopAll(std::uint64_t p_nSession)
{
    auto it = m_mapWriter.lower_bound({p_nSession, 0});
    while (it != m_mapWriter.end() && it->first.first == p_nSession)
        Stop(it++);
}

bool COutputs::Write(std::uint64_t p_nSession, unsigned p_nWriter, std::uint64_t p_nPmu, std::int64_t p_nTicks,
                     std::span<const float> p_vecfValue, std::span<const std::uint64_t> p_vecnState)
{
    const auto it = m_mapWriter.find({p_nSession, p_nWriter});
    if (it == m_mapWriter.end())
        return false;
    const SWriter& writer = it->second;
    if (writer.nPmu != p_nPmu || writer.vecnId.size() != p_vecfValue.size() || p_vecfValue.size() != p_vecnState.size())
        return false;
    if (m_pFeed)
        m_pFeed->OnValues(p_nPmu, p_nTicks, writer.vecnId, p_vecfValue, p_vecnState);
    std::string strValues;
    int eWorst = 0;
    for (std::size_t i = 0; i < p_vecfValue.size(); ++i)
    {
        SChannel& channel = m_mapChannel[{p_nPmu, writer.vecnId[i]}];
        channel.nTicks = p_nTicks;
        channel.fValue = p_vecfValue[i];
        channel.eQual = QualityOfState(p_vecnState[i]);
        eWorst = std::max(eWorst, channel.eQual);
        if (m_fnValue)
            m_fnValue(channel, writer.nRate);
        if (writer.bLogged)
            strValues += (i == 0 ? "" : ",") + JsonNumber(p_vecfValue[i]);
    }
    if (writer.bLogged)
        m_log.Write("{\"op\":\"write\",\"pmu\":" + std::to_string(p_nPmu) + ",\"time\":" + std::to_string(p_nTicks) +
                    ",\"values\":[" + strValues + "],\"quality\":" + std::to_string(eWorst) + '}');
    return true;
}

void COutputs::TellRunning(COutputFeed& r_feed) const
{
    for (const auto& [key, writer] : m_mapWriter)
    {
        r_feed.OnStart(writer.nPmu, writer.vecnId);
        std::vector<float> vecfValue;
        std::vector<std::uint64_t> vecnState;
        std::int64_t nTicks = 0;
        for (const std::uint64_t nId : writer.vecnId)
        {
            const SChannel& channel = m_mapChannel.at({writer.nPmu, nId});
            vecfValue.push_back(channel.fValue);
            vecnState.push_back(StateOfQuality(channel.eQual));
            nTicks = std::max(nTicks, channel.nTicks);
        }
        if (nTicks != 0)
            r_feed.OnValues(writer.nPmu, nTicks, writer.vecnId, vecfValue, vecnState);
    }
}

std::size_t COutputs::Running() const
{
    return static_cast<std::size_t>(std::count_if(m_mapChannel.begin(), m_mapChannel.end(),
                                                  [](const auto& p_entry) { return p_entry.second.bStarted; }));
}

std::vector<COutputs::SChannel> COutputs::Channels() const
{
    std::vector<SChannel> vecChannel;
    for (const auto& [key, channel] : m_mapChannel)
        vecChannel.push_back(channel);
    std::sort(vecChannel.begin(), vecChannel.end(),
              [](const SChannel& p_one, const SChannel& p_two)
              { return std::pair(p_one.nPmu, p_one.nId) < std::pair(p_two.nPmu, p_two.nId); });
    return vecChannel;
}
