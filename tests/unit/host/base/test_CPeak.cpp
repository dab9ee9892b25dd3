#include "fake/CaptureTrace.h"
#include "host/base/Epsilon.h"
#include "spectrum/data/CPeakOMA.h"
#include <cmath>
#include <gmock/gmock.h>
#include <limits>

using Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel;
using testing::ElementsAre;

namespace
{
struct Peak : testing::Test
{
    Peak() { peak.SetFreq(0.5); }
    double Damp()
    {
        double fDamp = 99.0;
        EXPECT_TRUE(peak.CalcDamp(&fDamp));
        return fDamp;
    }
    CaptureTrace capture;
    CTraceOMA trace{"Area"};
    CPeakOMA peak{&trace};
    const std::valarray<double> vecAmpl{1.0, 2.0, 4.0, 8.0, 16.0};
};
} // namespace

// A peak of half width w around f has the ratio w / sqrt(4 f^2 + w^2).
TEST_F(Peak, DampingFollowsFromWidthSignAndCorrection)
{
    peak.SetFWHM(0.3);
    const double fRatio = 0.3 / std::hypot(1.0, 0.3);
    EXPECT_NEAR(Damp(), fRatio, 1e-15);
    peak.SetNegDamp(1.0);
    EXPECT_NEAR(Damp(), -fRatio, 1e-15);
    peak.SetDampCorr(1.5);
    EXPECT_NEAR(Damp(), -1.5 * fRatio, 1e-15);
}

TEST_F(Peak, WidthOfExactlyEpsilonPasses)
{
    peak.SetFWHM(g_fEpsilon);
    EXPECT_NEAR(Damp(), g_fEpsilon, 1e-12);
    double fDamp = 0.0;
    for (const double fWidth : {std::nextafter(g_fEpsilon, 0.0), 0.0, -1.0, std::nan("")})
    {
        peak.SetFWHM(fWidth);
        EXPECT_FALSE(peak.CalcDamp(&fDamp)) << fWidth;
    }
    EXPECT_EQ(capture.Count("CPeak::CalcDamp():Invalid FWHM: 0.0!"), 4U);
    EXPECT_FALSE(peak.CalcDamp(nullptr));
}

TEST_F(Peak, WidthAndDampingAreInverse)
{
    for (const double fDamp : {0.01, -0.05, 0.3, -0.9})
    {
        peak.SetNegDamp(fDamp < 0.0 ? 1.0 : 0.0);
        const double fWidth_Hz = peak.CalcFWHM(fDamp);
        EXPECT_EQ(peak.GetFWHM(), fWidth_Hz);
        EXPECT_NEAR(Damp(), fDamp, 1e-12);
    }
    EXPECT_EQ(peak.CalcFWHM(0.0), 0.0);
    EXPECT_EQ(peak.GetFWHM(), 0.0);
    peak.SetFWHM(0.2);
    for (const double fDamp : {1.0, -1.0, 2.0, std::nan("")})
        EXPECT_EQ(peak.CalcFWHM(fDamp), -1.0);
    EXPECT_EQ(peak.GetFWHM(), 0.2) << "kept";
}

TEST_F(Peak, MagnitudeSumsTheChannelsOfTheBand)
{
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1, 0.1, 0.3), 14.0);
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1, 0.14, 0.26), 14.0) << "rounded to the nearest channel";
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1, 0.2, 0.2), 4.0);
    peak.SetFreq(0.2);
    peak.SetFWHM(0.1);
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1), 14.0);
    peak.SetFreq(0.1);
    peak.SetFWHM(0.2);
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1), 15.0) << "a width beyond 0 Hz begins there";
    EXPECT_TRUE(capture.Lines().empty());
}

TEST_F(Peak, LimitsBesideTheSpectrumWarnAndSumUpToTheLastChannel)
{
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1, 0.3, 0.5), 24.0);
    EXPECT_THAT(capture.Lines(),
                ElementsAre("CPeak::CalcMagn():Peak limits not within buffer size: nData=5 iBeg=3 iEnd=5!"));
    EXPECT_EQ(capture.Entries()[0].eLevel, ETraceLevel::eWarning);
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.1, 7.0, 1e300), 16.0);
    EXPECT_DOUBLE_EQ(peak.CalcMagn(vecAmpl, 0.0, 0.1, std::numeric_limits<double>::infinity()), 16.0);
}
