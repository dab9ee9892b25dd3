#include "LinkBench.h"
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
