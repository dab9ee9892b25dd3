#include "SessionBench.h"

/// An event reader with its thread on the fake clock. Its session counts as inactive until a test starts it.
class EventThreadBench : public SessionBench
{
  protected:
    EventThreadBench()
    {
        OMA().m_bActive = false;
        MakeReader();
    }
    ~EventThreadBench() override
    {
        if (m_thread.joinable())
        {
            m_pReader->Exit();
            EventsAutoAdvance(1);
            m_thread.join();
        }
        EventsUseFakeClock(false);
    }
    void MakeReader() { m_pReader = std::make_unique<CEventReadOMA>(1, nullptr, &m_trace, &m_vecpOMA); }
    void StartThread()
    {
        EventsUseFakeClock(true);
        m_thread = std::thread([this] { m_nResultEvent = m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA); });
        AwaitWaiting();
    }
    static void AwaitWaiting() { ASSERT_TRUE(EventsAwaitParked(1, 30000)); }
    static void Status(unsigned long p_eStatus, unsigned long p_lReqNum = 0)
    {
        FakeDli::EventStatus(p_eStatus, p_lReqNum);
        AwaitWaiting();
    }
    /// Delivers the connect and the end of the UPC request.
    static void Subscribe()
    {
        Status(Dli::eConnected);
        FakeDli::EventStatus(Dli::eReqFinished, FakeDli::EventReads().size());
        EventsAdvance(10);
        ASSERT_TRUE(Await([] { return !FakeDli::Subscribes().empty(); }));
        AwaitWaiting();
    }
    void SendAndJoin(Dli::EIncidenceKey p_eKey)
    {
        Dli::CEvent event(Dli::eAPP, Norvik::Energy::Kestrel::eElemOMA, 900, p_eKey, "");
        std::vector<Dli::CEvent*> vecpEvent = {&event};
        FakeDli::EventReceive(vecpEvent, 0xFFFF);
        m_thread.join();
        EXPECT_EQ(m_nResultEvent, 0);
    }
    bool HasLine(const std::string& p_strText) { return m_capture.Has("CEventReadReadOMA::" + p_strText); }

    CTraceOMA m_trace{"OMA_Main_Run"};
    boost::thread_group m_threadGroup;
    std::unique_ptr<CEventReadOMA> m_pReader;
    std::thread m_thread;
    std::atomic<int> m_nResultEvent{99};
};

using CEventReadOMA_Thread = EventThreadBench;

TEST_F(CEventReadOMA_Thread, ConnectBeginsWithTheUpcRequestAndGoesOnFromItsTime)
{
    StartThread();
    Status(Dli::eConnected);
    // Neither before the end of the request nor for another request.
    FakeDli::EventStatus(Dli::eReqFinished, 4711);
    EventsAdvance(1000);
    AwaitWaiting();
    EXPECT_TRUE(FakeDli::Subscribes().empty());
    Subscribe();
    const auto vecRead = FakeDli::EventReads();
    const auto vecSubscribe = FakeDli::Subscribes();
    ASSERT_TRUE(vecRead.size() == 1 && vecSubscribe.size() == 1);
    EXPECT_EQ(vecSubscribe[0].nTicks, vecRead[0].nTicks);
    EXPECT_TRUE(Await([this] { return HasLine("ThreadCB():Request finished."); }));
    AwaitWaiting();
    // Already connected: a second connect reads nothing. After a loss it reads and waits again.
    Status(Dli::eConnected);
    EXPECT_EQ(FakeDli::EventReads().size(), 1U);
    Status(Dli::eLinkDown);
    EXPECT_EQ(FakeDli::CountCalls("Event.Unsubscribe"), 1U);
    Status(Dli::eConnected);
    EXPECT_EQ(FakeDli::EventReads().size(), 2U);
    EXPECT_EQ(FakeDli::Subscribes().size(), 1U);
}

TEST_F(CEventReadOMA_Thread, RequestWithoutAnEndIsGivenUpAfterThirtySecondsAndRepeated)
{
    StartThread();
    FakeDli::EventStatus(Dli::eConnected);
    ASSERT_TRUE(Await([] { return !FakeDli::EventReads().empty(); }));
    EventsAutoAdvance(1);
    const std::string strError = "ThreadCB():No 'request finished' status after 'EventManager::Read()' query!";
    ASSERT_TRUE(Await([&] { return HasLine(strError); }));
    EventsAutoAdvance(0);
    EXPECT_EQ(EventsNow_ms(), 30000);
    AwaitWaiting();
    EXPECT_TRUE(FakeDli::Subscribes().empty());
    Subscribe();
    EXPECT_EQ(FakeDli::EventReads().size(), 2U);
}

TEST_F(CEventReadOMA_Thread, ExitEndsThePassAlsoDuringTheUpcRequestAndBeforeTheStart)
{
    StartThread();
    m_pReader->Exit();
    m_thread.join();
    EXPECT_TRUE(HasLine("Exit():Inititialize exiting while loop."));
    EXPECT_TRUE(HasLine("ThreadCB():Exiting while loop."));
    MakeReader();
    StartThread();
    Status(Dli::eConnected);
    m_pReader->Exit();
    EventsAdvance(10);
    m_thread.join();
    EXPECT_FALSE(HasLine("ThreadCB():No 'request finished'"));
    MakeReader();
    m_pReader->Exit();
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA), 0);
    EXPECT_EQ(FakeDli::CountCalls("Event.Subscribe") + FakeDli::CountCalls("Event.Unsubscribe"), 0U);
}

/// A whole pass with all its threads and the real clock: two sessions, UPC request, cycles, worker passes.
TEST_F(CEventReadOMA_Thread, PassRunsFromConnectToRestart)
{
    m_vecpOMA.push_back(MakeSession("VDS2", 902));
    for (const auto& pOMA : m_vecpOMA)
    {
        pOMA->m_bActive = true;
        StartWorker(*pOMA);
        StartSession(*pOMA);
    }
    ASSERT_TRUE(Await([this] { return OMA(0).HasCb() && OMA(1).HasCb(); }));
    m_thread = std::thread([this] { m_nResultEvent = m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA); });
    ASSERT_TRUE(Await([] { return FakeDli::EventStatus(Dli::eConnected); }));
    ASSERT_TRUE(Await([] { return !FakeDli::EventReads().empty(); }));
    // Repeated, because unlike the library's replies this one may arrive before the number is stored.
    std::vector<Dli::CEvent*> vecpNone;
    const auto fnReply = [&]
    {
        FakeDli::EventReceive(vecpNone, 1);
        return !FakeDli::Subscribes().empty();
    };
    ASSERT_TRUE(Await(fnReply));
    std::thread library([] { Deliver(0, 220); });
    Deliver(1, 220);
    library.join();
    for (const auto& pOMA : m_vecpOMA)
        EXPECT_GT(Job(*pOMA).m_nCycleProc, 0U);
    EXPECT_FALSE(m_capture.Has("Input data loss"));
    SendAndJoin(Dli::eIkRestart);
    EXPECT_TRUE(HasLine("NotifyAboutStop():All OMA app.threads informed about STOP."));
    for (const auto& pOMA : m_vecpOMA)
    {
        EXPECT_TRUE(
            HasLine("StopAllChildThreads():OMA app. thread " + pOMA->m_pTrace->Name() + " successfully terminated."));
        EXPECT_TRUE(pOMA->m_bThreadDone);
    }
}
