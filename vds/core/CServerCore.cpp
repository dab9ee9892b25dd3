#include "vds/core/CServerCore.h"
#include "vds/base/IsoTime.h"
#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <cinttypes>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace asio = boost::asio;
namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
/// Limits for clients that have greeted, and for connections that have not: these are counted separately.
constexpr std::ptrdiff_t g_nMaxSessions = 300;
constexpr std::ptrdiff_t g_nMaxSessionsOfPeer = 200;
constexpr std::ptrdiff_t g_nMaxStrangers = 100;
/// Limits in bytes for data queued for all peers, and for data received from them.
constexpr std::size_t g_nMaxHeld = 64U << 20U;
/// Number of consecutive cycles before other work gets its turn.
constexpr int g_nBatch = 16;
/// How long a replay waits for further sets after the first, and for a client that stays busy.
constexpr auto g_tMoreSets = std::chrono::seconds(3);
constexpr auto g_tSettle = std::chrono::seconds(5);
constexpr auto g_tRecheck = std::chrono::milliseconds(20);
} // namespace

CServerCore::CServerCore(SServerConfig p_config, std::unique_ptr<ISource> p_pSource, SServerOptions p_options,
                         TMakeOutputs p_fnOutputs)
    : m_config(std::move(p_config)), m_options(std::move(p_options)), m_pSource(std::move(p_pSource)),
      m_fnOutputs(std::move(p_fnOutputs)), m_acceptorEvent(m_io), m_acceptorData(m_io),
      m_pShare(std::make_shared<Link::CLinkShare>(m_io.get_executor(), g_nMaxHeld)),
      m_outputs(m_config, m_options.bLogMeasurements), m_feed(m_io),
      m_pace(m_options.fSpeed, m_pSource->Rate(), m_options.bLive), m_timer(m_io), m_timerStall(m_io)
{
}

void CServerCore::Line(const std::string& p_strText)
{
    if (m_options.fnLine)
        m_options.fnLine("vds: " + p_strText);
    else
    {
        std::printf("vds: %s\n", p_strText.c_str());
        std::fflush(stdout);
    }
}

void CServerCore::PeerLine(const std::string& p_strText, const std::string& p_strKey)
{
    if (const auto strTail =
            m_limitPeers.Tail(p_strKey.empty() ? p_strText : p_strKey, std::chrono::steady_clock::now()))
        Line(p_strText + *strTail);
}

void CServerCore::FileLine(const std::string& p_strText)
{
    if (const auto strTail = m_limitFiles.Tail(p_strText, std::chrono::steady_clock::now()))
        Line(p_strText + *strTail);
}

// ---- start and stop ----

void CServerCore::Start()
{
    m_access.Open(m_config.security);
    Listen(m_acceptorEvent, m_config.nPortEvent);
    Listen(m_acceptorData, m_config.nPortData);
    m_nPortEvent = m_acceptorEvent.local_endpoint().port();
    m_nPortData = m_acceptorData.local_endpoint().port();
    StartOutputs();
    ConnectFeed();
    if (!m_options.strStateFile.empty())
        m_events.Open(m_options.strStateFile);
    for (const SEvent& event : m_events.Standing())
    {
        for (const auto& pOutput : m_vecpOutput)
            pOutput->OnEvent(event);
    }
    if (!m_options.strLogDir.empty())
    {
        const auto fnLine = [this](const std::string& p_strText) { Line(p_strText); };
        m_eventLog.Open(m_options.strLogDir + "/events.jsonl", fnLine);
        m_outputs.Log().Open(m_options.strLogDir + "/channels.jsonl", fnLine);
    }
    m_pSource->Start(
        m_io, [this] { Kick(); }, [this](const std::string& p_strText) { Line(p_strText); });
    FetchNext();
    Line("listening on " + m_config.strAddr + ": port " + std::to_string(m_nPortEvent) +
         " for events and read channels, port " + std::to_string(m_nPortData) + " for output channels");
    Accept(m_acceptorEvent, false);
    Accept(m_acceptorData, true);
    Kick();
    m_thread = std::thread([this] { m_io.run(); });
}

