#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include "vds/c37118/output/CC37118Server.h"
#include "vds/c37118/output/CResultFrames.h"
#include "vds/c37118/output/OutputFrames.h"
#include "vds/core/CEventStore.h"
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <cmath>
#include <gtest/gtest.h>

namespace asio = boost::asio;
using TBytes = std::vector<std::uint8_t>;

namespace
{
constexpr std::int64_t g_nBegin = 638452296000000000; ///< 2024-03-05T10:00:00Z
constexpr std::int64_t g_nSecond = 10000000;

SOutputPmu Mode(std::uint64_t p_nId, const std::string& p_strJob, std::uint64_t p_nChannel)
{
    return {EOutputPmu::eMode,
            p_nId,
            p_strJob,
            0.2F,
            0.8F,
            true,
            {{p_nChannel}, {p_nChannel + 1}, {p_nChannel + 2}, {p_nChannel + 3}}};
}

TBytes Command(std::uint16_t p_nCommand, std::uint16_t p_nStream = 1)
{
    SCommandFrame command;
    command.head.nIdCode = p_nStream;
    command.nCommand = p_nCommand;
    TBytes vecnFrame;
    EncodeCommand(command, vecnFrame);
    return vecnFrame;
}

/// A TCP client that reads only when told to.
struct SClient
{
    SClient(asio::io_context& r_io, unsigned p_nPort) : socket(r_io)
    {
        socket.open(asio::ip::tcp::v4());
        socket.set_option(asio::socket_base::receive_buffer_size(4096));
        socket.connect({asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(p_nPort)});
        socket.non_blocking(true);
    }
    void Send(const TBytes& p_vecn) { asio::write(socket, asio::buffer(p_vecn)); }
    /// Received frames, by their second byte.
    TBytes Kinds()
    {
        TBytes vecn(1U << 20U);
        boost::system::error_code ec;
        const std::size_t nBytes = socket.read_some(asio::buffer(vecn), ec);
        bClosed = ec && ec != asio::error::would_block;
        cutter.Feed(std::span(vecn).first(nBytes));
        TBytes vecnKind;
        std::span<const std::uint8_t> frame;
        while (cutter.Next(frame))
            vecnKind.push_back(frame[1]);
        return vecnKind;
    }
    asio::ip::tcp::socket socket;
    SStreamCounters counters;
    CFrameCutter cutter{counters};
    bool bClosed = false;
};

class Output : public testing::Test
{
  protected:
    void Open(SOutputLimits p_limits = {}, std::size_t p_nPmus = 1)
    {
        for (std::size_t i = 0; i < p_nPmus; ++i)
            m_output.vecPmu.push_back(Mode(600 + i, "JOB", 9000 + 10 * i));
        m_config = OutputConfig(m_output, 50, false);
        m_server.emplace(
            m_io, m_output, m_config, OutputConfig(m_output, 50, true),
            [this](const std::string& p_strLine) { m_strLines += p_strLine; }, p_limits);
        m_server->Start(true);
    }
    void TearDown() override
    {
        m_server->End();
        m_io.poll();
    }
    /// Runs the server until the condition is true.
    void Until(const std::function<bool()>& p_fnCondition)
    {
        const auto tEnd = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!p_fnCondition())
        {
            m_io.run_for(std::chrono::milliseconds(1));
            ASSERT_LT(std::chrono::steady_clock::now(), tEnd);
        }
    }
    void SendData() { m_server->Send(EmptyData(m_config)); }
    /// Once the answer to this has arrived, the client has everything sent to it so far.
    TBytes KindsUpToHeader(SClient& r_client)
    {
        r_client.Send(Command(eCommandHeader));
        TBytes vecnAll;
        Until(
            [&]
            {
                const TBytes vecnKind = r_client.Kinds();
                vecnAll.insert(vecnAll.end(), vecnKind.begin(), vecnKind.end());
                return !vecnAll.empty() && vecnAll.back() == 0x11;
            });
        return vecnAll;
    }

    asio::io_context m_io;
    SOutputStreamConfig m_output;
    SConfigFrame m_config;
    std::optional<CC37118Server> m_server;
    std::string m_strLines;
};
} // namespace

