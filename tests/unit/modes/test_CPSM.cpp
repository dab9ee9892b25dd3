#include "ModeTest.h"
#include <limits>

using ETraceLevel = CaptureTrace::ETraceLevel;

namespace
{
class CPSMTest : public ModeTest
{
  protected:
    CPSM m_psm{true, 11, &m_vecpSpec, 3, &m_doe, &m_trace};
    STestTime m_time{};

    const CDataPS& Data(std::int32_t p_eReso) const { return *m_psm.RetrveSpec(p_eReso)->GetActDataPS(); }
};
} // namespace

TEST_F(CPSMTest, TakesTheUsedBandsInOrder)
{
    const int nCount = CPSM::GetNoOfPSM();
    UnuseBand(MR);
    {
        const CPSM psm(true, 11, &m_vecpSpec, 3, &m_doe, &m_trace);
        EXPECT_EQ(CPSM::GetNoOfPSM(), nCount + 1);
        EXPECT_TRUE(psm.IsOk());
        EXPECT_NE(psm.RetrveSpec(LR), nullptr);
        EXPECT_EQ(psm.RetrveSpec(MR), nullptr);
        EXPECT_NE(psm.RetrveSpec(HR), nullptr);
        EXPECT_EQ(psm.GetStatz(), eStatzInactive);
    }
    EXPECT_EQ(CPSM::GetNoOfPSM(), nCount);

    m_vecpSpec[MR].reset();
    const CPSM psmBad(true, 11, &m_vecpSpec, 3, &m_doe, &m_trace);
    EXPECT_FALSE(psmBad.IsOk());
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "CPSM::CPSM():Invalid Pointer: pSpecSrc!"));
    EXPECT_FALSE(CPSM(true, 11, nullptr, 3, &m_doe, &m_trace).IsOk());
}

TEST_F(CPSMTest, SilenceDoublesTheAgeingAndDetectionHalvesIt)
{
    struct SPass
    {
        bool bPeak;
        std::uint32_t nInc, nCntr;
        std::int32_t eStatz;
    };
    struct SLife
    {
        std::uint32_t nMax;
        std::vector<SPass> vecPass;
    };
    const SLife vecLife[] = {
        // Seen once: dies in the first silent pass.
        {10, {{true, 5, 3, 0}, {false, 10, 10, 2}, {false, 10, 10, 2}}},
        // Seen steadily: lives through two silent passes.
        {10,
         {{true, 5, 3, 0},
          {true, 3, 2, 0},
          {true, 2, 1, 0},
          {true, 1, 1, 0},
          {true, 1, 1, 0},
          {false, 2, 3, 1},
          {false, 4, 7, 1},
          {false, 8, 10, 2},
          {true, 4, 2, 0}}},
        // No cycle to spare.
        {1, {{false, 1, 1, 2}, {true, 1, 1, 0}, {false, 1, 1, 2}}},
    };
    for (const SLife& life : vecLife)
    {
        CPSM psm(true, 11, &m_vecpSpec, 3, &m_doe, &m_trace);
        psm.SetCounters(life.nMax);
        std::size_t nPass = 0;
        for (const SPass& pass : life.vecPass)
        {
            SCOPED_TRACE(std::to_string(life.nMax) + ", pass " + std::to_string(++nPass));
            if (pass.bPeak)
            {
                EXPECT_TRUE(Add(psm, Peak(LR, 1.0), m_time));
                EXPECT_EQ(psm.GetCntr(), 0U);
            }
            psm.UpdateCntrAndStatz();
            EXPECT_EQ(psm.GetCntrInc(), pass.nInc);
            EXPECT_EQ(psm.GetCntr(), pass.nCntr);
            EXPECT_EQ(psm.GetStatz(), pass.eStatz);
        }
    }
}

