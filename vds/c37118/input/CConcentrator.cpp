#include "vds/c37118/input/CConcentrator.h"
#include <algorithm>
#include <cstdlib>
#include <limits>

namespace
{
constexpr std::int64_t g_nBadClock = 10 * g_nTicksPerSec;
constexpr std::int64_t g_nSilence = 2 * g_nTicksPerSec;
} // namespace

CConcentrator::CConcentrator(std::int32_t p_nRate, std::int64_t p_nMaxWait_ticks, std::size_t p_nSamples,
                             std::size_t p_nStreams)
    : m_grid(p_nRate), m_nMaxWait(p_nMaxWait_ticks), m_nSamples(p_nSamples), m_vecStream(p_nStreams)
{
}

void CConcentrator::SetActive(std::size_t p_nStream, bool p_bActive, std::int32_t p_nRate)
{
    SStream& stream = m_vecStream[p_nStream];
    stream.bActive = p_bActive;
    if (p_nRate == m_grid.Rate())
        stream.nEvery = 1;
    else
        stream.nEvery = p_nRate > 0 && m_grid.Rate() % p_nRate == 0 ? m_grid.Rate() / p_nRate : 0;
}

bool CConcentrator::IsPlausible(std::int64_t p_nIndex, std::int64_t p_nArrival)
{
    const std::int64_t nTicks = m_grid.Ticks(p_nIndex);
    const std::int64_t nNewest = m_grid.Ticks(m_nNewest);
    const std::int64_t nReach = std::max(g_nBadClock, 4 * m_grid.Period_ticks());
    const bool bNear = std::abs(nTicks - nNewest) <= nReach;
    const bool bBetter = std::abs(nTicks - p_nArrival) <= nReach && std::abs(nNewest - p_nArrival) > nReach;
    const bool bAlone = p_nArrival - m_nArrival > std::max(g_nSilence, 2 * m_grid.Period_ticks()) + m_nMaxWait;
    if (m_bAny && !bNear && !bBetter && !bAlone)
        return false;
    if (m_bAny && !bNear)
        ++m_nStretch;
    m_nNewest = m_bAny && bNear ? std::max(m_nNewest, p_nIndex) : p_nIndex;
    m_nArrival = p_nArrival;
    m_bAny = true;
    return true;
}

CConcentrator::SPending& CConcentrator::Slot(const TKey& p_key, std::int64_t p_nArrival)
{
    const auto it = m_mapPending.find(p_key);
    if (it != m_mapPending.end())
        return it->second;
    if (m_vecFree.empty())
        m_vecFree.push_back(TPending{{p_key, {}}}.extract(p_key));
    TPending::node_type node = std::move(m_vecFree.back());
    m_vecFree.pop_back();
    node.key() = p_key;
    node.mapped().nFirstArrival = p_nArrival;
    node.mapped().vecSample.assign(m_nSamples, {});
    node.mapped().vecbCame.assign(m_vecStream.size(), false);
    return m_mapPending.insert(std::move(node)).position->second;
}

CConcentrator::EPut CConcentrator::Put(std::size_t p_nStream, std::int64_t p_nIndex, std::span<const TSample> p_samples,
                                       std::int64_t p_nArrival)
{
    if (!IsPlausible(p_nIndex, p_nArrival))
        return eBadClock;
    const TKey key(m_nStretch, p_nIndex);
    if (key <= m_keyOut)
        return eLate;
    SPending& pending = Slot(key, p_nArrival);
    if (pending.vecbCame[p_nStream])
        return eDuplicate;
    pending.vecbCame[p_nStream] = true;
    for (const auto& [nSample, sample] : p_samples)
        pending.vecSample[nSample] = sample;
    return eTaken;
}

bool CConcentrator::IsComplete(const TPending::value_type& p_pending) const
{
    for (std::size_t i = 0; i < m_vecStream.size(); ++i)
    {
        const SStream& stream = m_vecStream[i];
        const bool bExpected = stream.bActive && stream.nEvery > 0 && p_pending.first.second % stream.nEvery == 0;
        if (bExpected && !p_pending.second.vecbCame[i])
            return false;
    }
    return true;
}

bool CConcentrator::Take(SSourceCycle& r_cycle, std::int64_t p_nNow)
{
    if (m_mapPending.empty() || (p_nNow < Due() && !IsComplete(*m_mapPending.begin())))
        return false;
    TPending::node_type node = m_mapPending.extract(m_mapPending.begin());
    m_keyOut = node.key();
    r_cycle.nTicks = m_grid.Ticks(m_keyOut.second);
    std::swap(r_cycle.vecSample, node.mapped().vecSample);
    m_vecFree.push_back(std::move(node));
    return true;
}

std::int64_t CConcentrator::Due() const
{
    return m_mapPending.empty() ? std::numeric_limits<std::int64_t>::max()
                                : m_mapPending.begin()->second.nFirstArrival + m_nMaxWait;
}
