#pragma once
#include "CLinkShare.h"
#include "vds/base/CLineLimit.h"
#include "vds/base/IOutput.h"
#include "vds/base/ISource.h"
#include "vds/config/ServerConfig.h"
#include "vds/core/CAccess.h"
#include "vds/core/CEventStore.h"
#include "vds/core/COutputFeed.h"
#include "vds/core/COutputs.h"
#include "vds/core/CPace.h"
#include "vds/core/CReadSet.h"
#include "vds/core/CSession.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Implementation of the server. One thread does everything: links, source, files; so no locks are needed.
///
/// Order of a cycle  events of the source first; a replay waits until they have been received before it sends the
///                   samples, and it sends the events only when all earlier samples have been received. So the same
///                   recording always gives the same run, at any speed.
class CServerCore
{
  public:
    CServerCore(SServerConfig p_config, std::unique_ptr<ISource> p_pSource, SServerOptions p_options,
                TMakeOutputs p_fnOutputs = {});
    ~CServerCore() { Stop(); }
    CServerCore(const CServerCore&) = delete;
    CServerCore& operator=(const CServerCore&) = delete;

    // ---- any thread ----
    void Start();
    void Stop();
    void Post(std::function<void()> p_fnCall);
    void ReopenFiles(); ///< runs on the server's thread
    unsigned PortEvent() const { return m_nPortEvent; }
    unsigned PortData() const { return m_nPortData; }
    std::string Fault() const { return m_strFault; }
    std::string Summary() const;
    std::vector<std::string> SourceSummary() const { return m_pSource->Summary(); }
    std::function<void()> m_fnEnd;

    // ---- for the sessions ----
    const ISource& Source() const { return *m_pSource; }
    bool IsLive() const { return m_options.bLive; }
    bool IsEnding() const { return m_bEnding; }
    CEventStore& Events() { return m_events; }
    COutputs& Outputs() { return m_outputs; }
    COutputFeed& Feed() { return m_feed; }
    CDeliveryTimes& Times() { return m_times; }
    CAccess& Access() { return m_access; }
    boost::asio::io_context& Io() { return m_io; }
    void Line(const std::string& p_strText);
    /// A message that a peer can trigger repeatedly: at most one per key in ten seconds. @param p_strKey empty: the
    /// text.
    void PeerLine(const std::string& p_strText, const std::string& p_strKey = "");
    /// Runs something that writes to a file: a failure is reported to the operator in one line and has no other effect.
    template <class TWrite>
    void Guarded(TWrite&& p_fnWrite)
    {
        try
        {
            p_fnWrite();
        }
        catch (const std::exception& ex)
        {
            FileLine(ex.what());
        }
    }
    /// Something has changed that the next cycle may have been waiting for.
    void Kick();
    /// A client has done something other than confirming data.
    void Touch(std::uint64_t p_nClient);
    /// @return false if the event could not be stored; in that case nobody has received it.
    bool Publish(SEvent p_event);
    std::vector<SEvent> StandingAt(std::int64_t p_nTicks) const;
    /// @return true if the client must receive the event.
    bool Concerns(const SEvent& p_event, const CSession& p_session) const;
    /// An application has started: the events it raised in an earlier run end.
    void EndLeftOver(const CSession& p_session);
    /// Cost of the read sets of all sessions per cycle of the source: one unit per channel, plus some per set.
    std::size_t ReadCost() const { return m_nReadCost; }
    void AddReadCost(std::size_t p_nCost) { m_nReadCost += p_nCost; }
    void TakeReadCost(std::size_t p_nCost) { m_nReadCost -= p_nCost; }
    void ValuesRefused() { ++m_nRefused; }
    void Drop(const CSession& p_except, bool p_bEventPort, bool p_bDataPort);
    void Stall(std::chrono::milliseconds p_tStall);
    void OnSessionClosed(CSession& p_session, const std::string& p_strReason);

  private:
    using TTime = std::chrono::steady_clock::time_point;
    using TAcceptor = boost::asio::ip::tcp::acceptor;

    void FileLine(const std::string& p_strText);
    void Listen(TAcceptor& r_acceptor, unsigned p_nPort);
    void Accept(TAcceptor& r_acceptor, bool p_bDataPort);
    void Welcome(boost::asio::ip::tcp::socket p_socket, bool p_bDataPort);
    std::string WhyNot(const std::string& p_strAddr) const;
    void MakeRoomForStranger();
    void StartOutputs();
    void ConnectFeed();
    void FillHealth(Norvik::Energy::Kestrel::Link::FeedHealth& r_health) const;
    void End();

    // ---- the source ----
    std::int64_t DataNow() const;
    void FetchNext();
    void Pump();
    bool PumpOne();
    void WakeAt(TTime p_tWake);
    bool ClientsReady(TTime p_tNow);
    bool IsSettled(const CSession& p_session, CReadSet& r_set, TTime p_tNow);
    bool EventsReady();
    void AtSourceEnd();
    bool AllTaken();
    std::int64_t TakenTicks();
    bool AllAnswered() const;

    const SServerConfig m_config;
    const SServerOptions m_options;
    boost::asio::io_context m_io; ///< declared before the source, which has sockets on it
    const std::unique_ptr<ISource> m_pSource;
    const TMakeOutputs m_fnOutputs;
    TAcceptor m_acceptorEvent;
    TAcceptor m_acceptorData;
    unsigned m_nPortEvent = 0;
    unsigned m_nPortData = 0;
    std::thread m_thread;

    CAccess m_access;
    const std::shared_ptr<Norvik::Energy::Kestrel::Link::CLinkShare> m_pShare;
    std::size_t m_nReadCost = 0;
    CLineLimit m_limitPeers{std::chrono::seconds(10)};
    CLineLimit m_limitFiles{std::chrono::minutes(1)};
    CEventStore m_events;
    CJsonLog m_eventLog;
    COutputs m_outputs;
    COutputFeed m_feed;
    std::vector<std::unique_ptr<IOutput>> m_vecpOutput; ///< other than the clients of the link
    std::map<std::uint64_t, std::shared_ptr<CSession>> m_mapSession;
    std::uint64_t m_nLastSession = 0;
    std::map<std::uint64_t, TTime> m_mapTouched; ///< by client

    CPace m_pace;
    boost::asio::steady_timer m_timer;
    bool m_bKicked = false;
    SSourceCycle m_cycle; ///< the next one
    bool m_bHasCycle = false;
    std::int64_t m_nNow = 0;    ///< current time of the data, ticks: that of the newest cycle sent
    bool m_bBegun = false;      ///< a replay has begun
    bool m_bEventsSent = false; ///< the events of the next cycle have been sent
    bool m_bEndTold = false;
    bool m_bFlushSent = false;
    bool m_bEnding = false;
    std::string m_strFault;
    std::uint64_t m_nCycles = 0;
    std::uint64_t m_nRefused = 0;
    CDeliveryTimes m_times;

    boost::asio::steady_timer m_timerStall;
    std::mutex m_mtxStall;
    std::condition_variable m_cvStall;
    bool m_bStop = false; ///< guarded by m_mtxStall
};
