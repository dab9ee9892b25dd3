#include "ReadBench.h"
#include <cmath>

using CVdsCbOMA_Status = CallbackBench;

TEST_F(CVdsCbOMA_Status, RatesAndCycleTimesAreTheTwoWaysOfOneTable)
{
    const std::uint32_t vecnPair[][2] = {{60, 16},  {50, 20}, {30, 33}, {25, 40}, {20, 50}, {15, 66}, {12, 83},
                                         {10, 100}, {6, 166}, {5, 200}, {4, 250}, {3, 333}, {1, 1000}};
    for (const auto& [nRate, nCycle_ms] : vecnPair)
    {
        EXPECT_EQ(CVdsCb::CycleRateHzToCycleTimeMs(nRate), nCycle_ms);
        EXPECT_EQ(m_pCb->CycleTimeMsToCycleRateHz(nCycle_ms), nRate);
    }
    EXPECT_TRUE(m_capture.Lines().empty());
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
        std::string strCall;
        std::string strSuspend;
    };
    for (const SCase& c : {SCase{0, 50, "Read.Start rate 50", ""}, SCase{1, 7, "Read.Start rate 7", ""},
                           SCase{2, 30, "Read.Start ms 33", ""}, SCase{2, 0, "", "Invalid cycle time"},
                           SCase{3, 50, "", "Invalid Sampling Mode: 3"}})
    {
        FakeDli::Reset();
        MakeCb(c.eMode, c.nRate);
        EXPECT_EQ(m_pCb->OnConnected(), c.strSuspend.empty());
        EXPECT_EQ(FakeDli::ReadStarts().size(), c.strSuspend.empty() ? 1U : 0U);
        EXPECT_TRUE(c.strSuspend.empty() ? FakeDli::CountCalls(c.strCall) == 1
                                         : IsSuspendedWith("CVdsCbOMA::OnConnected(): " + c.strSuspend));
    }
}

TEST_F(CVdsCbOMA_Status, FailedStartSuspendsAndTheNextConnectTriesAgain)
{
    FakeDli::SetBehaviour({.strThrowReadStart = "no"});
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_TRUE(IsSuspendedWith("Calling DLI Start() failed"));
    FakeDli::SetBehaviour({});
    // The third one comes without a loss between and starts nothing.
    m_pCb->Status(Dli::eConnected, 0, 0);
    m_pCb->Status(Dli::eConnected, 0, 0);
    const auto vecStart = FakeDli::ReadStarts();
    ASSERT_EQ(vecStart.size(), 2U);
    EXPECT_TRUE(vecStart[1].n1 == 1 && vecStart[1].n2 == 2);
    EXPECT_EQ(m_capture.Count("CVdsCbOMA::OnConnected():DLI Start() cmd sent."), 1U);
}

TEST_F(CVdsCbOMA_Status, StartWaitsForTheUpcRequestTenSecondsAtMost)
{
    m_pCb->SetUpcDone(false);
    EXPECT_TRUE(m_pCb->OnConnected());
    EXPECT_EQ(EventsNow_ms(), 10000);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 1U);
    const std::string strHead = "CVdsCbOMA::OnConnected():";
    EXPECT_TRUE(m_capture.Has(strHead + "Missing 'request finished' status after 'EventManager::Read()' query!"));
    EXPECT_TRUE(m_capture.Has(strHead + "Timeout processing UPC events."));
    for (const bool bStop : {false, true})
    {
        EventsUseFakeClock(true);
        FakeDli::Reset();
        MakeCb(0, 50);
        m_pCb->SetUpcDone(false);
        bool bOk = bStop;
        std::thread library([&] { bOk = m_pCb->OnConnected(); });
        EXPECT_TRUE(EventsAwaitParked(1, 30000));
        bStop ? m_pCb->SetStop(true) : m_pCb->SetUpcDone(true);
        EXPECT_TRUE(FakeDli::ReadStarts().empty());
        EventsAdvance(1000);
        library.join();
        EXPECT_EQ(bOk, !bStop);
        EXPECT_EQ(FakeDli::ReadStarts().size(), bStop ? 0U : 1U);
    }
    EXPECT_EQ(m_capture.Count("Missing 'request finished'"), 1U);
}

