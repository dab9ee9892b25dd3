#include "Signals.h"
#include "refine/CBlockBuffer.h"
#include "refine/CNoiseColour.h"
#include "refine/CSwingFit.h"
#include <gtest/gtest.h>

using namespace Signals;

TEST(CSwingFit, TwoCloseSwingsOnDriftWithAGapAndAStepComeBackExactly)
{
    std::vector<double> vecTime = Times(-40.0, 0.0, 0.25);
    std::erase_if(vecTime, [](double t) { return t > -22.0 && t < -17.0; });
    const auto Value = [](double t)
    {
        return 5.0 + 0.03 * t + (t >= -10.0 ? 0.7 : 0.0) + 2.0 * Swing(t, 0.40, -0.02, -40.0, 0.3) +
               1.5 * Swing(t, 0.45, 0.01, -40.0, 1.9);
    };
    const SSeries series = Series(vecTime, 0.25, Value);
    CSwingFit fit(series, 1, {-10.0});
    ASSERT_TRUE(fit.Run({{0.0, TWO_PI * 0.392}, {0.0, TWO_PI * 0.457}}));
    ASSERT_EQ(fit.Poles().size(), 2u);
    EXPECT_NEAR(fit.Poles()[0].fOmega, TWO_PI * 0.40, 1e-7);
    EXPECT_NEAR(fit.Poles()[0].fRate, Rate(0.40, -0.02), 1e-7);
    EXPECT_NEAR(fit.Poles()[1].fOmega, TWO_PI * 0.45, 1e-7);
    EXPECT_NEAR(fit.Poles()[1].fRate, Rate(0.45, 0.01), 1e-7);
    EXPECT_NEAR(fit.Result(0, 0.0).fAmpl, 2.0 * std::exp(Rate(0.40, -0.02) * 40.0), 1e-6);
    EXPECT_NEAR(fit.Result(1, 0.0).fAmpl, 1.5 * std::exp(Rate(0.45, 0.01) * 40.0), 1e-6);
    EXPECT_NEAR(fit.Step(0), 0.7, 1e-6);
}

TEST(CSwingFit, DeviationsOfALongToneAreTheCramerRaoBound)
{
    // n samples over T with amplitude A and unit noise: var(omega) = var(rate) = 24 / (A^2 n T^2) for many periods
    const double T = 200.0;
    const SSeries series = Series(Times(-T, 0.0, 0.1), 0.1, [](double t) { return 3.0 * Swing(t, 0.5, 0.0, -200.0); });
    CSwingFit fit(series, 0, {});
    ASSERT_TRUE(fit.Run({{0.0, TWO_PI * 0.5}}));
    const double fBound = std::sqrt(24.0 / (9.0 * 2000.0 * T * T));
    EXPECT_NEAR(fit.Result(0, 0.0).fOmegaDev, fBound, 0.01 * fBound);
    EXPECT_NEAR(fit.Result(0, 0.0).fRateDev, fBound, 0.01 * fBound);
    // amplitude: sqrt(2 / n) in the middle, twice that at the end, where the rate takes part: 2/n + A^2 (T/2)^2 var(rate)
    EXPECT_NEAR(fit.Result(0, -0.5 * T).fAmplDev, std::sqrt(2.0 / 2000.0), 0.01 * std::sqrt(2.0 / 2000.0));
    EXPECT_NEAR(fit.Result(0, 0.0).fAmplDev, 2.0 * std::sqrt(2.0 / 2000.0), 0.02 * std::sqrt(2.0 / 2000.0));
}

TEST(CSwingFit, FewerSamplesThanParametersAreRefused)
{
    const SSeries series = Series(Times(-1.0, 0.0, 0.2), 0.2, [](double t) { return t; });
    CSwingFit fit(series, 1, {});
    EXPECT_FALSE(fit.Run({{0.0, TWO_PI * 0.5}}));
}

TEST(CBlockBuffer, MeansOfPartlyFilledBlocksKeepTheSwing)
{
    CBlockBuffer buffer(0.02, 10, 60.0);
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> uniform;
    for (std::int64_t i = 0; i < 2000; ++i)
        if (uniform(rng) > 0.3)
            buffer.Add(i, 7.0 + Swing(0.02 * static_cast<double>(i), 0.6, -0.01, 0.0));
    for (const unsigned nMerge : {1u, 2u})
    {
        const SSeries series = buffer.Series(60.0, nMerge);
        CSwingFit fit(series, 0, {});
        ASSERT_TRUE(fit.Run({{0.0, TWO_PI * 0.59}}));
        // what is left is the fourth order of the mean over a block: (pi f block)^4 / 120, 3e-4 of the swing at 0.4 s
        EXPECT_NEAR(fit.Poles()[0].fOmega, TWO_PI * 0.6, 1e-4) << nMerge;
        EXPECT_NEAR(fit.Poles()[0].fRate, Rate(0.6, -0.01), 1e-4) << nMerge;
        EXPECT_NEAR(fit.Result(0, 0.0).fAmpl,
                    std::exp(Rate(0.6, -0.01) * 0.02 * static_cast<double>(buffer.Reference())), 1e-3);
    }
}

TEST(CBlockBuffer, PositionsThatDoNotRiseAndJumpsDoNoHarm)
{
    CBlockBuffer buffer(0.1, 2, 10.0);
    for (const std::int64_t n : {0, 1, 2, 3, 2, 1, 0, 3})
        buffer.Add(n, 1.0);
    EXPECT_EQ(buffer.Series(10.0).Size(), 2);
    EXPECT_EQ(buffer.Series(10.0).arrWeight.sum(), 4.0);
    buffer.Add(1'000'000'000'000, 5.0);
    buffer.Add(1'000'000'000'001, 5.0);
    ASSERT_EQ(buffer.Series(10.0).Size(), 1);
    EXPECT_EQ(buffer.Series(10.0).arrValue[0], 5.0);
}

TEST(CNoiseColour, FirstOrderNoiseHasTheDensityOfItsFormula)
{
    std::mt19937_64 rng(5);
    std::normal_distribution<double> normal;
    for (const double fPole : {0.0, 0.8})
    {
        const SSeries series = Series(Times(0.0, 1000.0, 0.2), 0.2, [](double) { return 0.0; });
        Eigen::VectorXd vec(series.Size());
        double f = 0.0;
        for (Eigen::Index i = 0; i < vec.size(); ++i)
            vec[i] = f = fPole * f + normal(rng);
        CNoiseColour colour;
        colour.Add(series, vec);
        colour.Fit();
        for (const double fOmega : {0.3, 2.0, 10.0})
        {
            // density over the variance 1 / (1 - p^2): (1 - p^2) / |1 - p exp(-i omega step)|^2
            const double fTrue = (1.0 - fPole * fPole) / (1.0 - 2.0 * fPole * std::cos(fOmega * 0.2) + fPole * fPole);
            EXPECT_NEAR(colour.Factor(fOmega), std::max(fTrue, 0.2), 0.1 * fTrue + 0.02) << fPole << " " << fOmega;
        }
    }
}
