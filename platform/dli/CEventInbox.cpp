#include "platform/dli/CEventInbox.h"
#include <algorithm>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
constexpr auto g_tStore = std::chrono::milliseconds(100);
constexpr auto g_tRecheck = std::chrono::milliseconds(10);
/// Maximum total bytes of the parts of a reply; the server stores far less.
constexpr std::size_t g_nMaxReply = 256U << 20U;
} // namespace

CEventInbox::CEventInbox(boost::asio::io_context& p_io, Deliver p_fnDeliver)
    : m_timer(p_io), m_fnDeliver(std::move(p_fnDeliver))
{
}

unsigned long CEventInbox::NewRequest(std::int64_t p_nTicks)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapOpen[++m_nLastNum].nTicks = p_nTicks;
    return m_nLastNum;
}

void CEventInbox::Returned(unsigned long p_lReqNum)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    const auto it = m_mapOpen.find(p_lReqNum);
    if (it == m_mapOpen.end())
        return;
    it->second.bReturned = true;
    it->second.tDue = std::chrono::steady_clock::now() + g_tStore;
}

std::vector<CEventInbox::SRequest> CEventInbox::Open() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    std::vector<SRequest> vecRequest;
    for (const auto& [lReqNum, open] : m_mapOpen)
        vecRequest.push_back({lReqNum, open.nTicks});
    return vecRequest;
}

bool CEventInbox::IsOfPresent(unsigned long p_lReqNum) const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    const auto it = m_mapOpen.find(p_lReqNum);
    return it != m_mapOpen.end() && it->second.nTicks == 0;
}

void CEventInbox::Push(std::shared_ptr<SEventBatch> p_pBatch)
{
    m_queBatch.push_back(std::move(p_pBatch));
    Drain();
}

void CEventInbox::PushReply(unsigned long p_lReqNum, std::vector<std::unique_ptr<CEvent>> p_vecpEvent, bool p_bMore)
{
    for (std::unique_ptr<CEvent>& r_pEvent : p_vecpEvent)
    {
        m_nPartBytes += sizeof(CEvent) + r_pEvent->Addition().size();
        m_vecpPart.push_back(std::move(r_pEvent));
    }
    if (m_nPartBytes > g_nMaxReply)
        throw CDliError("reply of more than " + std::to_string(g_nMaxReply) + " bytes");
    if (p_bMore)
        return;
    auto pBatch = std::make_shared<SEventBatch>();
    pBatch->lReqNum = p_lReqNum;
    pBatch->vecpEvent = std::move(m_vecpPart);
    Lost();
    Push(std::move(pBatch));
}

void CEventInbox::Drain()
{
    while (!m_queBatch.empty() && MayGo(*m_queBatch.front()))
    {
        std::shared_ptr<SEventBatch> pBatch = std::move(m_queBatch.front());
        m_queBatch.pop_front();
        bool bAsked = true;
        if (pBatch->lReqNum != 0)
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            const auto it = m_mapOpen.find(pBatch->lReqNum);
            bAsked = it != m_mapOpen.end();
            pBatch->bStanding = bAsked && it->second.nTicks == 0;
            if (bAsked)
                m_mapOpen.erase(it);
        }
        if (bAsked)
            m_fnDeliver(std::move(pBatch));
    }
    if (m_queBatch.empty())
        return;
    m_timer.expires_after(g_tRecheck);
    m_timer.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            if (!p_ec)
                Drain();
        });
}

bool CEventInbox::MayGo(const SEventBatch& p_batch)
{
    if (p_batch.lReqNum == 0)
        return true;
    const std::lock_guard<std::mutex> lock(m_mtx);
    const auto it = m_mapOpen.find(p_batch.lReqNum);
    return it == m_mapOpen.end() || (it->second.bReturned && std::chrono::steady_clock::now() >= it->second.tDue);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
