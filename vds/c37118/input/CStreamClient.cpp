#include "vds/c37118/input/CStreamClient.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include "vds/c37118/input/CStreamSet.h"
#include "vds/c37118/input/PreferV4.h"
#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/multicast.hpp>

namespace asio = boost::asio;

namespace
{
using namespace std::chrono_literals;
constexpr auto g_tConnect = 5s;
constexpr auto g_tConfig = 5s;
constexpr double g_fConfig_s = std::chrono::duration<double>(g_tConfig).count();
constexpr unsigned g_nTriesCfg2 = 3;
constexpr unsigned g_nAsksNowMost = 4; ///< of a device that makes us ask again and again
constexpr std::size_t g_nBuffer = 65536;
} // namespace

CStreamClient::CStreamClient(asio::io_context& p_io, CStreamReader& p_reader, TNow p_fnNow,
                             std::function<void()> p_fnData, CStreamReader::TLine p_fnLine)
    : m_reader(p_reader), m_config(p_reader.Stream()), m_fnNow(std::move(p_fnNow)), m_fnData(std::move(p_fnData)),
      m_fnLine(std::move(p_fnLine)), m_resolver(p_io), m_tcp(p_io), m_udp(p_io), m_timer(p_io),
      m_cutterTcp(p_reader.m_counters), m_cutterUdp(p_reader.m_counters), m_vecnTcp(g_nBuffer), m_vecnUdp(g_nBuffer)
{
}

double CStreamClient::Now_s() const
{
    return static_cast<double>(m_fnNow()) / g_nTicksPerSec;
}

bool CStreamClient::IsTcp() const
{
    return m_config.eTransport == ETransport::eTcp || m_config.eTransport == ETransport::eTcpUdp;
}

void CStreamClient::ArmTimer(std::chrono::milliseconds p_tWait, void (CStreamClient::*p_pfnDo)())
{
    m_timer.expires_after(p_tWait);
    m_timer.async_wait(
        [this, nRun = m_nRun, p_pfnDo](const TError& p_ec)
        {
            if (!p_ec && nRun == m_nRun)
                (this->*p_pfnDo)();
        });
}

// ---- connection ----

void CStreamClient::Start()
{
    ++m_nRun;
    m_ePhase = eConnecting;
    m_cutterTcp.Reset();
    m_cutterUdp.Reset();
    m_budget.Reset(Now_s());
    m_pause.Begin(Now_s());
    if (m_config.strHost.empty())
        return OnAddress(asio::ip::address_v4::any());
    ArmTimer(g_tConnect, &CStreamClient::ConnectTimeout);
    Resolve();
}

void CStreamClient::Resolve()
{
    m_resolver.async_resolve(m_config.strHost, "",
                             [this, nRun = m_nRun](const TError& p_ec, const TTcp::resolver::results_type& p_results)
                             {
                                 if (nRun != m_nRun)
                                     return;
                                 if (p_ec || p_results.empty())
                                     return Lost("address '" + m_config.strHost + "': " + p_ec.message());
                                 OnAddress(PreferV4(p_results).address());
                             });
}

void CStreamClient::OnAddress(const asio::ip::address& p_address)
{
    if (IsTcp())
        ConnectTcp(p_address);
    else
        OpenUdp(p_address, m_config.eTransport == ETransport::eSpontaneous);
}

void CStreamClient::ConnectTcp(const asio::ip::address& p_address)
{
    m_tcp.async_connect({p_address, m_config.nPort},
                        [this, nRun = m_nRun, p_address](const TError& p_ec)
                        {
                            if (nRun != m_nRun)
                                return;
                            if (p_ec)
                                return Lost("no connection: " + p_ec.message());
                            TError ecIgnored;
                            m_tcp.set_option(TTcp::no_delay(true), ecIgnored);
                            m_tcp.non_blocking(true, ecIgnored);
                            ReadTcp();
                            if (m_config.eTransport == ETransport::eTcpUdp)
                                OpenUdp(p_address, true);
                            else
                                OnConnected();
                        });
}

