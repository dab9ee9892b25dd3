#include "fake/CaptureTrace.h"
#include "spectrum/CFitLmaOMA.h"
#include "spectrum/CFitLsqOMA.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();

struct FitTest : testing::Test
{
    CTraceOMA trace{"FIT"};
    CaptureTrace capture;
    unsigned nLeft = 0;
    unsigned nRight = 0;
    CFit::VecCoef vecCoef;
    double fFreq = 0.0;
    double fFWHM = 0.0;
    double fAmpl = 0.0;

    bool FitLSQ(const std::valarray<double>& p_vecLog, unsigned p_nLeft, unsigned p_nRight)
    {
        CFitLsqOMA fit(p_vecLog, &trace);
        nLeft = p_nLeft;
        nRight = p_nRight;
        return fit.FitPeak(&nLeft, &nRight, &vecCoef);
    }
};

/// log10 of a Gaussian of height 50, centre and full width at half maximum as given.
std::valarray<double> Gaussian(std::size_t p_nSize, double p_fCentre, double p_fFWHM)
{
    std::valarray<double> vecLog(p_nSize);
    for (std::size_t k = 0; k < p_nSize; ++k)
    {
        const double fPlace = (static_cast<double>(k) - p_fCentre) / p_fFWHM;
        vecLog[k] = std::log10(50.0 * std::pow(2.0, -4.0 * fPlace * fPlace));
    }
    return vecLog;
}

/// The shape that the steps of the fit assume.
std::valarray<double> ModelOf(double p_fHeight, double p_fCentre, double p_fWidth)
{
    std::valarray<double> vecAmpl(40);
    for (std::size_t k = 0; k < vecAmpl.size(); ++k)
    {
        const double fU = 2.0 * (static_cast<double>(k) - p_fCentre) / p_fWidth;
        vecAmpl[k] = p_fHeight / (2.0 * fU * fU + 1.0);
    }
    return vecAmpl;
}
} // namespace

TEST_F(FitTest, GaussianGivesItsFrequencyWidthAndHeight)
{
    // Three channels: the exact parabola; more: the normal equations.
    for (const unsigned nLast : {21U, 22U, 25U})
    {
        ASSERT_TRUE(FitLSQ(Gaussian(40, 20.3, 4.5), 19, nLast));
        const std::valarray<double> vecNone;
        const CFitLsqOMA fit(vecNone, &trace);
        ASSERT_TRUE(fit.CalcPeakData(vecCoef, nLeft, 0.1, &fFreq, &fFWHM, &fAmpl));
        EXPECT_NEAR(fFreq, 2.03, 1e-9);
        EXPECT_NEAR(fFWHM, 0.45, 1e-8);
        EXPECT_NEAR(fAmpl, 50.0, 1e-6);
        std::valarray<double> vecCurve(40);
        fit.CalcCurve(vecCoef, &vecCurve);
        const std::valarray<double> vecWant = std::pow(10.0, Gaussian(40, 20.3, 4.5));
        for (std::size_t k = 0; k < 40; ++k)
            EXPECT_NEAR(vecCurve[k], vecWant[k], 1e-5) << k;
    }
}

TEST_F(FitTest, CurveOfAnAmplitudeOfZeroIsAsItsFormulaSays)
{
    // The logarithm of 0 is infinite, and so are coefficients: no centre that the curve could be followed from.
    constexpr double fInf = std::numeric_limits<double>::infinity();
    const std::valarray<double> vecNone;
    const CFitLsqOMA fit(vecNone, &trace);
    for (const CFit::VecCoef& vecInfinite : {CFit::VecCoef{0.0, fInf, -fInf}, {1.0, -fInf, -fInf}, {1.0, fInf, -2.0}})
    {
        std::valarray<double> vecCurve(8);
        fit.CalcCurve(vecInfinite, &vecCurve);
        for (std::size_t k = 0; k < vecCurve.size(); ++k)
        {
            const auto fX = static_cast<double>(k);
            const double fWant = std::pow(10.0, vecInfinite[0] + vecInfinite[1] * fX + vecInfinite[2] * (fX * fX));
            EXPECT_TRUE(std::isnan(fWant) ? std::isnan(vecCurve[k]) : vecCurve[k] == fWant) << k;
        }
    }
}

