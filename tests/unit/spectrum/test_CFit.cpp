#include "fake/CaptureTrace.h"
#include "spectrum/fit/CFitLmaOMA.h"
#include "spectrum/fit/CFitLsqOMA.h"
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

    bool FitLSQ(const std::valarray<double>& p_vecLog, unsigned p_nLeft, unsigned p_nRight)
    {
        CFitLsqOMA fit(p_vecLog, &trace);
        nLeft = p_nLeft;
        nRight = p_nRight;
        return fit.FitPeak(&nLeft, &nRight, &vecCoef);
    }
};

/// log10 of a Gaussian with height 50 and the given centre and full width at half maximum.
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

/// The curve that the steps of the fit assume.
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

TEST_F(FitTest, WeightsOfAMean)
{
    const std::valarray<double> vecData{9.0, 1.0, -4.0, 0.0, 9.0};
    const std::valarray<double> vecSigma{1.0, 1.0, 0.5, 2.0, 1.0};
    // (1 / sigma)^2: 1, 4, 0.25; 1 / |y|: 1, 0.25, and 1 for a value of 0.
    for (const auto& [eWeight, fWant] : {std::pair<int, double>{CFitLSQ::eWeightNone, -1.0},
                                         {CFitLSQ::eWeightSigma, -15.0 / 5.25},
                                         {CFitLSQ::eWeightData, 0.0}})
    {
        CFitLSQ fit(vecData, &trace, vecSigma);
        ASSERT_TRUE(fit.PolFit(1, 3, 0, eWeight));
        CFit::VecCoef vecMean;
        fit.SwapCoefs(vecMean);
        ASSERT_EQ(vecMean.size(), 1U);
        EXPECT_NEAR(vecMean[0], fWant, 1e-15) << eWeight;
    }
    CFitLSQ fit(vecData, &trace);
    EXPECT_TRUE(fit.PolFit(1, 3, 0, CFitLSQ::eWeightSigma));
    EXPECT_TRUE(capture.Has("Missing sigma values for specified weighting mode -> Using no weights"));
    CFitLSQ fitWeighted(vecData, &trace, vecSigma);
    EXPECT_FALSE(fitWeighted.PolFit(1, 3, 0, 7));
    EXPECT_TRUE(capture.Has("Invalid Weighting Mode"));
}

TEST_F(FitTest, CurveOfAnAmplitudeOfZeroIsAsItsFormulaSays)
{
    // The logarithm of 0 is infinite, and so are the coefficients: the curve has no centre.
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
