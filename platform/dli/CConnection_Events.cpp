#include "link/dli/Ticks.h"
#include "platform/dli/CConnection.h"
#include <algorithm>
#include <utility>

// The event channel of a connection: requests, subscription and posts.

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
/// Whether a time is "now", allowing for the delay of a call. Compared only with this machine's clock; the data's clock
/// and the server's are irrelevant.
bool IsPresent(std::int64_t p_nTicks)
{
    constexpr std::int64_t nNow = 60 * g_nTicksPerSec;
    return p_nTicks > WallTicks() - nNow;
}

std::unique_ptr<CEvent> MakeEvent(const Link::Event& p_event)
{
    return std::make_unique<CEvent>(static_cast<ETransition>(p_event.transition()),
                                    static_cast<EElementType>(p_event.element_type()),
                                    static_cast<unsigned long>(p_event.element_id()),
                                    static_cast<EIncidenceKey>(p_event.key()), p_event.text(), p_event.source());
}
} // namespace

/// A server that knows the position sends what came after it. Another server does not know what has ended: the library
/// requests the active events, and the subscription follows the reply.
void CConnection::ContinueSubscription()
{
    bool bSubscribed = false;
    bool bSameEpoch = false;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        bSubscribed = m_bSubscribed;
        bSameEpoch = m_told.epoch() == m_nEpoch;
    }
    if (!bSubscribed)
        return;
    if (bSameEpoch)
        SendSubscribe(0, true);
    else if (m_lOwnRead == 0) // otherwise it has been sent again
        m_lOwnRead = AskStanding(0);
}

void CConnection::SendElements()
{
    // Prevents two threads from delivering the old ones after the new ones.
    const std::lock_guard<std::mutex> lock(m_mtxElements);
    Send([this](Link::Message& r_message) { FillElements(r_message); });
}

void CConnection::FillElements(Link::Message& r_message) const
{
    const std::vector<unsigned long> vecnId = m_fnElements();
    r_message.mutable_elements()->mutable_ids()->Assign(vecnId.begin(), vecnId.end());
}

Link::Position CConnection::Told() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_told;
}

void CConnection::NoteTold(std::uint64_t p_nEpoch, std::uint64_t p_nSeq)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_told.epoch() == p_nEpoch && p_nSeq <= m_told.seq())
        return;
    m_told.set_epoch(p_nEpoch);
    m_told.set_seq(p_nSeq);
}

void CConnection::OnEventDelivery(const Link::EventDelivery& p_delivery)
{
    auto pBatch = std::make_shared<SEventBatch>();
    for (const Link::Event& event : p_delivery.events())
    {
        pBatch->vecpEvent.push_back(MakeEvent(event));
        NoteTold(m_nEpoch, event.seq());
    }
    const std::weak_ptr<Link::CLinkStream> pwStream = Stream();
    pBatch->fnTaken = [pwStream, nSeq = p_delivery.seq()]
    {
        if (const std::shared_ptr<Link::CLinkStream> pStream = pwStream.lock())
            pStream->Send([nSeq](Link::Message& r_message) { r_message.mutable_event_ack()->set_seq(nSeq); });
    };
    m_inbox.Push(std::move(pBatch));
}

void CConnection::OnEventsReply(const Link::EventsReply& p_reply)
{
    std::vector<std::unique_ptr<CEvent>> vecpEvent;
    for (const Link::Event& event : p_reply.events())
        vecpEvent.push_back(MakeEvent(event));
    const auto lReqNum = static_cast<unsigned long>(p_reply.number());
    if (!p_reply.more() && m_inbox.IsOfPresent(lReqNum))
        NoteTold(p_reply.position().epoch(), p_reply.position().seq());
    m_inbox.PushReply(lReqNum, std::move(vecpEvent), p_reply.more());
    if (p_reply.more() || lReqNum != m_lOwnRead)
        return;
    bool bSubscribed = false;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        bSubscribed = m_bSubscribed;
    }
    if (bSubscribed)
        SendSubscribe(0, true);
}