TEST_F(Output, EachClientHasItsOwnStateAndNoDataAheadOfOn)
{
    Open();
    SClient first(m_io, m_server->PortTcp());
    SClient second(m_io, m_server->PortTcp());
    asio::ip::udp::socket datagrams(m_io, {asio::ip::address_v4::loopback(), 0});
    const asio::ip::udp::endpoint to(asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(m_server->PortUdp()));
    KindsUpToHeader(first);
    KindsUpToHeader(second);
    SendData();
    first.Send(Command(eCommandDataOn));
    datagrams.send_to(asio::buffer(Command(eCommandDataOn)), to);
    Until([&] { return m_server->Counters().nCommands == 4; });
    SendData();
    EXPECT_EQ(KindsUpToHeader(first), (TBytes{0x01, 0x11}));
    EXPECT_EQ(KindsUpToHeader(second), (TBytes{0x11}));
    TBytes vecnDatagram(2000);
    EXPECT_EQ(datagrams.receive(asio::buffer(vecnDatagram)), DataFrameSize(m_config));

    // Answers between data; nothing after "off".
    for (const std::uint16_t nCommand : {eCommandCfg1, eCommandCfg2, eCommandCfg3, eCommandDataOff})
        first.Send(Command(nCommand));
    second.Send(Command(eCommandDataOn));
    datagrams.send_to(asio::buffer(Command(eCommandDataOff)), to);
    Until([&] { return m_server->Counters().nCommands == 12; });
    SendData();
    EXPECT_EQ(KindsUpToHeader(first), (TBytes{0x21, 0x31, 0x52, 0x11}));
    EXPECT_EQ(KindsUpToHeader(second), (TBytes{0x01, 0x11}));
    EXPECT_EQ(datagrams.available(), 0U);
}

TEST_F(Output, SlowClientLosesTheOldestFramesThenItsConnectionAndHarmsNobody)
{
    SOutputLimits limits;
    limits.nMaxQueue_bytes = 0;
    limits.tGiveUp = std::chrono::seconds(2);
    Open(limits, 100);
    SClient slow(m_io, m_server->PortTcp());
    SClient good(m_io, m_server->PortTcp());
    slow.Send(Command(eCommandDataOn));
    good.Send(Command(eCommandDataOn));
    Until([&] { return m_server->Counters().nCommands == 2; });
    std::size_t nSent = 0;
    std::size_t nGood = 0;
    while (m_strLines.find("does not receive") == std::string::npos)
    {
        for (int i = 0; i < 10; ++i, ++nSent)
            SendData();
        Until([&] { return (nGood += good.Kinds().size()) == nSent; });
    }
    EXPECT_GE(m_server->Counters().nDropped, 1U);
    Until([&] { return slow.Kinds().empty() && slow.bClosed; });
    EXPECT_EQ(slow.counters.nCrcErrors, 0U) << "frames stay whole";
    EXPECT_EQ(slow.counters.nResyncs, 0U);
    EXPECT_EQ(KindsUpToHeader(good), (TBytes{0x11}));
}

TEST_F(Output, WhatIsNotForTheServerIsCountedAndIgnored)
{
    Open();
    SClient client(m_io, m_server->PortTcp());
    TBytes vecnBad = Command(eCommandDataOn);
    vecnBad.back() ^= 1U;
    client.Send(vecnBad);
    client.Send({0xAA, 0x41, 0xFF, 0xFF, 0x00, 0xAA, 0x00});
    client.Send(Command(eCommandDataOn, 2));
    for (const std::uint16_t nCommand : {0, 7, 8, 0x0100, 0xFFFF})
        client.Send(Command(nCommand));
    TBytes vecnData;
    EncodeData(m_config, EmptyData(m_config), vecnData);
    client.Send(vecnData);
    Until([&] { return m_server->Counters().nReserved == 6; });
    SendData();
    EXPECT_EQ(KindsUpToHeader(client), (TBytes{0x11}));
    EXPECT_EQ(m_server->Counters().nForeign, 1U);
    EXPECT_GE(m_server->Counters().received.nCrcErrors, 1U);
    EXPECT_EQ(m_server->Counters().nCommands, 1U);
}

TEST_F(Output, ClientThatTakesNoAnswersIsNotAnsweredWithoutEnd)
{
    SOutputLimits limits;
    limits.nMaxClients = 1;
    Open(limits, 100);
    SClient client(m_io, m_server->PortTcp());
    Until(
        [&]
        {
            client.Send(Command(eCommandCfg2));
            return m_server->Counters().nUnanswered > 10;
        });
    SClient beyond(m_io, m_server->PortTcp());
    Until([&] { return beyond.Kinds().empty() && beyond.bClosed; });
    EXPECT_EQ(m_server->Counters().nRefused, 1U);
}

