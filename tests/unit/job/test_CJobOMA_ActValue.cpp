#include "JobBench.h"
#include <cmath>
#include <limits>
#include <numbers>

namespace
{
using JobActValue = JobBench;

TEST_F(JobActValue, PmuSortsThreePhasesAndRefusesAnythingElse)
{
    const std::pair<std::vector<std::uint32_t>, bool> vecCase[] = {
        {{2, 0, 1}, true}, {{0, 1, 2}, true}, {{0, 1, 1}, false}, {{1, 2, 3}, false}, {{0, 1}, false}};
    for (const auto& [vecnPhase, bOk] : vecCase)
    {
        CPmu pmu;
        for (const std::uint32_t nPhase : vecnPhase)
            pmu.AddPhasor(100 + nPhase, nPhase);
        EXPECT_EQ(pmu.GetPhasors()->front().eQual.Get(), eQualInvalid);
        EXPECT_EQ(pmu.SortPhasors(), bOk);
        for (std::uint32_t i = 0; bOk && i < 3; ++i)
            EXPECT_EQ((*pmu.GetPhasors())[i].nId, 100 + i);
    }
}

TEST_F(JobActValue, PowerIsTheSumOverThePhasesThereAre)
{
    for (const unsigned nPhases : {1U, 3U})
    {
        SetPhases(m_pmu1st, 1, nPhases, 230940.0, 200.0);
        SetPhases(m_pmu2nd, 2, nPhases, 450.0, 170.0);
        ASSERT_TRUE(m_pJob->CalcActualValue());
        const double fExpect = nPhases * 230940.0 * 450.0 * std::cos(std::numbers::pi / 6.0);
        EXPECT_NEAR(m_pJob->GetActValue().fValue, fExpect, fExpect * 1e-12);
        EXPECT_EQ(m_pJob->GetActValue().eQual, eQualValid);
    }
    SetPhasor(m_pmu2nd, 1, 450.0, 50.0, eQualInvalid); // one bad phasor: computed, but INVALID
    ASSERT_TRUE(m_pJob->CalcActualValue());
    EXPECT_EQ(m_pJob->GetActValue().eQual, eQualInvalid);
    EXPECT_GT(m_pJob->GetActValue().fValue, 0.0);
}

TEST_F(JobActValue, PhasorsAreTurnedIntoTheReferenceOfPhaseZero)
{
    std::complex<double> cplx;
    SetPhasor(m_pmu1st, 1, 5.0, 240.0);
    ASSERT_TRUE(m_pJob->RetrievePhasor(&m_pmu1st, 1, &cplx));
    EXPECT_EQ(cplx, std::complex<double>(5.0, 0.0));
    for (unsigned i = 0; i < 3; ++i)
        SetPhasor(m_pmu1st, i, 100.0, 120.0 * i); // a negative sequence has no positive one
    ASSERT_TRUE(m_pJob->PhasorsToPosSequ(&m_pmu1st, &cplx));
    EXPECT_NEAR(std::abs(cplx), 0.0, 1e-10);
    SetPhases(m_pmu1st, 1, 3, 100.0, 77.0);
    ASSERT_TRUE(m_pJob->PhasorsToPosSequ(&m_pmu1st, &cplx));
    EXPECT_NEAR(std::abs(cplx - std::polar(100.0, 77.0 * std::numbers::pi / 180.0)), 0.0, 1e-10);
}

TEST_F(JobActValue, AngleDifferenceIsFolded)
{
    m_pJob->m_eJobMode = 1;
    const struct
    {
        double f1st_deg, f2nd_deg, fExpect_deg;
    } vecCase[] = {{10.0, 4.0, 6.0},     {4.0, 10.0, -6.0},  {170.0, -170.0, -20.0}, {-170.0, 170.0, 20.0},
                   {180.0, 0.0, -180.0}, {359.0, 1.0, -2.0}, {-90.0, 89.5, -179.5},  {90.0, -89.5, 179.5}};
    for (const unsigned nPhases : {1U, 3U})
        for (const auto& oneCase : vecCase)
        {
            SetPhases(m_pmu1st, 1, nPhases, 1.0, oneCase.f1st_deg);
            SetPhases(m_pmu2nd, 4, 1, 2.0, oneCase.f2nd_deg);
            ASSERT_TRUE(m_pJob->CalcActualValue());
            const double fValue = m_pJob->GetActValue().fValue;
            // Half a turn is a border: with a sum of three phases rounding may put it on either side.
            EXPECT_NEAR(std::remainder(fValue - oneCase.fExpect_deg, 360.0), 0.0, 1e-9);
            EXPECT_TRUE(-180.0 <= fValue && fValue < 180.0) << fValue;
            EXPECT_TRUE(nPhases == 3 || oneCase.f1st_deg != 180.0 || fValue == -180.0) << fValue;
        }
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

TEST_F(JobActValue, UnphysicalValuesAreToldAndStand)
{
    SetPhases(m_pmu1st, 1011, 3, 2e13, 0.0);
    EXPECT_TRUE(m_pJob->CalcActualValue());
    EXPECT_EQ(m_capture.Count(" No physical value for phase power [W]: "), 3U);
    EXPECT_EQ(m_capture.Count(" No physical value for total power [W]: "), 2U);
    EXPECT_EQ(m_pJob->GetActValue().eQual, eQualValid);
    EXPECT_NEAR(m_pJob->GetActValue().fValue, 6e15, 1e3);
    for (const double fBad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
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
    SetPhases(m_pmu1st, 5, 2);
    EXPECT_FALSE(m_pJob->CalcActualValue());
    EXPECT_TRUE(m_capture.Has("No 'case' (1st int. PMU)!") && m_capture.Has("No 'case' (2nd int. PMU)!"));
}

TEST_F(JobActValue, DetailLinesStandUnderTheGeneralSwitch)
{
    m_pJob->CalcActualValue();
    EXPECT_TRUE(m_capture.Lines().empty());
    g_bTraceDataAll = true;
    SetPhases(m_pmu2nd, 1021, 3, 41152.0, 0.0);
    m_pJob->CalcActualValue();
    EXPECT_TRUE(m_capture.Has(" PMU_V=1011 PMU_I=1021  P[MW]=0012.35  Q= VALID"));
    m_pJob->m_eJobMode = 1;
    SetPhasor(m_pmu1st, 0, 100.0, 12.5, eQualInvalid);
    m_pJob->CalcActualValue(); // the quality is that of the value before
    EXPECT_TRUE(m_capture.Has(" Q= VALID  PMU 1: 0012.50 -120.00 -240.00  PMU 2: 0000.00 -120.00 -240.00"));
}
} // namespace
