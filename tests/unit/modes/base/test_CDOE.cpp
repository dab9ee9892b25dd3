#include "fake/CaptureTrace.h"
#include "host/base/TextOMA.h"
#include "modes/record/CDOE.h"
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();

struct DoeTest : testing::Test
{
    static CDOE Make(CDOE::VecLimit p_vecMagn, CDOE::VecLimit p_vecDamp)
    {
        return {std::make_unique<CDOE::VecLimit>(std::move(p_vecMagn)),
                std::make_unique<CDOE::VecLimit>(std::move(p_vecDamp))};
    }
    CTraceOMA trace{"DOE"};
    CaptureTrace capture;
    CDOE doe = Make({100.0, 200.0}, {-0.1, -0.05});
    double fDOE = -7.0;
};
} // namespace

TEST_F(DoeTest, EachCellHasItsLevelAndTheFractionItsPlace)
{
    // First, both factors are one half everywhere (that is, at 400 above the alarm limit, and at 0.05 without damping).
    // Then quarters, to distinguish the factors, and the damping limits, which belong to the zone above.
    const std::array<double, 3> vecCase[] = {
        {50, -0.2, 0.25},     {50, -0.075, 2.25},  {50, -0.025, 4.25}, {50, 0.05, 6.25},      {150, -0.2, 1.25},
        {150, -0.075, 5.25},  {150, -0.025, 8.25}, {150, 0.05, 9.25},  {400, -0.2, 3.25},     {400, -0.075, 7.25},
        {400, -0.025, 10.25}, {400, 0.05, 11.25},  {25, -0.4, 0.0625}, {150, -0.0625, 5.375}, {125, -0.2, 1.125},
        {800, 0.15, 11.5625}, {150, -0.1, 5.0},    {150, -0.05, 8.0},  {400, 0.0, 11.0},      {1e300, 1e-9, 11.0}};
    for (const auto& [fMagn, fDamp, fWant] : vecCase)
    {
        EXPECT_TRUE(doe.Calc(fMagn, fDamp, &trace, fDOE)) << fMagn << " " << fDamp;
        EXPECT_NEAR(fDOE, fWant, 1e-7) << fMagn << " " << fDamp;
    }
    EXPECT_TRUE(capture.Lines().empty());
}

TEST_F(DoeTest, MagnitudeOnALimitHasNoDoe)
{
    const std::tuple<double, double, const char*> vecCase[] = {
        {100, -0.2,
         "DOE [1.000000] does not reflect damp.ratio [-0.200000] below warn.limit [-0.100000] and magn. below "
         "warn.limit!"},
        {200, -0.2,
         "DOE [3.000000] does not reflect damp.ratio [-0.200000] below warn.limit [-0.100000] and magn. between warn. "
         "and alarm limit!"},
        {100, -0.075, "DOE [5.000000] does not reflect damp.ratio [-0.075000] being below  alarm limit [-0.050000]!"},
        {200, -0.025, "DOE [10.000000] does not reflect damp.ratio [-0.025000] being below 0!"},
        {200, 0.05, "DOE [11.000000] does not reflect damp.ratio [0.050000] of signal below magn. alarm limit!"},
    };
    for (const auto& [fMagn, fDamp, pszWant] : vecCase)
    {
        EXPECT_FALSE(doe.Calc(fMagn, fDamp, &trace, fDOE));
        EXPECT_TRUE(capture.Has(std::string("CDOE::CheckDoeVsDamp():") + pszWant)) << pszWant;
    }
}

TEST_F(DoeTest, FloorOfOutputsBelongsToThem)
{
    double fThresh = 0.0;
    EXPECT_TRUE(doe.IsPSmagnAboveThresh(40.0, fThresh));
    EXPECT_EQ(fThresh, 40.0);
    EXPECT_FALSE(doe.IsPSmagnAboveThresh(std::nextafter(40.0, 0.0), fThresh));
}

