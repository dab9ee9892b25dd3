#include "Vectors.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/input/CStreamClient.h"
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>

namespace asio = boost::asio;
using testing::ElementsAre;
using namespace std::chrono_literals;

namespace
{
/// A client and its device on one loop: each step of a test runs it until the expected result is there.
class StreamClient : public testing::Test
{
  protected:
    using TTcp = asio::ip::tcp;
    using TUdp = asio::ip::udp;

    StreamClient()
    {
        m_config.vecStream.resize(1);
        SStreamConfig& r_stream = m_config.vecStream[0];
        r_stream.strName = "n";
        r_stream.strHost = "127.0.0.1";
        r_stream.nStreamId = 60;
        r_stream.nPort = m_acceptor.local_endpoint().port();
        r_stream.vecPhasor = {{61, "VA1", 1}};
    }
    void Make(ETransport p_eTransport)
    {
        m_config.vecStream[0].eTransport = p_eTransport;
        const auto fnLine = [this](const std::string& p_strText) { m_vecstrLine.push_back(p_strText); };
        m_pReader = std::make_unique<CStreamReader>(m_config.vecStream[0], m_config, nullptr, 0, 0, fnLine);
        m_pClient = std::make_unique<CStreamClient>(
            m_io, *m_pReader, [] { return std::int64_t{0}; }, [this] { ++m_nTold; }, fnLine);
        m_pClient->Start();
    }
    /// The limit only ends a failing test.
    template <class TDone>
    bool RunUntil(TDone p_fnDone)
    {
        const auto tEnd = std::chrono::steady_clock::now() + 30s;
        m_io.restart();
        while (!p_fnDone() && std::chrono::steady_clock::now() < tEnd)
            m_io.run_one_for(100ms);
        return p_fnDone();
    }
    void Accept()
    {
        m_bAccepted = false;
        m_device = TTcp::socket(m_io);
        m_acceptor.async_accept(m_device, [this](const auto& p_ec) { m_bAccepted = !p_ec; });
        ASSERT_TRUE(RunUntil([this] { return m_bAccepted; }));
    }
    void Command(const std::uint8_t* p_pBytes, std::size_t p_nBytes)
    {
        SCommandFrame command;
        std::string strError;
        EXPECT_TRUE(DecodeCommand({p_pBytes, p_nBytes}, command, strError)) << strError;
        EXPECT_EQ(command.head.nIdCode, 60);
        m_vecnCommand.push_back(command.nCommand);
    }
    void AwaitCommands(std::size_t p_nCount)
    {
        TBytes vecnFrame(18);
        while (m_vecnCommand.size() < p_nCount)
        {
            ASSERT_TRUE(RunUntil([this] { return m_device.available() >= 18; }));
            asio::read(m_device, asio::buffer(vecnFrame));
            Command(vecnFrame.data(), vecnFrame.size());
        }
    }

    asio::io_context m_io;
    TTcp::acceptor m_acceptor{m_io, {asio::ip::address_v4::loopback(), 0}};
    TTcp::socket m_device{m_io};
    bool m_bAccepted = false;
    SSynchrophasorConfig m_config;
    std::vector<std::string> m_vecstrLine;
    int m_nTold = 0;
    std::vector<int> m_vecnCommand;
    std::unique_ptr<CStreamReader> m_pReader;
    std::unique_ptr<CStreamClient> m_pClient;
};
} // namespace

