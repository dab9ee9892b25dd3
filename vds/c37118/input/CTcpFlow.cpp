#include "vds/c37118/input/CTcpFlow.h"

namespace
{
constexpr std::size_t g_nWaitMax = 16;
constexpr std::int32_t g_nFar = 1 << 20; ///< a sequence number this far away belongs to another connection
} // namespace

void CTcpFlow::Deliver(std::uint32_t p_nSeq, TBytes p_payload, const std::function<void(TBytes)>& p_fnBytes)
{
    const std::uint32_t nKnown = m_nNext - p_nSeq; // sequence numbers wrap around
    if (nKnown >= p_payload.size())
        return;
    m_nNext = p_nSeq + static_cast<std::uint32_t>(p_payload.size());
    p_fnBytes(p_payload.subspan(nKnown));
}

bool CTcpFlow::Put(std::uint32_t p_nSeq, bool p_bSyn, TBytes p_payload, const std::function<void(TBytes)>& p_fnBytes)
{
    const auto nAhead = static_cast<std::int32_t>(p_nSeq - m_nNext);
    bool bWhole = true;
    if (!m_bBegun || p_bSyn || nAhead > g_nFar || nAhead < -g_nFar)
    {
        bWhole = !m_bBegun;
        m_bBegun = true;
        m_nNext = p_bSyn ? p_nSeq + 1 : p_nSeq;
        m_nBase = m_nNext;
        m_mapWait.clear();
        if (p_bSyn)
            return bWhole;
    }
    if (static_cast<std::int32_t>(p_nSeq - m_nNext) > 0)
    {
        std::vector<std::uint8_t>& vecnWait = m_mapWait[p_nSeq - m_nBase];
        if (vecnWait.size() < p_payload.size()) // a retransmission may be longer
            vecnWait.assign(p_payload.begin(), p_payload.end());
        if (m_mapWait.size() < g_nWaitMax)
            return true;
        m_nNext = m_nBase + m_mapWait.begin()->first;
        bWhole = false;
    }
    else
        Deliver(p_nSeq, p_payload, p_fnBytes);
    while (!m_mapWait.empty() && static_cast<std::int32_t>(m_nBase + m_mapWait.begin()->first - m_nNext) <= 0)
    {
        const auto node = m_mapWait.extract(m_mapWait.begin());
        Deliver(m_nBase + node.key(), node.mapped(), p_fnBytes);
    }
    if (m_mapWait.empty())
        m_nBase = m_nNext;
    return bWhole;
}
