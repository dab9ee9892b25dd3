#include "platform/dli/CConnection.h"
#include "CTrace.h"
#include "link/dli/Ticks.h"
#include <algorithm>
#include <boost/asio/post.hpp>
#include <stdexcept>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
constexpr auto g_tFirstDelay = std::chrono::milliseconds(100);
constexpr auto g_tLastDelay = std::chrono::milliseconds(5000);
constexpr auto g_tLookAtReaders = std::chrono::milliseconds(10);
/// Writers not stopped by a reader's callback are told of the loss after this time. Far longer than any pass takes.
constexpr auto g_tWritersAtLast = std::chrono::seconds(30);
constexpr auto g_tLookAtWriters = std::chrono::milliseconds(500);
} // namespace

CConnection::CConnection(boost::asio::io_context& p_io, CThreadPool& p_pool, EElementType p_eElem,
                         std::string p_strName, boost::asio::ip::tcp::endpoint p_endpoint, std::string p_strHost,
                         std::uint64_t p_nClient, std::shared_ptr<int> p_pnTelling)
    : m_io(p_io), m_pool(p_pool), m_eElem(p_eElem), m_strName(std::move(p_strName)), m_endpoint(std::move(p_endpoint)),
      m_strHost(std::move(p_strHost)), m_nClient(p_nClient), m_timer(p_io), m_pnTelling(std::move(p_pnTelling)),
      m_tDelay(g_tFirstDelay), m_timerWriters(p_io),
      m_inbox(p_io, [this](const std::shared_ptr<SEventBatch>& p_pBatch) { DeliverEvents(p_pBatch); })
{
}

void CConnection::Open()
{
    boost::asio::post(m_io, [self = shared_from_this()] { self->TryConnect(); });
}

bool CConnection::WaitConnected(std::chrono::milliseconds p_tLimit)
{
    std::unique_lock<std::mutex> lock(m_mtx);
    m_cvUp.wait_for(lock, p_tLimit, [this] { return m_bUp || !m_strRefusal.empty(); });
    return m_bUp;
}

void CConnection::AskFlush()
{
    Send([](Link::Message& r_message) { r_message.mutable_flush()->set_number(1); });
}

void CConnection::WaitFlushed(TTime p_tLimit)
{
    std::unique_lock<std::mutex> lock(m_mtx);
    m_cvUp.wait_until(lock, p_tLimit, [this] { return m_bFlushed || !m_bUp; });
}

void CConnection::Shutdown()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_bShutdown = true;
    m_bUp = false;
    if (m_pStream)
        m_pStream->Close("closed locally");
}

std::shared_ptr<Link::CLinkStream> CConnection::Stream() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_bUp ? m_pStream : nullptr;
}

void CConnection::TryConnect()
{
    std::shared_ptr<Link::CLinkStream> pStream;
    Link::TTlsPtr pTls;
    try
    {
        const Link::SLinkSecurity security = m_fnSecurity();
        if (security.bOn)
            pTls = Link::ClientTls(security);
        m_strToken = security.strTokenFile.empty() ? "" : Link::ReadToken(security.strTokenFile);
    }
    catch (const std::exception& ex)
    {
        return OnLinkClosed(Link::g_strTls + ex.what());
    }
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bShutdown)
            return;
        m_pStream = std::make_shared<Link::CLinkStream>(boost::asio::ip::tcp::socket(m_io), pTls, m_strHost);
        pStream = m_pStream;
    }
    pStream->Connect(m_endpoint, shared_from_this());
}

void CConnection::OnLinkOpen()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_pStream->Send(
        [this](Link::Message& r_message)
        {
            Link::Hello& hello = *r_message.mutable_hello();
            hello.set_version(Link::g_nLinkVersion);
            hello.set_element_type(m_eElem);
            hello.set_name(m_strName);
            hello.set_client(m_nClient);
            if (m_pStream->Peer().bTls)
                hello.set_token(m_strToken);
        });
}

void CConnection::OnWelcome(const Link::Welcome& p_welcome)
{
    m_nEpoch = p_welcome.position().epoch();
    {
        const std::lock_guard<std::mutex> lockElements(m_mtxElements);
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_bUp || m_bShutdown)
            return;
        m_bUp = true;
        // Sent before anything that the application sends in reaction to this connection.
        m_pStream->Send([this](Link::Message& r_message) { FillElements(r_message); });
        m_tDelay = g_tFirstDelay;
        m_strRefusal.clear();
        if (m_told.epoch() == 0)
            m_told = p_welcome.position();
        for (const std::shared_ptr<CReceiver>& pReceiver : AllReceivers())
            pReceiver->PushStatus(eConnected);
        m_cvUp.notify_all();
    }
    // Unanswered requests are sent again; a subscription continues where the last connection ended.
    for (const CEventInbox::SRequest& request : m_inbox.Open())
        SendRead(request.lReqNum, request.nTicks);
    ContinueSubscription();
    StartWritersAgain();
}

