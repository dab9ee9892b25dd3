#include "view/memory/CValueRecorder.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::int64_t g_nSecond = 10'000'000;
constexpr std::size_t g_nMaxStanding = 1000;
} // namespace

CValueRecorder::CValueRecorder(double p_fRate_Hz)
    : m_nRing(static_cast<std::size_t>(std::clamp(p_fRate_Hz, 0.01, 1000.0) * g_nBefore_ticks / g_nSecond) + 2)
{
}

void CValueRecorder::OnSample(const SSample& p_sample, const SSink& p_sink)
{
    // Time that goes back or far ahead begins anew: a record has to be in order.
    if (p_sample.nTicks <= m_nLast || p_sample.nTicks - m_nLast > 3600 * g_nSecond)
    {
        Record(p_sink);
        m_vecRing.clear();
        m_nFirst = 0;
        m_nRecorded = 0;
        m_nUntil = 0;
    }
    m_nLast = p_sample.nTicks;
    if (m_vecRing.size() < m_nRing)
        m_vecRing.push_back(p_sample);
    else
    {
        m_vecRing[m_nFirst] = p_sample;
        m_nFirst = (m_nFirst + 1) % m_nRing;
    }
    if (IsRecording(p_sample.nTicks))
    {
        m_vecPending.push_back(p_sample);
        m_nRecorded = p_sample.nTicks;
        if (p_sample.nTicks - m_vecPending.front().nTicks >= g_nSecond)
            Record(p_sink);
    }
    else
        Record(p_sink);

    const std::int64_t nMinute = MinuteOf(MsFromTicks(p_sample.nTicks));
    if (nMinute != m_nMinute)
    {
        EndMinute(p_sink);
        m_nMinute = nMinute;
    }
    if (std::isnan(p_sample.fValue))
        ++m_nMissing;
    m_extremes.Add(p_sample.fValue);
}

void CValueRecorder::OnEvent(std::int64_t p_nId, std::int64_t p_nBegin, std::int64_t p_nEnd, const SSink& p_sink)
{
    const bool bBegins = !IsRecording(m_nLast);
    if (p_nEnd != 0)
    {
        if (m_setStanding.erase(p_nId) != 0)
            m_nUntil = std::max(m_nUntil, p_nEnd + g_nAfter_ticks);
    }
    else if (m_setStanding.size() < g_nMaxStanding)
        m_setStanding.insert(p_nId);
    if (!bBegins || m_setStanding.empty())
        return;
    // What came ahead of the event and is not recorded yet.
    for (std::size_t i = 0; i < m_vecRing.size(); ++i)
    {
        const SSample& sample = m_vecRing[(m_nFirst + i) % m_vecRing.size()];
        if (sample.nTicks <= m_nRecorded || sample.nTicks < p_nBegin - g_nBefore_ticks)
            continue;
        if (!m_vecPending.empty() && sample.nTicks - m_vecPending.front().nTicks >= 10 * g_nSecond)
            Record(p_sink);
        m_vecPending.push_back(sample);
        m_nRecorded = sample.nTicks;
    }
    Record(p_sink);
}

void CValueRecorder::Record(const SSink& p_sink)
{
    if (!m_vecPending.empty())
        p_sink.fnRecord(m_vecPending);
    m_vecPending.clear();
}

void CValueRecorder::EndMinute(const SSink& p_sink)
{
    if (m_extremes.nCount + m_nMissing != 0)
        p_sink.fnMinute(m_nMinute, m_extremes, m_nMissing);
    m_extremes = {};
    m_nMissing = 0;
}

void CValueRecorder::Flush(const SSink& p_sink)
{
    Record(p_sink);
    EndMinute(p_sink);
}
