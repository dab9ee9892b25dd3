#include "vds/c37118/output/CC37118Server.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address.hpp>
#include <stdexcept>
#include <utility>

namespace asio = boost::asio;

namespace
{
constexpr auto g_tWatch = std::chrono::seconds(1);
constexpr auto g_tAcceptLater = std::chrono::milliseconds(500);

std::size_t MaxData(const SOutputLimits& p_limits, const SConfigFrame& p_config)
{
    const std::size_t nInTwoSeconds = p_config.nDataRate > 0 ? 2U * static_cast<unsigned>(p_config.nDataRate) : 1U;
    return std::max(nInTwoSeconds, p_limits.nMaxQueue_bytes / DataFrameSize(p_config));
}

[[noreturn]] void Refuse(const std::string& p_strName, const char* p_pKind, unsigned p_nPort,
                         const boost::system::error_code& p_ec)
{
    throw std::runtime_error("output '" + p_strName + "': cannot listen on " + p_pKind + " port " +
                             std::to_string(p_nPort) + ": " + p_ec.message());
}
} // namespace

CC37118Server::CC37118Server(asio::io_context& r_io, const SOutputStreamConfig& p_output, SConfigFrame p_short,
                             SConfigFrame p_long, TLine p_fnLine, SOutputLimits p_limits)
    : m_output(p_output), m_short(std::move(p_short)), m_long(std::move(p_long)), m_fnLine(std::move(p_fnLine)),
      m_limits(p_limits), m_nMaxData(MaxData(p_limits, m_short)), m_acceptor(r_io), m_socketUdp(r_io),
      m_timerWatch(r_io), m_timerAccept(r_io)
{
}

// ---- start and stop ----

void CC37118Server::Start(bool p_bAnyPort)
{
    boost::system::error_code ec;
    const asio::ip::address address =
        asio::ip::make_address(m_output.strListen == "localhost" ? "127.0.0.1" : m_output.strListen, ec);
    if (ec)
        throw std::runtime_error("output '" + m_output.strName +
                                 "': Listen: expected a numeric network address, "
                                 "got '" +
                                 m_output.strListen + "'");
    if (m_output.nPort != 0 || p_bAnyPort)
        ListenTcp(address, m_output.nPort);
    if (m_output.nUdpPort != 0 || p_bAnyPort)
        ListenUdp(address, m_output.nUdpPort);
    Watch();
}

void CC37118Server::ListenTcp(const asio::ip::address& p_address, std::uint16_t p_nPort)
{
    const asio::ip::tcp::endpoint endpoint(p_address, p_nPort);
    boost::system::error_code ec;
    m_acceptor.open(endpoint.protocol(), ec);
    if (!ec)
        m_acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec)
        m_acceptor.bind(endpoint, ec);
    if (!ec)
        m_acceptor.listen(asio::socket_base::max_listen_connections, ec);
    if (ec)
        Refuse(m_output.strName, "TCP", p_nPort, ec);
    Accept();
}

void CC37118Server::ListenUdp(const asio::ip::address& p_address, std::uint16_t p_nPort)
{
    const TEndpoint endpoint(p_address, p_nPort);
    boost::system::error_code ec;
    m_socketUdp.open(endpoint.protocol(), ec);
    if (!ec)
        m_socketUdp.bind(endpoint, ec);
    if (!ec)
        m_socketUdp.non_blocking(true, ec);
    if (ec)
        Refuse(m_output.strName, "UDP", p_nPort, ec);
    ReadUdp();
}

unsigned CC37118Server::PortTcp() const
{
    return m_acceptor.is_open() ? m_acceptor.local_endpoint().port() : 0U;
}

unsigned CC37118Server::PortUdp() const
{
    return m_socketUdp.is_open() ? m_socketUdp.local_endpoint().port() : 0U;
}

void CC37118Server::End()
{
    boost::system::error_code ecIgnored;
    m_acceptor.close(ecIgnored);
    m_socketUdp.close(ecIgnored);
    m_timerWatch.cancel();
    m_timerAccept.cancel();
    m_mapUdp.clear();
    for (const auto& [nId, pClient] : m_mapClient)
        pClient->End();
}

// ---- clients over TCP ----

void CC37118Server::Accept()
{
    m_acceptor.async_accept(
        [this](const boost::system::error_code& p_ec, asio::ip::tcp::socket p_socket)
        {
            if (p_ec == asio::error::operation_aborted || !m_acceptor.is_open())
                return;
            if (p_ec)
                return AcceptLater();
            if (m_mapClient.size() >= m_limits.nMaxClients)
                ++m_counters.nRefused;
            else
            {
                auto pClient = std::make_shared<CC37118Client>(*this, ++m_nLastClient, std::move(p_socket), m_nMaxData);
                m_mapClient[m_nLastClient] = pClient;
                pClient->Start();
            }
            Accept();
        });
}

/// Usually out of file handles: wait before the next attempt.
void CC37118Server::AcceptLater()
{
    m_timerAccept.expires_after(g_tAcceptLater);
    m_timerAccept.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            if (!p_ec)
                Accept();
        });
}

void CC37118Server::OnClientGone(CC37118Client& p_client)
{
    p_client.Close();
    m_mapClient.erase(p_client.Id());
}

void CC37118Server::Watch()
{
    m_timerWatch.expires_after(std::min<std::chrono::milliseconds>(g_tWatch, m_limits.tGiveUp));
    m_timerWatch.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            if (p_ec)
                return;
            Check(std::chrono::steady_clock::now());
            Watch();
        });
}

