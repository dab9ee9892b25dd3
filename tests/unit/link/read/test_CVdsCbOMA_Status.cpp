#include "ReadBench.h"
#include <cmath>

using CVdsCbOMA_Status = CallbackBench;

TEST_F(CVdsCbOMA_Status, RatesAndCycleTimesAreTheTwoWaysOfOneTable)
{
    const std::pair<std::uint32_t, std::uint32_t> vecPair[] = {{60, 16}, {50, 20}, {30, 33},  {25, 40}, {20, 50},
                                                               {15, 66}, {12, 83}, {10, 100}, {6, 166}, {5, 200},
                                                               {4, 250}, {3, 333}, {1, 1000}};
    for (const auto& [nRate, nCycle_ms] : vecPair)
    {
        EXPECT_EQ(CVdsCb::CycleRateHzToCycleTimeMs(nRate), nCycle_ms);
        EXPECT_EQ(m_pCb->CycleTimeMsToCycleRateHz(nCycle_ms), nRate);
    }
    EXPECT_FALSE(m_capture.Has("Invalid Cycle Time"));
    EXPECT_EQ(CVdsCb::CycleRateHzToCycleTimeMs(0), 0U);
    EXPECT_EQ(CVdsCb::CycleRateHzToCycleTimeMs(7), 142U);
    for (const unsigned long nCycle_ms : {0UL, 15UL, 17UL, 1001UL, (1UL << 32) + 20UL})
    {
        EXPECT_EQ(m_pCb->CycleTimeMsToCycleRateHz(nCycle_ms), 0U);
        EXPECT_TRUE(m_capture.Has("Invalid Cycle Time: " + std::to_string(nCycle_ms) + "!"));
    }
}

TEST_F(CVdsCbOMA_Status, ConnectStartsTheChannelAsTheInputModeSays)
{
    struct SCase
    {
        std::int32_t eMode;
        std::uint32_t nRate;
        bool bByRate;
        std::int64_t nValue; ///< 0: refused
        std::string strSuspend;
    };
    for (const SCase& c :
         {SCase{0, 50, true, 50, ""}, SCase{1, 7, true, 7, ""}, SCase{2, 30, false, 33, ""},
          SCase{2, 0, false, 0, "Invalid cycle time"}, SCase{3, 50, false, 0, "Invalid Sampling Mode: 3"}})
    {
        FakeDli::Reset();
        MakeCb(c.eMode, c.nRate);
        m_pCb->SetUpcDone(true);
        EXPECT_EQ(m_pCb->OnConnected(), c.nValue != 0);
        const auto vecStart = FakeDli::ReadStarts();
        ASSERT_EQ(vecStart.size(), c.nValue ? 1U : 0U) << c.strSuspend;
        if (c.nValue == 0)
        {
            EXPECT_TRUE(IsSuspendedWith("CVdsCbOMA::OnConnected(): " + c.strSuspend));
            continue;
        }
        EXPECT_EQ(vecStart[0].bByRate, c.bByRate);
        EXPECT_EQ(vecStart[0].nValue, c.nValue);
        EXPECT_EQ(vecStart[0].n1, 1);
        EXPECT_EQ(vecStart[0].n2, 2);
    }
}

TEST_F(CVdsCbOMA_Status, FailedStartSuspendsAndTheNextConnectTriesAgain)
{
    m_pCb->SetUpcDone(true);
    FakeDli::SetBehaviour({.strThrowReadStart = "no"});
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_TRUE(IsSuspendedWith("Calling DLI Start() failed"));
    EXPECT_TRUE(g_bConnected);
    FakeDli::SetBehaviour({});
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 2U);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::OnConnected():DLI Start() cmd sent."));
    // A second connect without a loss between starts nothing.
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 2U);
}

TEST_F(CVdsCbOMA_Status, StartWaitsTenSecondsForTheUpcRequestAndGoesOn)
{
    EXPECT_TRUE(m_pCb->OnConnected());
    EXPECT_EQ(EventsNow_ms(), 10000);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 1U);
    EXPECT_TRUE(m_capture.Has(
        "CVdsCbOMA::OnConnected():Missing 'request finished' status after 'EventManager::Read()' query!"));
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::OnConnected():Timeout processing UPC events."));
}

