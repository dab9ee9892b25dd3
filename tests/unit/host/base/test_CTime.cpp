#include "IColumn.h"
#include "host/base/CTime.h"
#include <gtest/gtest.h>
#include <limits>
#include <thread>

using Norvik::Energy::Kestrel::VDS::Runtime::IColumn;

namespace
{
constexpr std::int64_t g_nSec = 10000000;
constexpr std::uint64_t g_nBegin_s = 63850000000;
constexpr std::int64_t g_nBegin = static_cast<std::int64_t>(g_nBegin_s) * g_nSec;
constexpr std::int64_t g_nMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t g_nMax = std::numeric_limits<std::int64_t>::max();

/// Position as index and second.
using SAt = std::pair<std::uint64_t, std::uint64_t>;
SAt At(const CTime& p_time)
{
    return {p_time.GetIdx(), p_time.GetSec()};
}

SAt Next(const CTime& p_time)
{
    SAt at{77, 77};
    EXPECT_TRUE(p_time.CalcNextTS(&at.first, &at.second));
    return at;
}

SAt Next(const CTime& p_time, std::int64_t p_nTicks)
{
    SAt at{77, 77};
    EXPECT_TRUE(p_time.CalcNextTS(p_nTicks, &at.first, &at.second));
    return at;
}

std::int64_t Ticks(const CTime& p_time)
{
    std::int64_t nTicks = -1;
    EXPECT_TRUE(p_time.ToTicks(&nTicks));
    return nTicks;
}

std::int64_t Gap(const CTime& p_time, std::int64_t p_nTicks)
{
    std::int64_t nGap = -9999;
    EXPECT_TRUE(p_time.CheckWithNextTS(p_nTicks, &nGap));
    return nGap;
}

/// Sets the time to this position; the object computes its fields itself.
void Place(CTime& p_time, std::uint64_t p_nSec, std::uint64_t p_nIdx)
{
    ASSERT_TRUE(p_time.SetTicks(static_cast<std::int64_t>(p_nSec) * g_nSec + p_time.IdxToTicks(p_nIdx)));
    ASSERT_EQ(At(p_time), SAt(p_nIdx, p_nSec));
}
} // namespace

TEST(CTime, OneTickShortOfASecondBelongsToTheNext)
{
    EXPECT_EQ(CTime::TicksToSec(g_nBegin), g_nBegin_s);
    EXPECT_EQ(CTime::TicksToSec(g_nBegin - 1), g_nBegin_s);
    EXPECT_EQ(CTime::TicksToSec(g_nBegin - 2), g_nBegin_s - 1);
    EXPECT_EQ(CTime::TicksToSec(g_nMax), 922337203685U);
}

TEST(CTime, GridAtThirtyHertzIsNotEvenlySpaced)
{
    const CTime time(30);
    EXPECT_EQ(time.IdxToTicks(0), 0);
    EXPECT_EQ(time.IdxToTicks(1), 333333);
    EXPECT_EQ(time.IdxToTicks(2), 666667);
    EXPECT_EQ(time.IdxToTicks(3), 1000000);
    EXPECT_EQ(time.IdxToTicks(29), 9666667);
    EXPECT_TRUE(time.IsValid(g_nBegin + 666667));
    EXPECT_FALSE(time.IsValid(g_nBegin + 666666));
    EXPECT_FALSE(time.IsValid(g_nBegin - 1));
    EXPECT_TRUE(time.IsValid(g_nBegin));
}

// For every position in a second and its neighbours: index, validity, conversion to ticks and the column's grid agree.
TEST(CTime, TicksAndIndexAreOneGridAtEveryRate)
{
    for (std::int32_t nRate = 1; nRate <= 120; ++nRate)
    {
        CTime time(nRate);
        for (std::uint64_t n = 0; n < static_cast<std::uint64_t>(nRate); ++n)
        {
            SCOPED_TRACE(testing::Message() << nRate << " Hz, index " << n);
            const std::int64_t nTicks = g_nBegin + time.IdxToTicks(n);
            std::uint64_t nIdx = 77;
            ASSERT_TRUE(time.TicksToIdx(nTicks, &nIdx));
            ASSERT_EQ(nIdx, n);
            ASSERT_TRUE(time.IsValid(nTicks));
            ASSERT_FALSE(time.IsValid(nTicks + 1));
            ASSERT_FALSE(time.IsValid(nTicks - 1));
            ASSERT_TRUE(time.SetTicks(nTicks));
            ASSERT_EQ(Ticks(time), nTicks);
            ASSERT_TRUE(time.IsValid(IColumn::GetNextTimeStamp(nTicks, nRate, 1)));
            // From a stamp one tick off, both sides must expect the same next sample.
            for (const std::int64_t nOff : {-1, 0, 1})
            {
                CTime follow(nRate);
                ASSERT_TRUE(follow.SetTicks(nTicks + nOff));
                std::int64_t nNext = Ticks(follow);
                if (nRate >= 2)
                {
                    follow.Advance();
                    nNext = Ticks(follow);
                }
                else
                {
                    nNext += g_nSec;
                }
                ASSERT_EQ(IColumn::GetNextTimeStamp(nTicks + nOff, nRate, 1), nNext) << "off by " << nOff;
            }
        }
    }
}

