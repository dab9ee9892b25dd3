#include "ModeTest.h"

using ETraceLevel = CaptureTrace::ETraceLevel;

namespace
{
class CSpecDynTest : public ModeTest
{
  protected:
    CSpecDyn m_spec{m_vecpSpec[MR].get(), 5, 42, &m_trace};
    STestTime m_time{};
};
} // namespace

TEST_F(CSpecDynTest, IsItsBandForAnotherOwner)
{
    EXPECT_EQ(m_spec.GetReso(), MR);
    EXPECT_EQ(m_spec.GetFreqBeg(), 0.2);
    EXPECT_EQ(m_spec.GetFreqEnd(), 0.8);
    EXPECT_EQ(m_spec.GetNoOfSamples(), 256U);
    EXPECT_EQ(m_spec.GetOwnerId(), 42U);
    EXPECT_EQ(m_spec.GetDeqMax(), 5U);
    EXPECT_TRUE(m_spec.GetLastTimePS()->IsZero());
    EXPECT_EQ(m_spec.GetActDataPS()->GetQual(), 2);
    EXPECT_TRUE(m_spec.GetDeqDataPS()->empty());
    EXPECT_EQ(m_spec.GetPrioOutp(), 0);
}

TEST_F(CSpecDynTest, ContinuityCountsMoreThanPlace)
{
    const std::int32_t vecPrio[4][3] = {{3, 2, 1}, {6, 5, 4}, {11, 9, 7}, {12, 10, 8}};
    m_spec.GetLastTimePS()->Copy(&m_time, false);
    for (std::uint32_t nValid = 0; nValid < 6; ++nValid)
    {
        EXPECT_EQ(m_spec.GetCntValid(), nValid);
        for (std::int32_t eNeighb = eNeighbOwn; eNeighb <= eNeighbFar; ++eNeighb)
        {
            EXPECT_EQ(m_spec.CalcPrioOutp(&m_time, eNeighb), vecPrio[std::min(nValid, 3U)][eNeighb]);
            EXPECT_EQ(m_spec.GetPrioOutp(), vecPrio[std::min(nValid, 3U)][eNeighb]);
        }
        m_spec.IncCntValid();
    }
    m_spec.ClrCntValid();
    EXPECT_EQ(m_spec.CalcPrioOutp(&m_time, eNeighbOwn), 3);
}

TEST_F(CSpecDynTest, PriorityFallsToZeroWithoutActualDataOrPlace)
{
    m_spec.GetLastTimePS()->Copy(&m_time, false);
    for (const std::int32_t eNeighb : {-1, 3, 4})
    {
        m_spec.SetPrioOutp(12);
        EXPECT_EQ(m_spec.CalcPrioOutp(&m_time, eNeighb), 0);
        EXPECT_EQ(m_spec.GetPrioOutp(), 0);
    }
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "CSpecDyn::CalcPrioOutp():Invalid #p_eNeighb!"), 3U);

    m_spec.SetPrioOutp(12);
    const STestTime timeNext(20);
    EXPECT_EQ(m_spec.CalcPrioOutp(&timeNext, eNeighbOwn), 0);
    EXPECT_EQ(m_spec.GetPrioOutp(), 0);
    EXPECT_TRUE(
        m_capture.Has(ETraceLevel::eError, "CalcPrioOutp():Missing ACTUAL data for SPEC priority calculation!"));
    EXPECT_EQ(m_spec.CalcPrioOutp(nullptr, eNeighbOwn), 0);
}
