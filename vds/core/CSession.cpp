#include "vds/core/CSession.h"
#include "vds/base/IsoTime.h"
#include "vds/core/CServerCore.h"
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
constexpr std::size_t g_nMaxSets = 1000;
constexpr std::size_t g_nMaxIds = 100000; ///< channels of all sets of a connection
/// Cost of a read set besides its channels, which cost one each. All connections together have a limit; beyond it, each
/// may still use a share that is safe for all.
constexpr std::size_t g_nSetCost = 100;
constexpr std::size_t g_nMaxReadCost = 200000;
constexpr std::size_t g_nSafeReadCost = 1000;
constexpr unsigned g_nMaxPostsRefused = 20;
constexpr std::size_t g_nMaxName = 100;
constexpr std::uint32_t g_nMaxStall_ms = 3600000;
constexpr auto g_tHello = std::chrono::seconds(5);
constexpr std::int64_t g_nWindow_ms = 10000; ///< what a client buffers for a set
constexpr std::int64_t g_nMaxWindow = 64;
/// Events in one part of a reply, limited by the bytes of their texts.
constexpr std::size_t g_nPartBytes = 1U << 20U;

SEvent FromLink(const Link::Event& p_event)
{
    SEvent event;
    event.nTicks = p_event.time();
    event.eKey = p_event.key();
    event.eTrans = p_event.transition();
    event.eElemType = p_event.element_type();
    event.nElemId = p_event.element_id();
    event.strText = p_event.text();
    return event;
}

void CheckEvent(const Link::Event& p_event)
{
    if (p_event.transition() != 0 && p_event.transition() != 1)
        throw std::runtime_error("event with transition " + std::to_string(p_event.transition()) +
                                 ": expected 1 (APP) or 0 (DIS)");
    if (p_event.text().size() > Link::g_nMaxEventText)
        throw std::runtime_error("event with a text of " + std::to_string(p_event.text().size()) + " bytes");
    if (p_event.time() < 0 || p_event.time() > g_nTicksMax)
        throw std::runtime_error("event with the time stamp " + std::to_string(p_event.time()));
}

std::string EventText(const SEvent& p_event)
{
    return IsoFromTicks(p_event.nTicks) + " " + std::to_string(p_event.eKey) + " " + std::to_string(p_event.eElemType) +
           " " + std::to_string(p_event.nElemId) + " " + p_event.strFrom + " " + p_event.strText;
}

std::string ChannelText(const COutputs::SChannel& p_channel)
{
    constexpr const char* ppQual[] = {"VALID", "SUSPECT", "INVALID"};
    return std::to_string(p_channel.nPmu) + " " + std::to_string(p_channel.nId) + " " +
           (p_channel.nTicks == 0 ? std::string("- -") : JsonNumber(p_channel.fValue) + " " + ppQual[p_channel.eQual]) +
           " " + (p_channel.nTicks == 0 ? std::string("-") : IsoFromTicks(p_channel.nTicks)) + " " +
           (p_channel.bStarted ? "started" : "stopped");
}
} // namespace

CSession::CSession(CServerCore& p_core, std::uint64_t p_nId, bool p_bDataPort,
                   std::shared_ptr<Link::CLinkStream> p_pStream, std::string p_strAddr, unsigned p_nPort)
    : m_core(p_core), m_nId(p_nId), m_bDataPort(p_bDataPort), m_pStream(std::move(p_pStream)),
      m_strAddr(std::move(p_strAddr)), m_strPeer(m_strAddr + ":" + std::to_string(p_nPort)), m_timerHello(p_core.Io())
{
}

void CSession::AwaitHello()
{
    m_timerHello.expires_after(g_tHello);
    m_timerHello.async_wait(
        [pwSelf = weak_from_this()](const boost::system::error_code& p_ec)
        {
            const std::shared_ptr<CSession> pSelf = pwSelf.lock();
            if (!p_ec && pSelf)
                pSelf->Close("no greeting in time");
        });
}

void CSession::OnLinkClosed(const std::string& p_strReason)
{
    m_timerHello.cancel();
    m_mapSet.clear();
    m_core.TakeReadCost(std::exchange(m_nReadCost, 0));
    m_core.OnSessionClosed(*this, p_strReason);
}

