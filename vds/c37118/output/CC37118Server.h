#pragma once
#include "vds/c37118/codec/Frames.h"
#include "vds/c37118/output/CC37118Client.h"
#include "vds/config/SynchrophasorConfig.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <map>

/// Offers one stream over TCP and UDP: answers commands and sends data frames to the clients that have turned the data
/// on.
///
/// Bounds   number of clients, length of their queues, pending answers. A client's input cannot affect other clients.
/// UDP      the sender of "on" gets the data until it sends "off", or has sent no command for some time. A
///          datagram that cannot be sent at once is dropped.
/// Threads  the io_context's thread.
class CC37118Server
{
  public:
    using TLine = std::function<void(const std::string&)>;
    enum EReply
    {
        eIgnored,
        eOn,
        eOff,
        eAnswer
    };
    struct SReply
    {
        EReply eKind = eIgnored;
        TFrame pFrame = {}; ///< for eAnswer, if there is such a frame
    };

    /// @param p_short, p_long configuration with names for CFG-1/2 and for CFG-3.
    CC37118Server(boost::asio::io_context& r_io, const SOutputStreamConfig& p_output, SConfigFrame p_short,
                  SConfigFrame p_long, TLine p_fnLine, SOutputLimits p_limits = {});
    /// @param p_bAnyPort for tests: TCP and UDP on ports chosen by the system.
    /// @throws std::runtime_error with one line.
    void Start(bool p_bAnyPort = false);
    unsigned PortTcp() const;
    unsigned PortUdp() const;
    /// Sets the time of the data, which answers carry.
    void SetTime(std::int64_t p_nTicks) { m_nTicks = p_nTicks; }
    void Send(const SDataFrame& p_data);
    /// Whether any client has turned the data on.
    bool HasTakers() const;
    /// Called when a client turns the data on. Set before Start.
    std::function<void()> m_fnOn;
    /// No more commands are accepted; connections close when their queues are empty.
    void End();

    // ---- for the clients ----
    SReply OnFrame(std::span<const std::uint8_t> p_frame);
    void OnClientGone(CC37118Client& p_client);
    SOutputCounters& Counters() { return m_counters; }
    const SOutputLimits& Limits() const { return m_limits; }

  private:
    using TTime = std::chrono::steady_clock::time_point;
    using TEndpoint = boost::asio::ip::udp::endpoint;

    void ListenTcp(const boost::asio::ip::address& p_address, std::uint16_t p_nPort);
    void ListenUdp(const boost::asio::ip::address& p_address, std::uint16_t p_nPort);
    void Accept();
    void AcceptLater();
    void ReadUdp();
    void OnDatagram(std::span<const std::uint8_t> p_datagram);
    void SendUdp(const TFrame& p_pFrame, const TEndpoint& p_to);
    void Watch();
    void Check(TTime p_tNow);
    TFrame Answer(std::uint16_t p_nCommand) const;

    const SOutputStreamConfig& m_output;
    const SConfigFrame m_short;
    const SConfigFrame m_long;
    const TLine m_fnLine;
    const SOutputLimits m_limits;
    const std::size_t m_nMaxData;
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::ip::udp::socket m_socketUdp;
    boost::asio::steady_timer m_timerWatch;
    boost::asio::steady_timer m_timerAccept;
    std::map<std::uint64_t, std::shared_ptr<CC37118Client>> m_mapClient;
    std::uint64_t m_nLastClient = 0;
    std::map<TEndpoint, TTime> m_mapUdp; ///< time of the last command
    std::array<std::uint8_t, 2048> m_vecnDatagram{};
    TEndpoint m_from;
    std::int64_t m_nTicks = 0;
    SOutputCounters m_counters;
};