TEST_F(DoeTest, ViolationLevelIsTheWholePart)
{
    unsigned nLevel = 99;
    for (const auto& [fValue, nWant] : {std::pair{-0.5, 0U},
                                        {0.0, 0U},
                                        {11.99, 11U},
                                        {5.0, 5U},
                                        {12.0, 12U},
                                        {-1.0, 12U},
                                        {-3.0, 12U},
                                        {g_fNaN, 12U}})
    {
        EXPECT_EQ(doe.RetrveViolLevel(fValue, &trace, nLevel), nWant < 12) << fValue;
        EXPECT_EQ(nLevel, nWant) << fValue;
    }
    EXPECT_TRUE(capture.Has("CDOE::RetrveViolLevel():Invalid #p_fDOE# value: -3.000000!"));
}

TEST_F(DoeTest, MagnitudeRowHasItsDoe)
{
    // Magnitude, damping, the first exposure that matches and the first one that does not.
    const std::tuple<double, double, double, double, const char*> vecCase[] = {
        {99, -0.2, -1, 5, "99.000000] being below warn.limit [100.000000]!"},
        {99, 0.0, 6, 7, "99.000000] being below warn.limit [100.000000]!"},
        {100, -0.2, -1, 9, "100.000000] being below alarm limit [200.000000]!"},
        {199, 0.0, 9, 10, "199.000000] being below alarm limit [200.000000]!"},
        {200, -0.2, -1, 11, "200.000000] of damped signal!"},
        {200, 0.0, 11, 12, "200.000000] of damped signal!"}};
    for (const auto& [fMagn, fDamp, fFirst, fEnd, pszText] : vecCase)
    {
        for (const double fFits : {fFirst, std::nextafter(fEnd, 0.0)})
            EXPECT_TRUE(doe.CheckDoeVsMagn(fMagn, fDamp, fFits, &trace)) << pszText;
        EXPECT_FALSE(doe.CheckDoeVsMagn(fMagn, fDamp, fEnd, &trace)) << pszText;
        EXPECT_EQ(doe.CheckDoeVsMagn(fMagn, fDamp, std::nextafter(fFirst, -9.0), &trace), fFirst < 0.0) << pszText;
        EXPECT_EQ(capture.Count(pszText), fFirst < 0.0 ? 1U : 2U) << pszText;
        capture.Clear();
    }
}

TEST_F(DoeTest, WhatIsOutOfRangeIsReportedNotMended)
{
    EXPECT_FALSE(doe.Calc(-50.0, -0.2, &trace, fDOE));
    EXPECT_TRUE(capture.Has("CDOE::Calc():Invalid #fkMagn# value: -0.500000!"));
    EXPECT_EQ(fDOE, -7.0) << "not reached";
    EXPECT_FALSE(doe.Calc(0.0, -0.2, &trace, fDOE));
    EXPECT_TRUE(capture.Has("CDOE::Calc():Invalid #r_fDOE# value: 0.000000!"));
    // Damping limits in the wrong order: the position in the zone below the warning limit is out of range.
    EXPECT_FALSE(Make({100.0, 200.0}, {0.1, -0.05}).Calc(50.0, -0.2, &trace, fDOE));
    EXPECT_TRUE(capture.Has("CDOE::Calc():Invalid #fkDamp# value: -0.500000!"));
    for (const double fMagn : {g_fNaN, std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(doe.Calc(fMagn, -0.2, &trace, fDOE));
    EXPECT_FALSE(doe.Calc(150.0, g_fNaN, &trace, fDOE));
    EXPECT_TRUE(capture.Has("DOE [nan] does not reflect magn. [nan] of damped signal"));
    // With an alarm limit of 0, a ratio of 0 has no position.
    EXPECT_FALSE(Make({100.0, 200.0}, {-0.1, 0.0}).Calc(150.0, 0.0, &trace, fDOE));
}
