#include "OutputTest.h"
#include "link/CVdsOutPS.h"
#include <cmath>
#include <limits>

using ETraceLevel = CaptureTrace::ETraceLevel;

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
        EXPECT_EQ(m_swing.GetValue(i), vecfWanted[i]);
    }
    EXPECT_EQ(m_swing.GetQual(), 1);
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, ""), 0U);
}

TEST_F(CVdsOutPSTest, ValuesThatCannotBeAreNotSent)
{
    m_swing.DoWritePS(&m_time, 1.0, 1.0, 1.0, 1.0, 0);
    EXPECT_FALSE(m_swing.DoWritePS(&m_time, -0.1, 5.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "DoWritePS():Invalid PS freq.value -> Abort PS output!"));
    EXPECT_EQ(m_swing.GetValue(0), 1.0);
    EXPECT_FALSE(m_swing.DoWritePS(&m_time, 2.0, -1.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "DoWritePS():Invalid PS magn. -> Abort PS output!"));
    EXPECT_EQ(m_swing.GetValue(0), 2.0); // overwritten already
    EXPECT_EQ(m_swing.GetValue(1), 1.0);

    const CTime timeNone(0);
    EXPECT_FALSE(m_swing.DoWritePS(&timeNone, 1.0, 1.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "DoWritePS():TS calculation failed -> Abort PS output!"));
    EXPECT_FALSE(m_swing.DoWritePS(nullptr, 1.0, 1.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_capture.Has("DoWritePS():Invalid Pointer: p_pActTime!"));
    CVdsOutPS swing3(1, 9, {91, 92, 93}, 1, &m_trace);
    EXPECT_FALSE(swing3.DoWritePS(&m_time, 1.0, 1.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_capture.Has("DoWritePS():Invalid no.of outp.chan.s: 3 -> Abort PS output!"));
    EXPECT_EQ(FakeDli::Writes().size(), 1U);
}

TEST_F(CVdsOutPSTest, ZeroNaNAndHugeValuesPass)
{
    EXPECT_TRUE(m_swing.DoWritePS(&m_time, 0.0, 0.0, 0.0, 0.0, 0));
    EXPECT_TRUE(m_swing.DoWritePS(&m_time, g_fNaN, 1.0e308, -1.0e308, g_fNaN, 0));
    const std::vector<FakeDli::SValue> vecValue = FakeDli::Writes().back().vecValue;
    EXPECT_TRUE(std::isnan(vecValue[0].fValue));
    EXPECT_TRUE(std::isinf(vecValue[1].fValue));
    EXPECT_TRUE(std::isinf(vecValue[2].fValue));
}

TEST_F(CVdsOutPSTest, GapIsCountedInPsCyclesAtEveryRate)
{
    struct SCase
    {
        std::int32_t nRate;
        std::int64_t nCycle_ms;
    };
    for (const SCase& test : {SCase{1, 1000}, {2, 500}, {10, 100}, {25, 40}, {-2, 2000}, {-5, 5000}})
    {
        SCOPED_TRACE(test.nRate);
        CVdsOutPS swing(1, 9, {91, 92, 93, 94}, test.nRate, &m_trace);
        const auto Write = [&](std::int64_t p_nCycle)
        {
            m_capture.Clear();
            const STestTime time(p_nCycle * test.nCycle_ms);
            EXPECT_TRUE(swing.DoWritePS(&time, 1.0, 1.0, -0.1, 1.0, 0));
        };
        const std::string strGap = "BEFORE PSM DATA WRITE - Missing OMA input data: # PS cycles = ";
        EXPECT_TRUE(swing.GetCB()->DoStart(&m_time));
        for (std::int64_t nCycle = 0; nCycle <= 60; ++nCycle)
        {
            Write(nCycle);
            EXPECT_FALSE(m_capture.Has(strGap)) << nCycle;
        }
        const std::size_t nWrites = FakeDli::Writes(9).size();
        Write(63);
        EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, strGap + "2!"));
        Write(63);
        EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, strGap + "-1!"));
        EXPECT_EQ(FakeDli::Writes(9).size(), nWrites + 2);

        // A new start, much later, has no gap.
        EXPECT_TRUE(swing.GetCB()->DoStop(nullptr));
        const STestTime timeLater(1000 * test.nCycle_ms);
        EXPECT_TRUE(swing.GetCB()->DoStart(&timeLater));
        Write(1000);
        EXPECT_FALSE(m_capture.Has(strGap));
    }
}

TEST_F(CVdsOutPSTest, RateOfZeroHasNoCyclesAndStillWrites)
{
    CVdsOutPS swing(1, 9, {91, 92, 93, 94}, 0, &m_trace);
    EXPECT_TRUE(swing.GetCB()->DoStart(&m_time));
    EXPECT_TRUE(swing.DoWritePS(&m_time, 1.0, 1.0, -0.1, 1.0, 0));
    EXPECT_TRUE(swing.DoWritePS(&m_time, 1.0, 1.0, -0.1, 1.0, 0));
    EXPECT_EQ(FakeDli::Writes(9).size(), 2U);
    EXPECT_FALSE(m_capture.Has("Missing OMA input data"));
}

TEST_F(CVdsOutPSTest, UnknownQualityGoesOutInvalid)
{
    EXPECT_TRUE(m_swing.DoWritePS(&m_time, 1.0, 1.0, -0.1, 1.0, 3));
    EXPECT_TRUE(m_capture.Has("Missing case"));
    EXPECT_EQ(FakeDli::Writes().back().vecValue[3].nState, 0x0100000000000000);
}

TEST_F(CVdsOutPSTest, DetailLinesNameTheValues)
{
    m_swing.DoWritePS(&m_time, 0.5, 2.0, -0.25, 8.5, 0);
    EXPECT_EQ(m_capture.Lines().size(), 0U);
    g_nTraceFilterId = 81;
    g_vecbTraceData[0] = true;
    g_bConnected = false;
    m_swing.DoWritePS(&m_time, 0.5, 2.0, -0.25, 8.5, 0);
    EXPECT_TRUE(
        m_capture.Has(ETraceLevel::eError, "     WRITE value(s)=0.500000 , 2.000000 , -0.250000 , 8.500000 at TS=" +
                                               ActTimeAsText(m_time) + " for PS freq.ID=81!"));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eData, "WRITE chan.data: f=0.500000 A=2.000000 z=-0.250000 DOE=8.500000"));
}

TEST_F(CVdsOutPSTest, ChannelsAreFoundByNameAndHaveUnits)
{
    const std::pair<const char*, unsigned> vecName[] = {
        {"Frequency", 0}, {"fREQUENCY", 0},    {"Magnitude", 1},   {"DampingRatioDegreeOfExposure", 2},
        {"", 3},          {"DampingRatio", 4}, {"Frequenc\xE4", 4}};
    for (const auto& [pName, nIndex] : vecName)
        EXPECT_EQ(CVdsOutPS::GetChannelIndex(pName), nIndex) << pName;
    const char* const vecUnit[2][5] = {{"Hz", "degree", "-", "-", ""}, {"Hz", "VA", "-", "-", ""}};
    for (unsigned i = 0; i < 5; ++i)
    {
        EXPECT_EQ(CVdsOutPS::GetUnit(false, i), vecUnit[0][i]);
        EXPECT_EQ(CVdsOutPS::GetUnit(true, i), vecUnit[1][i]);
    }
}
