#pragma once
#include "CLinkStream.h"
#include "vds/core/CAccess.h"
#include "vds/core/CElements.h"
#include "vds/core/CReadSet.h"
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class CServerCore;
struct SEvent;

/// One connection of a client to one of the two ports.
///
/// Owner    CServerCore, until the connection is closed.
/// Threads  the server's only thread.
class CSession : public Norvik::Energy::Kestrel::Link::ILinkUser, public std::enable_shared_from_this<CSession>
{
  public:
    CSession(CServerCore& p_core, std::uint64_t p_nId, bool p_bDataPort,
             std::shared_ptr<Norvik::Energy::Kestrel::Link::CLinkStream> p_pStream, std::string p_strAddr,
             unsigned p_nPort);
    /// Closes the connection if its client does not greet in time.
    void AwaitHello();

    std::uint64_t Id() const { return m_nId; }
    const std::string& Address() const { return m_strAddr; }
    const std::string& Peer() const { return m_strPeer; }
    bool IsDataPort() const { return m_bDataPort; }
    std::uint64_t Client() const { return m_nClient; }
    const std::string& Name() const { return m_strName; }
    std::map<unsigned, CReadSet>& Sets() { return m_mapSet; }
    bool IsSubscribed() const { return m_bSubscribed; }
    const CElements& Elements() const { return m_elements; }
    /// Event deliveries and flushes that the client has not confirmed.
    bool IsAnswered() const { return m_nDelivered == m_nDeliveryAcks && m_nFlush == m_nFlushDone; }
    /// The client has greeted and may connect.
    bool IsGreeted() const { return m_bHello; }
    /// The client has been refused and is waiting for the delayed answer.
    bool IsRefused() const { return m_bRefused; }
    bool IsClient() const { return m_bHello && !m_bControl; }
    std::int64_t Since() const { return m_nSince; } ///< wall clock, ticks
    std::size_t ReadSets() const { return m_mapSet.size(); }

    void SendCycle(CReadSet& r_set, const SSourceCycle& p_cycle);
    void SendEvent(const SEvent& p_event);
    void SendFlush();
    void Close(const std::string& p_strReason) { m_pStream->Close(p_strReason); }

    /// Closes a connection that has not greeted, once.
    void Dismiss(const std::string& p_strReason)
    {
        m_bDismissed = true;
        Close(p_strReason);
    }
    bool IsDismissed() const { return m_bDismissed; }

    // ---- ILinkUser ----
    void OnLinkOpen() override {}
    void OnLinkMessage(const Norvik::Energy::Kestrel::Link::Message& p_message) override;
    void OnLinkClosed(const std::string& p_strReason) override;

  private:
    void RefuseLater(const std::string& p_strReason);
    void OnHello(const Norvik::Energy::Kestrel::Link::Hello& p_hello);
    void OnStartSet(const Norvik::Energy::Kestrel::Link::StartSet& p_start);
    void StopSet(unsigned p_nSet);
    void OnCycleAck(const Norvik::Energy::Kestrel::Link::CycleAck& p_ack);
    void CheckHello(const Norvik::Energy::Kestrel::Link::Hello& p_hello) const;
    std::string Post(const Norvik::Energy::Kestrel::Link::Event& p_event, bool p_bControl);
    std::string Control(const Norvik::Energy::Kestrel::Link::ControlRequest& p_request,
                        std::vector<std::string>& r_vecstrLine);
    std::string Steer(const Norvik::Energy::Kestrel::Link::ControlRequest& p_request);
    void OnPostEvent(const Norvik::Energy::Kestrel::Link::Event& p_event);
    template <class TFill>
    void SendParts(TFill p_fnFill);
    void OnReadEvents(const Norvik::Energy::Kestrel::Link::ReadEvents& p_read);
    void OnElements(const Norvik::Energy::Kestrel::Link::Elements& p_elements);
    std::vector<SEvent> ReplyTo(const Norvik::Energy::Kestrel::Link::ReadEvents& p_read) const;
    std::uint64_t SeqOf(const Norvik::Energy::Kestrel::Link::Position& p_position) const;
    void FillPosition(Norvik::Energy::Kestrel::Link::Position& r_position) const;
    void OnSubscribe(const Norvik::Energy::Kestrel::Link::Subscribe& p_subscribe);
    void OnStartWrite(const Norvik::Energy::Kestrel::Link::StartWrite& p_start);
    void OnWriteValues(const Norvik::Energy::Kestrel::Link::WriteValues& p_write);
    void OnControl(const Norvik::Energy::Kestrel::Link::ControlRequest& p_request);
    bool OnEventMessage(const Norvik::Energy::Kestrel::Link::Message& p_message);
    bool OnReadMessage(const Norvik::Energy::Kestrel::Link::Message& p_message);
    bool OnWriteMessage(const Norvik::Energy::Kestrel::Link::Message& p_message);

    CServerCore& m_core;
    const std::uint64_t m_nId;
    const bool m_bDataPort;
    const std::int64_t m_nSince = WallTicks();
    const std::shared_ptr<Norvik::Energy::Kestrel::Link::CLinkStream> m_pStream;
    const std::string m_strAddr;
    const std::string m_strPeer; ///< address and port
    boost::asio::steady_timer m_timerHello;
    bool m_bHello = false;
    bool m_bRefused = false;
    bool m_bDismissed = false;
    ERole m_eRole = ERole::eApplication;
    std::int32_t m_eElemType = 0; ///< from the greeting
    CElements m_elements;
    unsigned m_nPostsRefused = 0;
    bool m_bControl = false; ///< has sent a vdsctl request
    std::string m_strName;
    std::uint64_t m_nClient = 0;
    std::map<unsigned, CReadSet> m_mapSet;
    std::size_t m_nReadCost = 0; ///< cost of its read sets
    bool m_bSubscribed = false;
    std::uint64_t m_nDelivered = 0;
    std::uint64_t m_nDeliveryAcks = 0;
    std::uint64_t m_nFlush = 0;
    std::uint64_t m_nFlushDone = 0;
};