TEST_F(CPSMTest, PeakFillsTheRecordOfItsBand)
{
    EXPECT_TRUE(Add(m_psm, Peak(MR, 0.5, 0, 150.0, -0.02), m_time));
    EXPECT_EQ(Data(MR).GetFreq(), 0.5);
    EXPECT_EQ(Data(MR).GetMagn(), 150.0);
    EXPECT_EQ(Data(MR).GetDamp(), -0.02);
    EXPECT_EQ(Data(MR).GetQual(), 0);
    EXPECT_EQ(Data(LR).GetFreq(), -1.0);
    EXPECT_TRUE(m_psm.RetrveSpec(MR)->GetLastTimePS()->IsEqual(m_time));
    EXPECT_EQ(m_psm.GetStatz(), eStatzActive);
    EXPECT_TRUE(m_psm.IsLastValidFreq());
    EXPECT_EQ(m_psm.GetLastValidFreq(), 0.5);
    EXPECT_EQ(m_psm.GetLastFreq(), 0.5);
}

TEST_F(CPSMTest, ReferenceIsTheMeanOfAllBandsOfThePass)
{
    Add(m_psm, Peak(LR, 1.0, 0, 100.0), m_time);
    Add(m_psm, Peak(MR, 0.5, 0, 200.0), m_time);
    EXPECT_DOUBLE_EQ(m_psm.GetLastValidFreq(), 0.75);
    EXPECT_EQ(Data(LR).GetMagn(), 100.0);
    EXPECT_EQ(Data(MR).GetMagn(), 200.0);
    // A band without a peak of this pass does not count.
    const STestTime timeNext(1000);
    Add(m_psm, Peak(LR, 1.25), timeNext);
    EXPECT_DOUBLE_EQ(m_psm.GetLastValidFreq(), 1.25);
}

TEST_F(CPSMTest, SuspectFrequenciesCountOnlyWhereNoneIsValid)
{
    Add(m_psm, Peak(LR, 1.0, 1), m_time);
    EXPECT_FALSE(m_psm.IsLastValidFreq());
    EXPECT_EQ(m_psm.GetLastValidFreq(), -1.0);
    EXPECT_EQ(m_psm.GetLastFreq(), 1.0);
    Add(m_psm, Peak(MR, 0.5, 0), m_time);
    EXPECT_EQ(m_psm.GetLastValidFreq(), 0.5);
    EXPECT_EQ(m_psm.GetLastFreq(), 0.5);
    EXPECT_EQ(m_psm.CalcActFreq(2, &m_time), 0.5);
    EXPECT_EQ(m_psm.CalcActFreq(0, nullptr), 0.0);

    const STestTime timeNext(1000);
    Add(m_psm, Peak(LR, 1.5, 1), timeNext);
    EXPECT_EQ(m_psm.GetLastValidFreq(), 0.5);
    EXPECT_EQ(m_psm.GetLastFreq(), 1.5);
    EXPECT_EQ(m_psm.CalcActFreq(0, &timeNext), -1.0);
}

TEST_F(CPSMTest, PeaksThatCannotBeTaken)
{
    EXPECT_TRUE(Add(m_psm, Peak(LR, std::numeric_limits<double>::quiet_NaN()), m_time));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "CPSM::AddPeak():Invalid [NAN] PS freq.value!"));
    EXPECT_EQ(m_psm.GetStatz(), eStatzInactive);
    EXPECT_TRUE(m_psm.RetrveSpec(LR)->GetLastTimePS()->IsZero());

    EXPECT_FALSE(Add(m_psm, Peak(3, 1.0), m_time));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "AddPeak():Invalid Pointer: pSpec!"));
    EXPECT_TRUE(Add(m_psm, Peak(LR, 1.0, 2), m_time));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "CalcActFreq():No VALID nor SUSPECT freq.data!"));
    EXPECT_FALSE(m_psm.AddPeak(nullptr, {}, 0.0, &m_time));
    const CPeakOMA peak = Peak(LR, 1.0);
    EXPECT_FALSE(m_psm.AddPeak(&peak, {}, 0.0, nullptr));
    EXPECT_TRUE(m_capture.Has("AddPeak():Invalid Pointer: p_pPeak!"));
    EXPECT_TRUE(m_capture.Has("AddPeak():Invalid Pointer: p_pActTime!"));
}

