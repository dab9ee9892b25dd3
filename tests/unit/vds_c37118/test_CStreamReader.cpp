#include "Vectors.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include "vds/c37118/input/CStreamReader.h"
#include "vds/c37118/input/StateOfStat.h"
#include <gmock/gmock.h>

namespace
{
SSynchrophasorConfig Synchrophasors()
{
    SSynchrophasorConfig config;
    config.vecStream.resize(1);
    config.vecStream[0].strName = "north";
    config.vecStream[0].nStreamId = 60;
    config.vecStream[0].vecPhasor = {{61, "VA1", 1}, {0, "V1PM", 2}, {61, "V1PM", 3}};
    return config;
}

class CStreamReaderTest : public testing::Test
{
  protected:
    CStreamReaderTest()
    {
        std::string strError;
        EXPECT_TRUE(DecodeConfig(g_cfg2, m_frameConfig, strError));
        EXPECT_TRUE(DecodeData(g_data, m_frameConfig, m_frameData, strError));
    }
    void Feed(const TBytes& p_bytes) { m_reader.OnFrame(p_bytes, m_nNow); }
    void FeedConfig()
    {
        TBytes bytes;
        EXPECT_TRUE(EncodeConfig(m_frameConfig, bytes));
        Feed(bytes);
    }
    /// The data frame, moved later by this many microseconds.
    void FeedData(std::int64_t p_nLater_us)
    {
        const std::int64_t nTicks = FrameTicks(m_frameData.head, 1000000) + p_nLater_us * 10;
        SDataFrame data = m_frameData;
        SetFrameTicks(data.head, nTicks, m_frameConfig.nTimeBase);
        m_nNow = nTicks;
        TBytes bytes;
        EXPECT_TRUE(EncodeData(m_frameConfig, data, bytes));
        Feed(bytes);
    }
    bool Take() { return m_concentrator.Take(m_cycle, m_nNow); }

    SSynchrophasorConfig m_config = Synchrophasors();
    CConcentrator m_concentrator{50, 0, 3, 1};
    std::vector<std::string> m_vecstrLine;
    CStreamReader m_reader{
        m_config.vecStream[0], m_config, &m_concentrator, 0, 0, [this](const std::string& p_strText) {
            m_vecstrLine.push_back(p_strText);
        }};
    SConfigFrame m_frameConfig;
    SDataFrame m_frameData;
    SSourceCycle m_cycle;
    std::int64_t m_nNow = 0;
};
} // namespace

TEST_F(CStreamReaderTest, PhasorsBecomeSamples)
{
    Feed(g_data);
    EXPECT_EQ(m_reader.DataFrames(), 0U) << "cannot be read before there is a configuration";
    Feed(g_cfg2);
    Feed(g_data);
    ASSERT_TRUE(Take());
    EXPECT_EQ(IsoFromTicks(m_cycle.nTicks), "2023-11-14T22:13:20.5000000Z");
    EXPECT_NEAR(m_cycle.vecSample[0].fMagn, 133987.376, 0.01);
    EXPECT_EQ(m_cycle.vecSample[0].nState, 0U);
    EXPECT_NEAR(m_cycle.vecSample[1].fAngle_deg, -45.0, 1e-4);
    EXPECT_EQ(m_cycle.vecSample[1].nState, 0x0441U) << "a loss of less than 10 s is masked out";
    EXPECT_FALSE(m_cycle.vecSample[2].bPresent);
    EXPECT_THAT(m_vecstrLine, testing::ElementsAre("stream north: phasor 'V1PM' of PMU 61 is not in its configuration",
                                                   "stream north: 2 PMUs, 50 frames per second, 2 of 3 phasors found"));
}

TEST_F(CStreamReaderTest, TimeStampsAreFollowedAndCounted)
{
    FeedConfig();
    for (const std::int64_t nLater_us : {0, 20000, 20000, 80000, 60000, 100005, 123000})
        FeedData(nLater_us);
    EXPECT_EQ(m_reader.m_counters.nDuplicates, 1U);
    EXPECT_EQ(m_reader.m_counters.nGaps, 1U);
    EXPECT_EQ(m_reader.m_counters.nLost, 2U);
    EXPECT_EQ(m_reader.m_counters.nTimeBack, 1U);
    EXPECT_EQ(m_reader.m_counters.nOffGrid, 1U);
    int nCycles = 0;
    while (Take())
        ++nCycles;
    EXPECT_EQ(nCycles, 5) << "0, 20, 60, 80 and 100 ms";
    m_config.vecStream[0].bRoundToGrid = true;
    FeedData(143000);
    ASSERT_TRUE(Take());
    EXPECT_EQ(m_cycle.nTicks % g_nTicksPerSec, 6400000) << "143 ms later is rounded to 140";
}

