#include "Signals.h"
#include "refine/COnset.h"
#include <gtest/gtest.h>

using namespace Signals;

namespace
{
SSeries Noisy(const auto& p_value, unsigned p_nSeed = 1)
{
    std::mt19937_64 rng(p_nSeed);
    std::normal_distribution<double> normal(0.0, 0.03);
    return Series(Times(-60.0, 0.0, 0.2), 0.2, [&](double t) { return 50.0 + p_value(t) + normal(rng); });
}
} // namespace

TEST(COnset, ABeginningIsFoundForDecayAndGrowth)
{
    for (const double fRatio : {-0.05, 0.0})
    {
        const SSeries series =
            Noisy([&](double t) { return Swing(t, 0.5, fRatio, -23.45) + (t > -23.45 ? 0.5 : 0.0); });
        const COnset::SOnset onset = COnset::Locate(series, {{Rate(0.5, fRatio), TWO_PI * 0.5}}, false, 8);
        EXPECT_NEAR(onset.fTime_s, -23.45, 0.2) << fRatio;
        EXPECT_GT(onset.fDev_s, 0.0);
        EXPECT_LT(onset.fDev_s, 0.2);
        EXPECT_GT(onset.fGain, 100.0);
        EXPECT_GT(series.arrTime_s[onset.nSafe], -23.45);
    }
}

TEST(COnset, AStandingSwingHasNoNewExcitationButAStepIsToldFromOne)
{
    const std::vector<SPole> vecPole{{0.0, TWO_PI * 0.5}};
    const auto Standing = [](double t) { return Swing(t, 0.5, 0.0, -100.0); };
    EXPECT_LT(COnset::Locate(Noisy(Standing), vecPole, true, 8).fGain,
              25.0); // chance over 290 places: about 2 ln 290 + 4

    const COnset::SOnset step =
        COnset::Locate(Noisy([&](double t) { return Standing(t) + (t > -30.0 ? 0.4 : 0.0); }), vecPole, true, 8);
    EXPECT_NEAR(step.fTime_s, -30.0, 0.3);
    EXPECT_LT(step.fGain - step.fGainStep, 14.0);
    EXPECT_GT(step.fGainStep, 100.0);

    const COnset::SOnset again =
        COnset::Locate(Noisy([&](double t) { return t < -30.0 ? Standing(t) : 1.5 * Swing(t, 0.5, 0.0, -30.0, 2.5); }),
                       vecPole, true, 8);
    EXPECT_NEAR(again.fTime_s, -30.0, 0.3);
    EXPECT_GT(again.fGain - again.fGainStep, 100.0);
}
