#include "JobBench.h"
#include <cmath>
#include <limits>
#include <numbers>

namespace
{
using JobActValue = JobBench;
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();

/// All phases of a PMU turned by the same angle.
void Turn(CPmu& r_pmu, double p_fMagn, double p_fAngle_deg)
{
    for (SPhasor& phasor : *r_pmu.GetPhasors())
    {
        phasor.fMagn = p_fMagn;
        phasor.fAngle_deg = p_fAngle_deg - 120.0 * phasor.nPhase;
    }
}

TEST_F(JobActValue, PowerOfBalancedThreePhasesIsThreeTimesThatOfOne)
{
    Turn(m_pmu1st, 230940.0, 200.0);
    Turn(m_pmu2nd, 450.0, 170.0);
    ASSERT_TRUE(m_pJob->CalcActualValue());
    const double fExpect = 3.0 * 230940.0 * 450.0 * std::cos(std::numbers::pi / 6.0);
    EXPECT_NEAR(m_pJob->GetActValue().fValue, fExpect, fExpect * 1e-12);
    EXPECT_EQ(m_pJob->GetActValue().eQual, eQualValid);
}

TEST_F(JobActValue, OnePhaseGivesThePowerOfThatPhaseAlone)
{
    SetPhases(m_pmu1st, 1, 1);
    SetPhases(m_pmu2nd, 2, 1);
    SetPhasor(m_pmu2nd, 0, 2.0, 60.0);
    ASSERT_TRUE(m_pJob->CalcActualValue());
    EXPECT_NEAR(m_pJob->GetActValue().fValue, 100.0, 1e-10);
}

TEST_F(JobActValue, NegativeSequenceHasNoPositiveSequence)
{
    std::complex<double> cplx;
    for (unsigned i = 0; i < 3; ++i)
        SetPhasor(m_pmu1st, i, 100.0, 120.0 * i);
    ASSERT_TRUE(m_pJob->PhasorsToPosSequ(&m_pmu1st, &cplx));
    EXPECT_NEAR(std::abs(cplx), 0.0, 1e-10);
    Turn(m_pmu1st, 100.0, 77.0);
    ASSERT_TRUE(m_pJob->PhasorsToPosSequ(&m_pmu1st, &cplx));
    EXPECT_NEAR(std::abs(cplx), 100.0, 1e-10);
    EXPECT_NEAR(std::arg(cplx) * 180.0 / std::numbers::pi, 77.0, 1e-10);
}

TEST_F(JobActValue, PhaseOneAt240DegreesLiesAtZero)
{
    std::complex<double> cplx;
    SetPhasor(m_pmu1st, 1, 5.0, 240.0);
    ASSERT_TRUE(m_pJob->RetrievePhasor(&m_pmu1st, 1, &cplx));
    EXPECT_EQ(cplx, std::complex<double>(5.0, 0.0));
}

TEST_F(JobActValue, AngleDifferenceIsFolded)
{
    SJobSettings settings;
    settings.eJobMode = 1;
    const struct
    {
        double f1st_deg, f2nd_deg, fExpect_deg;
    } vecCase[] = {{10.0, 4.0, 6.0},     {4.0, 10.0, -6.0},  {170.0, -170.0, -20.0}, {-170.0, 170.0, 20.0},
                   {180.0, 0.0, -180.0}, {359.0, 1.0, -2.0}, {-90.0, 89.5, -179.5},  {90.0, -89.5, 179.5}};
    for (const unsigned nPhases : {1U, 3U})
    {
        MakeJob(settings);
        SetPhases(m_pmu1st, 1, nPhases);
        for (const auto& oneCase : vecCase)
        {
            Turn(m_pmu1st, 1.0, oneCase.f1st_deg);
            Turn(m_pmu2nd, 2.0, oneCase.f2nd_deg);
            ASSERT_TRUE(m_pJob->CalcActualValue());
            // Half a turn is a border: rounding may put it on either side.
            const double fDiff = m_pJob->GetActValue().fValue - oneCase.fExpect_deg;
            EXPECT_NEAR(std::remainder(fDiff, 360.0), 0.0, 1e-9) << oneCase.f1st_deg << " " << oneCase.f2nd_deg;
            EXPECT_GE(m_pJob->GetActValue().fValue, -180.0);
            EXPECT_LT(m_pJob->GetActValue().fValue, 180.0);
        }
    }
}

TEST_F(JobActValue, OppositeSinglePhasorsGiveExactlyMinus180)
{
    SJobSettings settings;
    settings.eJobMode = 1;
    MakeJob(settings);
    SetPhases(m_pmu1st, 1, 1);
    SetPhases(m_pmu2nd, 2, 1);
    SetPhasor(m_pmu1st, 0, 1.0, 180.0);
    ASSERT_TRUE(m_pJob->CalcActualValue());
    EXPECT_EQ(m_pJob->GetActValue().fValue, -180.0);
}

TEST_F(JobActValue, OneBadPhasorMakesTheComputedValueInvalid)
{
    SetPhasor(m_pmu2nd, 1, 100.0, -120.0, eQualInvalid);
    ASSERT_TRUE(m_pJob->CalcActualValue());
    EXPECT_EQ(m_pJob->GetActValue().eQual, eQualInvalid);
    EXPECT_NEAR(m_pJob->GetActValue().fValue, 30000.0, 1e-8);
}

TEST_F(JobActValue, WhatCannotBeFormedIsZeroInvalid)
{
    SetPhases(m_pmu2nd, 1021, 1);
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcActivePower():No.of Phasors does not match [V: 3, I: 1]!"));
    m_pJob->m_pPmu2nd = nullptr;
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcTotalQual():Invalid Pointer: m_pPmu2nd!"));
    EXPECT_EQ(m_pJob->CalcTotalQual(), eQualError);
    m_pJob->m_pPmu2nd = &m_pmu2nd;
    m_pmu1st.DeletePhasors();
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcActivePower():Invalid Pointer:  pvecV_V!"));
    EXPECT_EQ(m_pJob->GetActValue().fValue, 0.0);
    EXPECT_EQ(m_pJob->GetActValue().eQual, eQualInvalid);
    EXPECT_EQ(g_eAppState, eAppRun);
}

TEST_F(JobActValue, UnphysicalPowerIsToldAtEachLevelAndStands)
{
    Turn(m_pmu1st, 2e13, 0.0);
    EXPECT_TRUE(m_pJob->CalcActualValue());
    EXPECT_EQ(m_capture.Count(" No physical value for phase power [W]: "), 3U);
    EXPECT_EQ(m_capture.Count(" No physical value for total power [W]: "), 2U);
    EXPECT_EQ(m_pJob->GetActValue().eQual, eQualValid);
    EXPECT_NEAR(m_pJob->GetActValue().fValue, 6e15, 1e3);
}

TEST_F(JobActValue, NoNumberFromTheServerDoesHarm)
{
    for (const double fBad : {g_fNaN, std::numeric_limits<double>::infinity()})
        for (const std::int32_t eJobMode : {0, 1})
        {
            m_pJob->m_eJobMode = eJobMode;
            SetPhasor(m_pmu1st, 0, fBad, fBad);
            EXPECT_TRUE(m_pJob->CalcActualValue());
            EXPECT_FALSE(std::isfinite(m_pJob->GetActValue().fValue));
        }
}

TEST_F(JobActValue, UnknownModesAndCountsSuspend)
{
    m_pJob->m_eJobMode = 2;
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcActualValue(): Invalid #m_eJobMode# value!"));
    EXPECT_EQ(g_eAppState, eAppSuspend);
    m_pJob->m_eJobMode = 1;
    SetPhases(m_pmu2nd, 5, 2);
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("No 'case' (2nd int. PMU)!"));
    SetPhases(m_pmu1st, 5, 2);
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("No 'case' (1st int. PMU)!"));
}

TEST_F(JobActValue, DetailLinesStandUnderTheGeneralSwitch)
{
    m_pJob->CalcActualValue();
    EXPECT_TRUE(m_capture.Lines().empty());
    g_bTraceDataAll = true;
    SetTime(63000000000);
    Turn(m_pmu2nd, 41152.0, 0.0);
    m_pJob->CalcActualValue();
    EXPECT_TRUE(m_capture.Has(" PMU_V=1011 PMU_I=1021  P[MW]=0012.35  Q= VALID")) << m_capture.Lines().back();
    m_pJob->m_eJobMode = 1;
    SetPhasor(m_pmu1st, 0, 100.0, 12.5, eQualInvalid);
    m_pJob->CalcActualValue();
    // The quality is that of the value before.
    EXPECT_TRUE(m_capture.Has(" Q= VALID  PMU 1: 0012.50 -120.00 -240.00  PMU 2: 0000.00 -120.00 -240.00"))
        << m_capture.Lines().back();
}
} // namespace
