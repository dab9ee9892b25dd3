#include "ReadBench.h"
#include <cmath>
#include <functional>
#include <limits>

using CVdsCbOMA_Receive = CallbackBench;

TEST_F(CVdsCbOMA_Receive, SamplesReachPmusAndJobInTheOrderOfTheirDeclaration)
{
    Connect();
    ReceivePlaces(5, 5);
    for (unsigned i = 0; i < 6; ++i)
    {
        EXPECT_EQ(Phasor(i / 3, i % 3).fMagn, i + 1.0);
        EXPECT_EQ(Phasor(i / 3, i % 3).eQual, eQualValid);
    }
    // Angles of 0 lie 120 degrees apart in both PMUs: P = 1 * 4 + 2 * 5 + 3 * 6.
    EXPECT_NEAR(Job().GetActValue().fValue, 32.0, 1e-9);
    EXPECT_EQ(Job().GetActValue().eQual, eQualValid);
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 1U);
    ASSERT_NE(Job().m_pTimeInp.load(), nullptr);
    EXPECT_EQ(Job().m_pTimeInp.load()->GetIdx(), 5U);
    EXPECT_TRUE(m_capture.Lines().empty());
}

TEST_F(CVdsCbOMA_Receive, TimeStampsAreHeldAgainstTheTimeLine)
{
    constexpr std::int64_t nPlace = g_nSec / 50;
    struct SCase
    {
        std::string strName;
        int nHeld;          ///< place of the last cycle before
        std::int64_t nNext; ///< ticks from the start
        std::string strError;
        std::size_t nDeq; ///< measurements held afterwards, 3 before
    };
    const std::string strHead = "CVdsCbOMA::Receive():";
    const std::string strRate = " cycles (VDS cycle rate: 50 Hz )!";
    const SCase vecCase[] = {
        {"next", 5, 6 * nPlace, "", 4},
        {"next second", 49, g_nSec, "", 4},
        {"a tick off the grid", 5, 6 * nPlace + 1, strHead + "Invalid successive time stamp value!", 3},
        {"one cycle left out", 5, 7 * nPlace, strHead + "Actual input TS ( 00:00:00:100 ) too early by -2" + strRate,
         1},
        {"back", 5, 2 * nPlace, strHead + "Actual input TS ( 00:00:00:100 ) delayed by 3" + strRate, 1},
        {"repeated", 5, 5 * nPlace, strHead + "TS fine despite regarded as invalid by DLI method!", 4},
        // The place held counts as one second later when it is the first of its second.
        {"left out from 0", 50, g_nSec + 2 * nPlace,
         strHead + "Actual input TS ( 00:00:01:000 ) delayed by 48" + strRate, 1},
        {"repeated at 0", 50, g_nSec, strHead + "Actual input TS ( 00:00:01:000 ) delayed by 50" + strRate, 1},
        {"before all times", 5, -g_nStart - g_nSec, strHead + "Actual input TS ( 00:00:00:100 ) delayed by", 1},
        {"end of all times", 5, 9000000000000000000 - g_nStart,
         strHead + "Actual input TS ( 00:00:00:100 ) too early by -", 1}};
    for (const SCase& c : vecCase)
    {
        SCOPED_TRACE(c.strName);
        MakeCb(0, 50);
        Connect();
        Job().ResetDeqMeas();
        ReceivePlaces(c.nHeld - 2, c.nHeld);
        m_capture.Clear();
        ReceiveAt(g_nStart + c.nNext);
        EXPECT_TRUE(c.strError.empty() || m_capture.Has(c.strError)) << ::testing::PrintToString(m_capture.Lines());
        EXPECT_EQ(m_capture.Count(CaptureTrace::ETraceLevel::eError, ""), c.strError.empty() ? 0U : 1U);
        EXPECT_EQ(Job().m_pdeqMeas->Size(), c.nDeq);
        EXPECT_EQ(m_capture.Has("RESET Meas.Deque"), c.nDeq == 1);
    }
}

