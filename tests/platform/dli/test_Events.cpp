#include "LinkBench.h"
#include "vds/CommandLine.h"
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
    /// Element ids of what stands at a time.
    std::vector<unsigned long> ReadAt(std::int64_t p_nTicks)
    {
        const std::size_t nFinished = m_log.Count(eReqFinished);
        const unsigned long lReqNum = m_pEvents->Read(p_nTicks, 0);
        EXPECT_TRUE(Eventually([&] { return m_log.Count(eReqFinished) == nFinished + 1; }));
        EXPECT_EQ(m_log.StatusCalls().back(), TStatus(eReqFinished, lReqNum, 0));
        EXPECT_EQ(m_log.Replies().back(), lReqNum);
        std::vector<unsigned long> vecnElem;
        for (const SSeenEvent& event : m_log.Events())
        {
            if (event.lReqNum == lReqNum)
                vecnElem.push_back(event.nElemId);
        }
        return vecnElem;
    }
    void PostAt(std::int64_t p_nTicks, ETransition p_eTrans, unsigned long p_nElemId)
    {
        m_pEvents->PostAt(p_nTicks, g_eKey, p_eTrans, eElemOMA, p_nElemId, "text");
    }

    unsigned long m_hConn = 0;
    CEventdata* m_pEvents = nullptr;
    CEventLog m_log;
};
using TElems = std::vector<unsigned long>;

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
    EXPECT_EQ(m_log.Replies().size(), 5U) << "nothing stands: the reply is an empty delivery";
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

TEST_F(Events, WhatStandsAtATimeIsReadByTheStampsOfTheEvents)
{
    StartServer(50, 100000);
    Connect();
    CReader reader(m_hConn, {1}, 50); // brings the time of the data behind all stamps below
    ASSERT_TRUE(Eventually([&] { return reader.m_log.Seen().size() > 1000; }));
    PostAt(g_nT0 + 100, eAPP, 601);
    PostAt(g_nT0 + 200, eAPP, 602);
    PostAt(g_nT0 + 300, eDIS, 601);
    PostAt(g_nT0 + 400, eDIS, 603);
    EXPECT_EQ(ReadAt(g_nT0 + 99), TElems{});
    EXPECT_EQ(ReadAt(g_nT0 + 100), TElems{601});
    EXPECT_EQ(ReadAt(g_nT0 + 299), (TElems{601, 602}));
    EXPECT_EQ(ReadAt(g_nT0 + 300), TElems{602});
}

TEST_F(Events, EverySubscriberGetsTheEventThePosterToo)
{
    StartServer();
    Connect();
    unsigned long hOther = ConnectEvent();
    CEventLog other;
    CEventLog silent;
    unsigned long hSilent = ConnectEvent();
    CEventdata::GetInstance(hOther).AddCallBack(&other, eElemOMA);
    CEventdata::GetInstance(hSilent).AddCallBack(&silent, eElemOMA);
    m_pEvents->Subscribe(g_nT0, 2, 0, 0);
    CEventdata::GetInstance(hOther).Subscribe(g_nT0, 2, 0, 0);
    ReadAt(g_nT0);
    m_pEvents->Post(eIkServiceStopOMA, eAPP, eElemOMA, 900, "stop");
    EXPECT_TRUE(Eventually([&] { return m_log.Events().size() == 1 && other.Events().size() == 1; }));
    EXPECT_EQ(other.Events()[0].eKey, 4201);
    EXPECT_EQ(other.Events()[0].strText, "stop");
    m_pEvents->Unsubscribe();
    m_pEvents->Post(eIkServiceStopOMA, eDIS, eElemOMA, 900, "");
    EXPECT_TRUE(Eventually([&] { return other.Events().size() == 2; }));
    EXPECT_TRUE(ReadAt(g_nT0 + 1000000000).empty());
    EXPECT_EQ(m_log.Events().size(), 1U);
    EXPECT_TRUE(silent.Events().empty());
    CEventdata::GetInstance(hOther).RemoveCallBack(&other);
    CEventdata::GetInstance(hSilent).RemoveCallBack(&silent);
}

