#include "LinkBench.h"
#include "link.pb.h"
#include "vds/CommandLine.h"
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
    void Send(const Link::Frame& p_frame) { Send(p_frame.SerializeAsString()); }
    /// Reads until the server closes.
    bool IsClosed()
    {
        boost::system::error_code ec;
        while (!ec)
        {
            boost::beast::flat_buffer buffer;
            m_ws.read(buffer, ec);
        }
        return true;
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

TEST_F(Connection, SilentServerIsGivenUp)
{
    StartServer();
    unsigned long hConn = ConnectEvent();
    CEventLog log;
    CEventdata::GetInstance(hConn).AddCallBack(&log, eElemOMA);
    const std::string strAddr = "127.0.0.1:" + std::to_string(m_config.nPortEvent);
    ASSERT_EQ(RunVdsCtl({strAddr, "stall", "6"}), 0);
    EXPECT_TRUE(Eventually([&] { return log.Count(eNotConnected) == 1; }));
    EXPECT_TRUE(Eventually([&] { return log.Count(eConnected) == 2; }));
    CEventdata::GetInstance(hConn).RemoveCallBack(&log);
}

TEST_F(Connection, CallBackOnAStandingConnectionIsToldOnAThreadOfTheLibrary)
{
    StartServer();
    unsigned long hConn = ConnectEvent();
    CEventLog log;
    std::atomic<std::thread::id> idThread;
    log.OnStatus([&](unsigned long) { idThread = std::this_thread::get_id(); });
    CEventdata::GetInstance(hConn).AddCallBack(&log, eElemOMA);
    ASSERT_TRUE(Eventually([&] { return log.Count(eConnected) == 1; }));
    ASSERT_TRUE(Eventually([&] { return idThread.load() != std::thread::id(); }));
    EXPECT_NE(idThread.load(), std::this_thread::get_id());
    CEventdata::GetInstance(hConn).RemoveCallBack(&log);
}

TEST_F(Connection, WrongMessagesCloseTheirConnectionWithOneLineAndHurtNobodyElse)
{
    StartServer();
    unsigned long hConn = ConnectEvent();
    CEventLog log;
    CEventdata& events = CEventdata::GetInstance(hConn);
    events.AddCallBack(&log, eElemOMA);

    Link::Frame hello;
    hello.add_messages()->mutable_hello()->set_version(1);
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
        {"\xFF\xFF\xFF garbage", "malformed message of 11 bytes"},
        {std::string((4U << 20U) + 1, 'x'), "message larger than 4194304 bytes"},
        {oldHello.SerializeAsString(), "version 77 of the link: expected 1"},
        {wrongPort.SerializeAsString(), "unexpected message"},
        {wrongEvent.SerializeAsString(), "transition 5"},
        {noChannels.SerializeAsString(), "start of a read set without channels"},
        {noHello.SerializeAsString(), "message ahead of the greeting"},
        {twice.SerializeAsString(), "wrong greeting"}};
    for (const auto& [strBytes, strLine] : vecCase)
    {
        CRawClient raw(m_config.nPortEvent);
        ASSERT_FALSE(raw.Shake());
        raw.Send(strBytes);
        EXPECT_TRUE(raw.IsClosed());
        EXPECT_TRUE(Eventually([&, strExpected = strLine] { return HasLine(strExpected); })) << strLine;
    }
    {
        CRawClient raw(m_config.nPortEvent);
        ASSERT_FALSE(raw.Shake());
        raw.Send("text", false);
        EXPECT_TRUE(raw.IsClosed());
        EXPECT_TRUE(Eventually([&] { return HasLine("malformed message of 4 bytes"); }));
    }
    CRawClient page(m_config.nPortEvent);
    EXPECT_TRUE(page.Shake("http://example.com")) << "a web page of the user's browser is kept out";

    events.Read(g_nT0, 0);
    EXPECT_TRUE(Eventually([&] { return log.Count(eReqFinished) == 1; }));
    EXPECT_EQ(log.Count(eNotConnected), 0U);
    events.RemoveCallBack(&log);
}

