#include "Signals.h"
#include "refine/CRefine.h"
#include <complex>
#include <gtest/gtest.h>

using namespace Signals;

namespace
{
/// p_fMinutes of a resonance of 0.4 Hz that noise drives (deviation 0.7), noise of 0.2 a sample and drift, 25 samples a second.
class CAmbientTest : public ::testing::Test
{
  protected:
    SAmbient Play(double p_fRatio, double p_fMinutes, const auto& p_isLost, const auto& p_isStanding)
    {
        const std::complex<double> turn = std::exp(std::complex<double>(Rate(0.4, p_fRatio), TWO_PI * 0.4) / 25.0);
        const double fDrive = std::sqrt(1.0 - std::norm(turn));
        for (std::int64_t i = 0; i < static_cast<std::int64_t>(p_fMinutes * 1500.0); ++i)
        {
            const double t = static_cast<double>(i) / 25.0;
            m_state = m_state * turn + fDrive * m_normal(m_rng);
            m_fDrift += 0.002 * m_normal(m_rng);
            const bool bStanding = p_isStanding(t);
            m_refine.SetStanding(0, bStanding);
            const double f = m_fDrift + m_fSize * m_state.imag() + 0.2 * m_normal(m_rng) +
                             (bStanding ? 20.0 * std::cos(2.2 * t) : 0.0);
            m_refine.AddSample(START + i * 400000, f, p_isLost(t) ? 2 : 0);
        }
        return m_refine.Ambient(0);
    }
    CRefine m_refine{25, false, {{0.2, 0.8}}};
    std::mt19937_64 m_rng{11};
    std::normal_distribution<double> m_normal;
    std::complex<double> m_state = 0.0;
    double m_fDrift = 10.0, m_fSize = 1.0;
};
const auto Never = [](double) { return false; };
} // namespace

TEST_F(CAmbientTest, FrequencyAndRatioComeWithinTheirDeviations)
{
    const SAmbient a = Play(-0.05, 20.0, Never, Never);
    ASSERT_TRUE(a.IsKnown());
    EXPECT_NEAR(a.freq_Hz.fValue, 0.4, 3.0 * a.freq_Hz.fDev);
    EXPECT_NEAR(a.ratio.fValue, -0.05, 3.0 * a.ratio.fDev);
    EXPECT_LT(a.ratio.fDev, 0.008);
    EXPECT_GT(a.ratio.fDev, 0.003); // nobody does better than sqrt(alpha / T) / omega = 0.004, by much
    EXPECT_NEAR(static_cast<double>(a.nTime - START) / 1e7, 1200.0, 0.5);
}

TEST_F(CAmbientTest, GapsAndStandingSwingsAreLeftOut)
{
    const SAmbient a = Play(
        -0.05, 25.0, [](double t) { return (t > 400.0 && t < 450.0) || std::fmod(t, 7.0) < 0.3; },
        [](double t) { return t > 900.0 && t < 960.0; });
    ASSERT_TRUE(a.IsKnown());
    EXPECT_NEAR(a.freq_Hz.fValue, 0.4, 3.0 * a.freq_Hz.fDev);
    EXPECT_NEAR(a.ratio.fValue, -0.05, 3.0 * a.ratio.fDev);
    EXPECT_LT(a.fSpan_s, 25.0 * 60.0 - 110.0);
}

TEST_F(CAmbientTest, TooShortATimeSaysNothing)
{
    EXPECT_FALSE(Play(-0.05, 9.0, Never, Never).IsKnown());
}

TEST_F(CAmbientTest, NoiseWithoutAResonanceSaysNothing)
{
    m_fSize = 0.0;
    EXPECT_FALSE(Play(-0.05, 15.0, Never, Never).IsKnown());
}