TEST(OutputConfig, StationNamesFitDifferAndTellTheJob)
{
    SOutputStreamConfig output;
    output.vecPmu = {Mode(612, "NORTH", 1), Mode(622, "CENTRE_TO_SOUTH_1", 5), Mode(632, "CENTRE_TO_SOUTH_2", 9),
                     Mode(70000, "EAST", 13), Mode(612, "WEST", 17)};
    const SConfigFrame config = OutputConfig(output, 1, false);
    const SConfigFrame longer = OutputConfig(output, 1, true);
    const std::vector<std::string> vecstrName = {"NORTH 0.2-0.8", "CENTRE_TO_SO 622", "CENTRE_TO_SO 632",
                                                 "EAST 0.2-0.8", "WEST 0.2-0.8"};
    const std::vector<std::uint16_t> vecnId = {612, 622, 632, 1, 2};
    for (std::size_t i = 0; i < vecnId.size(); ++i)
    {
        EXPECT_EQ(config.vecPmu[i].strStation, vecstrName[i]);
        EXPECT_EQ(config.vecPmu[i].nIdCode, vecnId[i]);
        EXPECT_EQ(config.vecPmu[i].nCfgCnt, longer.vecPmu[i].nCfgCnt);
    }
    EXPECT_EQ(longer.vecPmu[1].strStation, "CENTRE_TO_SOUTH_1 0.2 to 0.8 Hz");
    output.vecPmu[0].strName = "NORTH 2";
    EXPECT_NE(OutputConfig(output, 1, false).vecPmu[0].nCfgCnt, config.vecPmu[0].nCfgCnt);
}

TEST(CResultFrames, ValuesAndLevelsStandInTheFramesOfTheirTime)
{
    SOutputStreamConfig output;
    output.vecPmu = {Mode(612, "NORTH", 1)};
    output.nWait_ms = 100;
    CResultFrames frames(output, OutputConfig(output, 2, false));
    const CResultFrames::TTime tNow{};
    const auto fnValue = [&](std::int64_t p_nHalf, float p_fValue, int p_eQual)
    { frames.OnValue(2, 1, g_nBegin + p_nHalf * g_nSecond / 2, p_fValue, p_eQual); };
    for (int i = 0; i <= 300; ++i) // 50 per second, some twice
        frames.OnCycle(g_nBegin + i * g_nSecond / 50);
    frames.OnTaken(g_nBegin + 5 * g_nSecond, tNow);
    fnValue(2, 7.0F, 0);
    fnValue(4, 8.0F, 1);
    fnValue(6, 9.0F, 2);
    fnValue(8, INFINITY, 0);
    frames.OnEvent({g_nBegin + g_nSecond, 0, 4206, 1, 3, 612, "", ""});
    frames.OnEvent({g_nBegin + 2 * g_nSecond, 0, 4206, 0, 3, 612, "", ""});
    frames.OnEvent({g_nBegin + 2 * g_nSecond, 0, 4203, 1, 3, 612, "", ""});
    frames.OnEvent({g_nBegin, 0, 4203, 1, 2, 612, "", ""}); // about another kind of element

    EXPECT_EQ(frames.Next(tNow + std::chrono::milliseconds(99), false), nullptr);
    const float fNone = NAN;
    // Two frames per second: a value of one per second is used for two frames.
    const std::vector<std::tuple<std::uint16_t, float, std::uint16_t>> vecExpected = {
        {0x8000, fNone, 0}, {0x8000, fNone, 0}, {0, 7.0F, 1},       {0, 7.0F, 1},
        {0x4000, 8.0F, 8},  {0x4000, 8.0F, 8},  {0x8000, fNone, 8}, {0x8000, fNone, 8},
        {0x8000, fNone, 8}, {0x8000, fNone, 8}, {0x8000, fNone, 8}};
    for (std::size_t i = 0; i < vecExpected.size(); ++i)
    {
        const SDataFrame* pData = frames.Next(tNow + std::chrono::milliseconds(100), false);
        ASSERT_NE(pData, nullptr);
        const auto& [nStat, fValue, nLevel] = vecExpected[i];
        EXPECT_EQ(FrameTicks(pData->head, 1000000), g_nBegin + static_cast<std::int64_t>(i) * g_nSecond / 2);
        EXPECT_EQ(pData->vecPmu[0].nStat, nStat | g_nStatConfigChange) << i;
        EXPECT_EQ(pData->vecPmu[0].vecfAnalog[1] == fValue, !std::isnan(fValue)) << i;
        EXPECT_EQ(pData->vecPmu[0].vecnDigital[0], nLevel) << i;
    }
    EXPECT_EQ(frames.Next(tNow + std::chrono::seconds(9), false), nullptr) << "nobody has received that cycle";

    while (frames.Next(tNow, true) != nullptr)
    {
    }
    frames.OnCycle(g_nBegin + 61 * g_nSecond);
    EXPECT_EQ(frames.Next(tNow, true)->vecPmu[0].nStat, 0x8000) << "a minute later";
}
