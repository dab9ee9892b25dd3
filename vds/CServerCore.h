#pragma once
#include "vds/CAccess.h"
#include "vds/CEventStore.h"
#include "vds/COutputFeed.h"
#include "vds/COutputs.h"
#include "vds/CPace.h"
#include "vds/CReadSet.h"
#include "vds/CSession.h"
#include "vds/ISource.h"
#include "vds/ServerConfig.h"
#include "vds/c37118/CC37118Output.h"
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

/// Inside of the server. One thread does everything: links, source, files; so there is nothing to lock.
///
/// Order of a cycle  events of the source first; a replay waits until they have been taken before it sends the samples,
///                   and it sends the events only when all samples before them have been taken. So the same recording
///                   gives the same run, however fast it goes.
class CServerCore
{
  public:
    CServerCore(SServerConfig p_config, std::unique_ptr<ISource> p_pSource, SServerOptions p_options);
    ~CServerCore() { Stop(); }
    CServerCore(const CServerCore&) = delete;
    CServerCore& operator=(const CServerCore&) = delete;

    // ---- any thread ----
    void Start();
    void Stop();
    void Post(std::function<void()> p_fnCall);
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
    /// Runs what writes to a file: a failure there is one line to the operator and nobody else's trouble.
    template <class TWrite>
    void Guarded(TWrite&& p_fnWrite)
    {
        try
        {
            p_fnWrite();
        }
        catch (const std::exception& ex)
        {
            Line(ex.what());
        }
    }
    /// Something has changed that the next cycle may have waited for.
    void Kick();
    /// A client has done something else than to take data.
    void Touch(std::uint64_t p_nClient);
    /// @return false if the event could not be kept, and so nobody has been told of it.
    bool Publish(SEvent p_event);
    std::vector<SEvent> StandingAt(std::int64_t p_nTicks) const;
    std::vector<SEvent> EventsSince(std::int64_t p_nTicks) const;
    void ValuesRefused() { ++m_nRefused; }
    void Drop(const CSession& p_except, bool p_bEventPort, bool p_bDataPort);
    void Stall(std::chrono::milliseconds p_tStall);
    void OnSessionClosed(CSession& p_session, const std::string& p_strLine);

  private:
    using TTime = std::chrono::steady_clock::time_point;
    using TAcceptor = boost::asio::ip::tcp::acceptor;

    void Listen(TAcceptor& r_acceptor, unsigned p_nPort);
    void Accept(TAcceptor& r_acceptor, bool p_bDataPort);
    void Welcome(boost::asio::ip::tcp::socket p_socket, bool p_bDataPort);
    std::string WhyNot(const std::string& p_strAddr) const;
    void StartStreams();
    void ConnectFeed();
    void FillHealth(Norvik::Energy::Kestrel::Link::FeedHealth& r_health) const;
    void End();

    // ---- the source ----
    std::int64_t DataNow() const;
    /// A client's time in terms of the wall clock, where the data's clock is another one.
    bool IsWallTime(std::int64_t p_nTicks) const;
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
    boost::asio::io_context m_io; ///< ahead of the source, which has sockets of its own on it
    const std::unique_ptr<ISource> m_pSource;
    TAcceptor m_acceptorEvent;
    TAcceptor m_acceptorData;
    unsigned m_nPortEvent = 0;
    unsigned m_nPortData = 0;
    std::thread m_thread;

    CAccess m_access;
    TTime m_tTurnedAway{}; ///< last line about it
    CEventStore m_events;
    CJsonLog m_eventLog;
    COutputs m_outputs;
    COutputFeed m_feed;
    std::vector<std::unique_ptr<CC37118Output>> m_vecpStream;
    std::map<std::uint64_t, std::shared_ptr<CSession>> m_mapSession;
    std::uint64_t m_nLastSession = 0;
    std::map<std::uint64_t, TTime> m_mapTouched; ///< by client

    CPace m_pace;
    boost::asio::steady_timer m_timer;
    bool m_bKicked = false;
    SSourceCycle m_cycle; ///< the next one
    bool m_bHasCycle = false;
    std::int64_t m_nNow = 0;    ///< present time of the data, ticks: that of the cycle sent last
    bool m_bBegun = false;      ///< a replay has begun
    bool m_bEventsSent = false; ///< those of the next cycle
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
    bool m_bStop = false; ///< under m_mtxStall
};