/// Repeats the starts that the server has refused or not answered.
void CConnection::StartWritersAgain()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (!m_bUp)
            return;
        for (const auto& [nWriter, pReceiver] : m_mapWriter)
            pReceiver->OfferAgain(
                std::chrono::steady_clock::now(), [this](const Link::StartWrite& p_start)
                { m_pStream->Send([&](Link::Message& r_message) { *r_message.mutable_start_write() = p_start; }); });
    }
    m_timerWriters.expires_after(g_tLookAtWriters);
    m_timerWriters.async_wait(
        [self = shared_from_this()](const boost::system::error_code& p_ec)
        {
            if (!p_ec)
                self->StartWritersAgain();
        });
}

void CConnection::OnLinkClosed(const std::string& p_strReason)
{
    m_inbox.Lost();
    bool bLost = false;
    std::vector<std::shared_ptr<CWriteReceiver>> vecpWriter;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_pStream.reset();
        bLost = m_bUp;
        if (bLost)
        {
            m_bUp = false;
            m_cvUp.notify_all();
            for (const std::shared_ptr<CReceiver>& pReceiver : AllReceivers())
                pReceiver->OnLost();
            for (const std::shared_ptr<CEventReceiver>& pReceiver : m_vecEventReceiver)
                pReceiver->PushStatus(eNotConnected);
            for (const auto& [nSet, pReceiver] : m_mapReader)
                pReceiver->PushStatus(eNotConnected);
            if (m_pFeed)
                m_pFeed->PushStatus(eNotConnected);
            for (const auto& [nWriter, pReceiver] : m_mapWriter)
                vecpWriter.push_back(pReceiver);
        }
        if (m_bShutdown)
            return;
    }
    if (Link::IsRefusal(p_strReason))
        NoteRefusal(p_strReason);
    if (bLost)
        m_fnLost();
    if (vecpWriter.empty())
        return ConnectLater();
    ++*m_pnTelling;
    TellWriters(std::move(vecpWriter), std::chrono::steady_clock::now() + g_tWritersAtLast);
}

/// Reports a failure only once while its reason stays the same; further attempts follow at the longest delay.
void CConnection::NoteRefusal(const std::string& p_strReason)
{
    const std::string strText =
        "server at " + m_strHost + ", port " + std::to_string(m_endpoint.port()) + ": " + p_strReason;
    m_tDelay = g_tLastDelay;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_strRefusal == strText)
            return;
        m_strRefusal = strText;
    }
    m_cvUp.notify_all();
    CTrace::CreateTraceHelper("Link");
    if (CTraceHelper* const pTrace = CTrace::GetInstancePtr("Link"))
        pTrace->Error() << strText << TEnd;
}

std::string CConnection::Refusal() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_strRefusal;
}

void CConnection::GiveUp()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_pStream)
        m_pStream->Close("another connection to the server was lost");
}

CConnection::EReaders CConnection::Readers() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_mapReader.empty())
        return EReaders::eNone;
    const bool bAtRest = !m_bUp && std::all_of(m_mapReader.begin(), m_mapReader.end(),
                                               [](const auto& p_entry) { return p_entry.second->IsAtRest(); });
    return bAtRest ? EReaders::eAtRest : EReaders::eBusy;
}

/// When its readers report the loss, the application ends its swings and their events in order. A writer that stopped
/// earlier would leave an event behind, which would not be reported again. A job in the middle of a pass handles its
/// stop after the pass. So the readers' calls must have returned, and everything started must have been stopped.
void CConnection::TellWriters(std::vector<std::shared_ptr<CWriteReceiver>> p_vecpWriter, TTime p_tLimit)
{
    m_timerWriters.expires_after(g_tLookAtReaders);
    m_timerWriters.async_wait(
        [self = shared_from_this(), vecpWriter = std::move(p_vecpWriter),
         p_tLimit](const boost::system::error_code& p_ec) mutable
        {
            const EReaders eReaders = p_ec ? EReaders::eNone : self->m_fnReaders();
            const bool bBegun = std::any_of(vecpWriter.begin(), vecpWriter.end(),
                                            [](const auto& p_pWriter) { return p_pWriter->IsBegun(); });
            const bool bWait = eReaders == EReaders::eBusy || (eReaders == EReaders::eAtRest && bBegun);
            if (bWait && std::chrono::steady_clock::now() < p_tLimit)
                return self->TellWriters(std::move(vecpWriter), p_tLimit);
            --*self->m_pnTelling;
            if (p_ec)
                return;
            for (const std::shared_ptr<CWriteReceiver>& pWriter : vecpWriter)
                pWriter->PushStatus(eNotConnected);
            self->ConnectLater();
        });
}

