#include "vds/base/CLineLimit.h"
#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(CLineLimit, OneLineAKeyAndIntervalAndTheNextOneSaysWhatWasLeftOut)
{
    CLineLimit limit(60s);
    const CLineLimit::TTime tBegin;
    EXPECT_EQ(limit.Tail("a", tBegin), "");
    for (int i = 1; i <= 254; ++i)
        EXPECT_FALSE(limit.Tail("a", tBegin + i * 4ms));
    EXPECT_EQ(limit.Tail("b", tBegin + 1s), "") << "another key has its own lines";
    EXPECT_FALSE(limit.Tail("a", tBegin + 59s));
    EXPECT_EQ(limit.Tail("a", tBegin + 60s), " (255 more left out)");
    EXPECT_EQ(limit.Tail("a", tBegin + 120s), "");
}

TEST(CLineLimit, AFewLinesAnInterval)
{
    CLineLimit limit(60s, 64, 3);
    const CLineLimit::TTime tBegin;
    int nLines = 0;
    for (int i = 0; i < 100; ++i)
        nLines += limit.Tail("a", tBegin + i * 100ms) ? 1 : 0;
    EXPECT_EQ(nLines, 3);
    EXPECT_EQ(limit.Tail("a", tBegin + 60s), " (97 more left out)");
}

TEST(CLineLimit, KeysThatAPeerInventsTakeNoMoreRoomAndNoMoreLines)
{
    CLineLimit limit(60s, 8);
    const CLineLimit::TTime tBegin;
    int nLines = 0;
    for (int i = 0; i < 10000; ++i)
        nLines += limit.Tail("key " + std::to_string(i), tBegin + i * 1ms) ? 1 : 0;
    EXPECT_EQ(nLines, 9) << "eight keys, and one line for all others";
    EXPECT_EQ(limit.Tail("late", tBegin + 80s), "") << "keys that are silent make room";
    EXPECT_FALSE(limit.Tail("late", tBegin + 81s));
}
