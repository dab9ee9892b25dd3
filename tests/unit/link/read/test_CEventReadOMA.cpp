#include "SessionBench.h"

/// An event reader with its thread, on the fake clock unless a test says otherwise.
class EventThreadBench : public SessionBench
{
  protected:
    EventThreadBench()
    {
        OMA().m_bActive = false; // unless a test starts its threads
        m_pReader = std::make_unique<CEventReadOMA>(1, nullptr, &m_trace, &m_vecpOMA);
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
    void StartThread()
    {
        EventsUseFakeClock(true);
        m_thread = std::thread([this] { m_nEventResult = m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA); });
        ASSERT_TRUE(EventsAwaitParked(1, 30000));
    }
    /// Sends a status and waits until the thread waits again.
    void Status(unsigned long p_eStatus, unsigned long p_lReqNum = 0)
    {
        FakeDli::EventStatus(p_eStatus, p_lReqNum);
        ASSERT_TRUE(EventsAwaitParked(1, 30000));
    }
    /// Connect, reply to the UPC request and its end.
    void Subscribe()
    {
        Status(Dli::eConnected);
        FakeDli::EventStatus(Dli::eReqFinished, FakeDli::EventReads().size());
        EventsAdvance(10);
        ASSERT_TRUE(Await([] { return !FakeDli::Subscribes().empty(); }));
        ASSERT_TRUE(EventsAwaitParked(1, 30000));
    }
    bool HasLine(const std::string& p_strText) { return m_capture.Has("CEventReadReadOMA::" + p_strText); }
    static void Send(Dli::EIncidenceKey p_eKey)
    {
        Dli::CEvent event(Dli::eAPP, Norvik::Energy::Kestrel::eElemOMA, 900, p_eKey, "");
        std::vector<Dli::CEvent*> vecpEvent = {&event};
        FakeDli::EventReceive(vecpEvent, 0xFFFF);
    }

    CTraceOMA m_trace{"OMA_Main_Run"};
    boost::thread_group m_threadGroup;
    std::unique_ptr<CEventReadOMA> m_pReader;
    std::thread m_thread;
    std::atomic<int> m_nEventResult{99};
};

using CEventReadOMA_Thread = EventThreadBench;

TEST_F(CEventReadOMA_Thread, ConnectBeginsWithTheUpcRequestAndGoesOnFromItsTime)
{
    StartThread();
    EXPECT_EQ(FakeDli::CountCalls("Event.AddCallBack 3"), 1U);
    Status(Dli::eConnected);
    ASSERT_EQ(FakeDli::EventReads().size(), 1U);
    // Not before the end of the request, and not for that of another one.
    FakeDli::EventStatus(Dli::eReqFinished, 4711);
    EventsAdvance(1000);
    ASSERT_TRUE(EventsAwaitParked(1, 30000));
    EXPECT_TRUE(FakeDli::Subscribes().empty());
    FakeDli::EventStatus(Dli::eReqFinished, FakeDli::EventReads()[0].nReq);
    EventsAdvance(10);
    ASSERT_TRUE(Await([] { return !FakeDli::Subscribes().empty(); }));
    const FakeDli::SSubscribe subscribe = FakeDli::Subscribes()[0];
    EXPECT_EQ(subscribe.nTicks, FakeDli::EventReads()[0].nTicks);
    EXPECT_EQ(std::vector({subscribe.n1, subscribe.n2, subscribe.n3}), (std::vector{2, 0, 0}));
    ASSERT_TRUE(Await([this] { return HasLine("ThreadCB():Request finished."); }));
    ASSERT_TRUE(EventsAwaitParked(1, 30000));
    // Standing already: a second connect reads nothing; after a loss it does.
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
    ASSERT_TRUE(EventsAwaitParked(1, 30000));
    EventsAutoAdvance(1);
    ASSERT_TRUE(Await(
        [this] { return HasLine("ThreadCB():No 'request finished' status after 'EventManager::Read()' query!"); }));
    EventsAutoAdvance(0);
    EXPECT_EQ(EventsNow_ms(), 30000);
    ASSERT_TRUE(EventsAwaitParked(1, 30000));
    EXPECT_TRUE(FakeDli::Subscribes().empty());
    Subscribe();
    EXPECT_EQ(FakeDli::EventReads().size(), 2U);
    EXPECT_EQ(FakeDli::Subscribes()[0].nTicks, FakeDli::EventReads()[1].nTicks);
}

