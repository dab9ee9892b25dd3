#include "LinkBench.h"
#include "vds/config/CommandLine.h"
#include <future>

namespace
{
class Events : public CLinkBench
{
  protected:
    static constexpr EIncidenceKey g_eKey = eIkPsCritical;

    void Connect()
    {
        m_hConn = ConnectEvent();
        m_pEvents = &CEventdata::GetInstance(m_hConn);
        m_pEvents->AddCallBack(&m_log, eElemOMA);
    }
    ~Events() override
    {
        if (m_pEvents)
            m_pEvents->RemoveCallBack(&m_log);
    }

    /// An operator's post; the server has accepted it when this returns.
    void Post(int p_nKey, const char* p_pTrans, int p_nElem, const std::string& p_strText)
    {
        ASSERT_EQ(RunVdsCtl({"127.0.0.1:" + std::to_string(m_config.nPortEvent), "post", std::to_string(p_nKey),
                             p_pTrans, std::to_string(p_nElem), "1", p_strText}),
                  0);
    }
    /// The requests that the application makes on each connection.
    std::int64_t ReadNow()
    {
        const std::int64_t nNow = WallTicks();
        const std::size_t nDone = m_log.Count(eReqFinished);
        m_pEvents->Read(nNow, 0);
        EXPECT_TRUE(Eventually([&] { return m_log.Count(eReqFinished) == nDone + 1; }));
        return nNow;
    }
    /// Everything received, once the last expected event is there.
    std::vector<std::string> EventsUpTo(const std::string& p_strLast)
    {
        std::vector<std::string> vecstrEvent;
        EXPECT_TRUE(Eventually(
            [&]
            {
                for (std::string& r_strEvent : m_log.TakeEvents())
                    vecstrEvent.push_back(std::move(r_strEvent));
                return !vecstrEvent.empty() && vecstrEvent.back() == p_strLast;
            }))
            << testing::PrintToString(vecstrEvent);
        return vecstrEvent;
    }
    void Lose()
    {
        const std::size_t nLost = m_log.Count(eNotConnected);
        m_pServer.reset();
        ASSERT_TRUE(Eventually([&] { return m_log.Count(eNotConnected) == nLost + 1; }));
    }
    void ComeBack()
    {
        const std::size_t nUp = m_log.Count(eConnected);
        StartServer();
        ASSERT_TRUE(Eventually([&] { return m_log.Count(eConnected) == nUp + 1; }));
    }
    using TEvents = std::vector<std::string>;