TEST_F(Connection, ControlToolPostsShowsAndCuts)
{
    StartServer();
    unsigned long hConn = ConnectEvent();
    unsigned long hData = ConnectData();
    CEventLog log;
    CWriteLog write;
    CEventdata::GetInstance(hConn).AddCallBack(&log, eElemOMA);
    CEventdata::GetInstance(hConn).Subscribe(g_nT0, 2, 0, 0);
    CChanneldataWrite channel(hData);
    channel.SetCallBack(&write);
    std::vector<unsigned long> vecnId = {9010};
    channel.Start(802, vecnId, 1);
    ASSERT_TRUE(Eventually([&] { return write.Count(eWriteResponse) == 1; }));

    const std::string strAddr = "127.0.0.1:" + std::to_string(m_config.nPortEvent);
    testing::internal::CaptureStdout();
    EXPECT_EQ(RunVdsCtl({strAddr, "post", "4203", "APP", "3", "601", "a text"}), 0);
    EXPECT_EQ(RunVdsCtl({strAddr, "standing"}), 0);
    EXPECT_EQ(RunVdsCtl({strAddr, "channels"}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "2026-01-01T00:00:00.0000000Z 4203 3 601 vdsctl a text\n802 9010 - - - started\n");
    EXPECT_TRUE(Eventually([&] { return log.Events().size() == 1; }));

    EXPECT_EQ(RunVdsCtl({strAddr, "drop", "data"}), 0);
    EXPECT_TRUE(Eventually([&] { return write.Count(eNotConnected) == 1; }));
    EXPECT_EQ(log.Count(eNotConnected), 0U);
    EXPECT_EQ(RunVdsCtl({strAddr, "drop"}), 0);
    EXPECT_TRUE(Eventually([&] { return log.Count(eNotConnected) == 1 && log.Count(eConnected) == 2; }));

    testing::internal::CaptureStderr();
    const std::vector<std::vector<std::string>> vecBad = {{strAddr},
                                                          {strAddr, "dance"},
                                                          {strAddr, "post", "x", "APP", "3", "1"},
                                                          {strAddr, "post", "7", "UP", "3", "1"},
                                                          {strAddr, "post", "7", "APP", "3"},
                                                          {strAddr, "drop", "everything"},
                                                          {strAddr, "stall", "-1"},
                                                          {strAddr, "stall", "nan"},
                                                          {strAddr, "standing", "now"},
                                                          {"127.0.0.1:0", "standing"},
                                                          {":", "standing"},
                                                          {"nowhere", "standing"},
                                                          {"127.0.0.1:1", "standing"}};
    for (const std::vector<std::string>& vecstrArg : vecBad)
        EXPECT_NE(RunVdsCtl(vecstrArg), 0) << vecstrArg.back();
    testing::internal::GetCapturedStderr();
    CEventdata::GetInstance(hConn).RemoveCallBack(&log);
}

TEST_F(Connection, PortInUseAndUnusableFilesAreToldAtTheStart)
{
    StartServer();
    const auto Fails =
        [this](const std::string& p_strPart, const SServerOptions& p_options, const SServerConfig& p_config)
    {
        CServer server(p_config, std::make_unique<CTestSource>(50, 1), p_options);
        try
        {
            server.Start();
        }
        catch (const std::runtime_error& ex)
        {
            return std::string(ex.what()).find(p_strPart) != std::string::npos;
        }
        return false;
    };
    EXPECT_TRUE(Fails("port 127.0.0.1:" + std::to_string(m_config.nPortEvent) + " is in use", m_options, m_config));
    SServerConfig config;
    SServerOptions options = m_options;
    options.strLogDir = m_strDir + "/none";
    EXPECT_TRUE(Fails("/none/events.jsonl': cannot be opened", options, config));
    options = m_options;
    options.strStateFile = m_strDir + "/bad.jsonl";
    std::ofstream(options.strStateFile) << "{}\n";
    EXPECT_TRUE(Fails("bad.jsonl', line 1: expected an event", options, config));
    config.strAddr = "everywhere";
    EXPECT_TRUE(Fails("address 'everywhere': expected", m_options, config));
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

TEST_F(Connection, ObjectsThatTheApplicationNeverDeletesAreNoLeak)
{
    StartServer();
    unsigned long hConn = ConnectEvent();
    unsigned long hData = ConnectData();
    auto* pData = new CChanneldata(hConn); // left to the library, as a session does that has ended
    auto* pWrite = new CChanneldataWrite(hData);
    std::vector<unsigned long> vecnId = {1};
    std::vector<int> vecnType = {8};
    pData->Add(vecnId, vecnType, 0, 0, 0);
    EXPECT_NO_THROW(pWrite->Start(1, vecnId, 1));
}
} // namespace
