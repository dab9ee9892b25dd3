#include "vds/c37118/input/CConcentrator.h"
#include <gtest/gtest.h>

namespace
{
constexpr std::int64_t g_nMs = 10000;
constexpr std::int64_t g_nWait = 200 * g_nMs;

/// Two streams of 50 frames per second with one sample each; times are in ms from a whole second.
class CConcentratorTest : public testing::Test
{
  protected:
    CConcentratorTest() : m_concentrator(50, g_nWait, 2, 2)
    {
        m_concentrator.SetActive(0, true, 50);
        m_concentrator.SetActive(1, true, 50);
    }
    CConcentrator::EPut Put(std::size_t p_nStream, std::int64_t p_nStamp_ms, std::int64_t p_nArrival_ms)
    {
        const SSourceSample sample{static_cast<float>(p_nStamp_ms), 0.0F, 0, true};
        const CConcentrator::TSample samples[] = {{p_nStream, sample}};
        return m_concentrator.Put(p_nStream, m_concentrator.Grid().Index(m_nBase + p_nStamp_ms * g_nMs), samples,
                                  m_nBase + p_nArrival_ms * g_nMs);
    }
    /// Stamps of the cycles that may be output, in ms; negative if only one of two samples is present.
    std::vector<std::int64_t> Take(std::int64_t p_nNow_ms)
    {
        std::vector<std::int64_t> vecnStamp;
        SSourceCycle cycle;
        while (m_concentrator.Take(cycle, m_nBase + p_nNow_ms * g_nMs))
        {
            const bool bFull = cycle.vecSample[0].bPresent && cycle.vecSample[1].bPresent;
            vecnStamp.push_back((cycle.nTicks - m_nBase) / g_nMs * (bFull ? 1 : -1));
        }
        return vecnStamp;
    }
    using TStamps = std::vector<std::int64_t>;

    const std::int64_t m_nBase = *TicksFromIso("2026-03-05T10:00:00Z");
    CConcentrator m_concentrator;
};
} // namespace

TEST_F(CConcentratorTest, CycleGoesWhenAllHaveComeAndInOrder)
{
    Put(0, 20, 30);
    Put(0, 40, 50);
    Put(1, 40, 55);
    EXPECT_EQ(Take(60), TStamps()) << "the second cycle is complete, but the first must go first";
    Put(1, 20, 70);
    EXPECT_EQ(Take(70), (TStamps{20, 40}));
}

TEST_F(CConcentratorTest, LateStreamIsWaitedForAndThenGoneWithout)
{
    Put(0, 20, 30);
    Put(0, 80, 90);
    EXPECT_EQ(Take(229), TStamps());
    EXPECT_EQ(Take(230), (TStamps{-20}));
    EXPECT_EQ(Put(1, 20, 231), CConcentrator::eLate);
    EXPECT_EQ(Put(1, 80, 232), CConcentrator::eTaken);
    EXPECT_EQ(Put(1, 80, 233), CConcentrator::eDuplicate);
    EXPECT_EQ(Take(234), (TStamps{80})) << "no cycle where no frame arrived";
    m_concentrator.SetActive(1, false);
    Put(0, 100, 240);
    EXPECT_EQ(Take(240), (TStamps{-100})) << "cycles do not wait for a lost stream";
}

TEST_F(CConcentratorTest, SlowStreamIsExpectedOnItsOwnGridOnly)
{
    m_concentrator.SetActive(1, true, 10);
    Put(0, 80, 80);
    Put(0, 100, 100);
    EXPECT_EQ(Take(100), (TStamps{-80}));
    Put(1, 100, 110);
    EXPECT_EQ(Take(110), (TStamps{100}));
}

TEST_F(CConcentratorTest, BadClocksAreRefusedAndJumpsOfAllFollowed)
{
    const std::int64_t nYear_ms = 365LL * 24 * 3600 * 1000;
    EXPECT_EQ(Put(0, -10 * nYear_ms, 10), CConcentrator::eTaken) << "alone at first";
    EXPECT_EQ(Put(1, 20, 20), CConcentrator::eTaken) << "nearer to the arrival time: the time line jumps there";
    EXPECT_EQ(Put(0, -10 * nYear_ms + 20, 30), CConcentrator::eBadClock);
    EXPECT_EQ(Put(0, 10 * nYear_ms, 30), CConcentrator::eBadClock);
    EXPECT_EQ(Take(500), (TStamps{-(-10 * nYear_ms), -20}));
    EXPECT_EQ(Put(0, 10 * nYear_ms, 3000), CConcentrator::eTaken) << "nothing else has arrived for 2 s";
    EXPECT_EQ(Take(9999), (TStamps{-10 * nYear_ms}));
    EXPECT_EQ(Put(0, 3020, 9999), CConcentrator::eTaken);
    EXPECT_EQ(Take(99999), (TStamps{-3020})) << "back in time";
}
