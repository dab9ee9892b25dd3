#include "ReadBench.h"
#include <cmath>
#include <limits>

using CVdsCbOMA_Receive = CallbackBench;

TEST_F(CVdsCbOMA_Receive, TimeStampsAreHeldAgainstTheTimeLine)
{
    struct SCase
    {
        int nHeld;          ///< position of the previous cycle
        std::int64_t nNext; ///< ticks since the start
        std::string strError;
        std::size_t nDeq; ///< measurements held afterwards; 3 before
    };
    const std::string strAt100 = "Actual input TS ( 00:00:00:100 ) ";
    const std::string strRate = " cycles (VDS cycle rate: 50 Hz )!";
    const SCase vecCase[] = {{5, 6 * g_nPlace, "", 4},
                             {49, g_nSec, "", 4},
                             {5, 6 * g_nPlace + 1, "Invalid successive time stamp value!", 3},
                             {5, 7 * g_nPlace, strAt100 + "too early by -2" + strRate, 1},
                             {5, 2 * g_nPlace, strAt100 + "delayed by 3" + strRate, 1},
                             {5, 5 * g_nPlace, "TS fine despite regarded as invalid by DLI method!", 4},
                             // A position that is the first in its second counts as one second later.
                             {50, g_nSec + 2 * g_nPlace, "Actual input TS ( 00:00:01:000 ) delayed by 48" + strRate, 1},
                             {50, g_nSec, "Actual input TS ( 00:00:01:000 ) delayed by 50" + strRate, 1},
                             {5, -g_nStart - g_nSec, strAt100 + "delayed by", 1},
                             {5, 9000000000000000000 - g_nStart, strAt100 + "too early by -", 1}};
    for (const SCase& c : vecCase)
    {
        SCOPED_TRACE(c.nNext);
        MakeCb(0, 50);
        Connect();
        Job().ResetDeqMeas();
        ReceivePlaces(c.nHeld - 2, c.nHeld);
        m_capture.Clear();
        Receive(c.nNext);
        EXPECT_TRUE(c.strError.empty() || m_capture.Has("CVdsCbOMA::Receive():" + c.strError));
        EXPECT_EQ(m_capture.Count(CaptureTrace::ETraceLevel::eError, ""), c.strError.empty() ? 0U : 1U);
        EXPECT_EQ(Job().m_pdeqMeas->Size(), c.nDeq);
    }
    // The first cycle of a time line.
    m_pCb->Status(Dli::eConnected, 0, 0);
    Receive(17);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Invalid first time stamp value!"));
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 1U);
}

TEST_F(CVdsCbOMA_Receive, ThirtyHertzRunsThroughSecondsWithoutAMessage)
{
    MakeCb(0, 30);
    Connect(33);
    const CTime grid(30);
    for (std::uint64_t n = 0; n < 90; ++n)
        Receive(static_cast<std::int64_t>(n / 30) * g_nSec + grid.IdxToTicks(n % 30));
    EXPECT_FALSE(m_capture.Has("CVdsCbOMA::Receive"));
    EXPECT_EQ(Job().m_nMeasSinceShift, 90U);
}

TEST_F(CVdsCbOMA_Receive, StateWordDecidesTheQuality)
{
    std::vector<std::pair<std::uint64_t, bool>> vecCase = {{~0ULL, false}};
    constexpr std::uint64_t nInvalidBits = 0x786000000000E030; // 4, 5, 13 to 15, 53, 54, 59 to 62
    for (unsigned nBit = 0; nBit < 64; ++nBit)
        vecCase.emplace_back(1ULL << nBit, (nInvalidBits >> nBit & 1) == 0);
    Connect();
    int nPlace = 1;
    for (const auto& [nState, bValid] : vecCase)
    {
        Receive(g_nPlace * nPlace++, [nBits = nState](SSamples& r_samples)
                { r_samples.vecpOwned[1]->SetStatus(static_cast<std::int64_t>(nBits)); });
        EXPECT_EQ(Phasor(0, 1).eQual, bValid ? eQualValid : eQualInvalid) << std::hex << nState;
        EXPECT_EQ(Job().GetActValue().eQual, bValid ? eQualValid : eQualInvalid);
    }
}

