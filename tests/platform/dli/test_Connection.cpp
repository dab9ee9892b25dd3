#include "CLinkStream.h"
#include "LinkBench.h"
#include "link.pb.h"
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

namespace
{
/// A client that keeps to no rules.
class CRawClient
{
  public:
    explicit CRawClient(unsigned p_nPort) : m_ws(m_io)
    {
        m_ws.next_layer().connect({asio::ip::make_address("127.0.0.1"), static_cast<std::uint16_t>(p_nPort)});
    }
    boost::system::error_code Shake(const std::string& p_strOrigin = "")
    {
        m_ws.set_option(websocket::stream_base::decorator(
            [p_strOrigin](websocket::request_type& r_request)
            {
                if (!p_strOrigin.empty())
                    r_request.set(boost::beast::http::field::origin, p_strOrigin);
            }));
        boost::system::error_code ec;
        m_ws.handshake("localhost", "/dli", ec);
        return ec;
    }
    void Send(const std::string& p_strBytes, bool p_bBinary = true)
    {
        boost::system::error_code ecIgnored;
        m_ws.binary(p_bBinary);
        m_ws.write(asio::buffer(p_strBytes), ecIgnored);
    }
    void ReadUntilClosed()
    {
        boost::system::error_code ec;
        while (!ec)
        {
            boost::beast::flat_buffer buffer;
            m_ws.read(buffer, ec);
        }
    }

