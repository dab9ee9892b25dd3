#include "view/memory/CValueRecorder.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace
{
constexpr std::int64_t g_nSecond = 10'000'000;

TEST(Records, BlobsComeBackAsTheyWere)
{
    const TPassMinute mapPass = {{0, {1.0F, 2.0F, -0.05F, 3.5F}}, {59999, {0.4F, 5e7F, 0.0F, 11.9F}}};
    std::string strBlob = EncodePasses(mapPass);
    TPassMinute mapRead;
    DecodePasses(strBlob, mapRead);
    EXPECT_EQ(mapRead, mapPass);
    strBlob.pop_back(); // torn: what is whole is read
    mapRead.clear();
    DecodePasses(strBlob, mapRead);
    EXPECT_EQ(mapRead.size(), 1U);

    const std::vector<SSample> vecSample = {{638452296000000000, 1.5F}, {638452296000166667, -2.5F}};
    std::vector<SSample> vecRead;
    DecodeSamples(vecSample[0].nTicks, EncodeSamples(vecSample), vecRead);
    ASSERT_EQ(vecRead.size(), 2U);
    EXPECT_EQ(vecRead[1].nTicks, vecSample[1].nTicks);
    EXPECT_EQ(vecRead[1].fValue, -2.5F);
}

/// Two minutes before an event to one minute after its end, each sample once, and nothing else.
TEST(ValueRecorder, KeepsTheTimeAroundEvents)
{
    std::vector<SSample> vecKept;
    std::uint32_t nMissing = 0;
    std::uint32_t nCount = 0;
    const CValueRecorder::SSink sink = {[&](std::span<const SSample> p_vecSample)
                                        { vecKept.insert(vecKept.end(), p_vecSample.begin(), p_vecSample.end()); },
                                        [&](std::int64_t, const SExtremes& p_extremes, std::uint32_t p_nMissing)
                                        {
                                            nCount += p_extremes.nCount;
                                            nMissing += p_nMissing;
                                        }};
    CValueRecorder recorder(10.0);
    const std::int64_t nT0 = 638452296000000000;
    for (int i = 0; i < 10000; ++i)
    {
        const std::int64_t nTicks = nT0 + i * g_nSecond / 10;
        const bool bNone = i % 100 == 0;
        recorder.OnSample({nTicks, bNone ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(i)}, sink);
        if (i == 3000)
            recorder.OnEvent(7, nTicks, 0, sink);
        if (i == 3100)
            recorder.OnEvent(7, nT0 + 300 * g_nSecond, nTicks, sink);
        if (i == 3100)
            recorder.OnEvent(7, nT0 + 300 * g_nSecond, 0, sink); // goes on: a change of level
        if (i == 3200)
            recorder.OnEvent(7, nT0 + 300 * g_nSecond, nTicks, sink);
    }
    recorder.Flush(sink);
    ASSERT_EQ(vecKept.size(), 1200U + 200U + 600U + 1U);
    EXPECT_EQ(vecKept.front().nTicks, nT0 + 180 * g_nSecond);
    EXPECT_EQ(vecKept.back().nTicks, nT0 + 380 * g_nSecond);
    for (std::size_t i = 1; i < vecKept.size(); ++i)
        ASSERT_EQ(vecKept[i].nTicks - vecKept[i - 1].nTicks, g_nSecond / 10);
    EXPECT_EQ(nMissing, 100U);
    EXPECT_EQ(nCount, 9900U);
}
} // namespace
