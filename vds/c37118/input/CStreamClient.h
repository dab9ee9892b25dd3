#pragma once
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/input/CByteBudget.h"
#include "vds/c37118/input/CStreamReader.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <optional>

/// Keeps one stream running: connects, requests the configuration, turns the data on, requests a new configuration when
/// the old one no longer matches, and starts again after a loss.
///
/// Sequence  off, CFG-2 request (three times 5 s apart, then once CFG-3), on; data must arrive within 2 s or three
///           periods, otherwise "on" is sent again, and finally the connection is renewed. Pauses between connections
///           grow from 1 s to 30 s, and are 1 s again once data has arrived. A stream that exceeds its budget is
///           closed; its pauses keep growing. For a spontaneous stream the client only listens.
/// Threads   the io_context's only thread; no call blocks.
class CStreamClient
{
  public:
    using TNow = std::function<std::int64_t()>;

    /// @param p_fnNow returns the arrival time; p_fnData is called when frames have been read.
    CStreamClient(boost::asio::io_context& p_io, CStreamReader& p_reader, TNow p_fnNow, std::function<void()> p_fnData,
                  CStreamReader::TLine p_fnLine);

    void Start();
    /// Turns the data off and closes. Handlers still pending have no effect.
    void Stop();

  private:
    enum EPhase
    {
        eClosed,
        eConnecting,
        eWaitConfig,
        eWaitData,
        eData
    };
    using TTcp = boost::asio::ip::tcp;
    using TUdp = boost::asio::ip::udp;
    using TError = boost::system::error_code;

    bool IsTcp() const;
    void Resolve();
    void OnAddress(const boost::asio::ip::address& p_address);
    void ConnectTcp(const boost::asio::ip::address& p_address);
    void OpenUdp(const boost::asio::ip::address& p_address, bool p_bOwnPort);
    void OnConnected();
    void ReadTcp();
    void ReadUdp();
    bool IsSender() const;
    void OnBytes(CFrameCutter& r_cutter, std::size_t p_nBytes, bool p_bDatagram);
    void AfterFrames();
    void AskConfig();
    void Send(std::uint16_t p_nCommand);
    void ArmTimer(std::chrono::milliseconds p_tWait, void (CStreamClient::*p_pfnDo)());
    void ConnectTimeout();
    void ConfigTimeout();
    void DataTimeout();
    std::chrono::milliseconds DataLimit() const;
    void Lost(const std::string& p_strReason);
    void Close();

    CStreamReader& m_reader;
    const SStreamConfig& m_config;
    const TNow m_fnNow;
    const std::function<void()> m_fnData;
    const CStreamReader::TLine m_fnLine;
    TTcp::resolver m_resolver;
    TTcp::socket m_tcp;
    TUdp::socket m_udp;
    boost::asio::steady_timer m_timer;
    CFrameCutter m_cutterTcp;
    CFrameCutter m_cutterUdp;
    std::vector<std::uint8_t> m_vecnTcp;
    std::vector<std::uint8_t> m_vecnUdp;
    TUdp::endpoint m_sender; ///< of the newest datagram
    TUdp::endpoint m_device; ///< destination of commands over UDP, and the required origin of data
    EPhase m_ePhase = eClosed;
    std::uint64_t m_nRun = 0; ///< counts the connections: handlers of older ones have no effect
    unsigned m_nTries = 0;
    std::uint64_t m_nDataSeen = 0;
    std::uint64_t m_nMisfitSeen = 0;
    std::chrono::steady_clock::time_point m_tConfigAsked;
    unsigned m_nAsksNow = 0;                           ///< immediate requests since the last pause between requests
    std::chrono::steady_clock::time_point m_tReadable; ///< time of the last data read with a confirmed layout
    CByteBudget m_budget;
    bool m_bCostly = false; ///< the stream was closed because it exceeded its budget
    std::chrono::milliseconds m_tPause;
    bool m_bToldLoss = false; ///< only the first failure of a series of attempts is reported
};