/// Outputs other than the link.
void CServerCore::StartOutputs()
{
    if (!m_fnOutputs)
        return;
    m_vecpOutput = m_fnOutputs({.io = m_io,
                                .source = *m_pSource,
                                .fnLine = [this](const std::string& p_strText) { Line(p_strText); },
                                .fnOn = [this] { Kick(); }});
    for (const auto& pOutput : m_vecpOutput)
        pOutput->Start();
    if (m_vecpOutput.empty())
        return;
    m_outputs.m_fnValue = [this](const COutputs::SChannel& p_channel, std::int32_t p_nRate)
    {
        for (const auto& pOutput : m_vecpOutput)
            pOutput->OnValue(p_channel.nId, p_nRate, p_channel.nTicks, p_channel.fValue, p_channel.eQual);
    };
}

void CServerCore::Listen(TAcceptor& r_acceptor, unsigned p_nPort)
{
    const std::string strWhere =
        p_nPort > 65535 ? std::to_string(p_nPort) : m_config.strAddr + ":" + std::to_string(p_nPort);
    boost::system::error_code ec;
    const asio::ip::address address =
        asio::ip::make_address(m_config.strAddr == "localhost" ? "127.0.0.1" : m_config.strAddr, ec);
    if (ec)
        throw std::runtime_error("address '" + m_config.strAddr + "': expected a numeric network address");
    if (!address.is_loopback() && !m_access.Tls())
        throw std::runtime_error(
            "address '" + m_config.strAddr +
            "' can be reached from other machines: expected element Security in the configuration");
    if (p_nPort > 65535)
        throw std::runtime_error("port " + strWhere + ": expected 1 to 65535");
    const asio::ip::tcp::endpoint endpoint(address, static_cast<std::uint16_t>(p_nPort));
    r_acceptor.open(endpoint.protocol(), ec);
    if (!ec)
        r_acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec)
        r_acceptor.bind(endpoint, ec);
    if (!ec)
        r_acceptor.listen(asio::socket_base::max_listen_connections, ec);
    if (ec == asio::error::address_in_use)
        throw std::runtime_error("port " + strWhere + " is in use: expected a free one");
    if (ec)
        throw std::runtime_error("cannot listen on " + strWhere + ": " + ec.message());
}

void CServerCore::Accept(TAcceptor& r_acceptor, bool p_bDataPort)
{
    r_acceptor.async_accept(
        [this, &r_acceptor, p_bDataPort](const boost::system::error_code& p_ec, asio::ip::tcp::socket p_socket)
        {
            if (p_ec == asio::error::operation_aborted || m_bEnding)
                return;
            if (p_ec)
                PeerLine("a connection could not be accepted: " + p_ec.message());
            else
                Welcome(std::move(p_socket), p_bDataPort);
            if (!p_ec)
                return Accept(r_acceptor, p_bDataPort);
            // Usually out of file handles: wait before the next attempt.
            auto pTimer = std::make_shared<asio::steady_timer>(m_io, std::chrono::milliseconds(500));
            pTimer->async_wait([this, &r_acceptor, p_bDataPort, pTimer](const boost::system::error_code&)
                               { Accept(r_acceptor, p_bDataPort); });
        });
}

void CServerCore::Post(std::function<void()> p_fnCall)
{
    asio::post(m_io, std::move(p_fnCall));
}

void CServerCore::Welcome(asio::ip::tcp::socket p_socket, bool p_bDataPort)
{
    boost::system::error_code ec;
    const asio::ip::tcp::endpoint peer = p_socket.remote_endpoint(ec);
    const std::string strAddr = peer.address().to_string();
    if (const std::string strWhy = WhyNot(strAddr); !strWhy.empty())
    {
        PeerLine("connection from " + strAddr + " refused: " + strWhy);
        return;
    }
    MakeRoomForStranger();
    auto pStream = std::make_shared<Link::CLinkStream>(std::move(p_socket), m_access.Tls());
    auto pSession = std::make_shared<CSession>(*this, ++m_nLastSession, p_bDataPort, pStream, strAddr, peer.port());
    m_mapSession[m_nLastSession] = pSession;
    pSession->AwaitHello();
    pStream->Accept(pSession, m_pShare);
}

/// Empty: a connection from there is accepted.
std::string CServerCore::WhyNot(const std::string& p_strAddr) const
{
    const auto fnCount = [this](auto p_fnIs)
    {
        return std::count_if(m_mapSession.begin(), m_mapSession.end(),
                             [&](const auto& p_entry)
                             { return p_entry.second->IsGreeted() && p_fnIs(*p_entry.second); });
    };
    if (fnCount([](const CSession&) { return true; }) >= g_nMaxSessions)
        return "there are " + std::to_string(g_nMaxSessions) + " connections already";
    if (fnCount([&](const CSession& p_session) { return p_session.Address() == p_strAddr; }) >= g_nMaxSessionsOfPeer)
        return "there are " + std::to_string(g_nMaxSessionsOfPeer) + " connections from there already";
    return "";
}