TEST_F(CVdsCbOMA_Receive, FirstStampOffTheGridIsRefusedAndTheNextOneStarts)
{
    Connect();
    ReceiveAt(g_nStart + 17);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid first time stamp value!"));
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 0U);
    m_capture.Clear();
    ReceivePlaces(3, 4);
    EXPECT_TRUE(m_capture.Lines().empty());
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 2U);
}

TEST_F(CVdsCbOMA_Receive, ThirtyHertzRunsThroughASecondWithoutAMessage)
{
    MakeCb(0, 30);
    Connect(33);
    const CTime grid(30);
    for (std::int64_t n = 0; n < 90; ++n)
        ReceiveAt(g_nStart + n / 30 * g_nSec + grid.IdxToTicks(static_cast<std::uint64_t>(n % 30)));
    EXPECT_FALSE(m_capture.Has(CaptureTrace::ETraceLevel::eError, "TS"));
    EXPECT_FALSE(m_capture.Has("time stamp"));
}

TEST_F(CVdsCbOMA_Receive, StateWordDecidesTheQuality)
{
    const std::pair<std::uint64_t, std::int32_t> vecCase[] = {{0x0, eQualValid},          {0x1, eQualValid},
                                                              {0x10, eQualInvalid},       {0x20, eQualInvalid},
                                                              {0x2000, eQualInvalid},     {0x4000, eQualInvalid},
                                                              {0x8000, eQualInvalid},     {0x1FCF, eQualValid},
                                                              {0x78600000, eQualValid},   {1ULL << 53, eQualInvalid},
                                                              {1ULL << 54, eQualInvalid}, {1ULL << 59, eQualInvalid},
                                                              {1ULL << 62, eQualInvalid}, {1ULL << 63, eQualValid},
                                                              {1ULL << 55, eQualValid},   {0xE030ULL << 32, eQualValid},
                                                              {~0ULL, eQualInvalid}};
    Connect();
    int nPlace = 1;
    for (const auto& [nState, eQual] : vecCase)
    {
        MakeSamples(g_nStart + nPlace++ * (g_nSec / 50));
        m_vecpOwned[1]->SetStatus(static_cast<std::int64_t>(nState));
        m_pCb->Receive(m_vecpSample);
        EXPECT_EQ(Phasor(0, 1).eQual, eQual) << std::hex << nState;
        EXPECT_EQ(Job().GetActValue().eQual, eQual);
    }
}

TEST_F(CVdsCbOMA_Receive, RejectedSampleKeepsItsValuesAndTurnsInvalid)
{
    struct SCase
    {
        std::function<void()> fnBreak;
        std::string strError;
    };
    const SCase vecCase[] = {
        {[this] { m_vecpOwned[4]->SetId(99); }, "CVdsCbOMA::ExtractActualPhasor():Invalid meas.ID!"},
        {[this] { m_vecpOwned[4]->SetType(static_cast<Dli::CChannel::EType>(2)); },
         "CVdsCbOMA::ExtractActualPhasor():Invalid meas.type!"},
        {[this] { m_vecpSample[4] = nullptr; }, "CVdsCbOMA::ExtractActualPhasor():Invalid Pointer: pSample!"}};
    Connect();
    ReceivePlaces(1, 1);
    int nPlace = 2;
    for (const SCase& c : vecCase)
    {
        MakeSamples(g_nStart + nPlace++ * (g_nSec / 50));
        Dli::CChannel::vdsData data{2, 77.0F, 77.0F};
        m_vecpOwned[4]->SetValue(data, Dli::CChannel::eValuePhasor);
        c.fnBreak();
        m_pCb->Receive(m_vecpSample);
        EXPECT_TRUE(m_capture.Has(c.strError));
        EXPECT_EQ(Phasor(1, 1).fMagn, 5.0);
        EXPECT_EQ(Phasor(1, 1).eQual, eQualInvalid);
        EXPECT_EQ(Phasor(1, 2).eQual, eQualValid);
    }
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 4U);
}