TEST_F(StreamClient, AsksForTheConfigurationThenForDataAndTurnsThemOff)
{
    Make(ETransport::eTcp);
    Accept();
    AwaitCommands(2);
    EXPECT_THAT(m_vecnCommand, ElementsAre(eCommandDataOff, eCommandCfg2));
    // In pieces, as a network may split it.
    for (const std::span<const std::uint8_t> piece : {std::span(g_cfg2).first(7), std::span(g_cfg2).subspan(7)})
    {
        asio::write(m_device, asio::buffer(piece.data(), piece.size()));
        RunUntil([this, nBefore = m_nTold] { return m_nTold > nBefore; });
    }
    EXPECT_TRUE(m_pReader->HasConfig());
    AwaitCommands(3);
    asio::write(m_device, asio::buffer(g_data));
    EXPECT_TRUE(RunUntil([this] { return m_pReader->DataFrames() == 1; }));
    m_pClient->Stop();
    AwaitCommands(4);
    EXPECT_THAT(m_vecnCommand, ElementsAre(eCommandDataOff, eCommandCfg2, eCommandDataOn, eCommandDataOff));
    EXPECT_EQ(m_pReader->m_counters.nConnects, 1U);
    EXPECT_TRUE(RunUntil([this] { return m_io.stopped(); })) << "nothing is left to do";
}

TEST_F(StreamClient, LossIsToldOnceAndTriedAgain)
{
    Make(ETransport::eTcp);
    Accept();
    AwaitCommands(2);
    asio::write(m_device, asio::buffer(g_cfg2));
    AwaitCommands(3);
    m_device.close();
    EXPECT_TRUE(RunUntil([this] { return !m_pReader->HasConfig(); }));
    ASSERT_EQ(m_vecstrLine.size(), 2U);
    EXPECT_TRUE(m_vecstrLine[1].starts_with("stream n: connection lost: ")) << m_vecstrLine[1];
    m_vecnCommand.clear();
    Accept(); // the client reconnects by itself
    AwaitCommands(2);
    EXPECT_THAT(m_vecnCommand, ElementsAre(eCommandDataOff, eCommandCfg2));
    const int nTold = m_nTold;
    m_device.close();
    EXPECT_TRUE(RunUntil([&] { return m_nTold > nTold; }));
    EXPECT_EQ(m_vecstrLine.size(), 2U) << "a series of failures is reported once";
}

TEST_F(StreamClient, DatagramsCountFromTheDeviceAlone)
{
    TUdp::socket device(m_io, {asio::ip::address_v4::loopback(), 0});
    TUdp::socket other(m_io, {asio::ip::address_v4::loopback(), 0});
    m_config.vecStream[0].nUdpPort = device.local_endpoint().port();
    Make(ETransport::eUdp);
    TUdp::endpoint client;
    for (int i = 0; i < 2; ++i)
    {
        TBytes vecnFrame(100);
        ASSERT_TRUE(RunUntil([&] { return device.available() > 0; }));
        Command(vecnFrame.data(), device.receive_from(asio::buffer(vecnFrame), client));
    }
    EXPECT_THAT(m_vecnCommand, ElementsAre(eCommandDataOff, eCommandCfg2));
    other.send_to(asio::buffer(g_cfg2), client);
    device.send_to(asio::buffer(g_data), client); // arrives later and is not understood yet
    EXPECT_TRUE(RunUntil([this] { return m_nTold > 0; }));
    EXPECT_FALSE(m_pReader->HasConfig());
    device.send_to(asio::buffer(g_cfg2), client);
    EXPECT_TRUE(RunUntil([this] { return m_pReader->HasConfig(); }));
}

TEST_F(StreamClient, SpontaneousStreamIsOnlyListenedTo)
{
    TUdp::socket device(m_io, {asio::ip::address_v4::loopback(), 0});
    TUdp::socket probe(m_io, {asio::ip::address_v4::loopback(), 0});
    const std::uint16_t nPort = probe.local_endpoint().port();
    probe.close();
    m_config.vecStream[0].nUdpPort = nPort;
    m_config.vecStream[0].strHost.clear();
    Make(ETransport::eSpontaneous);
    for (const TBytes& bytes : {g_cfg2, g_data})
        device.send_to(asio::buffer(bytes), TUdp::endpoint{asio::ip::address_v4::loopback(), nPort});
    EXPECT_TRUE(RunUntil([this] { return m_pReader->DataFrames() == 1; }));
    m_pClient->Stop();
    EXPECT_EQ(device.available(), 0U) << "no command";
    EXPECT_EQ(m_pReader->m_counters.nConnects, 1U);
}
