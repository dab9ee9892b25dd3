#include "unit/vds_sources/TempFile.h"
#include "vds/base/IsoTime.h"
#include "vds/source/CSourceReplay.h"
#include "vds/source/OpenSource.h"

#include <gmock/gmock.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t g_n2024March5At10 = 638'452'296'000'000'000; // 2024-03-05T10:00:00Z

/// A recording of one datapoint with these time fields.
std::string RecordingAt(const std::vector<std::string>& p_vecstrTime)
{
    std::string strText = "time;1.magn;1.angle\n";
    for (const std::string& strTime : p_vecstrTime)
    {
        strText += strTime + ";1;2\n";
    }
    return strText;
}

std::vector<std::int64_t> AllStamps(ISource& r_source)
{
    std::vector<std::int64_t> vecStamp;
    for (SSourceCycle cycle; r_source.Next(cycle);)
    {
        vecStamp.push_back(cycle.nTicks);
    }
    return vecStamp;
}

TEST(IsoTime, KnownTimesAndTheWayBack)
{
    EXPECT_EQ(TicksFromIso("1970-01-01T00:00:00Z"), 621'355'968'000'000'000);
    EXPECT_EQ(TicksFromIso("0001-01-01T00:00:00Z"), 0);
    EXPECT_EQ(TicksFromIso("2024-03-05T10:00:00.02Z"), g_n2024March5At10 + 200'000);
    EXPECT_EQ(TicksFromIso("2024-03-05 10:00:00.12345678"), g_n2024March5At10 + 1'234'567);
    EXPECT_EQ(TicksFromIso("9999-12-31T23:59:59.9999999Z"), g_nTicksMax);
    EXPECT_EQ(IsoFromTicks(g_n2024March5At10 + 333'333), "2024-03-05T10:00:00.0333333Z");
    EXPECT_EQ(IsoFromTicks(*TicksFromIso("2000-02-29T23:59:59.9999999Z")), "2000-02-29T23:59:59.9999999Z");
    for (const char* strBad : {"", "2024-03-05", "2024-02-30T00:00:00Z", "2024-03-05T24:00:00Z", "2024-03-05T10:60:00Z",
                               "2024-03-05T10:00:00.Z", "2024-03-05T10:00:00+02:00", "2024-3-05T10:00:00Z",
                               "0000-01-01T00:00:00Z", "-024-03-05T10:00:00Z"})
    {
        EXPECT_FALSE(TicksFromIso(strBad).has_value()) << strBad;
    }
}

TEST(CSourceReplay, EachFieldReachesItsDatapoint)
{
    const CTempFile file("\xEF\xBB\xBFtime;1011.magn;1011.angle;1011.state; 1021.magn;1021.angle\r\n"
                         "2024-03-05T10:00:00.0000000Z;230940.5;-19.989990234375;0x2000;1e3;180\r\n"
                         "\r\n"
                         "2024-03-05T10:00:00.0200000Z;;1;;nan;-inf\r\n"
                         "2024-03-05T10:00:00.0400000Z;5;;8192;1e-320;-1e-45");
    std::string strError;
    const auto pSource = OpenReplay(file.Path(), 0, &strError);
    ASSERT_NE(pSource, nullptr) << strError;
    EXPECT_THAT(pSource->Ids(), ElementsAre(1011, 1021));
    EXPECT_EQ(pSource->Rate(), 50);

    SSourceCycle cycle;
    ASSERT_TRUE(pSource->Next(cycle));
    EXPECT_EQ(cycle.nTicks, g_n2024March5At10);
    EXPECT_EQ(cycle.vecSample[0].fMagn, 230940.5F);
    EXPECT_EQ(cycle.vecSample[0].fAngle_deg, -19.989990234375F);
    EXPECT_EQ(cycle.vecSample[0].nState, 0x2000U);
    EXPECT_TRUE(cycle.vecSample[1].bPresent);
    EXPECT_EQ(cycle.vecSample[1].fMagn, 1000.0F);

    ASSERT_TRUE(pSource->Next(cycle));
    EXPECT_FALSE(cycle.vecSample[0].bPresent);
    EXPECT_EQ(cycle.vecSample[0].nState, 0U);
    EXPECT_TRUE(std::isnan(cycle.vecSample[1].fMagn));
    EXPECT_EQ(cycle.vecSample[1].fAngle_deg, -std::numeric_limits<float>::infinity());

    ASSERT_TRUE(pSource->Next(cycle));
    EXPECT_FALSE(cycle.vecSample[0].bPresent);
    EXPECT_EQ(cycle.vecSample[0].nState, 8192U);
    EXPECT_EQ(cycle.vecSample[1].fMagn, 0.0F) << "too small for single precision";
    EXPECT_FALSE(pSource->Next(cycle));
    EXPECT_EQ(pSource->Error(), "");

    ASSERT_TRUE(pSource->Rewind());
    EXPECT_EQ(AllStamps(*pSource).size(), 3U);
}

TEST(CSourceReplay, SecondsFallExactlyOnTheGridOfEachRate)
{
    for (const int nRate : {10, 12, 15, 20, 25, 30, 50, 60})
    {
        for (const int nDecimals : {3, 6})
        {
            std::vector<std::string> vecstrTime;
            std::vector<std::int64_t> vecExpected;
            for (int i = 0; i < 2 * nRate + 1; ++i)
            {
                std::ostringstream text;
                text << std::fixed << std::setprecision(nDecimals) << static_cast<double>(i) / nRate;
                vecstrTime.push_back(text.str());
                vecExpected.push_back(g_n2024March5At10 + i / nRate * g_nTicksPerSec +
                                      static_cast<std::int64_t>(static_cast<double>(i % nRate) / nRate * 1e7 + 0.5));
            }
            const CTempFile file(RecordingAt(vecstrTime));
            const auto pSource = OpenReplay(file.Path(), g_n2024March5At10, nullptr);
            ASSERT_NE(pSource, nullptr);
            EXPECT_EQ(pSource->Rate(), nRate);
            EXPECT_EQ(AllStamps(*pSource), vecExpected) << nRate << " a second, decimals: " << nDecimals;
        }
    }
}

TEST(CSourceReplay, StampsOffTheGridStayAsTheyAre)
{
    // More than half a millisecond off the grid; seven digits a tick off it; a jump back; a repeat.
    const CTempFile file(RecordingAt({"2024-03-05T10:00:00Z", "2024-03-05T10:00:00.0200001Z",
                                      "2024-03-05T10:00:00.0406Z", "2024-03-05T10:00:00.0604Z", "2024-03-05T09:00:00Z",
                                      "2024-03-05T09:00:00Z", "2024-03-05T09:00:00.02Z"}));
    const auto pSource = OpenReplay(file.Path(), 0, nullptr);
    ASSERT_NE(pSource, nullptr);
    EXPECT_EQ(pSource->Rate(), 50);
    std::vector<std::int64_t> vecRelative = AllStamps(*pSource);
    for (std::int64_t& nTicks : vecRelative)
    {
        nTicks -= g_n2024March5At10;
    }
    EXPECT_THAT(vecRelative,
                ElementsAre(0, 200'001, 406'000, 600'000, -36'000'000'000, -36'000'000'000, -35'999'800'000));
}

TEST(CSourceReplay, ABadLineFarBehindEndsTheSourceWithItsPlace)
{
    std::string strText = "time;1.magn;1.angle\n";
    for (int i = 0; i < 1000; ++i)
    {
        strText += std::to_string(0.02 * i) + (i == 900 ? ";one;2\n" : ";1;2\n");
    }
    const CTempFile file(strText);
    const auto pSource = OpenReplay(file.Path(), 0, nullptr);
    ASSERT_NE(pSource, nullptr);
    EXPECT_EQ(AllStamps(*pSource).size(), 900U);
    EXPECT_THAT(pSource->Error(), HasSubstr(":902: column 2 (1.magn): expected a magnitude"));
    SSourceCycle cycle;
    EXPECT_FALSE(pSource->Next(cycle)); // stays at its end, instead of going on behind the bad line
    ASSERT_TRUE(pSource->Rewind());
    EXPECT_TRUE(pSource->Next(cycle));
}
} // namespace
