#include "fake/CaptureTrace.h"
#include "modes/record/CDataPS.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>

namespace
{
constexpr double g_fTwoPi = 2.0 * std::numbers::pi;

struct DataPsTest : testing::Test
{
    CTraceOMA trace{"DATA"};
    CaptureTrace capture;
    double fDamp = 77.0;
};
} // namespace

TEST_F(DataPsTest, RatioIsTheSineOfTheLossAngle)
{
    // A rate equal to the angular frequency gives 45 degrees. The inverse gives the rate back.
    EXPECT_NEAR(CDataPS::DampRatio(0.5, -std::numbers::pi), -std::sqrt(0.5), 1e-15);
    EXPECT_EQ(CDataPS::DampRatio(0.5, 0.0), 0.0);
    for (const double fRatio : {-0.9, -0.03, 0.0, 0.2})
        EXPECT_NEAR(CDataPS::DampFromDecay(0.7, CDataPS::AttenFromDamp(0.7, fRatio)), fRatio, 1e-15);
}

TEST_F(DataPsTest, TripleIsTheRatioOfTheMeanRateFromTheStartOn)
{
    ASSERT_TRUE(CDataPS::DampTriple({900.0, -0.1, -0.2, -0.6}, 1, 0.5, &trace, fDamp));
    EXPECT_NEAR(fDamp, -0.3 / std::hypot(g_fTwoPi * 0.5, 0.3), 1e-15);
    ASSERT_TRUE(CDataPS::DampTriple({0.1, -0.1}, 0, 0.5, nullptr, fDamp));
    EXPECT_NEAR(fDamp, 0.0, 1e-16);
}

TEST_F(DataPsTest, TripleOfRatesThatAreNone)
{
    const double fNaN = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(CDataPS::DampTriple({-0.1, fNaN, -0.1}, 0, 0.5, &trace, fDamp));
    EXPECT_TRUE(std::isnan(fDamp));
    EXPECT_TRUE(capture.Lines().empty());
    EXPECT_TRUE(CDataPS::DampTriple({-0.1, -0.2}, 1, 0.5, &trace, fDamp)) << "a single one has no mean";
    EXPECT_EQ(fDamp, 0.0);
    EXPECT_TRUE(capture.Has("CFitLSQ::PolFit():No of Data Points Must Exceed No of Coefficients!"));
    fDamp = 77.0;
    EXPECT_FALSE(CDataPS::DampTriple({-0.1, -0.2}, 2, 0.5, &trace, fDamp));
    EXPECT_TRUE(capture.Has("CDataPS::DampTriple():No.of data [2] smaller or equal start index [2]!"));
    EXPECT_EQ(fDamp, 77.0);
}

TEST_F(DataPsTest, TupelComparesTwoExtremaHalfAPeriodApart)
{
    // From 10 to 8 in half a period of 1 s; the later value comes first.
    ASSERT_TRUE(CDataPS::DampForTupel(8.0, 10.0, 0.5, &trace, fDamp));
    const double fRate = std::log(0.8) / 1.0;
    EXPECT_NEAR(fDamp, fRate / std::hypot(g_fTwoPi * 0.5, fRate), 1e-15);
    EXPECT_FALSE(CDataPS::DampForTupel(8.0, -10.0, 0.5, &trace, fDamp));
    EXPECT_FALSE(CDataPS::DampForTupel(8.0, 1e-8, 0.5, &trace, fDamp));
    EXPECT_EQ(capture.Count("CDataPS::DampForTupel(): Invalid denominator: 0!"), 2U);
    EXPECT_FALSE(CDataPS::DampForTupel(-8.0, 10.0, 0.5, &trace, fDamp));
    EXPECT_TRUE(capture.Has("CDataPS::DampForTupel(): Differing sign values not allowed here!"));
}
