#include "vds/base/IsoTime.h"
#include "vds/core/CReadSet.h"
#include <gtest/gtest.h>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
const std::int64_t g_nSec = *TicksFromIso("2026-01-01T00:00:00Z");

class CNoSource : public ISource
{
  public:
    explicit CNoSource(std::int32_t p_nRate) : m_nRate(p_nRate) {}
    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return m_nRate; }
    bool Next(SSourceCycle&) override { return false; }
    bool Rewind() override { return false; }

  private:
    const std::vector<unsigned long> m_vecnId = {1};
    const std::int32_t m_nRate;
};

CReadSet MakeSet(std::int32_t p_nSourceRate, std::int32_t p_nRate)
{
    const CNoSource source(p_nSourceRate);
    Link::StartSet start;
    start.set_rate(p_nRate);
    start.add_ids(1);
    return {source, start, 4};
}

TEST(ActualRate, IsTheGreatestOneWhoseGridIsPartOfBothGrids)
{
    struct SCase
    {
        std::int32_t nSource, nRate;
        std::int64_t nCycle_ms;
        std::int32_t nExpected;
    };
    const std::vector<SCase> vecCase = {{50, 50, 0, 50}, {50, 25, 0, 25},  {50, 20, 0, 10},   {50, 60, 0, 10},
                                        {25, 50, 0, 25}, {30, 1, 0, 1},    {60, 0, 16, 60},   {60, 0, 33, 30},
                                        {60, 0, 83, 12}, {50, 0, 100, 10}, {50, 0, 1000, 1},  {50, 0, 5000, 1},
                                        {50, 0, 17, 2},  {1, 50, 0, 1},    {-10, 50, 0, -10}, {50, 0, 1, 50}};
    for (const SCase& c : vecCase)
        EXPECT_EQ(ActualRate(c.nSource, c.nRate, c.nCycle_ms), c.nExpected)
            << c.nSource << " " << c.nRate << " " << c.nCycle_ms;
}

TEST(CReadSet, TakesTheCyclesOnItsGridAndStampsThatAreOnNoGrid)
{
    const CReadSet set = MakeSet(60, 30);
    unsigned nTaken = 0;
    for (std::int64_t i = 0; i < 60; ++i)
        nTaken += set.Takes(g_nSec + GridTicks(i, 60)) ? 1U : 0U;
    EXPECT_EQ(nTaken, 30U);
    EXPECT_TRUE(set.Takes(g_nSec + 333333));
    EXPECT_FALSE(set.Takes(g_nSec + 166667));
    EXPECT_TRUE(set.Takes(g_nSec + 166668)) << "a faulty stamp is passed on";
    EXPECT_TRUE(set.Takes(-333333)) << "no stamp is out of range";
}

TEST(CReadSet, WhatIsMissingOrInvalidCarriesTheLastUsableValueAndItsOwnState)
{
    struct SCase
    {
        SSourceSample sample;
        float fMagn;
        std::uint64_t nState;
    };
    const float fNan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<SCase> vecCase = {{{}, 0.0F, 0x2000},
                                        {{5.0F, 1.0F, 0, true}, 5.0F, 0},
                                        {{}, 5.0F, 0x2000},
                                        {{0.0F, 0.0F, 0x10, true}, 5.0F, 0x10},
                                        {{6.0F, 1.0F, 1, true}, 6.0F, 1},
                                        {{fNan, 0.0F, 0, true}, fNan, 0},
                                        {{fNan, 0.0F, 0x8000, true}, 6.0F, 0x8000}};
    CReadSet set = MakeSet(50, 50);
    for (const SCase& expected : vecCase)
    {
        SSourceCycle cycle;
        cycle.vecSample = {expected.sample};
        Link::Cycle message;
        set.Fill(cycle, CReadSet::TTime(), message);
        const bool bSame = std::isnan(expected.fMagn) ? std::isnan(message.magn(0)) : message.magn(0) == expected.fMagn;
        EXPECT_TRUE(bSame) << message.magn(0) << " in place of " << expected.fMagn;
        EXPECT_EQ(message.state(0), expected.nState);
    }
}

TEST(CReadSet, CreditEndsWithTheWindowAndComesBackWithWhatHasBeenTaken)
{
    CReadSet set = MakeSet(50, 50);
    CDeliveryTimes times;
    SSourceCycle cycle;
    const CReadSet::TTime tSent;
    for (int i = 0; i < 4; ++i)
    {
        ASSERT_TRUE(set.HasCredit());
        Link::Cycle message;
        set.Fill(cycle, tSent, message);
        EXPECT_EQ(message.seq(), static_cast<std::uint64_t>(i + 1));
    }
    EXPECT_FALSE(set.HasCredit());
    set.Taken(2, tSent + std::chrono::milliseconds(3), times);
    EXPECT_TRUE(set.HasCredit());
    EXPECT_FALSE(set.AllTaken());
    set.Taken(1000, tSent + std::chrono::milliseconds(8), times);
    EXPECT_TRUE(set.AllTaken()) << "a number beyond the last cycle counts as the last";
    EXPECT_EQ(times.Count(), 4U);
    EXPECT_DOUBLE_EQ(times.Worst_ms(), 8.0);
}

} // namespace
