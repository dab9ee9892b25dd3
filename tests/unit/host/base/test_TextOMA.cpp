#include "host/CTime.h"
#include "host/TextOMA.h"
#include <gtest/gtest.h>
#include <limits>

namespace
{
constexpr std::int64_t g_n1970 = 621355968000000000;
}

TEST(TextOMA, DoublesHaveSixDecimals)
{
    EXPECT_EQ(DoubleAsText(0.0), "0.000000");
    EXPECT_EQ(DoubleAsText(-1.5), "-1.500000");
    EXPECT_EQ(DoubleAsText(1234567.1234567), "1234567.123457");
    EXPECT_EQ(DoubleAsText(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(DoubleAsText(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(DoubleAsText(std::numeric_limits<double>::max()).size(), 309U + 7U);
}

TEST(TextOMA, FilledFormsWidenButNeverCut)
{
    struct SCase
    {
        double fValue;
        unsigned nLeft;
        unsigned nRight;
        bool bSign;
        const char* pText;
    };
    const SCase cases[] = {
        {0.35, 2, 2, false, "00.35"},  {1500.0, 10, 0, true, "00000001500"}, {12.5, 3, 2, true, "0012.50"},
        {0.05, 1, 3, true, "00.050"},  {3.5, 2, 2, false, "03.50"},          {123.4, 2, 2, false, "123.40"},
        {-0.05, 1, 3, true, "-0.050"}, {-12.5, 4, 2, true, "00-12.50"},      {0.0, 0, 0, false, "0"},
    };
    for (const SCase& c : cases)
        EXPECT_EQ(DoubleAsText(c.fValue, c.nLeft, c.nRight, c.bSign), c.pText);
    EXPECT_EQ(DoubleAsText(std::numeric_limits<double>::lowest(), 1, 10, true).size(), 1U + 309U + 11U);
}

TEST(TextOMA, IntegersInDecimalHexAndFields)
{
    EXPECT_EQ(UInt64AsText(255, true), "ff");
    EXPECT_EQ(UInt64AsText(255, false), "255");
    EXPECT_EQ(UInt64AsText(std::numeric_limits<std::uint64_t>::max(), true), "ffffffffffffffff");
    EXPECT_EQ(IntAsText(-7), "-7");
    EXPECT_EQ(UIntAsText(7), "7");
    EXPECT_EQ(UIntAsText(7, 4), "   7");
    EXPECT_EQ(UIntAsText(12345, 4), "12345");
    EXPECT_EQ(LongAsText(-9000000000LL), "-9000000000");
}

TEST(TextOMA, EnumerationsHaveTheirWords)
{
    const std::pair<std::int32_t, const char*> quals[] = {{0, " VALID"},
                                                          {1, " SUSPECT"},
                                                          {2, " INVALID"},
                                                          {3, " ERROR"},
                                                          {4, " [undef. qual.value]"},
                                                          {-1, " [undef. qual.value]"}};
    for (const auto& [eQual, pText] : quals)
        EXPECT_EQ(QualAsText(eQual), pText);
    EXPECT_EQ(TransAsText(0), "DIS");
    EXPECT_EQ(TransAsText(1), "APP");
    EXPECT_EQ(TransAsText(2), "");
    const std::pair<std::int32_t, const char*> swings[] = {
        {0, "No Power Swing"},          {4203, "Undamped Critical Power Swing"}, {4204, "Critical Power Swing"},
        {4205, "Distinct Power Swing"}, {4206, "Notified Power Swing"},          {4202, ""}};
    for (const auto& [eKey, pText] : swings)
        EXPECT_EQ(SwingEventAsText(eKey), pText);
}

TEST(TextOMA, TimeIsTheTimeOfDay)
{
    EXPECT_EQ(TimeAsText(g_n1970), "00:00:00:000");
    EXPECT_EQ(TimeAsText(g_n1970 + 471090409999), "13:05:09:040");
    EXPECT_EQ(TimeAsText(g_n1970 + 863999999999), "23:59:59:999");
    EXPECT_EQ(TimeAsText(0), "00:00:00:000") << "ahead of 1970: no time";
    EXPECT_EQ(TimeAsText(std::numeric_limits<std::int64_t>::min()).size(), 12U);
    CTime time(50);
    ASSERT_TRUE(time.SetTicks(g_n1970 + 471090400000));
    EXPECT_EQ(ActTimeAsText(time), "13:05:09:040");
    EXPECT_EQ(ActTimeAsText(CTime(0)), "00:00:00:000");
}

TEST(TextOMA, DataLinesOfSamplesPhasorsAndGaps)
{
    const std::int64_t nTicks = g_n1970 + 471090400000;
    EXPECT_EQ(SampleAsText(17, nTicks, "U", 2, 1.5, 0x1f), "ID=17 Time=13:05:09:040 U[2]=1.500000 Q=1f");
    EXPECT_EQ(PhasorAsText(17, nTicks, "U", 0, 1.5, -30.0, 0),
              "ID=17 Time=13:05:09:040 U[0]=1.500000Phi=-30.000000° Q=0");
    EXPECT_EQ(GapAsText("13:05:09:040", "Job", -3, 50), "13:05:09:040 ( Job ) -3 cycles (VDS cycle rate: 50 Hz )");
    EXPECT_EQ(TimesAsText({{"in", nTicks}, {"held", g_n1970}}), "in: 13:05:09:040, held: 00:00:00:000");
}