void CSession::OnLinkMessage(const Link::Message& p_message)
{
    if (m_core.IsEnding() || m_bRefused)
        return;
    if (p_message.has_hello())
        OnHello(p_message.hello());
    else if (!m_bHello)
        throw std::runtime_error("message before the greeting");
    else if (p_message.has_elements())
        OnElements(p_message.elements());
    else if (p_message.has_cycle_ack() && !m_bDataPort)
        OnCycleAck(p_message.cycle_ack());
    else if (p_message.has_event_ack())
    {
        m_nDeliveryAcks += m_nDeliveryAcks < m_nDelivered ? 1U : 0U;
        m_core.Kick();
    }
    else if (p_message.has_flush())
    {
        const std::uint64_t nNumber = p_message.flush().number();
        m_pStream->Send([nNumber](Link::Message& r_message) { r_message.mutable_flush_done()->set_number(nNumber); });
    }
    else if (p_message.has_flush_done())
    {
        m_nFlushDone = std::min(p_message.flush_done().number(), m_nFlush);
        m_core.Kick();
    }
    else
    {
        m_core.Touch(m_nClient);
        const bool bKnown = m_bDataPort ? OnWriteMessage(p_message)
                                        : OnReadMessage(p_message) || OnEventMessage(p_message) ||
                                              m_core.Feed().OnMessage(m_nId, m_pStream, p_message);
        if (!bKnown)
            throw std::runtime_error("unexpected message");
    }
}

/// @throws an exception that says why the client is refused.
void CSession::CheckHello(const Link::Hello& p_hello) const
{
    if (p_hello.version() != Link::g_nLinkVersion)
        throw Link::CLinkRefusal("version " + std::to_string(p_hello.version()) + " of the link: expected " +
                                 std::to_string(Link::g_nLinkVersion));
    // The name appears in lines of text; "source" is reserved for the server's own events.
    const std::string& strName = p_hello.name();
    const bool bPlain =
        std::all_of(strName.begin(), strName.end(), [](unsigned char p_n) { return p_n >= 0x20 && p_n != 0x7F; });
    if (m_bHello || strName.size() > g_nMaxName || !bPlain || strName == "source")
        throw std::runtime_error("invalid greeting");
}

void CSession::OnHello(const Link::Hello& p_hello)
{
    CheckHello(p_hello);
    const Link::SLinkPeer& peer = m_pStream->Peer();
    m_strName = p_hello.name();
    try
    {
        m_eRole = m_core.Access().RoleOf(peer, p_hello.token());
    }
    catch (const Link::CLinkRefusal& refusal)
    {
        return RefuseLater(refusal.what());
    }
    m_bHello = true;
    m_timerHello.cancel();
    m_pStream->Greeted();
    if (peer.bCertificate)
        m_strName += "@" + peer.strName;
    m_eElemType = p_hello.element_type();
    m_nClient = p_hello.client();
    m_pStream->Send(
        [this](Link::Message& r_message)
        {
            r_message.mutable_welcome()->set_version(Link::g_nLinkVersion);
            FillPosition(*r_message.mutable_welcome()->mutable_position());
        });
}

/// The answer to a refused client is delayed, and whatever it sends meanwhile is ignored.
void CSession::RefuseLater(const std::string& p_strReason)
{
    m_bRefused = true;
    m_timerHello.expires_after(m_core.Access().NoteRefusal(m_strAddr, std::chrono::steady_clock::now()));
    m_timerHello.async_wait(
        [pwSelf = weak_from_this(), p_strReason](const boost::system::error_code& p_ec)
        {
            const std::shared_ptr<CSession> pSelf = pwSelf.lock();
            if (!p_ec && pSelf)
                pSelf->m_pStream->Refuse(p_strReason);
        });
}

// ---- read sets ----

bool CSession::OnReadMessage(const Link::Message& p_message)
{
    if (p_message.has_start_set())
        OnStartSet(p_message.start_set());
    else if (p_message.has_stop_set())
    {
        StopSet(p_message.stop_set().set());
        m_core.Kick();
    }
    else if (p_message.has_set_ready())
    {
        const auto it = m_mapSet.find(p_message.set_ready().set());
        if (it != m_mapSet.end() && it->second.StartNumber() == p_message.set_ready().start())
            it->second.m_bReady = true;
        m_core.Kick();
    }
    else
        return false;
    return true;
}