TEST_F(CVdsCbOMA_Status, EachStatusHasItsEffectAndWakesTheSession)
{
    for (const unsigned long eStatus : {0UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL, 10UL, 42UL})
    {
        MakeCb(0, 50);
        Connect();
        IsSignalled(m_hStatus);
        m_pCb->Status(eStatus, 5, 6);
        EXPECT_EQ(g_bConnected, eStatus != 0 && eStatus != 3 && eStatus != 4);
        EXPECT_EQ(m_pCb->GetStatus(), eStatus);
        EXPECT_TRUE(IsSignalled(m_hStatus));
        const std::string strStatus = std::to_string(eStatus);
        EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Status():DLI connect.state: " + strStatus +
                                  "  Req.no.: 5  Actual VDS cycle time: 6."));
        EXPECT_EQ(m_capture.Has("Unknown Status Message: eStatus=" + strStatus + "  lReqNum=5  lAddInfo=6."),
                  eStatus == 6 || eStatus >= 10);
    }
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
    IsSignalled(JobHandle(eJobEventStart));
    // The last is the server's late answer to the old start.
    for (const unsigned long eStatus : {4UL, 0UL, 3UL, 9UL})
        m_pCb->Status(eStatus, 0, 20);
    EXPECT_EQ(FakeDli::CountCalls("Read.Stop"), 1U);
    EXPECT_EQ(m_capture.Count("CVdsCbOMA::OnDisconnected():Connection to VDS server lost!"), 1U);
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStop)));
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventStart)));
    Connect();
    EXPECT_EQ(FakeDli::ReadStarts().size(), 2U);
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStart)));
}

TEST_F(CVdsCbOMA_Status, AnsweredCycleReachesAllJobsAndStartsThoseWithAThread)
{
    AddJob("IDLE");
    Job(1).m_pThread.reset();
    m_pCb->Status(Dli::eConnected, 0, 0);
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
    m_pCb->SetStop(true);
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    EXPECT_EQ(Job(0).m_fCycle_s, 0.04);
}

TEST_F(CVdsCbOMA_Status, ImpossibleCycleTimeLeavesARateOfZeroThatNobodyDividesBy)
{
    m_pCb->Status(Dli::eConnected, 0, 0);
    m_pCb->Status(Dli::eReqCycle, 0, 17);
    EXPECT_TRUE(m_capture.Has("Actual VDS cylce time [17] differs from required value [20]!"));
    EXPECT_TRUE(m_capture.Has("CVdsCb::CycleTimeMsToCycleRateHz():Invalid Cycle Time: 17!"));
    EXPECT_TRUE(std::isinf(Job().m_fCycle_s.Get()));
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStart)));
    ReceivePlaces(0, 2);
    EXPECT_EQ(m_capture.Count("CVdsCbOMA::Receive():Invalid first time stamp value!"), 3U);
    // Vanishes under a running time line.
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    ReceivePlaces(0, 2);
    m_pCb->Status(Dli::eReqCycle, 0, 17);
    ReceivePlaces(3, 3);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid successive time stamp value!"));
}

TEST_F(CVdsCbOMA_Status, MissingPartsOfAJobEndTheAnswerBeforeTheWorkersStart)
{
    m_pCb->Status(Dli::eConnected, 0, 0);
    FakeDli::SetBehaviour({.strThrowWriteNew = "no"});
    EXPECT_FALSE(m_pCb->OnReqCycle(20));
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventStart)));
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
        EXPECT_TRUE(HasBadPointer("CVdsCbOMA::OnReqCycle", strName));
    }
}
