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
    std::vector<double> vecCoef;
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
        const CFitLsqOMA fit({}, &trace);
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

TEST_F(FitTest, CentreBelowChannelZeroIsRefusedWithAllItsLines)
{
    const CFitLsqOMA fit({}, &trace);
    EXPECT_FALSE(fit.CalcPeakData({1.0, -2.0, -1.0}, 0, 0.5, &fFreq, &fFWHM, &fAmpl));
    EXPECT_DOUBLE_EQ(fAmpl, -1.0) << "a missing amplitude alone stops nothing";
    EXPECT_DOUBLE_EQ(fFreq, -0.5);
    EXPECT_TRUE(capture.Has("CalcPeakFreq():Invalid LSQ fit results: f[Hz]=-1.000000 coef_0=1.000000 coef_1=-2.000000 "
                            "coef_2=-1.000000!"));
    EXPECT_TRUE(capture.Has("CalcPeakLogAmplMax():Invalid PS peak freq.channel!"));
    EXPECT_TRUE(capture.Has("CalcPeakData():Invalid peak freq.!"));
    EXPECT_FALSE(fit.CalcPeakData({1.0, -2.0, 1.0}, 0, 0.5, &fFreq, &fFWHM, &fAmpl));
    EXPECT_DOUBLE_EQ(fFreq, 0.5) << "a parabola open upwards has a centre";
    EXPECT_DOUBLE_EQ(fFWHM, -0.5) << "and no width";
    EXPECT_TRUE(capture.Has("CalcPeakData():Invalid peak FWHM!"));
    EXPECT_DOUBLE_EQ(fit.CalcPeakFreq({1.0, 2.0}, 0), -1.0);
    EXPECT_TRUE(capture.Has("No.of fit coef.s [2] below expected no. [3]"));
}

TEST_F(FitTest, PolynomialByWeights)
{
    // A straight line whose last point is off: its weight decides.
    const std::valarray<double> vecData{1.0, 3.0, 5.0, 100.0};
    CFitLSQ fitSigma(vecData, &trace, {1.0, 1.0, 1.0, 1e6});
    ASSERT_TRUE(fitSigma.PolFit(0, 3, 1, CFitLSQ::eWeightSigma));
    EXPECT_NEAR(fitSigma.GetCoefs()[0], 1.0, 1e-8);
    EXPECT_NEAR(fitSigma.GetCoefs()[1], 2.0, 1e-8);
    // The mean with weights 1 / |y| is the harmonic one; a value of 0 has weight 1.
    CFitLSQ fitData({1.0, 4.0, 0.0}, &trace, {1.0, 1.0, 1.0});
    ASSERT_TRUE(fitData.PolFit(0, 1, 0, CFitLSQ::eWeightData));
    EXPECT_NEAR(fitData.GetCoefs()[0], 2.0 / 1.25, 1e-14);
    ASSERT_TRUE(fitData.PolFit(0, 2, 0, CFitLSQ::eWeightData));
    EXPECT_NEAR(fitData.GetCoefs()[0], 2.0 / 2.25, 1e-14);
    EXPECT_FALSE(fitData.PolFit(0, 2, 0, 7));
    EXPECT_TRUE(capture.Has("Invalid Weighting Mode"));
    // No sigma: no weights. chi-square lacks the sum of w y^2: (-2 c T + c^2 S) / (n - 1) = -n c^2 / (n - 1).
    CFitLSQ fitPlain({1.0, 2.0, 6.0}, &trace, {});
    ASSERT_TRUE(fitPlain.PolFit(0, 2, 0, CFitLSQ::eWeightSigma));
    EXPECT_TRUE(capture.Has("Missing sigma values for specified weighting mode -> Using no weights"));
    EXPECT_NEAR(fitPlain.GetCoefs()[0], 3.0, 1e-14);
    EXPECT_NEAR(fitPlain.GetChiSq(), -13.5, 1e-12);
}

