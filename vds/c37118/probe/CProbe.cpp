#include "vds/c37118/probe/CProbe.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include "vds/c37118/input/PreferV4.h"
#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/steady_timer.hpp>
#include <stdexcept>

namespace asio = boost::asio;
using namespace std::chrono_literals;

namespace
{
SSynchrophasorConfig ConfigOf(const std::string& p_strHost, std::uint16_t p_nPort, std::uint16_t p_nStreamId,
                              bool p_bUdp)
{
    SSynchrophasorConfig config;
    SStreamConfig& stream = config.vecStream.emplace_back();
    stream.strHost = p_strHost;
    (p_bUdp ? stream.nUdpPort : stream.nPort) = p_nPort;
    stream.eTransport = p_bUdp ? ETransport::eUdp : ETransport::eTcp;
    stream.nStreamId = p_nStreamId != 0 ? p_nStreamId : std::uint16_t{1};
    return config;
}
} // namespace

CProbe::CProbe(std::string p_strHost, std::uint16_t p_nPort, std::uint16_t p_nStreamId, bool p_bUdp)
    : m_strHost(std::move(p_strHost)), m_bUdp(p_bUdp), m_bIdGiven(p_nStreamId != 0),
      m_config(ConfigOf(m_strHost, p_nPort, p_nStreamId, p_bUdp)),
      m_reader(m_config.vecStream[0], m_config, nullptr, 0, 0, nullptr), m_cutter(m_reader.m_counters), m_tcp(m_io),
      m_udp(m_io), m_vecnBytes(65536)
{
}

void CProbe::Fail(const std::string& p_strText) const
{
    const unsigned nPort = m_bUdp ? Stream().nUdpPort : Stream().nPort;
    throw std::runtime_error("device at " + m_strHost + ":" + std::to_string(nPort) + ": " + p_strText);
}

template <class TDone>
bool CProbe::Await(std::chrono::milliseconds p_tLimit, TDone p_fnDone)
{
    const auto tEnd = std::chrono::steady_clock::now() + p_tLimit;
    while (!p_fnDone() && std::chrono::steady_clock::now() < tEnd)
    {
        m_io.restart();
        if (m_io.run_one_until(tEnd) == 0)
            break;
    }
    return p_fnDone();
}

void CProbe::Connect()
{
    bool bDone = false;
    boost::system::error_code ecFirst;
    asio::ip::tcp::resolver resolver(m_io);
    resolver.async_resolve(m_strHost, std::to_string(m_bUdp ? Stream().nUdpPort : Stream().nPort),
                           [&](const boost::system::error_code& p_ec, const auto& p_results)
                           {
                               ecFirst = p_ec;
                               bDone = p_ec || m_bUdp;
                               if (p_ec)
                                   return;
                               const asio::ip::tcp::endpoint device = PreferV4(p_results);
                               if (m_bUdp)
                                   m_udp.connect({device.address(), device.port()}, ecFirst);
                               else
                                   m_tcp.async_connect(device,
                                                       [&](const boost::system::error_code& p_ecConnect)
                                                       {
                                                           ecFirst = p_ecConnect;
                                                           bDone = true;
                                                       });
                           });
    if (!Await(5s, [&] { return bDone; }))
    {
        // The handlers use this function's variables, so they must have finished before it returns.
        resolver.cancel();
        boost::system::error_code ecIgnored;
        m_tcp.close(ecIgnored);
        m_io.restart();
        m_io.run();
        Fail("no connection within 5 s");
    }
    if (ecFirst)
        Fail("no connection: " + ecFirst.message());
}

void CProbe::Read()
{
    const auto fnRead = [this](const boost::system::error_code& p_ec, std::size_t p_nBytes)
    {
        m_ecLost = p_ec;
        if (p_ec)
            return;
        m_cutter.Feed(std::span(m_vecnBytes).first(p_nBytes));
        std::span<const std::uint8_t> frame;
        while (m_cutter.Next(frame))
            OnFrame(frame);
        if (m_bUdp)
            m_cutter.EndDatagram();
        Read();
    };
    if (m_bUdp)
        m_udp.async_receive(asio::buffer(m_vecnBytes), fnRead);
    else
        m_tcp.async_read_some(asio::buffer(m_vecnBytes), fnRead);
}

void CProbe::OnFrame(std::span<const std::uint8_t> p_frame)
{
    if (!m_bIdGiven && !m_reader.HasConfig())
        m_config.vecStream[0].nStreamId = static_cast<std::uint16_t>((p_frame[4] << 8) | p_frame[5]);
    m_reader.OnFrame(p_frame, 0);
    if (m_reader.DataFrames() == m_nDataSeen)
        return;
    m_nDataSeen = m_reader.DataFrames();
    const SDataFrame& data = m_reader.Data();
    m_nWorstClock = std::max<unsigned>(m_nWorstClock, data.head.ClockQuality());
    m_vecPmu.resize(data.vecPmu.size());
    for (std::size_t i = 0; i < data.vecPmu.size(); ++i)
    {
        m_vecPmu[i].nGood += (data.vecPmu[i].nStat & g_nStatErrorMask) == 0 ? 1U : 0U;
        m_vecPmu[i].nSyncLost += (data.vecPmu[i].nStat & g_nStatSyncLost) != 0 ? 1U : 0U;
        m_vecPmu[i].last = data.vecPmu[i];
    }
}

void CProbe::Send(std::uint16_t p_nCommand)
{
    SCommandFrame command;
    command.head.nIdCode = Stream().nStreamId;
    command.nCommand = p_nCommand;
    SetFrameTicks(command.head, WallTicks(), 1000000);
    std::vector<std::uint8_t> vecnBytes;
    EncodeCommand(command, vecnBytes);
    boost::system::error_code ec;
    if (m_bUdp)
        m_udp.send(asio::buffer(vecnBytes), 0, ec);
    else
        m_tcp.send(asio::buffer(vecnBytes), 0, ec);
    if (ec)
        Fail("connection lost: " + ec.message());
}

void CProbe::Run(std::chrono::milliseconds p_tWatch)
{
    Connect();
    Read();
    const auto fnConfig = [this] { return m_reader.HasConfig() || m_ecLost; };
    Send(eCommandDataOff);
    for (const std::uint16_t nCommand : {eCommandCfg2, eCommandCfg2, eCommandCfg3})
    {
        Send(nCommand);
        if (Await(3s, fnConfig))
            break;
    }
    if (m_ecLost)
        Fail("connection lost: " + m_ecLost.message());
    if (!m_reader.HasConfig())
        Fail("no configuration frame of stream " + std::to_string(Stream().nStreamId) +
             " received: expected the ID of its stream after the address, as in HOST:PORT/ID");
    Send(eCommandDataOn);
    const auto tBegin = std::chrono::steady_clock::now();
    Await(p_tWatch, [this] { return static_cast<bool>(m_ecLost); });
    m_fWatched_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - tBegin).count();
    if (!m_ecLost)
        Send(eCommandDataOff);
}
