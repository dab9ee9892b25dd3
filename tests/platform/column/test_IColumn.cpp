#include "IColumn.h"
#include <gtest/gtest.h>
#include <limits>
#include <vector>

using Norvik::Energy::Kestrel::VDS::Runtime::IColumn;

namespace
{
constexpr std::int64_t g_nSec = 10000000;
constexpr std::int64_t g_nBegin = 63850000000 * g_nSec; ///< a full second of the year 2024

/// Grid point by integer arithmetic: i / r of a second, rounded half up.
std::int64_t Place(std::int64_t p_nIdx, std::int64_t p_nRate)
{
    return (2 * p_nIdx * g_nSec + p_nRate) / (2 * p_nRate);
}
} // namespace

TEST(IColumn, StepsAtThirtyHertzAreNotEven)
{
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin, 30, 1), g_nBegin + 333333);
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin + 333333, 30, 1), g_nBegin + 666667);
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin + 666667, 30, 1), g_nBegin + 1000000);
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin + 9666667, 30, 1), g_nBegin + g_nSec);
}

TEST(IColumn, WalksOverEveryPlaceOfSeveralSeconds)
{
    for (const std::int64_t nRate : {1, 2, 3, 4, 5, 6, 7, 10, 12, 15, 20, 25, 30, 50, 60, 100, 120, 997, 1000})
    {
        std::int64_t nTicks = g_nBegin;
        for (std::int64_t n = 1; n <= 3 * nRate; ++n)
        {
            nTicks = IColumn::GetNextTimeStamp(nTicks, nRate, 1);
            ASSERT_EQ(nTicks, g_nBegin + n / nRate * g_nSec + Place(n % nRate, nRate)) << nRate << " Hz, step " << n;
        }
        EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin, nRate, 3 * nRate), nTicks);
        EXPECT_EQ(IColumn::GetNextTimeStamp(nTicks, nRate, -3 * nRate), g_nBegin);
    }
}

TEST(IColumn, StampBesideTheGridBelongsToThePlaceBelow)
{
    // One tick after a grid point, and halfway between two.
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin + 200001, 50, 1), g_nBegin + 400000);
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin + 300000, 50, 1), g_nBegin + 400000);
    // One tick before a grid point counts as that point.
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin + 199999, 50, 1), g_nBegin + 400000);
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin - 1, 50, 1), g_nBegin + 200000);
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin - 1, 1, 1), g_nBegin + g_nSec);
}

TEST(IColumn, NegativeRateIsASampleInThatManySeconds)
{
    const std::int64_t nOn = 63850000000 / 20 * 20 * g_nSec;
    EXPECT_EQ(IColumn::GetNextTimeStamp(nOn, -20, 1), nOn + 20 * g_nSec);
    EXPECT_EQ(IColumn::GetNextTimeStamp(nOn + 7 * g_nSec, -20, 1), nOn + 20 * g_nSec);
    EXPECT_EQ(IColumn::GetNextTimeStamp(nOn - 1, -20, 1), nOn + 20 * g_nSec);
    EXPECT_EQ(IColumn::GetNextTimeStamp(nOn, -1, 5), nOn + 5 * g_nSec);
}

TEST(IColumn, ImpossibleRequestsGiveTheStampBack)
{
    using Limits = std::numeric_limits<std::int64_t>;
    EXPECT_EQ(IColumn::GetNextTimeStamp(g_nBegin, 0, 1), g_nBegin);
    for (const std::int64_t nTicks : {Limits::min(), std::int64_t{-1}, g_nBegin, Limits::max()})
        for (const std::int64_t nRate : {Limits::min(), Limits::max(), std::int64_t{50}, std::int64_t{-900000000000}})
            for (const std::int64_t nSteps : {Limits::min(), Limits::max()})
                EXPECT_EQ(IColumn::GetNextTimeStamp(nTicks, nRate, nSteps), nTicks)
                    << nTicks << " " << nRate << " " << nSteps;
    EXPECT_EQ(IColumn::GetNextTimeStamp(Limits::max(), 50, 1), Limits::max());
}