/// A configuration that changes while streaming: no wrong value is used, and the new one is requested once.
TEST_F(CStreamReaderTest, LengthMismatchAndChangeBitAskForTheConfiguration)
{
    FeedConfig();
    FeedData(0);
    EXPECT_EQ(m_reader.ConfigWish(), CStreamReader::eNoWish);
    m_frameData.vecPmu[0].nStat |= g_nStatConfigChange;
    FeedData(20000);
    EXPECT_EQ(m_reader.ConfigWish(), CStreamReader::eWishNow);
    m_reader.ConfigAsked();
    FeedData(40000);
    EXPECT_EQ(m_reader.ConfigWish(), CStreamReader::eNoWish) << "once for each edge";
    while (Take())
    {
    }
    m_frameConfig.vecPmu[0].vecPhasor.insert(m_frameConfig.vecPmu[0].vecPhasor.begin(), SPhasorConfig());
    m_frameData.vecPmu[0].vecPhasor.insert(m_frameData.vecPmu[0].vecPhasor.begin(), std::complex<double>());
    FeedData(60000);
    EXPECT_EQ(m_reader.ConfigWish(), CStreamReader::eWishNow);
    EXPECT_EQ(m_reader.m_counters.nLengthMismatches, 1U);
    EXPECT_FALSE(Take());
    FeedConfig();
    FeedData(80000);
    ASSERT_TRUE(Take());
    EXPECT_NEAR(m_cycle.vecSample[0].fMagn, 133987.376, 0.01) << "VA1 has moved to the second place";
    EXPECT_EQ(m_reader.m_counters.nConfigChanges, 1U);
}

/// From the frame in which bit 10 is 0 again, the layout may be a different one of the same length.
TEST_F(CStreamReaderTest, AfterBit10HasFallenSamplesAreInvalidUntilTheAnswer)
{
    Feed(g_cfg2);
    const auto fnState = [this](std::int64_t p_nLater_us, bool p_bChange)
    {
        m_frameData.vecPmu[1].nStat = p_bChange ? g_nStatConfigChange : 0;
        FeedData(p_nLater_us);
        EXPECT_TRUE(Take());
        return m_cycle.vecSample[0].nState & 0xE000U;
    };
    EXPECT_EQ(fnState(0, true), 0U);
    m_reader.ConfigAsked(); // not answered before the change
    EXPECT_EQ(fnState(20000, true), 0U);
    EXPECT_EQ(fnState(40000, false), 0x4000U) << "the other PMU too";
    EXPECT_EQ(m_reader.ConfigWish(), CStreamReader::eWishNow);
    m_reader.ConfigAsked();
    Feed(g_cfg2);
    EXPECT_EQ(fnState(60000, false), 0x4000U) << "the reply to the request sent before the change";
    Feed(g_cfg2);
    EXPECT_EQ(fnState(80000, false), 0U);
    EXPECT_EQ(m_reader.ConfigWish(), CStreamReader::eNoWish);
}

TEST_F(CStreamReaderTest, ConfigurationsWithoutEndMakeFewLines)
{
    for (int i = 0; i < 255; ++i)
    {
        ++m_frameConfig.vecPmu[0].nCfgCnt;
        FeedConfig();
    }
    EXPECT_LT(m_vecstrLine.size(), 20U);
    m_nNow += 61 * g_nTicksPerSec;
    ++m_frameConfig.vecPmu[0].nCfgCnt;
    FeedConfig();
    EXPECT_THAT(m_vecstrLine, testing::Contains("stream north: new configuration (248 more left out)"));
}

TEST_F(CStreamReaderTest, FillersAreAbsentAndForeignStreamsAreNotRead)
{
    FeedConfig();
    m_frameData.vecPmu[0].nStat = g_nStatFiller;
    m_frameData.vecPmu[0].vecPhasor[0] = {NAN, NAN};
    FeedData(0);
    ASSERT_TRUE(Take());
    EXPECT_FALSE(m_cycle.vecSample[0].bPresent);
    EXPECT_TRUE(m_cycle.vecSample[1].bPresent) << "the other PMU is usable";
    m_frameData.head.nIdCode = 61;
    FeedData(20000);
    EXPECT_FALSE(Take());
    EXPECT_EQ(m_vecstrLine.back(), "stream north: received frames of stream 61, expected those of stream 60");
}

TEST(StateOfStat, FollowsTheTable)
{
    struct
    {
        unsigned nStat, nClock, nClockLimit;
        int nUnlockedLimit_s;
        unsigned nState;
    } const cases[] = {{0x0000, 0, 8, 10, 0x0000},   {0x4000, 0, 8, 10, 0x4000},   {0x8000, 0, 8, 10, 0x8000},
                       {0x2000, 0, 8, 10, 0x0000},   {0x2000, 0, 8, 0, 0x2000},    {0x2010, 0, 8, 10, 0x2000},
                       {0x2010, 0, 8, 100, 0x0000},  {0x2030, 0, 8, 1000, 0x2000}, {0x2030, 0, 8, -1, 0x0000},
                       {0x0030, 0, 8, 10, 0x0000},   {0x0000, 8, 8, 10, 0x0000},   {0x0000, 9, 8, 10, 0x2000},
                       {0x0000, 15, 15, 10, 0x0000}, {0x0180, 0, 8, 10, 0x0180},   {0x01C0, 0, 8, 10, 0x21C0},
                       {0x0C07, 0, 8, 10, 0x0C07}};
    for (const auto& c : cases)
    {
        SSynchrophasorConfig config;
        config.nClockQualityLimit = static_cast<std::uint8_t>(c.nClockLimit);
        config.nUnlockedLimit_s = c.nUnlockedLimit_s;
        EXPECT_EQ(StateOfStat(static_cast<std::uint16_t>(c.nStat), static_cast<std::uint8_t>(c.nClock), config),
                  c.nState)
            << std::hex << c.nStat << " clock " << c.nClock;
    }
}