TEST_F(CVdsCbOMA_Status, UpcRequestOrStopEndsTheWait)
{
    for (const bool bStop : {false, true})
    {
        EventsUseFakeClock(true);
        FakeDli::Reset();
        MakeCb(0, 50);
        bool bOk = bStop;
        std::thread thread([&] { bOk = m_pCb->OnConnected(); });
        ASSERT_TRUE(EventsAwaitParked(1, 30000));
        EventsAdvance(1000);
        ASSERT_TRUE(EventsAwaitParked(1, 30000));
        if (bStop)
            m_pCb->SetStop(true);
        else
            m_pCb->SetUpcDone(true);
        EXPECT_TRUE(FakeDli::ReadStarts().empty());
        EventsAdvance(1000);
        thread.join();
        EXPECT_EQ(bOk, !bStop);
        EXPECT_EQ(FakeDli::ReadStarts().size(), bStop ? 0U : 1U);
        EXPECT_FALSE(m_capture.Has("Missing 'request finished'"));
    }
}

TEST_F(CVdsCbOMA_Status, EachStatusHasItsEffectOnTheConnectionAndWakesTheSession)
{
    struct SCase
    {
        unsigned long eStatus;
        bool bConnected; ///< afterwards, having been connected before
        bool bUnknown;
    };
    for (const SCase& c : {SCase{0, false, false}, SCase{2, true, false}, SCase{3, false, false},
                           SCase{4, false, false}, SCase{5, true, false}, SCase{6, true, true}, SCase{7, true, false},
                           SCase{8, true, false}, SCase{10, true, true}, SCase{42, true, true}})
    {
        MakeCb(0, 50);
        Connect();
        IsSignalled(m_hStatus);
        m_pCb->Status(c.eStatus, 5, 6);
        EXPECT_EQ(g_bConnected, c.bConnected) << c.eStatus;
        EXPECT_EQ(m_pCb->GetStatus(), c.eStatus);
        EXPECT_TRUE(IsSignalled(m_hStatus));
        const std::string strStatus = std::to_string(c.eStatus);
        EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Status():DLI connect.state: " + strStatus +
                                  "  Req.no.: 5  Actual VDS cycle time: 6."));
        EXPECT_EQ(m_capture.Has("Unknown Status Message: eStatus=" + strStatus + "  lReqNum=5  lAddInfo=6."),
                  c.bUnknown);
    }
}

TEST_F(CVdsCbOMA_Status, StatusThatCannotWakeTheSessionSaysSo)
{
    CloseHandle(m_hStatus);
    m_pCb->Status(Dli::eStatus2, 0, 0);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Status():Failed sending Windows event!"));
    m_hStatus = nullptr;
    MakeCb(0, 50);
    m_pCb->Status(Dli::eStatus2, 0, 0);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Status():Windows handle does not exist!"));
}

TEST_F(CVdsCbOMA_Status, LossStopsTheChannelAndTheJobsOnce)
{
    Connect();
    FakeDli::SetBehaviour({.strThrowReadStop = "gone already"});
    for (const unsigned long eStatus : {4UL, 0UL, 3UL})
        m_pCb->Status(eStatus, 0, 0);
    EXPECT_EQ(FakeDli::CountCalls("Read.Stop"), 1U);
    EXPECT_EQ(m_capture.Count("CVdsCbOMA::OnDisconnected():Connection to VDS server lost!"), 1U);
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStop)));
    // The server's late answer to the old start changes nothing.
    IsSignalled(JobHandle(eJobEventStart));
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventStart)));
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 2U);
}