void CSession::OnStartSet(const Link::StartSet& p_start)
{
    if (p_start.ids().empty() || (p_start.rate() <= 0 && p_start.cycle_ms() <= 0))
        throw std::runtime_error("start of a read set without channels or without a rate");
    const std::size_t nCost = static_cast<std::size_t>(p_start.ids().size()) + g_nSetCost;
    const auto itOld = m_mapSet.find(p_start.set());
    const std::size_t nOldCost = itOld == m_mapSet.end() ? 0 : itOld->second.Channels() + g_nSetCost;
    const std::size_t nSets = m_mapSet.size() + (itOld == m_mapSet.end() ? 1 : 0);
    const std::size_t nNewCost = m_nReadCost - nOldCost + nCost;
    const std::size_t nIds = nNewCost - nSets * g_nSetCost;
    if (nIds > g_nMaxIds)
        throw std::runtime_error("more than " + std::to_string(g_nMaxIds) + " channels");
    if (nSets > g_nMaxSets)
        throw std::runtime_error("more than " + std::to_string(g_nMaxSets) + " read sets");
    if (nNewCost > g_nSafeReadCost && m_core.ReadCost() - nOldCost + nCost > g_nMaxReadCost)
        throw std::runtime_error("too many channels on all connections together");
    const std::int64_t nCycle_ms = CycleTime_ms(ActualRate(m_core.Source().Rate(), p_start.rate(), p_start.cycle_ms()));
    const std::int64_t nWindow =
        std::clamp<std::int64_t>(g_nWindow_ms / std::max<std::int64_t>(nCycle_ms, 1), 2, g_nMaxWindow);
    StopSet(p_start.set());
    m_nReadCost += nCost;
    m_core.AddReadCost(nCost);
    m_mapSet.try_emplace(p_start.set(), m_core.Source(), p_start, static_cast<std::size_t>(nWindow));
    m_pStream->Send(
        [&](Link::Message& r_message)
        {
            Link::SetStarted& started = *r_message.mutable_set_started();
            started.set_set(p_start.set());
            started.set_start(p_start.start());
            started.set_cycle_ms(nCycle_ms);
            started.set_live(m_core.IsLive());
        });
    m_core.Kick();
}

void CSession::StopSet(unsigned p_nSet)
{
    const auto it = m_mapSet.find(p_nSet);
    if (it == m_mapSet.end())
        return;
    const std::size_t nCost = it->second.Channels() + g_nSetCost;
    m_nReadCost -= nCost;
    m_core.TakeReadCost(nCost);
    m_mapSet.erase(it);
}

void CSession::OnCycleAck(const Link::CycleAck& p_ack)
{
    const auto it = m_mapSet.find(p_ack.set());
    if (it != m_mapSet.end() && it->second.StartNumber() == p_ack.start())
        it->second.Taken(p_ack.seq(), std::chrono::steady_clock::now(), m_core.Times());
    m_core.Kick();
}

void CSession::SendCycle(CReadSet& r_set, const SSourceCycle& p_cycle)
{
    m_pStream->Send([&](Link::Message& r_message)
                    { r_set.Fill(p_cycle, std::chrono::steady_clock::now(), *r_message.mutable_cycle()); });
}

// ---- events ----

bool CSession::OnEventMessage(const Link::Message& p_message)
{
    if (p_message.has_post_event())
        OnPostEvent(p_message.post_event().event());
    else if (p_message.has_read_events())
        OnReadEvents(p_message.read_events());
    else if (p_message.has_subscribe())
        OnSubscribe(p_message.subscribe());
    else if (p_message.has_unsubscribe())
        m_bSubscribed = false;
    else if (p_message.has_control_request())
        OnControl(p_message.control_request());
    else
        return false;
    return true;
}

void CSession::OnPostEvent(const Link::Event& p_event)
{
    Post(p_event, false);
    if (m_nPostsRefused > g_nMaxPostsRefused)
        throw std::runtime_error("more than " + std::to_string(g_nMaxPostsRefused) +
                                 " events that it is not allowed to post");
}

/// @return why the event is refused; empty: accepted.
std::string CSession::Post(const Link::Event& p_event, bool p_bControl)
{
    CheckEvent(p_event);
    SEvent event = FromLink(p_event);
    event.strFrom = m_strName;
    if (!p_bControl && event.eElemType == m_eElemType)
        event.nOwner = m_elements.Application();
    if (p_bControl || MayPost(m_eElemType, event))
    {
        const bool bKept = m_core.Publish(event);
        if (!p_bControl && m_elements.IsStart(event))
            m_core.EndLeftOver(*this);
        return bKept ? "" : "the event could not be stored";
    }
    ++m_nPostsRefused;
    m_core.PeerLine("event " + std::to_string(event.eKey) + (event.eTrans == 1 ? " APP " : " DIS ") +
                        std::to_string(event.eElemType) + " " + std::to_string(event.nElemId) + " of '" + m_strName +
                        "' from " + m_strPeer + " refused: not one of its own",
                    "event " + m_strName + m_strAddr + std::to_string(event.eKey));
    return "not one of its own";
}