TEST_F(CVdsCbOMA_Receive, ShortLongAndEmptyVectorsAreTold)
{
    Connect();
    MakeSamples(g_nStart);
    m_vecpSample.resize(4);
    m_pCb->Receive(m_vecpSample);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Meas.vector size (4) Differs from Expected Value (6)!"));
    EXPECT_EQ(Phasor(1, 0).eQual, eQualValid);
    EXPECT_EQ(Phasor(1, 1).eQual, eQualInvalid);
    MakeSamples(g_nStart + g_nSec / 50);
    m_vecpSample.push_back(m_vecpSample.back());
    m_pCb->Receive(m_vecpSample);
    EXPECT_TRUE(m_capture.Has("Meas.vector size (7) Differs from Expected Value (6)!"));
    EXPECT_EQ(Phasor(1, 1).eQual, eQualValid);
    m_vecpSample.clear();
    m_pCb->Receive(m_vecpSample);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Empty meas.vector!"));
    m_vecpSample.assign(6, nullptr);
    m_pCb->Receive(m_vecpSample);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid Pointer: pSample!"));
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 2U);
}

TEST_F(CVdsCbOMA_Receive, PmuWithTwoPhasorsSuspendsAndTakesNoSamples)
{
    m_vecpPmu.insert(m_vecpPmu.begin(), MakePmu(100, {1, 2}));
    Connect();
    MakeSamples(g_nStart);
    m_pCb->Receive(m_vecpSample);
    EXPECT_TRUE(IsSuspendedWith("CVdsCbOMA::Receive(): Invalid no.of phasors: 2"));
    EXPECT_EQ(Phasor(1, 0).eQual, eQualValid);
    EXPECT_FALSE(m_capture.Has("Meas.vector size"));
}

TEST_F(CVdsCbOMA_Receive, MissingPmuOrPhasorsEndTheCycle)
{
    Connect();
    m_vecpPmu[1]->DeletePhasors();
    ReceivePlaces(0, 0);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid Pointer: pvecPhasor!"));
    m_vecpPmu[0].reset();
    ReceivePlaces(1, 1);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid Pointer: pPmu!"));
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 0U);
    m_vecpJob[0].reset();
    ReceivePlaces(7, 7);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::InitAllJobs():Invalid Pointer: pJob!"));
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::SetActTimeForAllJobs():Invalid Pointer: pJob!"));
}

TEST_F(CVdsCbOMA_Receive, NumbersThatAreNonePassOnAsValues)
{
    Connect();
    for (const float fMagn : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()})
    {
        MakeSamples(g_nStart);
        m_vecpOwned[0] = FakeDli::MakeSample(11, g_nStart, fMagn, fMagn);
        m_vecpSample[0] = m_vecpOwned[0].get();
        m_pCb->Status(Dli::eConnected, 0, 0); // a new time line
        m_pCb->Receive(m_vecpSample);
        EXPECT_FALSE(std::isfinite(Phasor(0, 0).fMagn.Get()));
        EXPECT_EQ(Phasor(0, 0).eQual, eQualValid);
    }
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 2U);
}

TEST_F(CVdsCbOMA_Receive, PhasorLineIsWrittenUnderItsSwitchOnly)
{
    Connect();
    ReceivePlaces(1, 1);
    EXPECT_TRUE(m_capture.Lines().empty());
    g_vecbTraceData[2] = true;
    ReceivePlaces(2, 2);
    EXPECT_EQ(m_capture.Lines().size(), 6U);
    EXPECT_TRUE(m_capture.Has("ID=102 Time=00:00:00:040 U/I [V/A] [2]=6.000000Phi=0.000000° Q=0"));
}

// ---- workers ----

