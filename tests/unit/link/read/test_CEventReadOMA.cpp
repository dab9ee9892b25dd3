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
    /// Connect, and the end of the UPC request.
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
    EXPECT_EQ(FakeDli::CountCalls("Event.AddCallBack 3"), 1U);
    Status(Dli::eConnected);
    // Not before the end of the request, and not for that of another one.
    FakeDli::EventStatus(Dli::eReqFinished, 4711);
    EventsAdvance(1000);
    AwaitWaiting();
    EXPECT_TRUE(FakeDli::Subscribes().empty());
    Subscribe();
    const auto vecRead = FakeDli::EventReads();
    const auto vecSubscribe = FakeDli::Subscribes();
    ASSERT_TRUE(vecRead.size() == 1 && vecSubscribe.size() == 1);
    EXPECT_EQ(vecSubscribe[0].nTicks, vecRead[0].nTicks);
    EXPECT_EQ(std::vector({vecSubscribe[0].n1, vecSubscribe[0].n2, vecSubscribe[0].n3}), (std::vector{2, 0, 0}));
    EXPECT_TRUE(Await([this] { return HasLine("ThreadCB():Request finished."); }));
    AwaitWaiting();
    // Standing already: a second connect reads nothing; after a loss it does, and waits anew.
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

TEST_F(CEventReadOMA_Thread, RestartAndSuspensionEndThePass)
{
    for (const bool bRestart : {true, false})
    {
        FakeDli::Reset();
        MakeReader();
        m_capture.Clear();
        StartThread();
        Subscribe();
        SendAndJoin(bRestart ? Dli::eIkRestart : Dli::eIkServiceStopOMA);
        EXPECT_EQ(FakeDli::CountCalls("Event.Unsubscribe"), 1U);
        EXPECT_EQ(FakeDli::RegisteredEventCallBacks(), 0);
        EXPECT_TRUE(
            HasLine(bRestart ? "ThreadCB():Initializing OMA re-start." : "ThreadCB():Initializing OMA suspension."));
        for (const char* pszText :
             {"ThreadCB():Start.", "ThreadCB():New event data received.",
              "NotifyAboutStop():Inform all OMA instances about STOP.", "NotifyAboutStop():Invalid Pointer: pVdsCB!",
              "ThreadCB():Message loop left.", "StopAllChildThreads():Start stopping OMA app.threads.",
              "StopAllChildThreads():Finished stopping all OMA app.threads.", "ThreadCB():Terminating thread."})
            EXPECT_TRUE(HasLine(pszText)) << pszText;
        EXPECT_EQ(g_eAppState, eAppRun);
    }
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

TEST_F(CEventReadOMA_Thread, MissingArgumentsAndInstanceEndAtOnce)
{
    EXPECT_EQ(m_pReader->ThreadCB(nullptr, &m_vecpOMA), -1);
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, nullptr), -1);
    FakeDli::SetBehaviour({.strThrowGetInstance = "no"});
    MakeReader();
    EXPECT_TRUE(IsSuspendedWith("Error resulting from DLI GetInstance() call"));
    // The sessions must not outlive the pass.
    OMA().m_bActive = true;
    StartWorker(OMA());
    StartSession(OMA());
    ASSERT_TRUE(Await([this] { return OMA().HasCb(); }));
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA), -1);
    EXPECT_TRUE(OMA().m_bThreadDone);
    m_pReader->Exit();
    for (const char* pszName : {"p_pThreadGroup", "p_pvecOMA", "m_pEventData"})
        EXPECT_TRUE(HasBadPointer("CEventReadReadOMA::ThreadCB", pszName));
}

TEST_F(CEventReadOMA_Thread, SessionThatDoesNotEndIsGivenUpAfterThirtySeconds)
{
    m_vecpOMA.push_back(MakeSession("STUCK", 902));
    m_pReader->Exit();
    JumpOverSleeps();
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA), 0);
    EXPECT_EQ(EventsNow_ms(), 30000);
    EXPECT_TRUE(HasLine("StopAllChildThreads():Cannot terminate OMA app. thread STUCK!"));
    EXPECT_FALSE(HasLine("StopAllChildThreads():OMA app. thread VDS"));
    OMA(1).m_bThreadDone = true;
    OMA(1).DeleteTrace();
    m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA);
    EXPECT_TRUE(HasBadPointer("CEventReadReadOMA::StopAllChildThreads", "pTraceOMA"));
    m_vecpOMA[1].reset();
    m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA);
    EXPECT_TRUE(HasBadPointer("CEventReadReadOMA::StopAllChildThreads", "pOMA"));
}

/// The pass as a whole, with all its threads and the real clock: two sessions, UPC request, cycles, passes of the workers.
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
    // Repeated, since the reply may come before the number is stored: other than from the library.
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