/// Sends parts until p_fnFill(message) returns that no further part follows. Stops when the stream is closed: its
/// client has disconnected or does not receive.
template <class TFill>
void CSession::SendParts(TFill p_fnFill)
{
    bool bMore = true;
    while (bMore && m_pStream->Send([&](Link::Message& r_message) { bMore = p_fnFill(r_message); }))
        ;
}

void CSession::OnElements(const Link::Elements& p_elements)
{
    if (static_cast<std::size_t>(p_elements.ids().size()) > g_nMaxIds)
        throw std::runtime_error("more than " + std::to_string(g_nMaxIds) + " elements");
    m_elements.Declare(m_eElemType, {p_elements.ids().begin(), p_elements.ids().end()});
}

void CSession::FillPosition(Link::Position& r_position) const
{
    r_position.set_epoch(m_core.Events().Epoch());
    r_position.set_seq(m_core.Events().LastSeq());
}

std::uint64_t CSession::SeqOf(const Link::Position& p_position) const
{
    return m_core.Events().SeqOf(p_position.epoch(), p_position.seq());
}

/// Sends the active events, in order of arrival, and the orders given since the client was last informed. An order is
/// not a state: a client that has already executed it, or was not connected when it was given, does not get it again.
std::vector<SEvent> CSession::ReplyTo(const Link::ReadEvents& p_read) const
{
    std::vector<SEvent> vecEvent;
    const std::uint64_t nTold = p_read.has_told() ? SeqOf(p_read.told()) : m_core.Events().LastSeq();
    for (const SEvent& event : m_core.StandingAt(p_read.time()))
    {
        const bool bNews = p_read.time() != 0 || !IsOrder(event) || event.nSeq > nTold;
        if (bNews && m_core.Concerns(event, *this))
            vecEvent.push_back(event);
    }
    if (p_read.time() != 0)
        return vecEvent;
    for (const SEvent& event : m_core.Events().After(nTold))
    {
        if (IsRestart(event) && m_core.Concerns(event, *this))
            vecEvent.push_back(event);
    }
    std::sort(vecEvent.begin(), vecEvent.end(),
              [](const SEvent& p_event1, const SEvent& p_event2) { return p_event1.nSeq < p_event2.nSeq; });
    return vecEvent;
}

void CSession::OnReadEvents(const Link::ReadEvents& p_read)
{
    const std::vector<SEvent> vecEvent = ReplyTo(p_read);
    std::size_t i = 0;
    SendParts(
        [&](Link::Message& r_message)
        {
            Link::EventsReply& reply = *r_message.mutable_events_reply();
            reply.set_number(p_read.number());
            FillPosition(*reply.mutable_position());
            for (std::size_t nBytes = 0; i < vecEvent.size() && nBytes < g_nPartBytes; ++i)
            {
                EventToLink(vecEvent[i], *reply.add_events());
                nBytes += vecEvent[i].strText.size() + 100;
            }
            reply.set_more(i < vecEvent.size());
            return reply.more();
        });
}

void CSession::OnSubscribe(const Link::Subscribe& p_subscribe)
{
    m_bSubscribed = true;
    std::vector<SEvent> vecEvent;
    if (p_subscribe.has_after())
        vecEvent = m_core.Events().After(SeqOf(p_subscribe.after()));
    else if (p_subscribe.time() != 0)
        vecEvent = m_core.Events().Since(p_subscribe.time());
    for (const SEvent& event : vecEvent)
    {
        if (m_core.Concerns(event, *this))
            SendEvent(event);
    }
    m_pStream->Send([this](Link::Message& r_message)
                    { FillPosition(*r_message.mutable_subscribed()->mutable_position()); });
}

void CSession::SendEvent(const SEvent& p_event)
{
    m_pStream->Send(
        [&](Link::Message& r_message)
        {
            r_message.mutable_event_delivery()->set_seq(++m_nDelivered);
            EventToLink(p_event, *r_message.mutable_event_delivery()->add_events());
        });
}

void CSession::SendFlush()
{
    m_pStream->Send([this](Link::Message& r_message) { r_message.mutable_flush()->set_number(++m_nFlush); });
}