void CConnection::DeliverEvents(const std::shared_ptr<SEventBatch>& p_pBatch)
{
    if (p_pBatch->lReqNum != 0 && p_pBatch->lReqNum == m_lOwnRead)
    {
        p_pBatch->lReqNum = 0;
        m_lOwnRead = 0;
    }
    std::vector<std::shared_ptr<CEventReceiver>> vecpReceiver;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        vecpReceiver = m_vecEventReceiver;
    }
    for (const std::shared_ptr<CEventReceiver>& pReceiver : vecpReceiver)
        pReceiver->PushEvents(p_pBatch);
}

void CConnection::SendRead(unsigned long p_lReqNum, std::int64_t p_nTicks)
{
    const Link::Position told = Told();
    Send(
        [&](Link::Message& r_message)
        {
            r_message.mutable_read_events()->set_number(p_lReqNum);
            r_message.mutable_read_events()->set_time(p_nTicks);
            *r_message.mutable_read_events()->mutable_told() = told;
        });
}

unsigned long CConnection::Read(std::int64_t p_nTicks, unsigned long)
{
    if (!IsPresent(p_nTicks))
        return AskStanding(p_nTicks);
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_nReadTicks = p_nTicks;
    }
    return AskStanding(0);
}

/// @param p_nTicks 0: the events active at present.
unsigned long CConnection::AskStanding(std::int64_t p_nTicks)
{
    const unsigned long lReqNum = m_inbox.NewRequest(p_nTicks);
    SendRead(lReqNum, p_nTicks);
    m_inbox.Returned(lReqNum);
    return lReqNum;
}

/// After a Read with a time it continues where the reply ended.
void CConnection::Subscribe(std::int64_t p_nTicks, int, int, int)
{
    bool bAfterRead = false;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bSubscribed = true;
        bAfterRead = p_nTicks == m_nReadTicks;
    }
    SendSubscribe(IsPresent(p_nTicks) ? 0 : p_nTicks, bAfterRead);
}

void CConnection::SendSubscribe(std::int64_t p_nTicks, bool p_bAfterTold)
{
    const Link::Position told = Told();
    Send(
        [&](Link::Message& r_message)
        {
            r_message.mutable_subscribe()->set_time(p_nTicks);
            if (p_bAfterTold)
                *r_message.mutable_subscribe()->mutable_after() = told;
        });
}

void CConnection::Unsubscribe()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bSubscribed = false;
    }
    Send([](Link::Message& r_message) { r_message.mutable_unsubscribe(); });
}

void CConnection::Post(EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem, unsigned long p_nElemId,
                       const std::string& p_strText)
{
    PostAt(0, p_eKey, p_eTrans, p_eElem, p_nElemId, p_strText);
}

void CConnection::PostAt(std::int64_t p_nTicks, EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem,
                         unsigned long p_nElemId, const std::string& p_strText)
{
    Send(
        [&](Link::Message& r_message)
        {
            Link::Event& event = *r_message.mutable_post_event()->mutable_event();
            event.set_time(p_nTicks);
            event.set_key(p_eKey);
            event.set_transition(p_eTrans);
            event.set_element_type(p_eElem);
            event.set_element_id(p_nElemId);
            event.set_text(p_strText.data(), std::min(p_strText.size(), Link::g_nMaxEventText));
        });
}

void CConnection::AddCallBack(CEventDataCallBack* p_pCallBack, int p_nElem)
{
    if (!p_pCallBack)
        return;
    RemoveCallBack(p_pCallBack);
    auto pReceiver = std::make_shared<CEventReceiver>(m_pool, p_pCallBack, p_nElem);
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_vecEventReceiver.push_back(pReceiver);
    if (m_bUp)
        pReceiver->PushStatus(eConnected);
}

void CConnection::RemoveCallBack(CEventDataCallBack* p_pCallBack)
{
    std::shared_ptr<CEventReceiver> pOld;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        const auto it = std::find_if(m_vecEventReceiver.begin(), m_vecEventReceiver.end(),
                                     [p_pCallBack](const std::shared_ptr<CEventReceiver>& p_pReceiver)
                                     { return p_pReceiver->GetCallBack() == p_pCallBack; });
        if (it == m_vecEventReceiver.end())
            return;
        pOld = *it;
        m_vecEventReceiver.erase(it);
    }
    pOld->Close();
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