/// A connection that does not greet must not take the place of one that does: the oldest such connection is closed, and
/// those already rejected are closed first.
void CServerCore::MakeRoomForStranger()
{
    std::ptrdiff_t nStrangers = 0;
    CSession* pOldest = nullptr;
    for (const auto& [nId, pSession] : m_mapSession)
    {
        if (pSession->IsGreeted() || pSession->IsDismissed())
            continue;
        ++nStrangers;
        if (!pOldest || (pSession->IsRefused() && !pOldest->IsRefused()))
            pOldest = pSession.get();
    }
    if (nStrangers >= g_nMaxStrangers)
        pOldest->Dismiss("place needed: " + std::to_string(g_nMaxStrangers) +
                         " other connections have not greeted either");
}

void CServerCore::Stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtxStall);
        m_bStop = true;
        m_cvStall.notify_all();
    }
    if (!m_thread.joinable())
        return;
    asio::post(m_io,
               [this]
               {
                   End();
                   m_io.stop();
               });
    m_thread.join();
    // Streams and sessions own each other until the streams are closed.
    m_io.restart();
    m_io.poll();
}

void CServerCore::ReopenFiles()
{
    m_eventLog.Reopen();
    m_outputs.Log().Reopen();
    Guarded([this] { m_events.Reopen(); });
    Line("reopening files");
}

/// From here on, messages from clients have no effect; the outputs of the clients end in a fixed order.
void CServerCore::End()
{
    if (m_bEnding)
        return;
    m_bEnding = true;
    for (const auto& [nId, pSession] : m_mapSession)
        Guarded([this, nSession = nId] { m_outputs.StopAll(nSession); });
    for (const auto& pOutput : m_vecpOutput)
        pOutput->End();
    m_feed.End();
    m_pSource->Stop();
    boost::system::error_code ecIgnored;
    m_acceptorEvent.close(ecIgnored);
    m_acceptorData.close(ecIgnored);
    m_timer.cancel();
    m_timerStall.cancel();
    for (const auto& [nId, pSession] : m_mapSession)
        pSession->Close("the server is stopping");
}

void CServerCore::OnSessionClosed(CSession& p_session, const std::string& p_strReason)
{
    m_feed.Remove(p_session.Id());
    if (m_bEnding)
    {
        m_mapSession.erase(p_session.Id());
        return;
    }
    // The port changes from connection to connection; the client and the reason do not.
    if (p_session.IsClient() || p_session.Client() == 0)
        PeerLine("connection '" + p_session.Name() + "' from " + p_session.Peer() + " closed: " + p_strReason,
                 p_session.Name() + " " + p_session.Address() + " " + p_strReason);
    Guarded([&] { m_outputs.StopAll(p_session.Id()); });
    const std::uint64_t nClient = p_session.Client();
    m_mapSession.erase(p_session.Id());
    if (std::none_of(m_mapSession.begin(), m_mapSession.end(),
                     [nClient](const auto& p_entry) { return p_entry.second->Client() == nClient; }))
        m_mapTouched.erase(nClient);
    Kick();
}

void CServerCore::Drop(const CSession& p_except, bool p_bEventPort, bool p_bDataPort)
{
    for (const auto& [nId, pSession] : m_mapSession)
    {
        if (nId != p_except.Id() && (pSession->IsDataPort() ? p_bDataPort : p_bEventPort))
            pSession->Close("cut on request");
    }
}

/// Simulates a server that hangs: nothing is sent, read or answered. Starts a moment later, so that the request itself
/// is still answered.
void CServerCore::Stall(std::chrono::milliseconds p_tStall)
{
    m_timerStall.expires_after(std::chrono::milliseconds(50));
    m_timerStall.async_wait(
        [this, p_tStall](const boost::system::error_code& p_ec)
        {
            if (p_ec)
                return;
            std::unique_lock<std::mutex> lock(m_mtxStall);
            m_cvStall.wait_for(lock, p_tStall, [this] { return m_bStop; });
        });
}

std::string CServerCore::Summary() const
{
    char pText[200];
    std::snprintf(pText, sizeof pText,
                  "%" PRIu64 " cycles; delivery of %" PRIu64 ": worst %.3f ms, 99 %% within %.3f ms", m_nCycles,
                  m_times.Count(), m_times.Worst_ms(), m_times.Percent99_ms());
    std::string strText = pText;
    if (m_nRefused != 0)
        strText += "; " + std::to_string(m_nRefused) + " writes refused because their channels were not started";
    return strText;
}