  private:
    asio::io_context m_io;
    websocket::stream<asio::ip::tcp::socket> m_ws;
};

class Connection : public CLinkBench
{
};

TEST_F(Connection, InitAnswersZeroIfNothingListensAndThrowsIfThereIsNoSuchAddress)
{
    StartServer();
    const unsigned nPort = m_config.nPortEvent;
    EXPECT_NE(Init(eElemOMA, "A", "127.0.0.1", nPort), 0U);
    m_pServer.reset();
    EXPECT_EQ(Init(eElemOMA, "A", "127.0.0.1", nPort), 0U);
    EXPECT_THROW(Init(eElemOMA, "A", "not an address", nPort), CDliError);
    EXPECT_THROW(Init(eElemOMA, "A", "127.0.0.1", 0), CDliError);
    EXPECT_THROW(Init(eElemOMA, "A", "127.0.0.1", 70000), CDliError);
}

TEST_F(Connection, ComesBackByItselfEachTimeTheServerIsStartedAgain)
{
    StartServer(50, 1000);
    CReader reader(ConnectEvent(), {1}, 50);
    for (std::size_t i = 1; i <= 5; ++i)
    {
        ASSERT_TRUE(Eventually([&] { return reader.m_log.Count(eReqCycle) == i; }));
        const std::size_t nSeen = reader.m_log.Seen().size();
        ASSERT_TRUE(Eventually([&] { return reader.m_log.Seen().size() > nSeen; }));
        m_pServer.reset();
        ASSERT_TRUE(Eventually([&] { return reader.m_log.Count(eNotConnected) == i; }));
        StartServer(50, 1000);
    }
    std::vector<unsigned long> vecOrder;
    for (const TStatus& status : reader.m_log.StatusCalls())
        vecOrder.push_back(std::get<0>(status));
    for (std::size_t i = 0; i + 1 < vecOrder.size(); ++i)
        EXPECT_EQ(vecOrder[i + 1], vecOrder[i] == 1 ? 9U : vecOrder[i] == 9 ? 3U : 1U);
}

/// An event that outlives its output is never reported again, so writers must not know first.
TEST_F(Connection, WhicheverOfTwoIsLostReadersKnowItAheadOfWritersAndBothComeBack)
{
    StartServer();
    CReader reader(ConnectEvent(), {1}, 50, false);
    CWriteLog writerLog;
    unsigned long hData = ConnectData();
    CChanneldataWrite writer(hData);
    std::mutex mtx;
    std::string strOrder;
    const auto fnNote = [&](char p_chWho)
    {
        return [&, p_chWho](unsigned long p_eStatus)
        {
            const std::lock_guard<std::mutex> lock(mtx);
            if (p_eStatus == eNotConnected)
                strOrder += p_chWho;
        };
    };
    reader.m_log.OnStatus(fnNote('r'));
    writerLog.OnStatus(fnNote('w'));
    reader.m_data.SetCallBack(&reader.m_log);
    writer.SetCallBack(&writerLog);

    using TDrop = Link::ControlRequest;
    const std::vector<std::vector<TDrop::Kind>> vecCase = {
        {TDrop::DROP_EVENT}, {TDrop::DROP_DATA}, {TDrop::DROP_ALL}, {TDrop::DROP_DATA, TDrop::DROP_EVENT}};
    for (std::size_t i = 0; i <= vecCase.size(); ++i)
    {
        ASSERT_TRUE(Eventually(
            [&] { return reader.m_log.Count(eConnected) == i + 1 && writerLog.Count(eConnected) == i + 1; }));
        if (i == vecCase.size())
            break;
        Link::Frame frame;
        frame.add_messages()->mutable_hello()->set_version(Link::g_nLinkVersion);
        frame.mutable_messages(0)->mutable_hello()->set_name("raw");
        for (const TDrop::Kind eDrop : vecCase[i])
            frame.add_messages()->mutable_control_request()->set_kind(eDrop);
        CRawClient raw(m_config.nPortEvent);
        ASSERT_FALSE(raw.Shake());
        raw.Send(frame.SerializeAsString());
        ASSERT_TRUE(Eventually([&] { return writerLog.Count(eNotConnected) == i + 1; }));
    }
    writer.SetCallBack(nullptr);
    const std::lock_guard<std::mutex> lock(mtx);
    EXPECT_EQ(strOrder, "rwrwrwrw");
}

/// A job that is in the middle of a pass takes its stop after it, however long the pass lasts.
TEST_F(Connection, WritersHearOfALossWhenTheReadersCallsHaveReturnedAndTheJobHasStopped)
{
    StartServer();
    std::mutex mtx;
    std::string strOrder;
    const auto fnNote = [&](char p_chWho)
    {
        const std::lock_guard<std::mutex> lock(mtx);
        strOrder += p_chWho;
    };
    CWriteLog writerLog;
    unsigned long hData = ConnectData();
    CChanneldataWrite writer(hData);
    writer.SetCallBack(&writerLog);
    std::vector<unsigned long> vecnId = {9001};
    writer.Start(801, vecnId, 50);
    ASSERT_TRUE(Eventually([&] { return writerLog.Count(eWriteResponse) == 1; }));
    writerLog.OnStatus([&](unsigned long p_eStatus) { p_eStatus == eNotConnected ? fnNote('w') : void(); });

    std::thread job;
    CReader reader(ConnectEvent(), {1}, 50, false);
    reader.m_log.OnStatus(
        [&](unsigned long p_eStatus)
        {
            if (p_eStatus != eNotConnected)
                return;
            job = std::thread(
                [&]
                {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // the rest of its pass
                    fnNote('j');
                    writer.Stop(801);
                });
            std::this_thread::sleep_for(std::chrono::milliseconds(700));
            fnNote('r');
        });
    reader.m_data.SetCallBack(&reader.m_log);
    ASSERT_TRUE(Eventually([&] { return reader.m_log.Count(eConnected) == 1; }));
    m_pServer.reset();
    ASSERT_TRUE(Eventually([&] { return writerLog.Count(eNotConnected) == 1; }));
    job.join();
    writer.SetCallBack(nullptr);
    EXPECT_EQ(strOrder, "rjw");
}

TEST_F(Connection, WrongMessagesCloseTheirConnectionWithOneLineAndHurtNobodyElse)
{
    StartServer();
    unsigned long hConn = ConnectEvent();
    CEventLog log;
    CEventdata& events = CEventdata::GetInstance(hConn);
    events.AddCallBack(&log, eElemOMA);

    Link::Frame hello;
    hello.add_messages()->mutable_hello()->set_version(Link::g_nLinkVersion);
    hello.mutable_messages(0)->mutable_hello()->set_name("raw");
    Link::Frame oldHello = hello;
    oldHello.mutable_messages(0)->mutable_hello()->set_version(77);
    Link::Frame wrongPort = hello;
    wrongPort.add_messages()->mutable_start_write()->set_pmu(1);
    Link::Frame wrongEvent = hello;
    wrongEvent.add_messages()->mutable_post_event()->mutable_event()->set_transition(5);
    Link::Frame noChannels = hello;
    noChannels.add_messages()->mutable_start_set()->set_rate(50);
    Link::Frame noHello;
    noHello.add_messages()->mutable_subscribe();
    Link::Frame twice = hello;
    *twice.add_messages() = hello.messages(0);

    const std::vector<std::pair<std::string, std::string>> vecCase = {
        {"text", "malformed message of 4 bytes"},
        {"\xFF\xFF\xFF garbage", "malformed message of 11 bytes"},
        {std::string((4U << 10U) + 1, 'x'), "message larger than 4096 bytes"},
        {oldHello.SerializeAsString(), "version 77 of the link: expected 2"},
        {wrongPort.SerializeAsString(), "unexpected message"},
        {wrongEvent.SerializeAsString(), "transition 5"},
        {noChannels.SerializeAsString(), "start of a read set without channels"},
        {noHello.SerializeAsString(), "message ahead of the greeting"},
        {twice.SerializeAsString(), "wrong greeting"}};
    for (const auto& [strBytes, strLine] : vecCase)
    {
        CRawClient raw(m_config.nPortEvent);
        ASSERT_FALSE(raw.Shake());
        raw.Send(strBytes, strBytes != "text");
        raw.ReadUntilClosed();
        EXPECT_TRUE(Eventually([&, strExpected = strLine] { return HasLine(strExpected); })) << strLine;
    }
    CRawClient page(m_config.nPortEvent);
    EXPECT_TRUE(page.Shake("http://example.com")) << "a web page of the user's browser is kept out";

    events.Read(g_nT0, 0);
    EXPECT_TRUE(Eventually([&] { return log.Count(eReqFinished) == 1; }));
    EXPECT_EQ(log.Count(eNotConnected), 0U);
    events.RemoveCallBack(&log);
}

TEST_F(Connection, StuckCallBackDoesNotKeepTheProcessFromEnding)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto GetStuckAndExit = [this]
    {
        StartServer();
        unsigned long hConn = ConnectEvent();
        static auto* const pLog = new CEventLog;
        pLog->OnStatus(
            [](unsigned long)
            {
                for (;;)
                    std::this_thread::sleep_for(std::chrono::hours(1));
            });
        CEventdata::GetInstance(hConn).AddCallBack(pLog, eElemOMA);
        const bool bStuck = Eventually([] { return pLog->Count(eConnected) == 1; });
        m_pServer.reset();
        std::filesystem::remove_all(m_strDir);
        std::exit(bStuck ? 0 : 1);
    };
    EXPECT_EXIT(GetStuckAndExit(), testing::ExitedWithCode(0), "");
}
} // namespace
