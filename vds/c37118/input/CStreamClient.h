#pragma once
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/input/CByteBudget.h"
#include "vds/c37118/input/CDataWatch.h"
#include "vds/c37118/input/CRetryPause.h"
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
/// Sequence  off, CFG-2 request (three times 5 s apart, then once CFG-3), on; data must come within 2 s or three
///           periods, else on again, else a new connection. Pauses between connections: see CRetryPause. A stream
///           that costs too much is closed. A spontaneous stream is only listened to.
/// Threads   one, that of the io_context; nothing in here blocks.
class CStreamClient
{
  public:
    using TNow = std::function<std::int64_t()>;

    /// @param p_fnNow arrival time in ticks, which never goes back; p_fnData is called when frames have been read.
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

    double Now_s() const;
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
    std::uint64_t m_nRun = 0;       ///< counts the connections: handlers of older ones do nothing
    unsigned m_nTries = 0;          ///< questions for the configuration
    double m_fConfigAsked_s = -1e9; ///< of Now_s: long ago
    unsigned m_nAsksNow = 0;        ///< at once, since the last pause between questions
    CDataWatch m_watch;
    CByteBudget m_budget;
    CRetryPause m_pause;
    bool m_bToldLoss = false; ///< of a series of attempts only the first failure is told
};