void CConnection::ConnectLater()
{
    m_timer.expires_after(m_tDelay);
    m_timer.async_wait(
        [self = shared_from_this()](const boost::system::error_code& p_ec)
        {
            if (p_ec)
                return;
            // A reader that reconnected earlier would find its writers unchanged.
            if (*self->m_pnTelling > 0)
                self->ConnectLater();
            else
                self->TryConnect();
        });
    m_tDelay = std::min<std::chrono::milliseconds>(m_tDelay * 2, g_tLastDelay);
}

void CConnection::OnLinkMessage(const Link::Message& p_message)
{
    if (p_message.has_cycle() || p_message.has_set_started())
    {
        const bool bCycle = p_message.has_cycle();
        std::shared_ptr<CDataReceiver> pReceiver;
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            const auto it = m_mapReader.find(bCycle ? p_message.cycle().set() : p_message.set_started().set());
            if (it != m_mapReader.end())
                pReceiver = it->second;
        }
        if (pReceiver && bCycle)
            pReceiver->PushCycle(p_message.cycle());
        else if (pReceiver)
            pReceiver->Started(p_message.set_started().start(), p_message.set_started().cycle_ms(),
                               p_message.set_started().live());
    }
    else if (p_message.has_write_response())
    {
        const Link::WriteResponse& response = p_message.write_response();
        const std::lock_guard<std::mutex> lock(m_mtx);
        const auto it = m_mapWriter.find(response.writer());
        if (it != m_mapWriter.end())
            it->second->Answered(response);
    }
    else if (p_message.has_feed_batch() || p_message.has_feed_health())
        OnFeedMessage(p_message);
    else if (p_message.has_event_delivery())
        OnEventDelivery(p_message.event_delivery());
    else if (p_message.has_events_reply())
        OnEventsReply(p_message.events_reply());
    else if (p_message.has_flush())
    {
        const std::uint64_t nNumber = p_message.flush().number();
        Send([nNumber](Link::Message& r_message) { r_message.mutable_flush_done()->set_number(nNumber); });
    }
    else if (p_message.has_flush_done())
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bFlushed = true;
        m_cvUp.notify_all();
    }
    else if (p_message.has_welcome() && p_message.welcome().version() == Link::g_nLinkVersion)
        OnWelcome(p_message.welcome());
    else if (p_message.has_subscribed())
        NoteTold(p_message.subscribed().position().epoch(), p_message.subscribed().position().seq());
    else
        throw std::runtime_error("unexpected message");
}

// ---- receivers ----

std::vector<std::shared_ptr<CReceiver>> CConnection::AllReceivers() const
{
    std::vector<std::shared_ptr<CReceiver>> vecpReceiver(m_vecEventReceiver.begin(), m_vecEventReceiver.end());
    for (const auto& [nSet, pReceiver] : m_mapReader)
        vecpReceiver.push_back(pReceiver);
    for (const auto& [nWriter, pReceiver] : m_mapWriter)
        vecpReceiver.push_back(pReceiver);
    if (m_pFeed)
        vecpReceiver.push_back(m_pFeed);
    return vecpReceiver;
}

unsigned CConnection::NewNumber()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return ++m_nLastNumber;
}

void CConnection::AddReader(const std::shared_ptr<CDataReceiver>& p_pReceiver, unsigned p_nSet)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapReader[p_nSet] = p_pReceiver;
    if (m_bUp)
        p_pReceiver->PushStatus(eConnected);
}

void CConnection::AddWriter(const std::shared_ptr<CWriteReceiver>& p_pReceiver, unsigned p_nWriter)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapWriter[p_nWriter] = p_pReceiver;
    if (m_bUp)
        p_pReceiver->PushStatus(eConnected);
}

void CConnection::SetFeed(const std::shared_ptr<CFeedReceiver>& p_pReceiver)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_pFeed = p_pReceiver;
    if (m_bUp && m_pFeed)
        m_pFeed->PushStatus(eConnected);
}

void CConnection::OnFeedMessage(const Link::Message& p_message)
{
    std::shared_ptr<CFeedReceiver> pReceiver;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        pReceiver = m_pFeed;
    }
    if (pReceiver && p_message.has_feed_batch())
        pReceiver->PushBatch(p_message.feed_batch());
    else if (pReceiver)
        pReceiver->PushHealth(p_message.feed_health());
}

void CConnection::RemoveReader(unsigned p_nSet)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapReader.erase(p_nSet);
}

void CConnection::RemoveWriter(unsigned p_nWriter)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapWriter.erase(p_nWriter);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
