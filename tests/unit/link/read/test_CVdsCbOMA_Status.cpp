#include "ReadBench.h"
#include <cmath>

using CVdsCbOMA_Status = CallbackBench;

TEST_F(CVdsCbOMA_Status, FailedStartSuspendsAndTheNextConnectTriesAgain)
{
    FakeDli::SetBehaviour({.strThrowReadStart = "no"});
    m_pCb->Status(Dli::eConnected, 0, 0);
    EXPECT_TRUE(IsSuspendedWith("Calling DLI Start() failed"));
    FakeDli::SetBehaviour({});
    // The third connect, without a loss before it, starts nothing.
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

TEST_F(CVdsCbOMA_Status, ImpossibleCycleTimeLeavesARateOfZeroThatNobodyDividesBy)
{
    m_pCb->Status(Dli::eConnected, 0, 0);
    m_pCb->Status(Dli::eReqCycle, 0, 17);
    EXPECT_TRUE(std::isinf(Job().m_fCycle_s.Get()));
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventStart)));
    ReceivePlaces(0, 2);
    EXPECT_EQ(m_capture.Count("CVdsCbOMA::Receive():Invalid first time stamp value!"), 3U);
    // The rate disappears while the time line is running.
    m_pCb->Status(Dli::eReqCycle, 0, 20);
    ReceivePlaces(0, 2);
    m_pCb->Status(Dli::eReqCycle, 0, 17);
    ReceivePlaces(3, 3);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid successive time stamp value!"));
}
