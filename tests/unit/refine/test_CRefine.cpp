#include "Signals.h"
#include "refine/CRefine.h"
#include <functional>
#include <gtest/gtest.h>
#include <limits>

using namespace Signals;

namespace
{
using FSignal = std::function<double(double)>;
using FLost = std::function<bool(double)>;

/// Plays p_fEnd_s of a signal around 300 with noise and asks for the mode 0.2 to 0.8 Hz at the end.
SEstimate Play(const FSignal& p_signal, double p_fEnd_s, double p_fNoise = 0.07, const FLost& p_lost = nullptr,
               int p_nRate = 50, unsigned p_nSeed = 1, bool p_bAngle = false)
{
    CRefine refine(p_nRate, p_bAngle, {{0.2, 0.8}});
    std::mt19937_64 rng(p_nSeed);
    std::normal_distribution<double> normal(0.0, p_fNoise);
    for (std::int64_t i = 0; i < static_cast<std::int64_t>(p_fEnd_s * p_nRate); ++i)
    {
        const double t = static_cast<double>(i) / p_nRate;
        double f = (p_bAngle ? 179.5 : 300.0) + p_signal(t) + normal(rng);
        if (p_bAngle)
            f = std::remainder(f, 360.0);
        const bool bLost = p_lost && p_lost(t);
        refine.AddSample(START + std::llround(1e7 * t), bLost ? 1e9 : f, bLost ? 2 : 0);
    }
    return refine.Estimate(0);
}

struct SCase
{
    const char* pName;
    FSignal signal;
    double fEnd_s, fFreq_Hz, fRatio, fAmpl, fOnset_s;
    EVerdict eVerdict;
    FLost lost = nullptr;
    int nRate = 50;
    bool bAngle = false;
};

class CRefineSwing : public ::testing::TestWithParam<SCase>
{
};

double Ampl(double p_fRatio, double p_fAge_s, double p_fFreq_Hz = 0.4)
{
    return std::exp(Rate(p_fFreq_Hz, p_fRatio) * p_fAge_s);
}
FSignal Onset(double p_fRatio)
{
    return [=](double t) { return Swing(t, 0.4, p_fRatio, 30.3); };
}
FSignal Again(double p_fRatio)
{
    return [=](double t) { return t < 45.0 ? Swing(t, 0.4, p_fRatio, 30.3) : Swing(t, 0.4, p_fRatio, 45.0, 2.9); };
}
FSignal Stepped(double p_fRatio)
{
    return [=](double t) { return Swing(t, 0.4, p_fRatio, 30.3) + (t > 42.0 ? 0.6 : 0.0) + 0.02 * t; };
}
bool WithHoles(double t)
{
    return (t > 35.0 && t < 36.5) || std::fmod(t, 0.9) < 0.05;
}
} // namespace

TEST_P(CRefineSwing, ComesWithinThreeDeviationsAndWithTheRightVerdict)
{
    const SCase& c = GetParam();
    const SEstimate e = Play(c.signal, c.fEnd_s, 0.07, c.lost, c.nRate, 1, c.bAngle);
    ASSERT_EQ(e.nSwings, 1u);
    const SSwing& s = e.aSwing[0];
    EXPECT_NEAR(s.freq_Hz.fValue, c.fFreq_Hz, 3.0 * s.freq_Hz.fDev);
    EXPECT_NEAR(s.ratio.fValue, c.fRatio, 3.0 * s.ratio.fDev);
    EXPECT_NEAR(s.ampl.fValue, c.fAmpl, 3.5 * s.ampl.fDev + 0.02 * c.fAmpl);
    EXPECT_LT(s.freq_Hz.fDev, 0.004);
    EXPECT_LT(s.ratio.fDev, 0.008);
    EXPECT_EQ(e.eVerdict, c.eVerdict);
    ASSERT_TRUE(e.bOnset);
    EXPECT_NEAR(static_cast<double>(e.nOnset - START) / 1e7, c.fOnset_s, 0.4);
}