TEST_F(Events, PostWithoutTimeIsStampedWithTheTimeOfTheDataAndLogged)
{
    StartServer();
    Connect();
    m_pEvents->Post(g_eKey, eAPP, eElemOMA, 601, "a|\"b\"\n\xFF");
    ASSERT_TRUE(Eventually([&] { return FileLines("events.jsonl").size() == 1; }));
    EXPECT_EQ(FileLines("events.jsonl")[0],
              R"({"time":)" + std::to_string(g_nT0) +
                  R"(,"iso":"2026-01-01T00:00:00.0000000Z","key":4204,"transition":"APP","elementType":3,)"
                  R"("elementId":601,"text":"a|\"b\"\u000a\u00ff","from":"OMA_1st_Socket"})");
}

TEST_F(Events, RestartRequestIsToldButDoesNotStand)
{
    StartServer();
    Connect();
    m_pEvents->Subscribe(g_nT0, 2, 0, 0);
    m_pEvents->Post(eIkRestart, eAPP, eElemOMA, 900, "");
    EXPECT_TRUE(Eventually([&] { return HasLine("event 7 APP 3 900 of 'OMA_1st_Socket'"); }))
        << "an order is not its own";
    EXPECT_TRUE(m_log.Events().empty());
    ASSERT_EQ(RunVdsCtl({"127.0.0.1:" + std::to_string(m_config.nPortEvent), "post", "7", "APP", "3", "900"}), 0);
    EXPECT_TRUE(Eventually([&] { return m_log.Events().size() == 1; }));
    EXPECT_TRUE(ReadAt(g_nT0 + 1000000000).empty());
}

TEST_F(Events, StandingEventsSurviveTheServerWithAStateFile)
{
    m_options.strStateFile = m_strDir + "/state.jsonl";
    StartServer();
    Connect();
    PostAt(g_nT0, eAPP, 601);
    PostAt(g_nT0, eAPP, 602);
    PostAt(g_nT0, eDIS, 601);
    ASSERT_TRUE(Eventually([&] { return FileLines("state.jsonl").size() == 3; }));
    m_pServer.reset();
    std::ofstream(m_options.strStateFile, std::ios::app) << R"({"arrival":1,"time":)"; // torn by a crash
    StartServer();
    ASSERT_TRUE(Eventually([&] { return m_log.Count(eConnected) == 2; }));
    EXPECT_EQ(ReadAt(g_nT0 + 1), TElems{602});
    PostAt(g_nT0, eAPP, 603);
    ASSERT_TRUE(Eventually([&] { return FileLines("state.jsonl").size() == 4; }));
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
    EXPECT_TRUE(Eventually([&] { return m_log.Events().size() == 1; }));
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

TEST_F(Events, EventOfTheSourceComesBetweenTheSamplesAroundIt)
{
    auto pSource = std::make_unique<CTestSource>(50, 200);
    pSource->m_nEventCycle = 123;
    m_options.bOnce = true;
    StartServer(std::move(pSource));
    Connect();
    m_pEvents->Subscribe(g_nT0, 2, 0, 0);
    CReader reader(m_hConn, {1}, 50, false);
    std::atomic<std::size_t> nBefore{0};
    std::atomic<std::size_t> nAfter{0};
    m_log.OnReceive(
        [&](unsigned long)
        {
            nBefore = reader.m_log.Seen().size();
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // time for samples that do not wait
            nAfter = reader.m_log.Seen().size();
        });
    reader.m_data.SetCallBack(&reader.m_log);
    ASSERT_TRUE(Eventually([&] { return m_bEnded.load(); }));
    EXPECT_EQ(nBefore, 123U);
    EXPECT_EQ(nAfter, 123U);
    EXPECT_EQ(m_log.Events().at(0).strText, "zones");
    EXPECT_EQ(reader.m_log.Seen().size(), 200U);
}
} // namespace