// ---- events ----

std::int64_t CServerCore::DataNow() const
{
    return m_nNow != 0 ? m_nNow : WallTicks();
}

bool CServerCore::Publish(SEvent p_event)
{
    p_event.nArrival = WallTicks();
    if (p_event.nTicks == 0)
        p_event.nTicks = DataNow();
    bool bKept = false;
    Guarded(
        [&]
        {
            p_event.nSeq = m_events.Add(p_event);
            bKept = true;
        });
    if (!bKept)
        return false;
    Line(EventStory(p_event));
    m_eventLog.Write(EventLine(p_event));
    for (const auto& pOutput : m_vecpOutput)
        pOutput->OnEvent(p_event);
    m_feed.OnEvent(p_event);
    for (const auto& [nId, pSession] : m_mapSession)
    {
        if (pSession->IsSubscribed() && Concerns(p_event, *pSession))
            pSession->SendEvent(p_event);
    }
    return true;
}

std::vector<SEvent> CServerCore::StandingAt(std::int64_t p_nTicks) const
{
    if (p_nTicks == 0 || p_nTicks >= DataNow())
        return m_events.Standing();
    return m_events.StandingAt(p_nTicks);
}

/// An operator's order to an element goes to the application that has the element; if there is none, to all.
bool CServerCore::Concerns(const SEvent& p_event, const CSession& p_session) const
{
    if (p_session.Elements().Hears(p_event))
        return true;
    return IsOrder(p_event) && p_event.nOwner == 0 &&
           std::none_of(m_mapSession.begin(), m_mapSession.end(),
                        [&](const auto& p_entry) { return p_entry.second->Elements().Has(p_event); });
}

void CServerCore::EndLeftOver(const CSession& p_session)
{
    for (SEvent event : m_events.Standing())
    {
        if (!p_session.Elements().IsLeftOver(event))
            continue;
        event.nTicks = 0;
        event.eTrans = 0;
        event.strFrom = p_session.Name();
        Publish(event);
    }
}

// ---- the source ----

void CServerCore::FetchNext()
{
    m_cycle.vecEvent.clear();
    m_bEventsSent = false;
    try
    {
        m_bHasCycle = m_pSource->Next(m_cycle);
        if (!m_bHasCycle)
            m_strFault = m_pSource->Error();
    }
    catch (const std::exception& ex)
    {
        m_bHasCycle = false;
        m_strFault = ex.what();
    }
    if (!m_bHasCycle)
        return;
    if (m_nCycles == 0)
        m_nNow = m_cycle.nTicks;
}

void CServerCore::Kick()
{
    if (m_bKicked)
        return;
    m_bKicked = true;
    asio::post(m_io,
               [this]
               {
                   m_bKicked = false;
                   Pump();
               });
}

void CServerCore::Touch(std::uint64_t p_nClient)
{
    m_mapTouched[p_nClient] = std::chrono::steady_clock::now();
}

void CServerCore::WakeAt(TTime p_tWake)
{
    m_timer.expires_at(p_tWake);
    m_timer.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            if (!p_ec)
                Pump();
        });
}

void CServerCore::Pump()
{
    if (m_bEnding)
        return;
    for (const auto& pOutput : m_vecpOutput)
        pOutput->OnTaken(m_options.bLive ? m_nNow : TakenTicks());
    for (int i = 0; i < g_nBatch; ++i)
    {
        if (!m_bHasCycle && m_pSource->IsLive())
        {
            FetchNext();
            if (!m_bHasCycle && m_strFault.empty())
                return;
        }
        if (!m_bHasCycle)
            return AtSourceEnd();
        if (!PumpOne())
            return;
    }
    Kick();
}

/// Sends the next cycle if it may be sent. @return false if not; a later event will wake the source.
bool CServerCore::PumpOne()
{
    const TTime tNow = std::chrono::steady_clock::now();
    if (!m_options.bLive && !ClientsReady(tNow))
        return false;
    const TTime tDue = m_pace.Due(m_cycle.nTicks, tNow);
    if (tDue > tNow)
    {
        WakeAt(tDue);
        return false;
    }
    if (!EventsReady())
        return false;
    for (const auto& [nId, pSession] : m_mapSession)
        for (auto& [nSet, set] : pSession->Sets())
        {
            CSession& session = *pSession;
            CReadSet& readSet = set;
            set.Offer(m_cycle, [&](const SSourceCycle& p_cycle) { session.SendCycle(readSet, p_cycle); });
        }
    for (const auto& pOutput : m_vecpOutput)
        pOutput->OnCycle(m_cycle);
    m_feed.OnCycle(m_cycle, m_pSource->Rate());
    ++m_nCycles;
    m_nNow = m_cycle.nTicks;
    m_pace.Sent(m_cycle.nTicks, tNow);
    FetchNext();
    return true;
}