INSTANTIATE_TEST_SUITE_P(
    Signals, CRefineSwing,
    ::testing::Values(SCase{"Decaying", Onset(-0.03), 42.3, 0.4, -0.03, Ampl(-0.03, 12.0), 30.3, EVerdict::eDecaying},
                      SCase{"Steady", Onset(0.0), 50.3, 0.4, 0.0, 1.0, 30.3, EVerdict::eSteady},
                      SCase{"Growing", Onset(0.02), 42.3, 0.4, 0.02, Ampl(0.02, 12.0), 30.3, EVerdict::eGrowing},
                      SCase{"TenSamplesASecond", Onset(-0.03), 45.3, 0.4, -0.03, Ampl(-0.03, 15.0), 30.3,
                            EVerdict::eDecaying, nullptr, 10},
                      SCase{"AngleThatFolds", Onset(-0.03), 42.3, 0.4, -0.03, Ampl(-0.03, 12.0), 30.3,
                            EVerdict::eDecaying, nullptr, 50, true},
                      SCase{"StepAndDrift", Stepped(0.0), 55.3, 0.4, 0.0, 1.0, 30.3, EVerdict::eSteady},
                      SCase{"NewExcitation", Again(-0.03), 60.0, 0.4, -0.03, Ampl(-0.03, 15.0), 45.0,
                            EVerdict::eDecaying},
                      SCase{"GapsAndInvalidSpans", Onset(-0.03), 45.3, 0.4, -0.03, Ampl(-0.03, 15.0), 30.3,
                            EVerdict::eDecaying, WithHoles}),
    [](const auto& p_info) { return p_info.param.pName; });

TEST(CRefine, TwoSwingsFiveHundredthsApartAreToldApart)
{
    const SEstimate e =
        Play([](double t) { return Swing(t, 0.40, -0.01, 30.3) + 0.7 * Swing(t, 0.45, -0.02, 30.3, 2.0); }, 70.0);
    ASSERT_EQ(e.nSwings, 2u);
    EXPECT_NEAR(e.aSwing[0].freq_Hz.fValue, 0.40, 3.0 * e.aSwing[0].freq_Hz.fDev);
    EXPECT_NEAR(e.aSwing[0].ratio.fValue, -0.01, 3.0 * e.aSwing[0].ratio.fDev);
    EXPECT_NEAR(e.aSwing[1].freq_Hz.fValue, 0.45, 3.0 * e.aSwing[1].freq_Hz.fDev);
    EXPECT_NEAR(e.aSwing[1].ratio.fValue, -0.02, 3.0 * e.aSwing[1].ratio.fDev);
}

TEST(CRefine, HarmonicsOfASteadySwingAreForcedASinusoidIsNotTold)
{
    const auto Driven = [](double t) { return t < 30.3 ? 0.0 : std::cos(2.5 * t) + 0.1 * std::cos(5.0 * t + 1.0); };
    EXPECT_EQ(Play(Driven, 65.0).eOrigin, EOrigin::eForced);
    EXPECT_EQ(Play(Onset(0.0), 65.0).eOrigin, EOrigin::eUnknown);
    EXPECT_EQ(Play(Onset(-0.03), 45.0).eOrigin, EOrigin::eNatural);
}

TEST(CRefine, WithoutASwingNothingIsSaid)
{
    const FSignal aSignal[] = {[](double) { return 0.0; }, [](double t) { return t > 40.0 ? 2.0 : 0.0; },
                               [](double t) { return t > 40.0 ? 0.1 * (t - 40.0) : 0.0; }};
    for (const FSignal& signal : aSignal)
        for (unsigned nSeed = 1; nSeed <= 20; ++nSeed)
            EXPECT_FALSE(Play(signal, 55.0, 0.07, nullptr, 50, nSeed).IsKnown());
}