    unsigned long m_hConn = 0;
    CEventdata* m_pEvents = nullptr;
    CEventLog m_log;
};

TEST_F(Events, ReplyToReadIsNeverAheadOfItsNumber)
{
    StartServer();
    Connect();
    std::atomic<unsigned long> lStored{0};
    std::atomic<int> nWrong{0};
    m_log.OnReceive([&](unsigned long p_lReqNum) { nWrong += p_lReqNum == lStored ? 0 : 1; });
    for (std::size_t i = 1; i <= 5; ++i)
    {
        lStored = m_pEvents->Read(g_nT0, 0);
        ASSERT_TRUE(Eventually([&] { return m_log.Count(eReqFinished) == i; }));
    }
    EXPECT_EQ(nWrong, 0);
    EXPECT_EQ(m_log.Replies().size(), 5U) << "no event is active: the reply is an empty delivery";
}

TEST_F(Events, RequestIsFinishedWhenItsReplyHasBeenTaken)
{
    StartServer();
    Connect();
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    m_log.OnReceive([released](unsigned long) { released.wait(); });
    m_pEvents->Read(g_nT0, 0);
    ASSERT_TRUE(Eventually([&] { return m_log.Replies().size() == 1; }));
    EXPECT_EQ(m_log.Count(eReqFinished), 0U);
    release.set_value();
    EXPECT_TRUE(Eventually([&] { return m_log.Count(eReqFinished) == 1; }));
}

TEST_F(Events, SubscriptionAndUnansweredReadLiveOnOverALoss)
{
    StartServer();
    Connect();
    m_pEvents->Subscribe(g_nT0, 2, 0, 0);
    m_pServer.reset();
    ASSERT_TRUE(Eventually([&] { return m_log.Count(eNotConnected) == 1; }));
    const unsigned long lReqNum = m_pEvents->Read(g_nT0, 0);
    StartServer();
    ASSERT_TRUE(Eventually([&] { return m_log.Count(eReqFinished) == 1; }));
    EXPECT_EQ(m_log.Replies().back(), lReqNum);
    m_pEvents->Post(g_eKey, eAPP, eElemOMA, 601, "");
    EXPECT_TRUE(Eventually([&] { return m_log.Events() == 1; }));
}

TEST_F(Events, NothingIsLostAndNothingTwiceBetweenReadAndSubscriptionWhateverTheDatasClockSays)
{
    const std::int64_t nWall = WallTicks();
    const std::int64_t pOffset[] = {-365 * 86400 * g_nTicksPerSec, -20 * g_nTicksPerSec, -g_nTicksPerSec / 10, 0,
                                    20 * g_nTicksPerSec,           3600 * g_nTicksPerSec};
    for (const std::int64_t nOffset : pOffset)
    {
        StartServer(50, 100, nWall + nOffset);
        if (m_pEvents)
            m_pEvents->RemoveCallBack(&m_log);
        Connect();
        Post(7, "APP", 3, "restart of before");
        Post(4003, "APP", 2, "before");
        // Neither an order nor an earlier state is repeated, and a stamp that jumps changes nothing.
        const std::int64_t nNow = ReadNow();
        Post(4004, "APP", 2, "between");
        m_pEvents->PostAt(nWall - 7200 * g_nTicksPerSec, eIkPsCritical, eAPP, eElemOMA, 601, "jumps back");
        m_pEvents->PostAt(nWall + 7200 * g_nTicksPerSec, eIkPsCritical, eDIS, eElemOMA, 601, "jumps ahead");
        m_pEvents->Subscribe(nNow, 2, 0, 0);
        m_pEvents->Post(eIkPsCritical, eAPP, eElemOMA, 602, "after");
        EXPECT_EQ(EventsUpTo("live APP 4204 after"),
                  (TEvents{"read APP 7 restart of before", "read APP 4003 before", "live APP 4004 between",
                           "live APP 4204 jumps back", "live DIS 4204 jumps ahead", "live APP 4204 after"}))
            << nOffset;
        m_pEvents->Unsubscribe();
        m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
        m_pEvents->Post(eIkPsDistinct, eAPP, eElemOMA, 602, "last");
        EXPECT_EQ(EventsUpTo("live APP 4205 last"), (TEvents{"read APP 4003 before", "read APP 4004 between",
                                                             "read APP 4204 after", "live APP 4205 last"}))
            << nOffset;
        Lose();
    }
}

TEST_F(Events, SubscriptionGoesOnWhereItStoodOnAServerWithAMemory)
{
    m_options.strStateFile = m_strDir + "/state.jsonl";
    StartServer();
    Connect();
    m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
    Post(4003, "APP", 2, "told");
    EventsUpTo("live APP 4003 told");
    const std::size_t nUp = m_log.Count(eConnected);
    for (int i = 0; i < 2; ++i)
    {
        Lose();
        // Only the operator uses the first server: the client does not return to its port.
        const SServerConfig config = m_config;
        m_config.nPortEvent = m_config.nPortData = 0;
        StartServer();
        Post(4003, i == 0 ? "DIS" : "APP", 2, i == 0 ? "first end" : "again");
        m_pServer.reset();
        m_config = config;
        StartServer();
        ASSERT_TRUE(Eventually([&, nWanted = nUp + 1 + static_cast<std::size_t>(i)]
                               { return m_log.Count(eConnected) == nWanted; }));
        Post(4004, i == 0 ? "APP" : "DIS", 2, "new");
        EXPECT_EQ(EventsUpTo(i == 0 ? "live APP 4004 new" : "live DIS 4004 new"),
                  i == 0 ? (TEvents{"live DIS 4003 first end", "live APP 4004 new"})
                         : (TEvents{"live APP 4003 again", "live DIS 4004 new"}));
    }
}

TEST_F(Events, WhatHasEndedMeanwhileIsToldAsEndedAlsoByAServerThatHasLostItsMemory)
{
    StartServer();
    Connect();
    std::int64_t nNow = ReadNow();
    m_pEvents->Subscribe(nNow, 2, 0, 0);
    Post(4003, "APP", 2, "split");
    Post(4005, "APP", 2, "subzones");
    EventsUpTo("live APP 4005 subzones");
    // Unsubscribed on its own initiative, like the application after a loss until it has read.
    m_pEvents->Unsubscribe();
    Post(4003, "DIS", 2, "end that nobody hears");
    m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
    EXPECT_EQ(m_log.TakeEvents(), (TEvents{"read DIS 4003 split", "read APP 4005 subzones"}));
    // A server without any state; the application reads again.
    m_pEvents->Unsubscribe();
    Lose();
    ComeBack();
    m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
    EXPECT_EQ(m_log.TakeEvents(), TEvents{"read DIS 4005 subzones"});
    // A receiver that relies on its subscription alone.
    Post(4003, "APP", 2, "third");
    Post(4006, "APP", 2, "fourth");
    EventsUpTo("live APP 4006 fourth");
    Lose();
    StartServer();
    EventsUpTo("live DIS 4006 fourth");
    Post(4003, "APP", 2, "fifth");
    EXPECT_EQ(EventsUpTo("live APP 4003 fifth"), TEvents{"live APP 4003 fifth"});
    // A new object has not been told of anything, so it receives no ends.
    CEventLog other;
    m_pEvents->AddCallBack(&other, eElemOMA);
    m_pEvents->Read(WallTicks(), 0);
    ASSERT_TRUE(Eventually([&] { return other.Count(eReqFinished) == 1; }));
    EXPECT_EQ(other.TakeEvents(), TEvents{"read APP 4003 fifth"});
    m_pEvents->RemoveCallBack(&other);
}

TEST_F(Events, OrderThatIsGivenDuringALossIsToldOnceAndOneOfBeforeNever)
{
    StartServer();
    Post(4201, "APP", 3, "of before");
    Connect();
    m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
    EXPECT_TRUE(m_log.TakeEvents().empty()) << "active, but given before this client connected";
    Post(4201, "APP", 3, "live");
    EventsUpTo("live APP 4201 live");
    m_pEvents->Unsubscribe();
    Post(7, "APP", 0, "restart");
    m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
    EXPECT_EQ(m_log.TakeEvents(), TEvents{"read APP 7 restart"}) << "4201 is active, but has already been executed";
    m_pEvents->Unsubscribe();
    m_pEvents->Subscribe(ReadNow(), 2, 0, 0);
    EXPECT_TRUE(m_log.TakeEvents().empty());
}

TEST_F(Events, NoCallComesWhenTheCallBackHasBeenRemovedEvenFromInsideIt)
{
    StartServer();
    Connect();
    std::atomic<int> nRemoved{0};
    m_log.OnReceive(
        [&](unsigned long)
        {
            m_pEvents->RemoveCallBack(&m_log);
            ++nRemoved;
        });
    m_pEvents->Subscribe(g_nT0, 2, 0, 0);
    for (unsigned long n = 0; n < 20; ++n)
        m_pEvents->Post(g_eKey, eAPP, eElemOMA, n, "");
    ASSERT_TRUE(Eventually([&] { return nRemoved == 1; }));
    const std::size_t nStatus = m_log.StatusCalls().size();
    CEventLog other;
    m_pEvents->AddCallBack(&other, eElemOMA);
    m_pEvents->Read(g_nT0, 0);
    ASSERT_TRUE(Eventually([&] { return other.Count(eReqFinished) == 1; }));
    m_pEvents->RemoveCallBack(&other);
    EXPECT_EQ(m_log.Replies().size(), 1U);
    EXPECT_EQ(m_log.StatusCalls().size(), nStatus);
}
} // namespace
