#include "JobBench.h"
#include <cmath>
#include <limits>

namespace
{
using JobAssign = JobBench;
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();

class JobAssignModes : public JobBench
{
  protected:
    JobAssignModes() { SetTime(63000000000); }
    /// Offers one peak; the index of the mode that took it, -1 for none.
    int Offer(double p_fFreq_Hz)
    {
        m_pJob->m_pActTime->Copy(&m_time, true);
        std::vector<std::int32_t> vecStatz;
        CProcOMA::VecPeak vecpPeak;
        vecpPeak.push_back(MakePeak(p_fFreq_Hz, 150.0));
        EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
        for (unsigned i = 0; vecpPeak[0]->m_bAssigned && i < m_pJob->m_pvecpPsmOut->size(); ++i)
            if (Mode(i)->GetCntr() == 0 && Mode(i)->RetrveSpec(MR)->GetActDataPS()->GetFreq() == p_fFreq_Hz)
                return static_cast<int>(i);
        return vecpPeak[0]->m_bAssigned ? 99 : -1;
    }
    /// The pass ends; the time of the next one stands.
    void EndPass()
    {
        EXPECT_TRUE(m_pJob->UpdateAllPSMs());
        m_time.SetTicks(static_cast<std::int64_t>(m_time.GetSec() + 1) * g_nTicksPerSec);
    }
};

TEST_F(JobAssign, RawMagnitudeMustReachAFifthOfTheWarningLimit)
{
    // The peak covers channels 3 to 5 of 0.1 Hz: 0.4 Hz plus and minus 0.1 Hz.
    const auto pPeak = MakePeak(0.4, 0.0);
    for (const auto& [fAmpl, bExpect] :
         {std::pair{6.0, false}, {6.6, false}, {20.0 / 3.0 + 1e-9, true}, {g_fNaN, false}})
        EXPECT_EQ(m_pJob->CheckPeakForMagnLimit(pPeak.get(), std::valarray<double>(fAmpl, 10), 0.1), bExpect) << fAmpl;
}

TEST_F(JobAssign, NullsAreNamed)
{
    CProcOMA::VecPeak vecpPeak;
    const std::valarray<double> vecfAmpl(1.0, 10);
    EXPECT_FALSE(m_pJob->CheckAllPeaksForMagnLimit(nullptr, vecfAmpl, 0.1));
    EXPECT_FALSE(m_pJob->AssignAllPeaksToPSMs(nullptr, vecfAmpl, 0.1));
    EXPECT_EQ(m_capture.Count("Invalid Pointer: p_pvecpPeak!"), 2U);
    EXPECT_TRUE(m_pJob->CheckAllPeaksForMagnLimit(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, vecfAmpl, 0.1));
    vecpPeak.push_back(nullptr);
    EXPECT_FALSE(m_pJob->CheckAllPeaksForMagnLimit(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_FALSE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_EQ(m_capture.Count("Invalid Pointer: pPeak!"), 2U);
    vecpPeak[0] = MakePeak(0.4, 1.0);
    m_pJob->m_pDOE = std::make_unique<CDOE>(nullptr, nullptr);
    EXPECT_TRUE(m_pJob->CheckAllPeaksForMagnLimit(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_FALSE(vecpPeak[0]->m_bAboveMagnLimit);
    EXPECT_TRUE(m_capture.Has("CheckPeakForMagnLimit():Invalid Pointer: pvecLimitMagn!"));
    vecpPeak[0]->m_bAboveMagnLimit = true;
    m_pJob->m_pvecpPsmOut->insert(m_pJob->m_pvecpPsmOut->begin(), nullptr);
    EXPECT_FALSE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_TRUE(m_capture.Has("AssignPeakToPsmOut():Invalid Pointer: pPSM!"));
}

TEST_F(JobAssign, LimitsBelongToTheModeAndUnsetOnesDoNotRestrict)
{
    SJobSettings settings;
    settings.vecMode_Hz = {{0.2, 0.8}, {-1.0, -1.0}};
    MakeJob(settings);
    const struct
    {
        double fFreq_Hz;
        bool bLimited, bFree;
    } vecCase[] = {
        {0.2, true, true}, {0.8, true, true}, {0.1999, false, true}, {0.8001, false, true}, {-0.1, false, false}};
    for (const auto& oneCase : vecCase)
    {
        EXPECT_EQ(m_pJob->CheckPSModeSpecFreqLims(oneCase.fFreq_Hz, Mode(0)), oneCase.bLimited) << oneCase.fFreq_Hz;
        EXPECT_EQ(m_pJob->CheckPSModeSpecFreqLims(oneCase.fFreq_Hz, Mode(1)), oneCase.bFree) << oneCase.fFreq_Hz;
    }
    EXPECT_TRUE(m_capture.Has("CheckPSModeSpecFreqLims():Negative freq.value [Hz]: -0.100000!"));
}

TEST_F(JobAssignModes, QuarterAroundTheLastValidFrequencyMatches)
{
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(0.4, Mode(0)));
    EXPECT_TRUE(m_capture.Lines().empty());
    ASSERT_EQ(Offer(0.4), 0);
    EXPECT_TRUE(m_pJob->CheckForMatchLastValidFreq(0.5, Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(std::nextafter(0.5, 1.0), Mode(0)));
    EXPECT_TRUE(m_pJob->CheckForMatchLastValidFreq(0.4 * 0.75, Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(std::nextafter(0.4 * 0.75, 0.0), Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(0.0, Mode(0)));
    EXPECT_TRUE(m_capture.Has("CheckForMatchLastValidFreq():Negative peak freq.value [Hz]: 0.000000!"));
}

TEST_F(JobAssignModes, ModeThatHasBeenSeenDoesNotJumpUntilItHasAged)
{
    ASSERT_EQ(Offer(0.4), 0);
    EXPECT_EQ(Offer(0.7), -1); // active: too far off
    EndPass();
    EXPECT_EQ(Offer(0.45), 0); // in reach
    for (int nPass = 0; nPass < 6 && Mode(0)->GetStatz() != eStatzInactive; ++nPass)
    {
        EXPECT_EQ(Offer(0.7), -1); // fading: still too far off
        EndPass();
        EndPass();
    }
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzInactive);
    EXPECT_EQ(Offer(0.7), 0);
    EXPECT_EQ(Mode(0)->GetStatz(), eStatzActive);
    EXPECT_DOUBLE_EQ(Mode(0)->GetLastValidFreq(), 0.7);
}

TEST_F(JobAssignModes, SecondPeakOfASpectrumIsHeldAgainstTheFirst)
{
    ASSERT_EQ(Offer(0.4), 0);
    ASSERT_EQ(Offer(0.5), 0);  // matches the first, its record stands now
    ASSERT_EQ(Offer(0.62), 0); // 25 % above 0.5, far from 0.4
    EXPECT_DOUBLE_EQ(Mode(0)->GetLastValidFreq(), 0.62);
}

TEST_F(JobAssignModes, OrderOfTheConfigurationBreaksTies)
{
    SJobSettings settings;
    settings.vecMode_Hz = {{0.3, 0.9}, {0.2, 0.8}};
    MakeJob(settings);
    SetTime(63000000000);
    EXPECT_EQ(Offer(0.5), 0);  // both inactive
    EXPECT_EQ(Offer(0.25), 1); // only the second has it
    EXPECT_EQ(Offer(0.52), 0);
    // An active mode that matches goes before an inactive one earlier in the order.
    for (int nPass = 0; nPass < 8; ++nPass)
    {
        EndPass();
        EXPECT_EQ(Offer(0.25 + 0.04 * nPass), 1);
    }
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzInactive);
    EXPECT_EQ(Offer(0.55), 1);
}

TEST_F(JobAssignModes, PeakWithoutAModeOrTooSmallStaysUnassignedWithoutAnyMessage)
{
    EXPECT_EQ(Offer(0.1), -1);
    CProcOMA::VecPeak vecpPeak;
    vecpPeak.push_back(MakePeak(0.4, 150.0));
    vecpPeak[0]->m_bAboveMagnLimit = false;
    EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
    EXPECT_FALSE(vecpPeak[0]->m_bAssigned);
    EXPECT_TRUE(m_capture.Lines().empty());
}

TEST_F(JobAssignModes, PeakWithoutAFrequencyCountsAsHandled)
{
    m_pJob->m_pActTime->Copy(&m_time, true);
    CProcOMA::VecPeak vecpPeak;
    vecpPeak.push_back(MakePeak(g_fNaN, 150.0));
    EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
    EXPECT_TRUE(vecpPeak[0]->m_bAssigned);
    EXPECT_EQ(Mode(0)->GetStatz(), eStatzInactive);
}
} // namespace