TEST_F(CVdsCbOMA_Status, AnsweredCycleReachesAllJobsAndStartsThoseWithAThread)
{
    AddJob("IDLE");
    Job(1).m_pThread.reset();
    m_pCb->SetUpcDone(true);
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventStart)));
    m_pCb->Status(Dli::eReqCycle, 0, 40);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::OnReqCycle():Actual VDS cylce time [40] differs from required value [20]!"));
    for (const auto& pJob : m_vecpJob)
    {
        EXPECT_EQ(pJob->m_fCycle_s, 0.04);
        EXPECT_EQ((*pJob->m_pvecpProc)[0]->GetDeltaT(), 0.04);
        EXPECT_EQ((*pJob->m_pvecpPsmOut)[0]->m_fCycle_s, 0.04);
    }
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStart)));
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventStart, 1)));
    EXPECT_NE(Job(0).m_pVdsOutMeas, nullptr);
    EXPECT_EQ(Job(1).m_pVdsOutMeas, nullptr);
    // The writer stays over a second answer.
    const CVdsOutMeas* const pWriter = Job(0).m_pVdsOutMeas.get();
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    EXPECT_EQ(Job(0).m_pVdsOutMeas.get(), pWriter);
    EXPECT_EQ(m_capture.Count("cylce time"), 1U);
}

TEST_F(CVdsCbOMA_Status, ImpossibleCycleTimeLeavesARateOfZeroThatNobodyDividesBy)
{
    m_pCb->SetUpcDone(true);
    m_pCb->Status(Dli::eConnected, 0, 0);
    m_pCb->Status(Dli::eReqCycle, 0, 17);
    EXPECT_TRUE(m_capture.Has("Actual VDS cylce time [17] differs from required value [20]!"));
    EXPECT_TRUE(m_capture.Has("CVdsCb::CycleTimeMsToCycleRateHz():Invalid Cycle Time: 17!"));
    EXPECT_TRUE(std::isinf(Job().m_fCycle_s.Get()));
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStart)));
    ReceivePlaces(0, 2);
    EXPECT_EQ(m_capture.Count("CVdsCbOMA::Receive():Invalid first time stamp value!"), 3U);
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 0U);
    // A rate that vanishes under a running time line.
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    ReceivePlaces(0, 2);
    m_pCb->Status(Dli::eReqCycle, 0, 17);
    ReceivePlaces(3, 3);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid successive time stamp value!"));
}

TEST_F(CVdsCbOMA_Status, MissingPartsOfAJobEndTheAnswer)
{
    m_pCb->SetUpcDone(true);
    m_pCb->Status(Dli::eConnected, 0, 0);
    const std::pair<std::string, std::function<void()>> vecCase[] = {
        {"pPSM", [this] { (*Job().m_pvecpPsmOut)[0].reset(); }},
        {"pvecpPSM", [this] { Job().m_pvecpPsmOut.reset(); }},
        {"pProc", [this] { (*Job().m_pvecpProc)[0].reset(); }},
        {"pvecpProc", [this] { Job().m_pvecpProc.reset(); }},
        {"pJob", [this] { m_vecpJob[0].reset(); }}};
    for (const auto& [strName, fnBreak] : vecCase)
    {
        fnBreak();
        EXPECT_FALSE(m_pCb->OnReqCycle(20));
        EXPECT_TRUE(m_capture.Has("CVdsCbOMA::OnReqCycle():Invalid Pointer: " + strName + "!"));
    }
    CVdsCbOMA cbNoJobs(2, m_hStatus, &m_chanData, &m_vecpPmu, 0, 50, nullptr, &m_trace);
    cbNoJobs.SetUpcDone(true);
    cbNoJobs.OnConnected();
    EXPECT_FALSE(cbNoJobs.OnReqCycle(20));
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::OnReqCycle():Invalid Pointer: m_pvecpJob!"));
}

TEST_F(CVdsCbOMA_Status, RefusedWriterLeavesTheWorkersNotStarted)
{
    m_pCb->SetUpcDone(true);
    m_pCb->Status(Dli::eConnected, 0, 0);
    FakeDli::SetBehaviour({.strThrowWriteNew = "no"});
    EXPECT_FALSE(m_pCb->OnReqCycle(20));
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventStart)));
}

TEST_F(CVdsCbOMA_Status, StoppedCallbackTakesNoCycle)
{
    m_pCb->SetUpcDone(true);
    m_pCb->Status(Dli::eConnected, 0, 0);
    m_pCb->SetStop(true);
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    EXPECT_EQ(Job().m_fCycle_s, 0.0);
    ReceivePlaces(0, 0);
    EXPECT_EQ(Job().m_pTimeInp.load(), nullptr);
}