TEST_F(CVdsCbOMA_Receive, RejectedSampleTurnsInvalidAndNumbersThatAreNoneAreValues)
{
    Connect();
    ReceivePlaces(1, 1);
    Receive(2 * g_nPlace,
            [](SSamples& r_samples)
            {
                r_samples.vecpOwned[4]->SetId(99);
                r_samples.vecpSample[5] = nullptr;
                Dli::CChannel::vdsData data{2, std::numeric_limits<float>::infinity(),
                                            std::numeric_limits<float>::quiet_NaN()};
                r_samples.vecpOwned[0]->SetValue(data, Dli::CChannel::eValuePhasor);
            });
    for (const std::size_t nIndex : {1U, 2U})
        EXPECT_TRUE(Phasor(1, nIndex).fMagn == nIndex + 4.0 && Phasor(1, nIndex).eQual == eQualInvalid);
    EXPECT_FALSE(std::isfinite(Phasor(0, 0).fMagn.Get()));
    EXPECT_EQ(Phasor(0, 0).eQual, eQualValid);
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 2U);
}

TEST_F(CVdsCbOMA_Receive, ShortLongAndEmptyVectorsAreTold)
{
    Connect();
    Receive(0, [](SSamples& r_samples) { r_samples.vecpSample.resize(4); });
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Meas.vector size (4) Differs from Expected Value (6)!"));
    EXPECT_EQ(Phasor(1, 0).eQual, eQualValid);
    EXPECT_EQ(Phasor(1, 1).eQual, eQualInvalid);
    Receive(g_nPlace, [](SSamples& r_samples) { r_samples.vecpSample.push_back(nullptr); });
    EXPECT_TRUE(m_capture.Has("Meas.vector size (7) Differs from Expected Value (6)!"));
    EXPECT_EQ(Phasor(1, 1).eQual, eQualValid);
    Receive(2 * g_nPlace, [](SSamples& r_samples) { r_samples.vecpSample.clear(); });
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::Receive():Empty meas.vector!"));
    Receive(2 * g_nPlace, [](SSamples& r_samples) { r_samples.vecpSample[0] = nullptr; });
    EXPECT_EQ(Job().m_pdeqMeas->Size(), 2U);
}

// ---- workers ----

TEST_F(CVdsCbOMA_Receive, WorkerIsWokenOnItsPsCycleWithEnoughMeasurements)
{
    AddJob("IDLE");
    Job(1).m_pThread.reset();
    Connect();
    // 15 measurements at the full second: one too few.
    ReceivePlaces(36, 99);
    EXPECT_FALSE(IsSignalled(JobHandle(eJobEventNewData)));
    EXPECT_TRUE(m_capture.Lines().empty());
    ReceivePlaces(100, 100);
    EXPECT_TRUE(IsSignalled(JobHandle(eJobEventNewData)));
    EXPECT_FALSE(Job().m_bWorkerDone);
    EXPECT_EQ(EventsNow_ms(), 5000);
    EXPECT_TRUE(m_capture.Has("CVdsCbOMA::WaitForWorkerDone():Input data loss for OMA job: JOB!"));
    EXPECT_EQ(Job(1).m_pdeqMeas->Size(), 0U);
    EXPECT_NE(Job(1).m_pTimeInp.load(), nullptr);
}

TEST_F(CVdsCbOMA_Receive, EveryWorkerIsWaitedForAndOnlyTheSlowOneIsTold)
{
    AddJob("SLOW");
    Connect();
    ReceivePlaces(30, 49);
    EventsAutoAdvance(0);
    std::thread library([this] { ReceivePlaces(50, 50); });
    WaitForSingleObject(JobHandle(eJobEventNewData), INFINITE);
    Job(0).m_bWorkerDone = true;
    EventsAutoAdvance(1);
    library.join();
    EXPECT_FALSE(m_capture.Has("Input data loss for OMA job: JOB!"));
    EXPECT_TRUE(m_capture.Has("Input data loss for OMA job: SLOW!"));
}

TEST_F(CVdsCbOMA_Receive, StopEndsTheWaitForAWorkerAtOnce)
{
    Connect();
    ReceivePlaces(30, 49);
    EventsAutoAdvance(0);
    std::thread library([this] { ReceivePlaces(50, 50); });
    EXPECT_TRUE(EventsAwaitParked(1, 30000));
    m_pCb->SetStop(true);
    EventsAdvance(10);
    library.join();
    EXPECT_TRUE(m_capture.Lines().empty());
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
        ReceivePlaces(i % 49 + 1, i % 49 + 1);
    bEnd = true;
    status.join();
}
