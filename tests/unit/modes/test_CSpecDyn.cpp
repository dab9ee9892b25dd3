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