TEST(CTime, RateAboveTheTicksOfASecondNeitherHangsNorCrashes)
{
    CTime time(2);
    for (const std::int64_t nRate : {std::int64_t{10000000}, std::int64_t{2000000000}, g_nMax, g_nMin})
    {
        time.SetRate(nRate);
        for (const std::int64_t nTicks : {g_nMin, std::int64_t{-1}, std::int64_t{1}, g_nBegin - 1, g_nMax})
        {
            time.IsValid(nTicks);
            time.SetTicks(nTicks);
            time.Advance();
            std::int64_t nGap = 0;
            time.CheckWithNextTS(nTicks, &nGap);
            std::int64_t nBack = 0;
            time.ToTicks(&nBack);
            time.IsAlignedTo(std::numeric_limits<std::int32_t>::min());
            std::uint64_t nCycle = 0;
            time.CycleNumber(std::numeric_limits<std::int32_t>::min(), &nCycle);
            CTime other(0);
            other.SetRate(g_nMin + 1);
            time.MatchesRateOf(other);
        }
    }
    time.SetRate(10000000);
    EXPECT_TRUE(time.IsValid(g_nBegin + 9999999));
}

TEST(CTime, NegativeRateDividesTheRawTicks)
{
    const CTime time(-20);
    std::uint64_t nIdx = 77;
    EXPECT_TRUE(time.TicksToIdx(400, &nIdx));
    EXPECT_EQ(nIdx, 20U);
    EXPECT_FALSE(time.TicksToIdx(401, &nIdx));
    EXPECT_EQ(nIdx, 0U);
    EXPECT_TRUE(time.IsValid(400));
    EXPECT_FALSE(time.IsValid(401));
    CTime set(-20);
    EXPECT_TRUE(set.SetTicks(400));
    EXPECT_EQ(At(set), SAt(20, 0));
    EXPECT_EQ(Ticks(set), 20 * 20 * g_nSec) << "the index counts samples of 20 s here";
    EXPECT_FALSE(set.SetTicks(401));
    EXPECT_EQ(At(set), SAt(20, 0)) << "nothing changed";
}

TEST(CTime, NextPositionWrapsWithTheSecond)
{
    CTime time(50);
    Place(time, 1000, 48);
    EXPECT_EQ(Next(time), SAt(49, 1000));
    Place(time, 1000, 49);
    EXPECT_EQ(Next(time), SAt(0, 1001));
    EXPECT_TRUE(time.Advance());
    EXPECT_EQ(At(time), SAt(0, 1001));
    EXPECT_EQ(Next(time, g_nBegin + 9800000), SAt(0, g_nBegin_s + 1));
    EXPECT_EQ(Next(time, g_nBegin - 1), SAt(1, g_nBegin_s)) << "one tick short";
}

TEST(CTime, RatesOfOneAndBelowCountOn)
{
    for (const std::int32_t nRate : {1, -20})
    {
        CTime time(nRate);
        for (int n = 0; n < 7; ++n)
            time.Advance();
        EXPECT_EQ(At(time), SAt(7, 0));
        EXPECT_EQ(Next(time), SAt(8, 0));
        EXPECT_EQ(Ticks(time), 7 * (nRate == 1 ? 1 : 20) * g_nSec);
    }
    EXPECT_EQ(Next(CTime(1), g_nBegin), SAt(1, 0));
    EXPECT_EQ(Next(CTime(-20), 400), SAt(21, 0));
}

TEST(CTime, RateZeroAnswersFalseEverywhere)
{
    CTime time(0);
    std::uint64_t nIdx = 77;
    std::uint64_t nSec = 77;
    std::int64_t nTicks = 0;
    EXPECT_FALSE(time.TicksToIdx(g_nBegin, &nIdx));
    EXPECT_EQ(nIdx, 0U);
    EXPECT_FALSE(time.ToTicks(&nTicks));
    EXPECT_FALSE(time.IsValid(g_nBegin));
    EXPECT_FALSE(time.IsValid(0));
    EXPECT_FALSE(time.CheckWithNextTS(g_nBegin, &nTicks));
    EXPECT_FALSE(time.CalcNextTS(&nIdx, &nSec));
    EXPECT_FALSE(time.CalcNextTS(g_nBegin, &nIdx, &nSec));
    EXPECT_EQ(SAt(nIdx, nSec), SAt(0, 0));
    EXPECT_FALSE(time.Advance());
    EXPECT_FALSE(time.SetTicks(g_nBegin));
    EXPECT_FALSE(time.IsAlignedTo(1));
    EXPECT_FALSE(time.CycleNumber(1, &nIdx));
    EXPECT_FALSE(time.MatchesRateOf(CTime(1)));
    EXPECT_FALSE(CTime(1).MatchesRateOf(time));
    EXPECT_EQ(time.IdxToTicks(5), 0);
}