TEST_F(FitTest, SingularMatrixFailsWithoutALine)
{
    // Weights of 1e-10 bring the determinant below epsilon.
    CFitLSQ fit({1.0, 2.0, 3.0}, &trace, {1e5, 1e5, 1e5});
    EXPECT_FALSE(fit.FreeMatrix());
    capture.Clear();
    EXPECT_FALSE(fit.PolFit(0, 2, 1, CFitLSQ::eWeightSigma));
    EXPECT_TRUE(capture.Lines().empty());
    EXPECT_FALSE(fit.PolFit(0, 2, 2, CFitLSQ::eWeightNone));
    EXPECT_TRUE(capture.Has("No of Data Points Must Exceed No of Coefficients!"));
    EXPECT_TRUE(fit.FreeMatrix());
}

TEST_F(FitTest, LorentzianTakesTenSteps)
{
    nLeft = 12;
    nRight = 28;
    // The derivatives of the steps lack the height and a factor of 2: they are those of a peak of height 0.5.
    CFitLmaOMA fitExact(ModelOf(0.5, 20.2, 6.0), &trace);
    fitExact.PresetCoefs({0.4, 19.9, 6.5});
    ASSERT_TRUE(fitExact.FitPeak(&nLeft, &nRight, &vecCoef));
    EXPECT_NEAR(vecCoef[0], 0.5, 1e-12);
    EXPECT_NEAR(vecCoef[1], 20.2, 1e-12);
    EXPECT_NEAR(vecCoef[2], 6.0, 1e-12);
    // With another height steps are refused and lambda grows: the values of a second program (Cramer's rule).
    CFitLmaOMA fit(ModelOf(1.0, 20.2, 6.0), &trace);
    fit.PresetCoefs({0.8, 19.5, 7.0});
    ASSERT_TRUE(fit.FitPeak(&nLeft, &nRight, &vecCoef));
    EXPECT_NEAR(vecCoef[0], 0.9429301549997439, 1e-9);
    EXPECT_NEAR(vecCoef[1], 19.61822976340533, 1e-9);
    EXPECT_NEAR(vecCoef[2], 6.594434607773071, 1e-9);
    EXPECT_NEAR(fit.GetChiSq(), 0.11754471889776534, 1e-10);
}

TEST_F(FitTest, LorentzianThatCannotGetBetterIsAFailedFit)
{
    CFitLmaOMA fit(ModelOf(1.0, 20.0, 6.0), &trace);
    nLeft = 12;
    nRight = 28;
    for (const std::vector<double>& vecStart : {std::vector{1.0, 20.0, 6.0}, {g_fNaN, 20.0, 6.0}, {1.0, 20.0, 0.0}})
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

TEST_F(FitTest, LorentzianCurveAndRecord)
{
    const CFitLmaOMA fit({}, &trace);
    std::valarray<double> vecCurve(11);
    fit.CalcCurve({8.0, 5.0, 4.0}, &vecCurve);
    EXPECT_DOUBLE_EQ(vecCurve[5], 8.0);
    EXPECT_DOUBLE_EQ(vecCurve[3], 4.0);
    EXPECT_DOUBLE_EQ(vecCurve[7], 4.0);
    ASSERT_TRUE(fit.CalcPeakData({8.0, 5.0, 4.0}, 0.1, &fFreq, &fFWHM, &fAmpl));
    EXPECT_DOUBLE_EQ(fFreq, 0.5);
    EXPECT_DOUBLE_EQ(fFWHM, 0.4);
    EXPECT_DOUBLE_EQ(fAmpl, 8.0);
    EXPECT_FALSE(fit.CalcPeakData({g_fNaN, 5.0, 4.0}, 0.1, &fFreq, &fFWHM, &fAmpl));
    EXPECT_FALSE(fit.CalcPeakData({8.0, -5.0, 4.0}, 0.1, &fFreq, &fFWHM, &fAmpl));
    EXPECT_FALSE(fit.CalcPeakData({8.0, 5.0, g_fNaN}, 0.1, &fFreq, &fFWHM, &fAmpl));
    for (const char* const pszName : {"fAmplMax", "fFreq_Hz", "fFWHM_Hz"})
        EXPECT_TRUE(capture.Has(std::string("(): Invalid #") + pszName + "# value!"));
}