TEST_F(CPSMTest, UpdateCountsValidCyclesAndKeepsAHistory)
{
    const CSpecDyn& specLR = *m_psm.RetrveSpec(LR);
    const CSpecDyn& specMR = *m_psm.RetrveSpec(MR);
    // Qualities of the peaks of LR and MR in each pass (-1: none), and what they make of the counters.
    struct SPass
    {
        std::int32_t eQualLR, eQualMR;
        std::uint32_t nValidLR, nValidMR, nValid;
    };
    std::int64_t nOffset_ms = 0;
    for (const SPass& pass :
         {SPass{0, -1, 1, 0, 1}, {0, 0, 2, 1, 2}, {1, 0, 0, 2, 3}, {0, 2, 1, 0, 4}, {1, -1, 0, 0, 0}})
    {
        const STestTime time(nOffset_ms += 1000);
        SCOPED_TRACE(nOffset_ms);
        if (pass.eQualLR >= 0)
            Add(m_psm, Peak(LR, 1.0, pass.eQualLR), time);
        if (pass.eQualMR >= 0)
            Add(m_psm, Peak(MR, 0.7, pass.eQualMR), time);
        EXPECT_TRUE(m_psm.Update(&time));
        EXPECT_EQ(specLR.GetCntValid(), pass.nValidLR);
        EXPECT_EQ(specMR.GetCntValid(), pass.nValidMR);
        EXPECT_EQ(m_psm.GetCntValidCycles(), pass.nValid);
        EXPECT_EQ(specMR.GetActDataPS()->GetFreq(), pass.eQualMR == 0 || pass.eQualMR == 1 ? 0.7 : -1.0);
        EXPECT_EQ(specLR.GetDeqDataPS()->size(), std::min<std::size_t>(3, nOffset_ms / 1000));
        EXPECT_EQ(specLR.GetDeqDataPS()->back().GetQual(), pass.eQualLR);
    }
    EXPECT_EQ(specMR.GetDeqDataPS()->front().GetQual(), 0); // the oldest of the last three passes
    EXPECT_EQ(specMR.GetDeqDataPS()->back().GetQual(), 2);
}

TEST_F(CPSMTest, UpdateOfAnUnknownQualitySuspends)
{
    Add(m_psm, Peak(LR, 1.0, 3), m_time);
    EXPECT_FALSE(m_psm.Update(&m_time));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "No 'case'"));
    EXPECT_EQ(GetAppState(), eAppSuspend);
    EXPECT_TRUE(m_psm.RetrveSpec(LR)->GetDeqDataPS()->empty());
    EXPECT_FALSE(m_psm.Update(nullptr));
    EXPECT_FALSE(m_psm.UpdateDeque(nullptr));
    EXPECT_TRUE(m_capture.Has("UpdateDeque():Invalid Pointer: p_pSpec!"));
}

TEST_F(CPSMTest, RawMagnitudeSumsTheRangeOfTheFirstPeak)
{
    CPeakOMA peak = Peak(LR, 1.0);
    peak.SetFWHM(0.1);
    const std::valarray<double> vecAmpl(1.0, 32);
    EXPECT_DOUBLE_EQ(m_psm.CalcRawMagn(&peak, vecAmpl, 0.1), 3.0);
    peak.SetFWHM(0.5);
    EXPECT_DOUBLE_EQ(m_psm.CalcRawMagn(&peak, vecAmpl, 0.1), 3.0);
    EXPECT_EQ(m_psm.CalcRawMagn(nullptr, vecAmpl, 0.1), 0.0);
}