/// A replay continues when there are sets, their clients are idle, and each set can take one more cycle.
bool CServerCore::ClientsReady(TTime p_tNow)
{
    std::size_t nSets = 0;
    bool bReady = true;
    TTime tFirst = p_tNow;
    for (const auto& [nId, pSession] : m_mapSession)
    {
        for (auto& [nSet, set] : pSession->Sets())
        {
            ++nSets;
            tFirst = std::min(tFirst, set.m_tStart);
            if (!IsSettled(*pSession, set, p_tNow))
            {
                WakeAt(p_tNow + g_tRecheck);
                bReady = false;
            }
            else if (!set.HasCredit())
                bReady = false;
        }
    }
    if (nSets == 0)
        return std::any_of(m_vecpOutput.begin(), m_vecpOutput.end(),
                           [](const auto& p_pOutput) { return p_pOutput->TakesPhasors(); });
    if (!m_bBegun && nSets < m_config.nReadSets && p_tNow - tFirst < g_tMoreSets)
    {
        WakeAt(p_tNow + g_tRecheck);
        return false;
    }
    m_bBegun = m_bBegun || bReady;
    return bReady;
}

/// The start of a set triggers much work in its client: threads start, output channels are declared. A replay waits
/// until the client is idle, so that every run starts from the same state; but the wait is limited.
bool CServerCore::IsSettled(const CSession& p_session, CReadSet& r_set, TTime p_tNow)
{
    if (r_set.m_bSettled)
        return true;
    const bool bQuiet = p_tNow - m_mapTouched[p_session.Client()] >= std::chrono::milliseconds(m_options.nQuiet_ms);
    r_set.m_bSettled = (r_set.m_bReady && bQuiet) || p_tNow - r_set.m_tStart > g_tSettle;
    return r_set.m_bSettled;
}

/// Sends the events of the next cycle. @return false while it has to wait for their confirmation.
bool CServerCore::EventsReady()
{
    if (m_cycle.vecEvent.empty())
        return true;
    if (!m_bEventsSent)
    {
        if (!m_options.bLive && !AllTaken())
            return false;
        m_bEventsSent = true;
        for (const SSourceEvent& source : m_cycle.vecEvent)
            Publish({m_cycle.nTicks, 0, source.eKey, source.eTrans, source.eElemType, source.nElemId, source.strText,
                     "source"});
    }
    return m_options.bLive || AllAnswered();
}

bool CServerCore::AllTaken()
{
    for (const auto& [nId, pSession] : m_mapSession)
    {
        for (const auto& [nSet, set] : pSession->Sets())
        {
            if (!set.AllTaken())
                return false;
        }
    }
    return true;
}

/// Time up to which all sets have been received.
std::int64_t CServerCore::TakenTicks()
{
    std::int64_t nTicks = g_nTicksMax;
    for (const auto& [nId, pSession] : m_mapSession)
    {
        for (const auto& [nSet, set] : pSession->Sets())
            nTicks = std::min(nTicks, set.TakenTicks());
    }
    return nTicks;
}

bool CServerCore::AllAnswered() const
{
    return std::all_of(m_mapSession.begin(), m_mapSession.end(),
                       [](const auto& p_entry) { return p_entry.second->IsAnswered(); });
}

void CServerCore::AtSourceEnd()
{
    if (!m_bEndTold)
    {
        m_bEndTold = true;
        if (m_strFault.empty())
            Line("the source has ended");
    }
    if (m_strFault.empty())
    {
        if (!m_options.bOnce || !AllTaken() || !AllAnswered())
            return;
        if (!m_bFlushSent)
        {
            // Values that clients wrote for the last cycles may still be in transit on their other connections.
            m_bFlushSent = true;
            for (const auto& [nId, pSession] : m_mapSession)
            {
                if (pSession->IsClient())
                    pSession->SendFlush();
            }
            if (!AllAnswered())
                return;
        }
    }
    End();
    if (m_fnEnd)
        m_fnEnd();
}