/// @param p_address of the device, or a multicast group, or any. @param p_bOwnPort data arrives at a configured local
/// port; otherwise the device replies to the port the commands came from.
void CStreamClient::OpenUdp(const asio::ip::address& p_address, bool p_bOwnPort)
{
    TError ec;
    const auto protocol = p_address.is_v6() ? TUdp::v6() : TUdp::v4();
    m_device = {p_address, p_bOwnPort ? std::uint16_t{0} : m_config.nUdpPort};
    m_udp.open(protocol, ec);
    if (!ec && p_address.is_multicast())
        m_udp.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec)
        m_udp.bind({protocol, p_bOwnPort ? m_config.nUdpPort : std::uint16_t{0}}, ec);
    if (!ec && p_address.is_multicast())
        m_udp.set_option(asio::ip::multicast::join_group(p_address), ec);
    if (!ec)
        m_udp.non_blocking(true, ec);
    if (ec)
        return Lost("UDP port " + std::to_string(p_bOwnPort ? m_config.nUdpPort : 0) + ": " + ec.message());
    ReadUdp();
    OnConnected();
}

void CStreamClient::OnConnected()
{
    m_ePhase = eWaitConfig;
    m_nTries = 0;
    m_timer.cancel();
    if (m_config.eTransport == ETransport::eSpontaneous)
        return;
    Send(eCommandDataOff);
    if (m_ePhase == eWaitConfig)
        ConfigTimeout();
}

void CStreamClient::Stop()
{
    if (m_ePhase >= eWaitConfig && m_config.eTransport != ETransport::eSpontaneous)
        Send(eCommandDataOff);
    Close();
}

void CStreamClient::Close()
{
    ++m_nRun;
    m_ePhase = eClosed;
    TError ecIgnored;
    m_resolver.cancel();
    m_timer.cancel();
    m_tcp.close(ecIgnored);
    m_udp.close(ecIgnored);
}

void CStreamClient::Lost(const std::string& p_strReason)
{
    Close();
    m_reader.Forget();
    if (!m_bToldLoss)
        m_reader.Line("loss", p_strReason + "; " + CountersText(m_reader.m_counters));
    m_bToldLoss = true;
    ArmTimer(m_pause.Next(), &CStreamClient::Start);
    m_fnData(); // cycles no longer wait for this stream
}

// ---- receiving ----

void CStreamClient::ReadTcp()
{
    m_tcp.async_read_some(asio::buffer(m_vecnTcp),
                          [this, nRun = m_nRun](const TError& p_ec, std::size_t p_nBytes)
                          {
                              if (nRun != m_nRun)
                                  return;
                              if (p_ec)
                                  return Lost("connection lost: " + p_ec.message());
                              OnBytes(m_cutterTcp, p_nBytes, false);
                              if (nRun == m_nRun)
                                  ReadTcp();
                          });
}

bool CStreamClient::IsSender() const
{
    const bool bAnyone = m_device.address().is_multicast() || m_device.address().is_unspecified();
    return bAnyone ||
           (m_sender.address() == m_device.address() && (m_device.port() == 0 || m_device.port() == m_sender.port()));
}

void CStreamClient::ReadUdp()
{
    m_udp.async_receive_from(asio::buffer(m_vecnUdp), m_sender,
                             [this, nRun = m_nRun](const TError& p_ec, std::size_t p_nBytes)
                             {
                                 if (nRun != m_nRun)
                                     return;
                                 if (p_ec && p_ec != asio::error::connection_refused)
                                     return Lost("UDP: " + p_ec.message());
                                 if (!p_ec && IsSender())
                                     OnBytes(m_cutterUdp, p_nBytes, true);
                                 if (nRun == m_nRun)
                                     ReadUdp();
                             });
}

void CStreamClient::OnBytes(CFrameCutter& r_cutter, std::size_t p_nBytes, bool p_bDatagram)
{
    const std::uint64_t nSkipped = m_reader.m_counters.nSkipped;
    r_cutter.Feed(std::span(p_bDatagram ? m_vecnUdp : m_vecnTcp).first(p_nBytes));
    const std::int64_t nArrival = m_fnNow();
    std::span<const std::uint8_t> frame;
    while (r_cutter.Next(frame))
        m_reader.OnFrame(frame, nArrival);
    if (p_bDatagram)
        r_cutter.EndDatagram();
    const double fRate =
        m_reader.HasConfig() ? static_cast<double>(DataFrameSize(m_reader.Config())) / m_reader.Period_s() : 0.0;
    if (!m_budget.Spend(p_nBytes, m_reader.m_counters.nSkipped - nSkipped, fRate, Now_s()))
    {
        m_bToldLoss = !m_pause.Costly() || m_bToldLoss;
        return Lost("sends far more than its configuration implies, or bytes that are not frames");
    }
    AfterFrames();
    m_fnData();
}

