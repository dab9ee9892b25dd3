#include "JobBench.h"
#include <cmath>
#include <limits>
#include <numbers>

namespace
{
using JobActValue = JobBench;

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
            // At half a turn the result may have either sign, because the sum of three phases is rounded.
            EXPECT_NEAR(std::remainder(fValue - oneCase.fExpect_deg, 360.0), 0.0, 1e-9);
            EXPECT_TRUE(-180.0 <= fValue && fValue < 180.0) << fValue;
            EXPECT_TRUE(nPhases == 3 || oneCase.f1st_deg != 180.0 || fValue == -180.0) << fValue;
        }
}

TEST_F(JobActValue, PmuOfTwoPhasesHasNoAngle)
{
    m_pJob->m_eJobMode = 1;
    for (const char* const pszWhich : {"1st", "2nd"})
    {
        SetPhases(m_pmu1st, 1, pszWhich[0] == '1' ? 2 : 3);
        SetPhases(m_pmu2nd, 4, pszWhich[0] == '1' ? 3 : 2);
        EXPECT_FALSE(m_pJob->CalcActualValue());
        EXPECT_EQ(g_eAppState.exchange(eAppRun), eAppSuspend);
        EXPECT_TRUE(
            m_capture.Has(std::string("CJobOMA::CalcPhaseAngleDiff(): No 'case' (") + pszWhich + " int. PMU)! -> "));
    }
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
} // namespace