TEST(CTime, GapCountsSamplesBetweenStampAndPosition)
{
    CTime time(50);
    Place(time, g_nBegin_s, 10);
    EXPECT_EQ(Gap(time, g_nBegin + 200000 * 10), 0);
    EXPECT_EQ(Gap(time, g_nBegin + 200000 * 9), 1);
    EXPECT_EQ(Gap(time, g_nBegin + 200000 * 13), -3);
    EXPECT_EQ(Gap(time, g_nBegin - 3 * g_nSec), 160);
    // At index 0 the position counts as one second later.
    Place(time, g_nBegin_s, 0);
    EXPECT_EQ(Gap(time, g_nBegin), 50);
    EXPECT_EQ(Gap(time, g_nBegin + g_nSec), 0);
    // At one sample a second no step is added; at one sample in 20 s one step is.
    EXPECT_EQ(Gap(CTime(1), g_nBegin), 0);
    CTime slow(-20);
    slow.SetTicks(400);
    EXPECT_EQ(Gap(slow, 400), -20);
    EXPECT_EQ(Gap(slow, 420), 0);
    std::int64_t nGap = 0;
    EXPECT_FALSE(slow.CheckWithNextTS(401, &nGap));
}

TEST(CTime, AlignmentWithAnotherRate)
{
    struct SCase
    {
        std::int32_t nRate;
        std::uint64_t nSec;
        std::uint64_t nIdx;
        std::int32_t nOther;
        bool bAligned;
    };
    const SCase cases[] = {
        {50, 7, 25, 2, true},  {50, 7, 24, 2, false}, {50, 7, 0, 1, true},   {50, 7, 1, 1, false},
        {50, 7, 1, 50, true},  {50, 7, 5, 20, true},  {50, 7, 4, 20, false}, // greatest common divisor 10
        {50, 7, 1, 100, true}, {30, 7, 15, 4, true},                         // greatest common divisor 2
        {50, 8, 0, -4, true},  {50, 9, 0, -4, false}, {50, 8, 1, -4, false}, {50, 7, 0, 0, false},
    };
    for (const SCase& c : cases)
    {
        CTime time(c.nRate);
        Place(time, c.nSec, c.nIdx);
        EXPECT_EQ(time.IsAlignedTo(c.nOther), c.bAligned) << c.nRate << " " << c.nIdx << " to " << c.nOther;
        EXPECT_EQ(time.MatchesRateOf(CTime(c.nOther)), c.bAligned);
    }
    EXPECT_FALSE(CTime(-20).IsAlignedTo(1));
}

TEST(CTime, CycleNumbersAsTheyStand)
{
    const auto Cycle = [](std::uint64_t p_nIdx, std::int32_t p_nRate)
    {
        CTime time(50);
        Place(time, 1000, p_nIdx);
        std::uint64_t nCycle = 0;
        EXPECT_TRUE(time.CycleNumber(p_nRate, &nCycle));
        return nCycle;
    };
    EXPECT_EQ(Cycle(49, 1), 1000U);
    EXPECT_EQ(Cycle(0, -1), 1000U);
    EXPECT_EQ(Cycle(0, -3), 333U);
    // At two cycles a second the number is the second plus idx * gcd / n; it is not consecutive.
    EXPECT_EQ(Cycle(0, 2), 1000U);
    EXPECT_EQ(Cycle(25, 2), 1025U);
    std::uint64_t nCycle = 0;
    EXPECT_FALSE(CTime(50).CycleNumber(0, &nCycle));
    EXPECT_FALSE(CTime(-20).CycleNumber(1, &nCycle));
}

TEST(CTime, SlowRatesMatchOnCommonMultiples)
{
    CTime slow(-4);
    CTime fast(50);
    Place(fast, 1000, 0);
    EXPECT_TRUE(slow.MatchesRateOf(fast));
    Place(fast, 1001, 0);
    EXPECT_FALSE(slow.MatchesRateOf(fast));
    Place(fast, 1000, 1);
    EXPECT_FALSE(slow.MatchesRateOf(fast));
    // 4 s and 6 s coincide every 12 s, which is every third sample of this time.
    for (int n = 0; n < 7; ++n, slow.Advance())
        EXPECT_EQ(slow.MatchesRateOf(CTime(-6)), n % 3 == 0) << n;
}

TEST(CTime, IsCopiedAndResetBetweenThreadsInOnePiece)
{
    CTime time(50);
    Place(time, 49, 49);
    std::thread writer(
        [&]
        {
            for (int n = 0; n < 20000; ++n)
                n % 2 ? (void)time.SetTicks(49 * g_nSec + 9800000) : time.Reset();
        });
    for (int n = 0; n < 20000; ++n)
    {
        CTime copy(50);
        copy.Copy(&time, false);
        ASSERT_EQ(copy.GetIdx(), copy.GetSec());
    }
    writer.join();
}
