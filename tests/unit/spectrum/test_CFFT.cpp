#include "SpectrumBench.h"
#include "fake/CaptureTrace.h"
#include <tuple>

namespace
{
using std::numbers::pi;

struct FftTest : SpectrumBench
{
    CFFT fft{&m_trace};
    CaptureTrace capture;
};

/// Two tones on channels 5 and 20 of 64 samples, and a mean.
std::valarray<double> TwoTones()
{
    return Samples(
        64, 1.0,
        [](double i)
        { return 7.0 + 3.0 * std::cos(g_fTwoPi * 5.0 * i / 64.0 + 0.5) + 2.0 * std::sin(g_fTwoPi * 20.0 * i / 64.0); });
}
} // namespace

TEST_F(FftTest, SinusoidOnAChannelHasItsAmplitudeAndPhase)
{
    ASSERT_TRUE(fft.FFTbyMKL(TwoTones(), 0.02));
    EXPECT_DOUBLE_EQ(fft.GetDeltaF(), 1.0 / (64 * 0.02));
    ASSERT_EQ(fft.GetNoOfChannels(), 32U);
    std::valarray<double> vecAmpl(32);
    std::valarray<double> vecDegs(32);
    ASSERT_TRUE(fft.RetrveAmpl(vecAmpl));
    ASSERT_TRUE(fft.RetrveDegs(vecDegs));
    for (std::size_t k = 0; k < 32; ++k)
        EXPECT_NEAR(vecAmpl[k] / 32.0, k == 0 ? 14.0 : k == 5 ? 3.0 : k == 20 ? 2.0 : 0.0, 1e-13) << k;
    EXPECT_NEAR(vecDegs[5], 0.5 * 180.0 / pi, 1e-10);
    EXPECT_NEAR(vecDegs[20], -90.0, 1e-10);
}

TEST_F(FftTest, BandBackInTimeHasTheAmplitudeOfItsSinusoid)
{
    ASSERT_TRUE(fft.FFTbyMKL(TwoTones(), 0.02));
    // Low, high; what is left of mean, first and second tone. Limits inclusive; the one-sided DC channel counts as it is, a
    // high channel of 0 stands for all.
    const std::tuple<unsigned, unsigned, double, double, double> vecBand[] = {
        {5, 5, 0, 3, 0},  {4, 6, 0, 3, 0}, {6, 20, 0, 0, 2}, {6, 19, 0, 0, 0},
        {0, 31, 7, 3, 2}, {9, 0, 7, 3, 2}, {0, 1, 7, 0, 0}};
    for (const auto& [nLow, nHigh, fMean, fFirst, fSecond] : vecBand)
    {
        CFFT fftInverse(&m_trace);
        ASSERT_TRUE(fftInverse.IFFTbyMKL(fft.GetData(), nLow, nHigh));
        std::valarray<double> vecTime(64);
        ASSERT_TRUE(fftInverse.RetrveTime(vecTime));
        for (std::size_t i = 0; i < 64; ++i)
        {
            const double fAngle = g_fTwoPi * static_cast<double>(i) / 64.0;
            EXPECT_NEAR(vecTime[i], fMean + fFirst * std::cos(5.0 * fAngle + 0.5) + fSecond * std::sin(20.0 * fAngle),
                        1e-13)
                << nLow << " to " << nHigh;
        }
    }
}
