#include "vds/core/CDecimator.h"
#include <gtest/gtest.h>

namespace
{
const std::int64_t g_nBase = *TicksFromIso("2026-03-05T10:00:00Z");

/// A phasor rotating at p_fFreq_Hz, reduced from 50 to 10 per second: the output cycles of 4 s.
struct SRun
{
    explicit SRun(double p_fFreq_Hz, std::int64_t p_nAbsent = -1)
    {
        CDecimator decimator(50, 10, {1});
        for (std::int64_t i = 0; i < 200; ++i)
        {
            const double fAngle_deg = std::remainder(360.0 * p_fFreq_Hz * static_cast<double>(i) / 50.0, 360.0);
            SSourceCycle cycle{g_nBase + GridTicks(i % 50, 50) + i / 50 * g_nTicksPerSec,
                               {{}, {1000.0F, static_cast<float>(fAngle_deg), 0, true}},
                               {}};
            cycle.vecSample[1].nState = i == p_nAbsent ? 0x8000 : 0;
            decimator.Put(cycle, [this](const SSourceCycle& p_out) { vecOut.push_back(p_out); });
        }
    }
    double Amplitude(std::size_t i) const { return vecOut[i].vecSample[1].fMagn; }
    /// Degrees between the output and the phasor at that time.
    double AngleError(std::size_t i, double p_fFreq_Hz) const
    {
        const double fTime_s = static_cast<double>(vecOut[i].nTicks - g_nBase) / g_nTicksPerSec;
        return std::remainder(vecOut[i].vecSample[1].fAngle_deg - 360.0 * p_fFreq_Hz * fTime_s, 360.0);
    }
    std::vector<SSourceCycle> vecOut;
};
} // namespace

/// No time shift, no loss below 0.35 of the lower rate, no residue of what would alias.
TEST(CDecimator, PassesLowFrequenciesUnshiftedAndNoAlias)
{
    for (const double fFreq_Hz : {0.0, 0.1, 1.0, -2.0, 3.0})
    {
        const SRun run(fFreq_Hz);
        ASSERT_GT(run.vecOut.size(), 20U);
        for (std::size_t i = 9; i < run.vecOut.size(); ++i)
        {
            EXPECT_NEAR(run.Amplitude(i), 1000.0, 6.0) << fFreq_Hz;
            EXPECT_NEAR(run.AngleError(i, fFreq_Hz), 0.0, 0.01) << fFreq_Hz;
            EXPECT_EQ(run.vecOut[i].nTicks % (g_nTicksPerSec / 10), 0);
        }
    }
    for (const double fFreq_Hz : {6.0, 9.5, 10.5, -12.0, 20.0, 25.0})
    {
        const SRun run(fFreq_Hz);
        for (std::size_t i = 9; i < run.vecOut.size(); ++i)
            EXPECT_LT(run.Amplitude(i), 6.0) << fFreq_Hz;
    }
}

TEST(CDecimator, MissingSampleIsBorneByTheOthers)
{
    const SRun run(0.1, 100);
    ASSERT_GT(run.vecOut.size(), 20U);
    for (std::size_t i = 9; i < run.vecOut.size(); ++i)
    {
        EXPECT_TRUE(run.vecOut[i].vecSample[1].bPresent);
        EXPECT_EQ(run.vecOut[i].vecSample[1].nState, 0U);
        EXPECT_NEAR(run.AngleError(i, 0.1), 0.0, 0.2);
    }
}

TEST(CDecimator, JumpBeginsAnewAndAllMissingIsAGap)
{
    CDecimator decimator(50, 10, {0, 7});
    std::vector<std::int64_t> vecnOut;
    const auto fnOut = [&](const SSourceCycle& p_out) { vecnOut.push_back((p_out.nTicks - g_nBase) / 10000); };
    const auto fnPut = [&](std::int64_t p_nFrom, std::int64_t p_nTo)
    {
        for (std::int64_t i = p_nFrom; i < p_nTo; ++i)
            decimator.Put({g_nBase + i * 200000, {{1.0F, 0.0F, 0, true}}, {}}, fnOut);
    };
    fnPut(0, 100);
    ASSERT_FALSE(vecnOut.empty());
    EXPECT_LE(vecnOut.back(), 1980 - 800);
    vecnOut.clear();
    fnPut(100000, 100081);
    ASSERT_FALSE(vecnOut.empty());
    EXPECT_GE(vecnOut.front(), 2000000) << "no data from before the jump is used after it";
    vecnOut.clear();
    fnPut(0, 10);
    EXPECT_TRUE(vecnOut.empty());
}
