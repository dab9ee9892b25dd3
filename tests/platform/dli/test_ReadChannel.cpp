#include "LinkBench.h"
#include <future>

namespace
{
class ReadChannel : public CLinkBench
{
  protected:
    /// Returns when everything that the server has sent on this connection so far has arrived.
    static bool AwaitArrival(unsigned long p_hConn)
    {
        CEventLog log;
        CEventdata& events = CEventdata::GetInstance(p_hConn);
        events.AddCallBack(&log, eElemOMA);
        events.Read(g_nT0, 0);
        const bool bDone = Eventually([&] { return log.Count(eReqFinished) == 1; });
        events.RemoveCallBack(&log);
        return bDone;
    }
};

TEST_F(ReadChannel, DeliversAllCyclesInOrderWithTheChannelsAsDeclared)
{
    m_options.bOnce = true;
    StartServer(50, 500);
    CReader reader(ConnectEvent(), {3, 1, 99}, 50);
    ASSERT_TRUE(Eventually([&] { return m_bEnded.load(); }));
    const std::vector<SSeen> vecSeen = reader.m_log.Seen();
    ASSERT_EQ(vecSeen.size(), 500U);
    for (std::size_t n = 0; n < vecSeen.size(); ++n)
    {
        EXPECT_EQ(vecSeen[n].nTicks, g_nT0 + static_cast<std::int64_t>(n) * 200000);
        const bool bThird = n % 2 == 0;
        EXPECT_EQ(vecSeen[n].vecfMagn[0], 300.0F + static_cast<float>(bThird ? n : n - 1))
            << "a missing sample carries the last value";
        EXPECT_EQ(vecSeen[n].vecfMagn[1], 100.0F + static_cast<float>(n));
        EXPECT_EQ((vecSeen[n].vecnState[0] & 0xE030) == 0, bThird);
        EXPECT_EQ(vecSeen[n].vecnState[1], 0);
        EXPECT_NE(vecSeen[n].vecnState[2] & 0xE030, 0) << "an unknown id reads as INVALID";
    }
    EXPECT_FALSE(reader.m_log.m_bOverlap);
    const std::vector<TStatus> vecExpected = {{1, 0, 0}, {9, 0, 20}};
    const std::vector<TStatus> vecStatus = reader.m_log.StatusCalls();
    EXPECT_EQ(std::vector<TStatus>(vecStatus.begin(), vecStatus.begin() + 2), vecExpected);
}

TEST_F(ReadChannel, FirstCycleComesWhenTheAnswerToTheStartHasBeenTaken)
{
    m_options.bLive = true;
    m_options.fSpeed = 20.0;
    StartServer(50, 100000);
    CReader reader(ConnectEvent(), {1}, 50, false);
    std::atomic<bool> bTooEarly{false};
    reader.m_log.OnStatus(
        [&](unsigned long p_eStatus)
        {
            if (p_eStatus == eConnected)
                reader.m_data.Start(1, 2, static_cast<ESampleRate>(50), 0);
            else if (p_eStatus == eReqCycle)
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(50)); // cycles arrive every ms meanwhile
                bTooEarly = !reader.m_log.Seen().empty();
            }
        });
    reader.m_data.SetCallBack(&reader.m_log);
    ASSERT_TRUE(Eventually([&] { return !reader.m_log.Seen().empty(); }));
    EXPECT_FALSE(bTooEarly);
}

TEST_F(ReadChannel, LiveSourceKeepsTenSecondsForABusyReceiveAndDropsTheOldest)
{
    m_options.bLive = true;
    m_options.fSpeed = 200.0;
    StartServer(50, 2000);
    const unsigned long hConn = ConnectEvent();
    CReader reader(hConn, {1}, 50, false);
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    reader.m_log.OnReceive([released] { released.wait(); });
    reader.m_data.SetCallBack(&reader.m_log);
    ASSERT_TRUE(Eventually([&] { return HasLine("the source has ended"); }));
    EXPECT_TRUE(AwaitArrival(hConn));
    release.set_value();
    ASSERT_TRUE(Eventually([&] { return reader.m_log.Seen().size() == 501; }));
    const std::vector<SSeen> vecSeen = reader.m_log.Seen();
    for (std::size_t n = 1; n < vecSeen.size(); ++n)
        ASSERT_EQ(vecSeen[n].vecfMagn[0], 100.0F + 1499.0F + static_cast<float>(n)) << "the newest 500 are kept";
}

