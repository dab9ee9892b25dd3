#include "host/base/CTime.h"
#include "host/base/TextOMA.h"
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