TEST(CRefine, ADecayingSwingIsNeverCalledGrowingAndTheTruthLiesWithinTwoDeviations)
{
    int nIn = 0, nAll = 0;
    for (unsigned nSeed = 1; nSeed <= 60; ++nSeed)
    {
        CRefine refine(50, false, {{0.2, 0.8}});
        std::mt19937_64 rng(nSeed);
        std::normal_distribution<double> normal(0.0, 0.0707);
        const double fOnset_s = 30.0 + 0.31 * nSeed, fPhase = 0.7 * nSeed;
        SEstimate e;
        for (std::int64_t i = 0; i < 3000; ++i)
        {
            const double t = 0.02 * static_cast<double>(i) + fOnset_s - 30.0;
            refine.AddSample(START + i * 200000, Swing(t, 0.4, -0.03, fOnset_s, fPhase) + normal(rng), 0);
            if (i > 1500 && i % 50 == 0)
            {
                e = refine.Estimate(0);
                ASSERT_NE(e.eVerdict, EVerdict::eGrowing) << nSeed << " at " << i;
            }
        }
        ASSERT_TRUE(e.IsKnown());
        nIn += std::abs(e.aSwing[0].ratio.fValue + 0.03) < 2.0 * e.aSwing[0].ratio.fDev;
        nIn += std::abs(e.aSwing[0].freq_Hz.fValue - 0.4) < 2.0 * e.aSwing[0].freq_Hz.fDev;
        nAll += 2;
    }
    EXPECT_GE(nIn, nAll * 88 / 100); // 95 % less three and a half deviations of a count of 120
}

TEST(CRefine, AnOnsetOlderThanTheSamplesIsRemembered)
{
    CRefine refine(50, false, {{0.2, 0.8}});
    std::mt19937_64 rng(1);
    std::normal_distribution<double> normal(0.0, 0.07);
    SEstimate e;
    for (std::int64_t i = 0; i < 50 * 150; ++i)
    {
        const double t = 0.02 * static_cast<double>(i);
        refine.AddSample(START + i * 200000, Swing(t, 0.4, 0.0, 30.3) + normal(rng), 0);
        if (i % 50 == 0)
            e = refine.Estimate(0);
    }
    ASSERT_TRUE(e.bOnset);
    EXPECT_NEAR(static_cast<double>(e.nOnset - START) / 1e7, 30.3, 0.3);
    EXPECT_EQ(e.eVerdict, EVerdict::eSteady);
}

TEST(CRefine, NoInputDoesHarm)
{
    const double fNan = std::numeric_limits<double>::quiet_NaN(), fInf = std::numeric_limits<double>::infinity();
    for (const int nRate : {50, 1, 0, -10, 2147483647, -2147483647 - 1})
    {
        CRefine refine(nRate, true, {{-1.0, -1.0}, {0.5, 0.2}, {fNan, fNan}, {1e300, 1e-300}});
        const std::int64_t anTime[] = {START,
                                       START + 1,
                                       START,
                                       std::numeric_limits<std::int64_t>::max(),
                                       std::numeric_limits<std::int64_t>::min(),
                                       0,
                                       3'155'378'975'999'999'999,
                                       START};
        for (const std::int64_t nTime : anTime)
            for (const double f : {1.0, fNan, fInf, -1e308, 1e14})
                refine.AddSample(nTime, f, 0);
        for (std::int64_t i = 0; i < 5000; ++i)
            refine.AddSample(START + i * 200000, i % 3 == 0 ? 1e14 : 0.0, 0);
        for (std::size_t i = 0; i < refine.Modes(); ++i)
        {
            refine.Estimate(i);
            refine.SetStanding(i, true);
            refine.SetStanding(i, false);
            refine.Ambient(i);
        }
    }
    CRefine constant(50, false, {{0.2, 0.8}});
    for (std::int64_t i = 0; i < 50 * 700; ++i)
        constant.AddSample(START + i * 200000, 42.0, 0);
    EXPECT_FALSE(constant.Estimate(0).IsKnown());
    EXPECT_FALSE(constant.Ambient(0).IsKnown());
}
