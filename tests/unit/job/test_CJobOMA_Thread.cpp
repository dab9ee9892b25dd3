#include "JobBench.h"
#include "WinEvents.h"
#include <thread>

namespace
{
constexpr int g_nLimit_ms = 20000; // real time: exceeded only in case of a fault

/// The worker's thread on the fake clock. A step of a test ends when the thread waits again.
class JobThread : public JobBench
{
  protected:
    JobThread() { EventsUseFakeClock(true); }
    ~JobThread() override
    {
        Terminate();
        EventsUseFakeClock(false);
    }
    void Terminate()
    {
        if (!m_thread.joinable())
            return;
        Request(eJobEventTerminate);
        m_thread.join();
    }
    void Start()
    {
        m_pJob->m_pvechOMA = std::make_unique<std::vector<HANDLE>>();
        for (unsigned i = 0; i < eJobEventCount; ++i)
            m_pJob->m_pvechOMA->push_back(CreateEventW(nullptr, 0, 0, nullptr));
        m_thread = std::thread([this] { m_nResult = m_pJob->ThreadCB(); });
        ASSERT_TRUE(Parked());
    }
    static bool Parked() { return EventsAwaitParked(1, g_nLimit_ms); }
    void Request(unsigned p_nEvent)
    {
        m_pJob->m_bTerminateRequest = m_pJob->m_bTerminateRequest || p_nEvent == eJobEventTerminate;
        SetEvent((*m_pJob->m_pvechOMA)[p_nEvent]);
    }
    void Signal(unsigned p_nEvent)
    {
        Request(p_nEvent);
        ASSERT_TRUE(Parked());
    }
    static void Advance(std::int64_t p_nTime_ms)
    {
        EventsAdvance(p_nTime_ms);
        ASSERT_TRUE(Parked());
    }
    /// Delivers data as the read callback does on a PS cycle.
    void NewData(std::int64_t p_nSec, unsigned p_nMeas = 50)
    {
        SetTime(p_nSec);
        AddMeas(p_nMeas);
        m_pJob->m_bWorkerDone = false;
        Signal(eJobEventNewData);
        EXPECT_TRUE(m_pJob->m_bWorkerDone);
    }
    static std::size_t PostsOfNoData(FakeDli::Dli::ETransition p_eTrans)
    {
        const std::vector<FakeDli::SPost> vecPost = FakeDli::Posts();
        return static_cast<std::size_t>(
            std::count_if(vecPost.begin(), vecPost.end(),
                          [p_eTrans](const FakeDli::SPost& p_post)
                          {
                              return p_post.eKey == FakeDli::Dli::eIkNoPhasorData && p_post.eTrans == p_eTrans &&
                                     p_post.nElemId == g_nIdJob && p_post.eElem == Norvik::Energy::Kestrel::eElemOMA &&
                                     !p_post.bWithTime && p_post.strText == "No phasor data available from VDS server";
                          }));
    }

