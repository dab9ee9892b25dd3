#include "OutputTest.h"
#include "link/output/CVdsOutPS.h"
#include <cmath>
#include <limits>

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();

class CVdsOutPSTest : public OutputTest
{
  protected:
    CVdsOutPS m_swing{1, 8, {81, 82, 83, 84}, 1, &m_trace};
    STestTime m_time{};
};
} // namespace

TEST_F(CVdsOutPSTest, FourValuesGoOutUnderOneStampAndState)
{
    EXPECT_TRUE(m_swing.DoWritePS(&m_time, 0.5, 1500.25, -0.125, 8.5, 1));
    ASSERT_EQ(FakeDli::Writes(8).size(), 1U);
    const std::vector<FakeDli::SValue> vecValue = FakeDli::Writes(8)[0].vecValue;
    const float vecfWanted[] = {0.5F, 1500.25F, -0.125F, 8.5F};
    ASSERT_EQ(vecValue.size(), 4U);
    for (unsigned i = 0; i < 4; ++i)
    {
        EXPECT_EQ(vecValue[i].nId, 81U + i);
        EXPECT_EQ(vecValue[i].fValue, vecfWanted[i]);
        EXPECT_EQ(vecValue[i].nState, 0x0080000000000000);
        EXPECT_EQ(vecValue[i].nTicks, STestTime::Ticks(0));
    }
}

TEST_F(CVdsOutPSTest, ZeroNaNAndHugeValuesPass)
{
    EXPECT_TRUE(m_swing.DoWritePS(&m_time, 0.0, 0.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_swing.DoWritePS(&m_time, g_fNaN, 1.0e308, -1.0e308, g_fNaN, 0));
    EXPECT_EQ(FakeDli::Writes().size(), 2U);
    EXPECT_TRUE(std::isnan(m_swing.GetValue(0)));
    EXPECT_TRUE(std::isinf(m_swing.GetValue(2)));
}

TEST_F(CVdsOutPSTest, GapIsCountedInPsCyclesAtEveryRate)
{
    const std::string strGap = "DoWritePS():BEFORE PSM DATA WRITE - Missing OMA input data: # PS cycles = ";
    for (const auto& [nRate, nCycle_ms] : {std::pair{1, 1000}, {25, 40}, {-5, 5000}})
    {
        SCOPED_TRACE(nRate);
        CVdsOutPS swing(1, 9, {91, 92, 93, 94}, nRate, &m_trace);
        const auto Write = [&, nDist_ms = nCycle_ms](std::int64_t p_nCycle)
        {
            const std::size_t nWrites = FakeDli::Writes(9).size();
            const STestTime time(p_nCycle * nDist_ms);
            EXPECT_TRUE(swing.DoWritePS(&time, 1.0, 1.0, -0.1, 1.0, 0));
            EXPECT_EQ(FakeDli::Writes(9).size(), nWrites + 1);
        };
        EXPECT_TRUE(swing.GetCB()->DoStart(&m_time));
        for (std::int64_t nCycle = 0; nCycle <= 60; ++nCycle)
            Write(nCycle);
        EXPECT_FALSE(m_capture.Has(strGap));
        Write(63);
        ExpectErrors({strGap + "2!"});
        Write(63);
        ExpectErrors({strGap + "-1!"});
    }
    CVdsOutPS swing(1, 9, {91, 92, 93, 94}, 0, &m_trace); // a rate without cycles
    EXPECT_TRUE(swing.GetCB()->DoStart(&m_time));
    EXPECT_TRUE(swing.DoWritePS(&m_time, 1.0, 1.0, -0.1, 1.0, 0));
    EXPECT_FALSE(m_capture.Has(strGap));
}