void CStreamClient::AfterFrames()
{
    if (m_ePhase == eWaitConfig && m_reader.HasConfig())
    {
        ++m_reader.m_counters.nConnects;
        m_ePhase = eWaitData;
        m_watch.Begin(m_reader.DataFrames(), m_reader.m_counters.nLengthMismatches, Now_s());
        m_bToldLoss = false;
        if (m_config.eTransport != ETransport::eSpontaneous)
            Send(eCommandDataOn);
        if (m_ePhase == eWaitData)
            ArmTimer(DataLimit(), &CStreamClient::DataTimeout);
    }
    else if (m_ePhase == eWaitData && m_watch.HasBegun(m_reader.DataFrames()))
        m_ePhase = eData;
    if (m_ePhase == eData)
        m_pause.Data(Now_s());
    if (m_ePhase >= eWaitData && m_reader.ConfigWish() != CStreamReader::eNoWish)
        AskConfig();
}

/// A new reason is served at once, though not endlessly; a persisting one only after the device has had time to reply.
void CStreamClient::AskConfig()
{
    const double fNow_s = Now_s();
    if (m_config.eTransport == ETransport::eSpontaneous)
        return;
    if (fNow_s - m_fConfigAsked_s >= g_fConfig_s)
        m_nAsksNow = 0;
    else if (m_reader.ConfigWish() != CStreamReader::eWishNow || m_nAsksNow >= g_nAsksNowMost)
        return;
    ++m_nAsksNow;
    m_fConfigAsked_s = fNow_s;
    m_reader.ConfigAsked();
    Send(m_reader.Config().head.eType == eFrameCfg3 ? eCommandCfg3 : eCommandCfg2);
}

// ---- sending ----

/// A command is far smaller than any socket's buffer: a device that does not take it is not reading.
void CStreamClient::Send(std::uint16_t p_nCommand)
{
    SCommandFrame command;
    command.head.nIdCode = m_config.nStreamId;
    command.nCommand = p_nCommand;
    SetFrameTicks(command.head, m_fnNow(), 1000000);
    std::vector<std::uint8_t> vecnBytes;
    EncodeCommand(command, vecnBytes);
    TError ec;
    if (IsTcp())
    {
        const std::size_t nSent = m_tcp.send(asio::buffer(vecnBytes), 0, ec);
        if (!ec && nSent != vecnBytes.size())
            ec = asio::error::would_block;
    }
    else
        m_udp.send_to(asio::buffer(vecnBytes), m_device, 0, ec);
    if (ec && m_nRun != 0 && m_ePhase != eClosed && p_nCommand != eCommandDataOff)
        Lost("command could not be sent: " + ec.message());
}

// ---- time limits ----

void CStreamClient::ConnectTimeout()
{
    Lost("no connection within 5 s");
}

void CStreamClient::ConfigTimeout()
{
    if (m_nTries > g_nTriesCfg2)
        return Lost("no configuration frame received");
    const std::uint16_t nCommand = m_nTries < g_nTriesCfg2 ? eCommandCfg2 : eCommandCfg3;
    ++m_nTries;
    ArmTimer(g_tConfig, &CStreamClient::ConfigTimeout);
    m_reader.ConfigAsked();
    Send(nCommand);
}

std::chrono::milliseconds CStreamClient::DataLimit() const
{
    return std::max<std::chrono::milliseconds>(
        2s, std::chrono::milliseconds(static_cast<std::int64_t>(3000.0 * m_reader.Period_s())));
}

void CStreamClient::DataTimeout()
{
    const bool bCommands = m_config.eTransport != ETransport::eSpontaneous;
    const CDataWatch::EVerdict eVerdict =
        m_watch.Look(m_reader.DataFrames(), m_reader.m_counters.nLengthMismatches, !m_reader.InDoubt(), Now_s());
    if (bCommands && eVerdict == CDataWatch::eUnreadable)
        return Lost("no configuration received that matches its frames");
    if (bCommands && eVerdict == CDataWatch::eSilent)
        return Lost("no data received");
    if (eVerdict == CDataWatch::eSilent)
        m_reader.Line("silent", "no data received");
    ArmTimer(DataLimit(), &CStreamClient::DataTimeout);
    if (bCommands && eVerdict == CDataWatch::eQuiet)
        Send(eCommandDataOn);
}
