#include "vds/core/CReadSet.h"
#include "link/dli/CycleTimes.h"
#include "link/dli/SampleState.h"
#include "vds/base/IsoTime.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <unordered_map>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
constexpr std::size_t g_nMaxTimes = 1000;

constexpr double g_fClass_ms = 0.001; ///< upper bound of the first class
constexpr double g_fClassRatio = 1.1;
constexpr std::size_t g_nClasses = 300;

bool IsOnGrid(std::int64_t p_nTicks, std::int32_t p_nRate)
{
    const std::int64_t nRest = ((p_nTicks % g_nTicksPerSec) + g_nTicksPerSec) % g_nTicksPerSec;
    const std::int64_t nIdx = std::llround(static_cast<double>(nRest) * p_nRate / g_nTicksPerSec);
    return GridTicks(nIdx, p_nRate) == nRest;
}

/// Rate for a cycle time in ms: because of truncation 16 ms means 60 Hz, 33 ms means 30 Hz and so on.
std::int32_t RateOfCycle(std::int64_t p_nCycle_ms)
{
    for (const SCycleTime& cycle : g_arrCycleTime)
    {
        if (cycle.nTime_ms == p_nCycle_ms)
            return static_cast<std::int32_t>(cycle.nRate_Hz);
    }
    return static_cast<std::int32_t>(std::max<std::int64_t>(1000 / p_nCycle_ms, 1));
}
} // namespace

void CDeliveryTimes::Add(std::chrono::nanoseconds p_tTaken)
{
    const double fTaken_ms = std::chrono::duration<double, std::milli>(p_tTaken).count();
    const double fClass = std::ceil(std::log(std::max(fTaken_ms, g_fClass_ms) / g_fClass_ms) / std::log(g_fClassRatio));
    m_vecnCount.resize(g_nClasses);
    ++m_vecnCount[static_cast<std::size_t>(std::clamp(fClass, 0.0, static_cast<double>(g_nClasses - 1)))];
    ++m_nCount;
    m_fWorst_ms = std::max(m_fWorst_ms, fTaken_ms);
    m_fSum_ms += fTaken_ms;
}

std::uint64_t CDeliveryTimes::CountWithin(double p_fLimit_ms) const
{
    std::uint64_t nCount = 0;
    for (std::size_t i = 0; i < m_vecnCount.size(); ++i)
        nCount += g_fClass_ms * std::pow(g_fClassRatio, static_cast<double>(i)) <= p_fLimit_ms ? m_vecnCount[i] : 0;
    return nCount;
}

double CDeliveryTimes::Percent99_ms() const
{
    std::uint64_t nBelow = 0;
    for (std::size_t i = 0; i < m_vecnCount.size(); ++i)
    {
        nBelow += m_vecnCount[i];
        if (nBelow * 100 >= m_nCount * 99)
            return std::min(m_fWorst_ms, g_fClass_ms * std::pow(g_fClassRatio, static_cast<double>(i)));
    }
    return m_fWorst_ms;
}

std::int32_t ActualRate(std::int32_t p_nSourceRate, std::int32_t p_nRate, std::int64_t p_nCycle_ms)
{
    if (p_nSourceRate <= 1)
        return p_nSourceRate;
    return std::gcd(p_nSourceRate, p_nRate > 0 ? p_nRate : RateOfCycle(std::max<std::int64_t>(p_nCycle_ms, 1)));
}

std::int64_t CycleTime_ms(std::int32_t p_nRate)
{
    if (p_nRate > 0)
        return 1000 / p_nRate;
    return -static_cast<std::int64_t>(p_nRate) * 1000;
}

CReadSet::CReadSet(const ISource& p_source, const Link::StartSet& p_start, std::size_t p_nWindow)
    : m_tStart(std::chrono::steady_clock::now()), m_nSet(p_start.set()), m_nStart(p_start.start()),
      m_nSourceRate(p_source.Rate()), m_nRate(ActualRate(p_source.Rate(), p_start.rate(), p_start.cycle_ms())),
      m_nWindow(p_nWindow)
{
    std::unordered_map<std::uint64_t, std::size_t> mapIndex;
    for (std::size_t i = 0; i < p_source.Ids().size(); ++i)
        mapIndex.emplace(p_source.Ids()[i], i);
    for (const std::uint64_t nId : p_start.ids())
    {
        const auto it = mapIndex.find(nId);
        m_veciSample.push_back(it == mapIndex.end() ? p_source.Ids().size() : it->second);
    }
    m_vecLast.resize(m_veciSample.size());
    if (p_source.IsFiltered() && m_nRate > 0 && m_nRate < m_nSourceRate)
        m_pDecimator = std::make_unique<CDecimator>(m_nSourceRate, m_nRate, m_veciSample);
}

void CReadSet::Offer(const SSourceCycle& p_cycle, const std::function<void(const SSourceCycle&)>& p_fnSend)
{
    if (m_pDecimator)
        m_pDecimator->Put(p_cycle, p_fnSend);
    else if (Takes(p_cycle.nTicks))
        p_fnSend(p_cycle);
}

bool CReadSet::Takes(std::int64_t p_nTicks) const
{
    return m_nRate == m_nSourceRate || IsOnGrid(p_nTicks, m_nRate) || !IsOnGrid(p_nTicks, m_nSourceRate);
}

void CReadSet::Fill(const SSourceCycle& p_cycle, TTime p_tNow, Link::Cycle& r_cycle)
{
    r_cycle.set_set(m_nSet);
    r_cycle.set_start(m_nStart);
    r_cycle.set_seq(++m_nSent);
    r_cycle.set_time(p_cycle.nTicks);
    for (std::size_t i = 0; i < m_veciSample.size(); ++i)
    {
        static const SSourceSample s_none;
        const bool bKnown = m_veciSample[i] < p_cycle.vecSample.size();
        const SSourceSample& sample = bKnown ? p_cycle.vecSample[m_veciSample[i]] : s_none;
        if (sample.IsUsable())
            m_vecLast[i] = sample;
        const SSourceSample& value = sample.IsInvalid() ? m_vecLast[i] : sample;
        r_cycle.add_magn(value.fMagn);
        r_cycle.add_angle(value.fAngle_deg);
        r_cycle.add_state(sample.bPresent ? sample.nState : g_nStateNoSample);
    }
    m_quetSent.emplace_back(p_tNow, p_cycle.nTicks);
    if (m_quetSent.size() > g_nMaxTimes)
        m_quetSent.pop_front();
}

std::int64_t CReadSet::TakenTicks() const
{
    return AllTaken() || m_quetSent.empty() ? g_nTicksMax : m_quetSent.front().second - 1;
}

void CReadSet::Taken(std::uint64_t p_nSeq, TTime p_tNow, CDeliveryTimes& r_times)
{
    const std::uint64_t nTaken = std::min(p_nSeq, m_nSent);
    for (; m_nTaken < nTaken; ++m_nTaken)
    {
        // The oldest send times may already have been dropped for a client that is far behind.
        if (m_nSent - m_nTaken > m_quetSent.size())
            continue;
        r_times.Add(p_tNow - m_quetSent.front().first);
        m_quetSent.pop_front();
    }
}