TEST_F(FitTest, TooFewChannelsAndDataThatAreNoNumbers)
{
    EXPECT_FALSE(FitLSQ(Gaussian(40, 20.0, 4.0), 20, 21));
    EXPECT_FALSE(FitLSQ(Gaussian(40, 20.0, 4.0), 38, 40)) << "beyond the data";
    EXPECT_EQ(capture.Count("CFitLsqOMA::FitPeak():Invalid No Of Data!"), 2U);
    std::valarray<double> vecLog = Gaussian(40, 20.0, 4.0);
    vecLog[20] = g_fNaN;
    EXPECT_FALSE(FitLSQ(vecLog, 19, 21));
    EXPECT_FALSE(FitLSQ(vecLog, 17, 23));
    EXPECT_EQ(capture.Count("Invalid PS peak fit coefficients"), 2U);
}

TEST_F(FitTest, LorentzianTakesTenSteps)
{
    nLeft = 12;
    nRight = 28;
    // The derivatives of the steps lack the height and a factor of 2: they are those of a peak of height 0.5.
    const std::valarray<double> vecExact = ModelOf(0.5, 20.2, 6.0);
    CFitLmaOMA fitExact(vecExact, &trace);
    fitExact.PresetCoefs({0.4, 19.9, 6.5});
    ASSERT_TRUE(fitExact.FitPeak(&nLeft, &nRight, &vecCoef));
    EXPECT_NEAR(vecCoef[0], 0.5, 1e-12);
    EXPECT_NEAR(vecCoef[1], 20.2, 1e-12);
    EXPECT_NEAR(vecCoef[2], 6.0, 1e-12);
    // With another height steps are refused and lambda grows: the values of a second program (Cramer's rule).
    const std::valarray<double> vecAmpl = ModelOf(1.0, 20.2, 6.0);
    CFitLmaOMA fit(vecAmpl, &trace);
    fit.PresetCoefs({0.8, 19.5, 7.0});
    ASSERT_TRUE(fit.FitPeak(&nLeft, &nRight, &vecCoef));
    EXPECT_NEAR(vecCoef[0], 0.9429301549997439, 1e-9);
    EXPECT_NEAR(vecCoef[1], 19.61822976340533, 1e-9);
    EXPECT_NEAR(vecCoef[2], 6.594434607773071, 1e-9);
    EXPECT_NEAR(fit.GetChiSq(), 0.11754471889776534, 1e-10);
}

TEST_F(FitTest, LorentzianThatCannotGetBetterIsAFailedFit)
{
    const std::valarray<double> vecAmpl = ModelOf(1.0, 20.0, 6.0);
    CFitLmaOMA fit(vecAmpl, &trace);
    nLeft = 12;
    nRight = 28;
    for (const CFit::VecCoef& vecStart : {CFit::VecCoef{1.0, 20.0, 6.0}, {g_fNaN, 20.0, 6.0}, {1.0, 20.0, 0.0}})
    {
        fit.PresetCoefs(vecStart);
        EXPECT_FALSE(fit.FitPeak(&nLeft, &nRight, &vecCoef));
    }
    EXPECT_EQ(capture.Count("CFitLmaOMA::FitPeak():Fit Parameters Could Not Be Improved!"), 3U);
    nRight = 13;
    EXPECT_FALSE(fit.FitPeak(&nLeft, &nRight, &vecCoef));
    EXPECT_TRUE(capture.Has("Too few data points for calculation (required: >= 3)"));
    EXPECT_FALSE(fit.PresetCoefs({}));
    EXPECT_TRUE(capture.Has("Cannot preset fit coefficients"));
}