TEST_F(ReadChannel, StalledCallBackDelaysNobodyElse)
{
    m_options.bLive = true;
    m_options.fSpeed = 20.0;
    StartServer(50, 1000000);
    unsigned long hConn = ConnectEvent();
    unsigned long hData = ConnectData();
    CReader stalled(hConn, {1}, 50, false);
    CReader stalledStatus(hConn, {1}, 50, false);
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    stalled.m_log.OnReceive([released] { released.wait(); });
    stalledStatus.m_log.OnStatus([released](unsigned long) { released.wait(); });
    stalled.m_data.SetCallBack(&stalled.m_log);
    stalledStatus.m_data.SetCallBack(&stalledStatus.m_log);
    ASSERT_TRUE(Eventually([&] { return stalled.m_log.Seen().size() == 1; }));

    CReader reader(hConn, {2}, 50);
    EXPECT_TRUE(Eventually([&] { return reader.m_log.Seen().size() >= 200; }));
    EXPECT_TRUE(AwaitArrival(hConn));
    CWriteLog write;
    CChanneldataWrite channel(hData);
    channel.SetCallBack(&write);
    std::vector<unsigned long> vecnId = {9};
    channel.Start(800, vecnId, 1);
    EXPECT_TRUE(Eventually([&] { return write.Count(eWriteResponse) == 1; }));
    channel.SetCallBack(nullptr);
    EXPECT_EQ(stalled.m_log.Seen().size(), 1U);
    release.set_value();
}

TEST_F(ReadChannel, StatusComesWhileReceiveIsBusy)
{
    StartServer(50, 1000);
    CReader reader(ConnectEvent(), {1}, 50, false);
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    reader.m_log.OnReceive([released] { released.wait(); });
    reader.m_data.SetCallBack(&reader.m_log);
    ASSERT_TRUE(Eventually([&] { return reader.m_log.Seen().size() == 1; }));
    m_pServer.reset();
    EXPECT_TRUE(Eventually([&] { return reader.m_log.Count(eNotConnected) == 1; }));
    release.set_value();
}

TEST_F(ReadChannel, NoCallIsUnderWayOrComesWhenTheCallBackHasBeenTakenBack)
{
    m_options.bLive = true;
    m_options.fSpeed = 20.0;
    StartServer(50, 1000000);
    CReader reader(ConnectEvent(), {1}, 50, false);
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    reader.m_log.OnReceive([released] { released.wait(); });
    reader.m_data.SetCallBack(&reader.m_log);
    ASSERT_TRUE(Eventually([&] { return reader.m_log.Seen().size() == 1; }));

    std::atomic<bool> bReturned{false};
    std::atomic<bool> bReturnedTooEarly{false};
    std::thread clear(
        [&]
        {
            reader.m_data.SetCallBack(nullptr);
            bReturned = true;
        });
    std::thread opener(
        [&]
        {
            // The call is inside Receive: however long it takes, SetCallBack must not return before the call does.
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            bReturnedTooEarly = bReturned.load();
            release.set_value();
        });
    clear.join();
    opener.join();
    EXPECT_FALSE(bReturnedTooEarly);
    const std::size_t nSeen = reader.m_log.Seen().size();
    const std::size_t nStatus = reader.m_log.StatusCalls().size();
    CReader other(ConnectEvent(), {1}, 50);
    ASSERT_TRUE(Eventually([&] { return other.m_log.Seen().size() >= 100; }));
    EXPECT_EQ(reader.m_log.Seen().size(), nSeen);
    EXPECT_EQ(reader.m_log.StatusCalls().size(), nStatus);
}

TEST_F(ReadChannel, CallBackMayTakeItselfBackFromInsideBothOfItsCalls)
{
    m_options.bLive = true;
    m_options.fSpeed = 20.0;
    StartServer(50, 1000000);
    CReader reader(ConnectEvent(), {1}, 50, false);
    std::atomic<int> nBack{0};
    reader.m_log.OnReceive(
        [&]
        {
            reader.m_data.SetCallBack(nullptr);
            ++nBack;
        });
    reader.m_data.SetCallBack(&reader.m_log);
    EXPECT_TRUE(Eventually([&] { return nBack == 1; }));

    CDataLog log;
    CChanneldata data(*std::make_unique<unsigned long>(ConnectEvent()));
    log.OnStatus(
        [&](unsigned long)
        {
            data.SetCallBack(nullptr);
            ++nBack;
        });
    data.SetCallBack(&log);
    EXPECT_TRUE(Eventually([&] { return nBack == 2; }));
}

TEST_F(ReadChannel, ExceptionOutOfACallBackStopsNothing)
{
    StartServer(50, 10);
    CReader reader(ConnectEvent(), {1}, 50, false);
    reader.m_log.OnReceive([] { throw std::runtime_error("from the application"); });
    reader.m_data.SetCallBack(&reader.m_log);
    EXPECT_TRUE(Eventually([&] { return reader.m_log.Seen().size() == 10; }));
}
} // namespace