    std::thread m_thread;
    int m_nResult = 99;
};

TEST_F(JobThread, FirstTimeOutIsSilentSecondRaisesTheIncidentOnce)
{
    Start();
    Signal(eJobEventStart);
    Advance(20000);
    EXPECT_TRUE(FakeDli::Posts().empty());
    Advance(20000);
    Advance(20000);
    EXPECT_EQ(PostsOfNoData(FakeDli::Dli::eAPP), 1U);
    EXPECT_EQ(m_capture.Count("CJobOMA::ThreadCB():No phasor data available from VDS server!"), 1U);
    NewData(g_nSec, 64);
    NewData(g_nSec + 1);
    EXPECT_EQ(PostsOfNoData(FakeDli::Dli::eDIS), 1U);
    EXPECT_EQ(m_capture.Count("CJobOMA::ThreadCB():ERROR RESOLVED - New phasor data available now from VDS server!"),
              1U);
    Advance(20000); // from now on each time-out counts
    EXPECT_EQ(PostsOfNoData(FakeDli::Dli::eAPP), 2U);
    EXPECT_EQ(PostsOfNoData(FakeDli::Dli::eDIS), 1U);
    Terminate();
    EXPECT_EQ(PostsOfNoData(FakeDli::Dli::eDIS), 2U) << "it does not outlive its thread";
    EXPECT_TRUE(m_nResult == 0 && m_pJob->m_bThreadDone);
    EXPECT_TRUE(m_capture.Has("CJobOMA::ThreadCB():Terminating thread."));
}

TEST_F(JobThread, HandleThatNobodySignalsEndsTheJob)
{
    Start();
    Request(eJobEventTerminate + 1);
    m_thread.join();
    EXPECT_EQ(g_eAppState, eAppSuspend);
    EXPECT_TRUE(m_pJob->m_bThreadDone);
    EXPECT_TRUE(m_capture.Has("CJobOMA::ThreadCB(): No 'case'! -> Suspend Application."));
}

TEST_F(JobThread, NewDataRunsOnlyBetweenStartAndStop)
{
    Start();
    NewData(g_nSec, 64);
    EXPECT_EQ(m_capture.Count("CJobOMA::ThreadCB():Unexecpted NEW DATA event from VDS server!"), 1U);
    EXPECT_EQ(m_pJob->m_nCycleProc, 0U);
    Signal(eJobEventStart);
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    NewData(g_nSec, 64);
    EXPECT_EQ(m_pJob->m_nCycleProc, static_cast<std::uint64_t>(g_nSec));
    WriteMode(0.4, 150.0, 0.02);
    Signal(eJobEventStop);
    EXPECT_FALSE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    NewData(g_nSec + 1, 64);
    EXPECT_EQ(m_capture.Count("Unexecpted NEW DATA"), 2U);
}

TEST_F(JobThread, StartWaitsForTheWriteConnection)
{
    ASSERT_TRUE(m_pJob->CreateVdsOutMeas(1, 50));
    CVdsOutCbMeas* const pCB = m_pJob->m_pVdsOutMeas->GetCB();
    Start();
    Signal(eJobEventStart);
    for (int i = 0; i < 3; ++i)
        Advance(10);
    EXPECT_TRUE(FakeDli::WriteStarts().empty());
    pCB->m_bDisconnected = false;
    Advance(10);
    EXPECT_TRUE(pCB->IsStarted());
    EXPECT_TRUE(m_capture.Has("CJobOMA::ReStartWrite():OK: Wait Time [ms] = 40.000000!"));
    Signal(eJobEventStop);
    EXPECT_FALSE(pCB->IsStarted());
    pCB->m_bDisconnected = true;
    Signal(eJobEventStart);
    Request(eJobEventTerminate);
    EventsAdvance(10); // one poll, not 60 s
    m_thread.join();
    EXPECT_TRUE(m_pJob->m_bThreadDone);
}

TEST_F(JobThread, FailedStartOfTheMeasurementChannelIsTriedAgain)
{
    ASSERT_TRUE(m_pJob->CreateVdsOutMeas(1, 50));
    FakeDli::SBehaviour behaviour;
    behaviour.eWriteAnswer = FakeDli::EAnswer::eNone;
    FakeDli::SetBehaviour(behaviour);
    CVdsOutCbMeas& cb = *m_pJob->m_pVdsOutMeas->GetCB();
    cb.m_bDisconnected = false;
    Start();
    Signal(eJobEventStart);
    for (int nTime_ms = 0; nTime_ms <= 400; nTime_ms += 10)
        Advance(10);
    EXPECT_EQ(FakeDli::WriteStops(), std::vector<unsigned long>{g_nIdMeasUnit});
    FakeDli::SetBehaviour({});
    for (int i = 0; i < 9; ++i)
        NewData(g_nSec + i);
    EXPECT_FALSE(cb.IsStarted());
    NewData(g_nSec + 9);
    EXPECT_TRUE(cb.IsStarted());
    NewData(g_nSec + 10);
    EXPECT_EQ(cb.NoOfStarts(), 2U);
}

TEST_F(JobThread, CallbackThatHasGivenUpWaitingDoesNoHarm)
{
    StartMeas();
    Start();
    Signal(eJobEventStart);
    for (int i = 0; i < 1000; ++i)
    {
        SetTime(g_nSec + i / 10);
        ASSERT_TRUE(m_pJob->CalcActualValue() && m_pJob->WriteCalcdValue() && m_pJob->AddMeasToBuf());
        m_pJob->m_bWorkerDone = false;
        Request(eJobEventNewData);
        if (i % 100 == 99)
            m_pJob->InitForNewTimeLine();
    }
    ASSERT_TRUE(Parked());
    EXPECT_TRUE(m_pJob->m_bWorkerDone && m_pJob->m_pdeqMeas->Size() <= 256);
    EXPECT_EQ(FakeDli::Writes(g_nIdMeasUnit).size(), 1000U);
}

} // namespace