// ---- output channels ----

bool CSession::OnWriteMessage(const Link::Message& p_message)
{
    if (p_message.has_start_write())
        OnStartWrite(p_message.start_write());
    else if (p_message.has_stop_write())
        m_core.Guarded([&] { m_core.Outputs().Stop(m_nId, p_message.stop_write().writer()); });
    else if (p_message.has_write_values())
        OnWriteValues(p_message.write_values());
    else
        return false;
    return true;
}

void CSession::OnStartWrite(const Link::StartWrite& p_start)
{
    const std::vector<std::uint64_t> vecnId(p_start.ids().begin(), p_start.ids().end());
    COutputs::EError eError = COutputs::eAccepted;
    m_core.Guarded(
        [&] { eError = m_core.Outputs().Start(m_nId, p_start.writer(), p_start.pmu(), vecnId, p_start.rate()); });
    if (eError != COutputs::eAccepted)
        m_core.PeerLine("output of virtual PMU " + std::to_string(p_start.pmu()) + " from '" + m_strName +
                            "' refused, error " + std::to_string(eError),
                        "output " + m_strName + m_strAddr + std::to_string(eError));
    m_pStream->Send(
        [&](Link::Message& r_message)
        {
            Link::WriteResponse& response = *r_message.mutable_write_response();
            response.set_writer(p_start.writer());
            response.set_pmu(p_start.pmu());
            response.set_error(eError);
            response.set_start(p_start.start());
        });
}

void CSession::OnWriteValues(const Link::WriteValues& p_write)
{
    const std::span<const float> vecfValue(p_write.values().data(), static_cast<std::size_t>(p_write.values_size()));
    const std::span<const std::uint64_t> vecnState(p_write.states().data(),
                                                   static_cast<std::size_t>(p_write.states_size()));
    m_core.Guarded(
        [&]
        {
            if (!m_core.Outputs().Write(m_nId, p_write.writer(), p_write.pmu(), p_write.time(), vecfValue, vecnState))
                m_core.ValuesRefused();
        });
}

// ---- vdsctl ----

void CSession::OnControl(const Link::ControlRequest& p_request)
{
    m_bControl = true;
    std::vector<std::string> vecstrLine;
    const std::string strError = Control(p_request, vecstrLine);
    std::size_t i = 0;
    SendParts(
        [&](Link::Message& r_message)
        {
            Link::ControlReply& reply = *r_message.mutable_control_reply();
            reply.set_error(strError);
            for (std::size_t nBytes = 0; i < vecstrLine.size() && nBytes < g_nPartBytes; ++i)
            {
                reply.add_lines(vecstrLine[i]);
                nBytes += vecstrLine[i].size();
            }
            reply.set_more(i < vecstrLine.size());
            return reply.more();
        });
}

/// @return why the request is refused; empty: done.
std::string CSession::Control(const Link::ControlRequest& p_request, std::vector<std::string>& r_vecstrLine)
{
    switch (p_request.kind())
    {
    case Link::ControlRequest::STANDING:
        for (const SEvent& event : m_core.Events().Standing())
            r_vecstrLine.push_back(EventText(event));
        return "";
    case Link::ControlRequest::CHANNELS:
        for (const COutputs::SChannel& channel : m_core.Outputs().Channels())
            r_vecstrLine.push_back(ChannelText(channel));
        return "";
    default:
        break;
    }
    if (m_eRole != ERole::eOperator)
    {
        m_core.PeerLine("request of '" + m_strName + "' from " + m_strPeer + " refused: it is not an operator",
                        "request " + m_strName + m_strAddr);
        return "expected the token or certificate of an operator";
    }
    return Steer(p_request);
}

std::string CSession::Steer(const Link::ControlRequest& p_request)
{
    switch (p_request.kind())
    {
    case Link::ControlRequest::POST:
        return Post(p_request.event(), true);
    case Link::ControlRequest::DROP_EVENT:
        m_core.Drop(*this, true, false);
        break;
    case Link::ControlRequest::DROP_DATA:
        m_core.Drop(*this, false, true);
        break;
    case Link::ControlRequest::DROP_ALL:
        m_core.Drop(*this, true, true);
        break;
    case Link::ControlRequest::STALL:
        m_core.Stall(std::chrono::milliseconds(std::min(p_request.stall_ms(), g_nMaxStall_ms)));
        break;
    default:
        throw std::runtime_error("unexpected request");
    }
    return "";
}