void CC37118Server::Check(TTime p_tNow)
{
    for (auto it = m_mapClient.begin(); it != m_mapClient.end();)
    {
        const std::shared_ptr<CC37118Client> pClient = it->second;
        const std::string strFault = pClient->Fault(p_tNow);
        ++it;
        if (strFault.empty())
            continue;
        m_fnLine("output '" + m_output.strName + "': client " + pClient->Peer() + " disconnected: " + strFault);
        OnClientGone(*pClient);
    }
    const std::chrono::seconds tExpiry(m_output.nUdpExpiry_s);
    std::erase_if(m_mapUdp,
                  [&](const auto& p_entry) { return m_output.nUdpExpiry_s != 0 && p_tNow - p_entry.second > tExpiry; });
}

// ---- clients over UDP ----

void CC37118Server::ReadUdp()
{
    m_socketUdp.async_receive_from(asio::buffer(m_vecnDatagram), m_from,
                                   [this](const boost::system::error_code& p_ec, std::size_t p_nBytes)
                                   {
                                       // Other errors report an earlier datagram that reached nobody.
                                       if (p_ec == asio::error::operation_aborted || !m_socketUdp.is_open())
                                           return;
                                       if (!p_ec)
                                           OnDatagram(std::span(m_vecnDatagram).first(p_nBytes));
                                       ReadUdp();
                                   });
}

void CC37118Server::OnDatagram(std::span<const std::uint8_t> p_datagram)
{
    const SReply reply = OnFrame(p_datagram);
    const TTime tNow = std::chrono::steady_clock::now();
    const auto it = m_mapUdp.find(m_from);
    if (reply.eKind == eOff)
        m_mapUdp.erase(m_from);
    else if (reply.eKind != eIgnored && it != m_mapUdp.end())
        it->second = tNow;
    else if (reply.eKind == eOn && m_mapUdp.size() >= m_limits.nMaxClients)
        ++m_counters.nRefused;
    else if (reply.eKind == eOn)
        m_mapUdp[m_from] = tNow;
    if (reply.pFrame)
        SendUdp(reply.pFrame, m_from);
}

void CC37118Server::SendUdp(const TFrame& p_pFrame, const TEndpoint& p_to)
{
    boost::system::error_code ec;
    m_socketUdp.send_to(asio::buffer(*p_pFrame), p_to, 0, ec);
    if (ec)
        ++m_counters.nDropped;
}

// ---- frames ----

void CC37118Server::Send(const SDataFrame& p_data)
{
    if (m_mapClient.empty() && m_mapUdp.empty())
        return;
    auto pFrame = std::make_shared<std::vector<std::uint8_t>>();
    if (!EncodeData(m_short, p_data, *pFrame))
        return;
    for (const auto& [nId, pClient] : m_mapClient)
        pClient->Data(pFrame);
    for (const auto& [endpoint, tLast] : m_mapUdp)
    {
        ++m_counters.nFrames;
        SendUdp(pFrame, endpoint);
    }
}

bool CC37118Server::HasTakers() const
{
    return !m_mapUdp.empty() || std::any_of(m_mapClient.begin(), m_mapClient.end(),
                                            [](const auto& p_entry) { return p_entry.second->IsOn(); });
}

CC37118Server::SReply CC37118Server::OnFrame(std::span<const std::uint8_t> p_frame)
{
    SFrameHead head;
    SCommandFrame command;
    std::string strError;
    if (!DecodeHead(p_frame, head, strError))
        ++m_counters.nBad;
    else if (head.eType != eFrameCommand || !DecodeCommand(p_frame, command, strError))
        ++m_counters.nReserved;
    else if (head.nIdCode != m_output.nStreamId)
        ++m_counters.nForeign;
    else if (command.nCommand < eCommandDataOff || command.nCommand > eCommandCfg3)
        ++m_counters.nReserved;
    else
    {
        ++m_counters.nCommands;
        if (command.nCommand == eCommandDataOn)
        {
            if (m_fnOn)
                m_fnOn();
            return {eOn};
        }
        if (command.nCommand == eCommandDataOff)
            return {eOff};
        return {eAnswer, Answer(command.nCommand)};
    }
    return {};
}

/// @return null if the frame would be too long.
TFrame CC37118Server::Answer(std::uint16_t p_nCommand) const
{
    auto pFrame = std::make_shared<std::vector<std::uint8_t>>();
    bool bOk = false;
    if (p_nCommand == eCommandHeader)
    {
        SHeaderFrame header{m_short.head, "Output " + m_output.strName + " of the phasor data server: " +
                                              (m_output.bPhasors ? "phasors" : "results of the swing analysis")};
        SetFrameTicks(header.head, m_nTicks, m_short.nTimeBase);
        bOk = EncodeHeader(header, *pFrame);
    }
    else
    {
        SConfigFrame config = p_nCommand == eCommandCfg3 ? m_long : m_short;
        config.head.eType = p_nCommand == eCommandCfg3   ? eFrameCfg3
                            : p_nCommand == eCommandCfg2 ? eFrameCfg2
                                                         : eFrameCfg1;
        config.head.nVersion = p_nCommand == eCommandCfg3 ? 2 : 1;
        SetFrameTicks(config.head, m_nTicks, config.nTimeBase);
        bOk = EncodeConfig(config, *pFrame);
    }
    return bOk ? pFrame : nullptr;
}