TEST_F(CEventReadOMA_Thread, RestartAndSuspensionEndThePass)
{
    for (const bool bRestart : {true, false})
    {
        FakeDli::Reset();
        m_capture.Clear();
        m_pReader = std::make_unique<CEventReadOMA>(1, nullptr, &m_trace, &m_vecpOMA);
        StartThread();
        Subscribe();
        Send(bRestart ? Dli::eIkRestart : Dli::eIkServiceStopOMA);
        m_thread.join();
        EXPECT_EQ(m_nEventResult, 0);
        EXPECT_EQ(FakeDli::CountCalls("Event.Unsubscribe"), 1U);
        EXPECT_EQ(FakeDli::RegisteredEventCallBacks(), 0);
        const std::string strCommand = bRestart ? "Initializing OMA re-start." : "Initializing OMA suspension.";
        for (const std::string& strText :
             {std::string("ThreadCB():Start."), std::string("ThreadCB():New event data received."),
              "ThreadCB():" + strCommand, std::string("NotifyAboutStop():Inform all OMA instances about STOP."),
              std::string("NotifyAboutStop():Invalid Pointer: pVdsCB!"), std::string("ThreadCB():Message loop left."),
              std::string("StopAllChildThreads():Start stopping OMA app.threads."),
              std::string("StopAllChildThreads():Finished stopping all OMA app.threads."),
              std::string("ThreadCB():Terminating thread.")})
            EXPECT_TRUE(HasLine(strText)) << strText;
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
    EXPECT_EQ(FakeDli::CountCalls("Event.Unsubscribe"), 0U);

    m_pReader = std::make_unique<CEventReadOMA>(1, nullptr, &m_trace, &m_vecpOMA);
    StartThread();
    Status(Dli::eConnected);
    m_pReader->Exit();
    EventsAdvance(10);
    m_thread.join();
    EXPECT_TRUE(FakeDli::Subscribes().empty());
    EXPECT_FALSE(HasLine("ThreadCB():No 'request finished'"));

    m_pReader = std::make_unique<CEventReadOMA>(1, nullptr, &m_trace, &m_vecpOMA);
    m_pReader->Exit();
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA), 0);
}

TEST_F(CEventReadOMA_Thread, MissingArgumentsAndInstanceEndAtOnce)
{
    EXPECT_EQ(m_pReader->ThreadCB(nullptr, &m_vecpOMA), -1);
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, nullptr), -1);
    EXPECT_TRUE(HasLine("ThreadCB():Invalid Pointer: p_pThreadGroup!"));
    EXPECT_TRUE(HasLine("ThreadCB():Invalid Pointer: p_pvecOMA!"));

    FakeDli::SetBehaviour({.strThrowGetInstance = "no"});
    CEventReadOMA reader(9, nullptr, &m_trace, &m_vecpOMA);
    EXPECT_TRUE(IsSuspendedWith("Error resulting from DLI GetInstance() call"));
    // The sessions must not outlive the pass.
    OMA().m_bActive = true;
    StartWorker(OMA());
    StartSession(OMA());
    ASSERT_TRUE(Await([this] { return OMA().HasCb(); }));
    EXPECT_EQ(reader.ThreadCB(&m_threadGroup, &m_vecpOMA), -1);
    EXPECT_TRUE(HasLine("ThreadCB():Invalid Pointer: m_pEventData!"));
    EXPECT_TRUE(OMA().m_bThreadDone);
    reader.Exit();
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
    EXPECT_EQ(m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA), 0);
    EXPECT_TRUE(HasLine("StopAllChildThreads():OMA app. thread STUCK successfully terminated."));
    OMA(1).DeleteTrace();
    m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA);
    EXPECT_TRUE(HasLine("StopAllChildThreads():Invalid Pointer: pTraceOMA!"));
    m_vecpOMA[1].reset();
    m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA);
    EXPECT_TRUE(HasLine("StopAllChildThreads():Invalid Pointer: pOMA!"));
}

/// The pass as a whole, with real threads and the real clock: two sessions, UPC request, cycles, passes of the workers.
TEST_F(CEventReadOMA_Thread, PassRunsFromConnectToRestart)
{
    m_vecpOMA.push_back(MakeSession("VDS2", 902));
    for (const std::size_t i : {0U, 1U})
    {
        OMA(i).m_bActive = true;
        StartWorker(OMA(i));
        StartSession(OMA(i));
        ASSERT_TRUE(Await([this, i] { return OMA(i).HasCb(); }));
    }
    m_thread = std::thread([this] { m_nEventResult = m_pReader->ThreadCB(&m_threadGroup, &m_vecpOMA); });
    ASSERT_TRUE(Await([] { return FakeDli::EventStatus(Dli::eConnected); }));
    ASSERT_TRUE(Await([] { return !FakeDli::EventReads().empty(); }));
    std::vector<Dli::CEvent*> vecpNone;
    // The number may not be stored yet: the library would not be that fast.
    ASSERT_TRUE(Await(
        [&]
        {
            FakeDli::EventReceive(vecpNone, 1);
            return !FakeDli::Subscribes().empty();
        }));
    std::vector<std::thread> vecLibrary;
    for (const unsigned nChannel : {0U, 1U})
        vecLibrary.emplace_back(
            [this, nChannel]
            {
                FakeDli::ReadStatus(nChannel, Dli::eConnected);
                FakeDli::ReadStatus(nChannel, Dli::eReqCycle, 0, 20);
                Deliver(nChannel, 1, 220);
            });
    for (std::thread& library : vecLibrary)
        library.join();
    for (const std::size_t i : {0U, 1U})
        EXPECT_GT(Job(OMA(i)).m_nCycleProc, 0U);
    EXPECT_FALSE(m_capture.Has("Input data loss"));
    Send(Dli::eIkRestart);
    m_thread.join();
    EXPECT_EQ(m_nEventResult, 0);
    EXPECT_TRUE(HasLine("NotifyAboutStop():All OMA app.threads informed about STOP."));
    for (const char* pszName : {"VDS", "VDS2"})
        EXPECT_TRUE(
            HasLine("StopAllChildThreads():OMA app. thread " + std::string(pszName) + " successfully terminated."));
    EXPECT_TRUE(OMA(0).m_bThreadDone && OMA(1).m_bThreadDone);
}
