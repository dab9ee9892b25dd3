#include "ModeTest.h"

namespace
{
class CSpecDynTest : public ModeTest
{
  protected:
    CSpecDyn m_spec{m_vecpSpec[MR].get(), 5, 42, &m_trace};
    STestTime m_time{};
};
} // namespace

TEST_F(CSpecDynTest, ContinuityCountsMoreThanPlace)
{
    const std::int32_t vecPrio[5][3] = {{3, 2, 1}, {6, 5, 4}, {11, 9, 7}, {12, 10, 8}, {12, 10, 8}};
    m_spec.GetLastTimePS()->Copy(&m_time, false);
    for (const auto& vecRow : vecPrio)
    {
        for (std::int32_t eNeighb = eNeighbOwn; eNeighb <= eNeighbFar; ++eNeighb)
        {
            EXPECT_EQ(m_spec.CalcPrioOutp(&m_time, eNeighb), vecRow[eNeighb]);
            EXPECT_EQ(m_spec.GetPrioOutp(), vecRow[eNeighb]);
        }
        m_spec.IncCntValid();
    }
}

TEST_F(CSpecDynTest, PriorityFallsToZeroWithoutActualDataOrPlace)
{
    const STestTime timeNext(20);
    m_spec.GetLastTimePS()->Copy(&m_time, false);
    for (const auto& [pTime, eNeighb] : {std::pair<const CTime*, int>{&m_time, -1}, {&m_time, 3}, {&timeNext, 0}})
    {
        m_spec.SetPrioOutp(12);
        EXPECT_EQ(m_spec.CalcPrioOutp(pTime, eNeighb), 0);
        EXPECT_EQ(m_spec.GetPrioOutp(), 0);
    }
    ExpectErrors({"CSpecDyn::CalcPrioOutp():Invalid #p_eNeighb!",
                  "CSpecDyn::CalcPrioOutp():Missing ACTUAL data for SPEC priority calculation!"});
    EXPECT_EQ(m_spec.CalcPrioOutp(nullptr, eNeighbOwn), 0);
}
