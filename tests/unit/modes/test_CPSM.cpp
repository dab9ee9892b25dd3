#include "ModeTest.h"
#include <limits>

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
        const char* pName;
        std::uint32_t nMax;
        std::vector<SPass> vecPass;
    };
    for (const SLife& life :
         {SLife{"seen once: dies in the first silent pass", 10, {{true, 5, 3, 0}, {false, 10, 10, 2}}},
          {"seen steadily: lives through two silent passes",
           10,
           {{true, 5, 3, 0},
            {true, 3, 2, 0},
            {true, 2, 1, 0},
            {true, 1, 1, 0},
            {true, 1, 1, 0},
            {false, 2, 3, 1},
            {false, 4, 7, 1},
            {false, 8, 10, 2},
            {true, 4, 2, 0}}},
          {"no cycle to spare", 1, {{false, 1, 1, 2}, {true, 1, 1, 0}, {false, 1, 1, 2}}}})
    {
        CPSM psm(true, 11, &m_vecpSpec, 3, &m_doe, &m_trace);
        psm.SetCounters(life.nMax);
        std::size_t nPass = 0;
        for (const SPass& pass : life.vecPass)
        {
            SCOPED_TRACE(std::string(life.pName) + ", pass " + std::to_string(++nPass));
            if (pass.bPeak)
                Add(psm, Peak(LR, 1.0), m_time);
            psm.UpdateCntrAndStatz();
            EXPECT_EQ(psm.GetCntrInc(), pass.nInc);
            EXPECT_EQ(psm.GetCntr(), pass.nCntr);
            EXPECT_EQ(psm.GetStatz(), pass.eStatz);
        }
    }
}

TEST_F(CPSMTest, ReferenceIsTheMeanOfAllBandsOfThePass)
{
    EXPECT_TRUE(Add(m_psm, Peak(LR, 1.0, 0, 100.0, -0.02), m_time));
    EXPECT_TRUE(Add(m_psm, Peak(MR, 0.5, 0, 200.0, -0.03), m_time));
    EXPECT_EQ(m_psm.GetStatz(), eStatzActive);
    EXPECT_TRUE(m_psm.IsLastValidFreq());
    EXPECT_DOUBLE_EQ(m_psm.GetLastValidFreq(), 0.75);
    EXPECT_EQ(Data(LR).GetMagn(), 100.0);
    EXPECT_EQ(Data(MR).GetMagn(), 200.0);
    EXPECT_EQ(Data(MR).GetDamp(), -0.03);
    // A band without a peak in this pass does not count.
    const STestTime timeNext(1000);
    EXPECT_TRUE(Add(m_psm, Peak(LR, 1.25), timeNext));
    EXPECT_DOUBLE_EQ(m_psm.GetLastValidFreq(), 1.25);
}

TEST_F(CPSMTest, SuspectFrequenciesCountOnlyWhereNoneIsValid)
{
    const STestTime timeNext(1000);
    struct SStep
    {
        const CTime* pTime;
        CPeakOMA peak;
        double fLastValid_Hz, fLast_Hz;
    };
    for (const SStep& step : {SStep{&m_time, Peak(LR, 1.0, 1), -1.0, 1.0},
                              {&m_time, Peak(MR, 0.5, 0), 0.5, 0.5},
                              {&timeNext, Peak(LR, 1.5, 1), 0.5, 1.5}})
    {
        EXPECT_TRUE(Add(m_psm, step.peak, *step.pTime));
        EXPECT_EQ(m_psm.GetLastValidFreq(), step.fLastValid_Hz);
        EXPECT_EQ(m_psm.GetLastFreq(), step.fLast_Hz);
    }
    EXPECT_EQ(m_psm.CalcActFreq(0, &timeNext), -1.0);
    EXPECT_EQ(m_psm.CalcActFreq(0, nullptr), 0.0);
}

TEST_F(CPSMTest, PeaksThatCannotBeTaken)
{
    const CPeakOMA peak = Peak(LR, 1.0);
    EXPECT_TRUE(Add(m_psm, Peak(LR, std::numeric_limits<double>::quiet_NaN()), m_time));
    EXPECT_EQ(m_psm.GetStatz(), eStatzInactive);
    EXPECT_TRUE(m_psm.RetrveSpec(LR)->GetLastTimePS()->IsZero());
    EXPECT_FALSE(Add(m_psm, Peak(3, 1.0), m_time));
    EXPECT_TRUE(Add(m_psm, Peak(LR, 1.0, 2), m_time));
    EXPECT_FALSE(m_psm.AddPeak(nullptr, {}, 0.0, &m_time));
    EXPECT_FALSE(m_psm.AddPeak(&peak, {}, 0.0, nullptr));
    ExpectErrors({"CPSM::AddPeak():Invalid [NAN] PS freq.value!", "AddPeak():Invalid Pointer: pSpec!",
                  "CPSM::CalcActFreq():No VALID nor SUSPECT freq.data!", "AddPeak():Invalid Pointer: p_pPeak!",
                  "AddPeak():Invalid Pointer: p_pActTime!"});
}