TEST_F(CVdsCbOMA_Receive, WorkerIsWokenOnItsPsCycleWithEnoughMeasurements)
{
    Connect();
    // 15 measurements at the full second: one too few.
    ReceivePlaces(36, 50);
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventNewData)));
    ReceivePlaces(51, 99);
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventNewData)));
    EXPECT_TRUE(m_capture.Lines().empty());
    ReceivePlaces(100, 100);
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventNewData)));
    EXPECT_FALSE(Job().m_bWorkerDone);
    EXPECT_EQ(EventsNow_ms(), 5000);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::WaitForWorkerDone():Input data loss for OMA job: JOB!"));
}

TEST_F(CVdsCbOMA_Receive, EveryJobIsWaitedForAndOnlyTheSlowOneIsTold)
{
    AddJob("SLOW");
    Connect();
    ReceivePlaces(30, 49);
    EventsAutoAdvance(0);
    std::thread worker(
        [this]
        {
            WaitForSingleObject(JobHandle(eJobEventNewData), INFINITE);
            Job(0).m_bWorkerDone = true;
        });
    std::thread library([this] { ReceivePlaces(50, 50); });
    worker.join();
    EventsAutoAdvance(1);
    library.join();
    EXPECT_FALSE(m_capture.Has("Input data loss for OMA job: JOB!"));
    EXPECT_TRUE(m_capture.Has("Input data loss for OMA job: SLOW!"));
}

TEST_F(CVdsCbOMA_Receive, StopEndsTheWaitForAWorkerAtOnce)
{
    Connect();
    EventsAutoAdvance(0);
    ReceivePlaces(30, 49);
    std::thread library([this] { ReceivePlaces(50, 50); });
    ASSERT_TRUE(EventsAwaitParked(1, 30000));
    m_pCb->SetStop(true);
    EventsAdvance(10);
    library.join();
    EXPECT_TRUE(m_capture.Lines().empty());
    EXPECT_FALSE(Job().m_bWorkerDone);
}

TEST_F(CVdsCbOMA_Receive, JobWithoutHandlesOrThreadIsNotWoken)
{
    AddJob("IDLE");
    Job(1).m_pThread.reset();
    Connect();
    ReceivePlaces(30, 49);
    (*Job(0).m_pvechOMA)[eJobEventNewData] = nullptr;
    ReceivePlaces(50, 50);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::InitJobWorker():Invalid #hOMA# handle!"));
    EXPECT_EQ(Job(1).m_pdeqMeas->Size(), 0U);
    EXPECT_NE(Job(1).m_pTimeInp.load(), nullptr);
    m_capture.Clear();
    Job(0).m_pvechOMA.reset();
    ReceivePlaces(51, 100);
    EXPECT_TRUE(m_capture.Lines().empty());
    EXPECT_TRUE(Job(0).m_bWorkerDone);
}

TEST_F(CVdsCbOMA_Receive, FailedJobEndsTheCycleForThoseBehindIt)
{
    AddJob("BEHIND");
    Connect();
    Job(0).m_pPmu2nd = nullptr;
    ReceivePlaces(1, 1);
    EXPECT_EQ(Job(0).m_pdeqMeas->Size(), 0U);
    EXPECT_EQ(Job(1).m_pdeqMeas->Size(), 0U);
    EXPECT_EQ(Job(0).GetActValue().eQual, eQualInvalid);
}

TEST_F(CVdsCbOMA_Receive, StatusAndReceiveOverlapWithoutARace)
{
    Connect();
    std::atomic<bool> bEnd{false};
    std::thread status(
        [&]
        {
            while (!bEnd)
                for (const unsigned long eStatus : {0UL, 1UL, 9UL})
                    m_pCb->Status(eStatus, 0, 20);
        });
    for (int i = 0; i < 300; ++i)
    {
        Job().m_bWorkerDone = true;
        ReceivePlaces(i % 49 + 1, i % 49 + 1);
    }
    bEnd = true;
    status.join();
}