TEST_F(CPSMTest, UpdateCountsValidCyclesAndKeepsAHistory)
{
    // Qualities of the peaks of LR and MR in each pass (-1: no peak), and the resulting counters.
    struct SPass
    {
        std::int32_t eQualLR, eQualMR;
        std::uint32_t nValidLR, nValidMR, nValid;
    };
    const CSpecDyn& specLR = *m_psm.RetrveSpec(LR);
    const CSpecDyn& specMR = *m_psm.RetrveSpec(MR);
    std::int64_t nPass = 0;
    for (const SPass& pass :
         {SPass{0, -1, 1, 0, 1}, {0, 0, 2, 1, 2}, {1, 0, 0, 2, 3}, {0, 2, 1, 0, 4}, {1, -1, 0, 0, 0}})
    {
        const STestTime time(++nPass * 1000);
        SCOPED_TRACE(nPass);
        if (pass.eQualLR >= 0)
            Add(m_psm, Peak(LR, 1.0, pass.eQualLR), time);
        if (pass.eQualMR >= 0)
            Add(m_psm, Peak(MR, 0.7, pass.eQualMR), time);
        EXPECT_TRUE(m_psm.Update(&time));
        EXPECT_EQ(specLR.GetCntValid(), pass.nValidLR);
        EXPECT_EQ(specMR.GetCntValid(), pass.nValidMR);
        EXPECT_EQ(m_psm.GetCntValidCycles(), pass.nValid);
        EXPECT_EQ(Data(MR).GetFreq(), pass.eQualMR == 0 ? 0.7 : -1.0);
        EXPECT_EQ(specLR.GetDeqDataPS()->size(), std::min<std::size_t>(3, nPass));
        EXPECT_EQ(specLR.GetDeqDataPS()->back().GetQual(), pass.eQualLR);
    }
    EXPECT_EQ(specMR.GetDeqDataPS()->front().GetQual(), 0); // the oldest of the last three passes
    EXPECT_EQ(specMR.GetDeqDataPS()->back().GetQual(), 2);
}

TEST_F(CPSMTest, RecordsWithoutAFrequencyOrWithAForeignQuality)
{
    EXPECT_TRUE(Add(m_psm, Peak(LR, 1.0), m_time));
    EXPECT_TRUE(Add(m_psm, Peak(MR, 0.0), m_time));
    EXPECT_EQ(m_psm.GetLastValidFreq(), 1.0) << "0 is no frequency";
    m_psm.RetrveSpec(LR)->GetActDataPS()->SetQual(3);
    EXPECT_FALSE(m_psm.Update(&m_time));
    EXPECT_EQ(g_eAppState, eAppSuspend);
    EXPECT_TRUE(m_capture.Has("CPSM::Update(): No 'case'! -> Suspend Application."));
    EXPECT_EQ(CDataPS().GetQual(), 2);
}

TEST(SpecDynTest, PriorityByContinuityAndPlace)
{
    CTraceOMA trace{"SPEC"};
    const CaptureTrace capture;
    const CSpec band(true, MR, 64, 0.2, 0.8, 1, &trace);
    CSpecDyn spec(&band, 10, 1, &trace);
    const STestTime time;
    const STestTime timeForeign(1000);
    spec.GetLastTimePS()->Copy(&time, false);
    const std::int32_t vecWant[][3] = {{3, 2, 1}, {6, 5, 4}, {11, 9, 7}, {12, 10, 8}, {12, 10, 8}};
    for (const auto& vecRow : vecWant)
    {
        for (std::int32_t eNeighb = eNeighbOwn; eNeighb <= eNeighbFar; ++eNeighb)
            EXPECT_EQ(spec.CalcPrioOutp(&time, eNeighb), vecRow[eNeighb]) << spec.GetCntValid();
        EXPECT_EQ(spec.GetPrioOutp(), vecRow[2]);
        spec.IncCntValid();
    }
    EXPECT_TRUE(capture.Lines().empty());
    EXPECT_EQ(spec.CalcPrioOutp(&timeForeign, eNeighbOwn), 0);
    EXPECT_EQ(spec.GetPrioOutp(), 0);
    EXPECT_TRUE(capture.Has("CSpecDyn::CalcPrioOutp():Missing ACTUAL data for SPEC priority calculation!"));
    spec.SetPrioOutp(5);
    EXPECT_EQ(spec.CalcPrioOutp(&time, eNeighbInvalid), 0);
    EXPECT_EQ(spec.GetPrioOutp(), 0);
    EXPECT_TRUE(capture.Has("CSpecDyn::CalcPrioOutp():Invalid #p_eNeighb!"));
}
