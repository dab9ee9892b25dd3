#include "JobBench.h"
#include <cmath>
#include <limits>

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();

class JobAssign : public JobBench
{
  protected:
    JobAssign() { SetTime(g_nSec); }
    /// Offers one peak; the index of the mode that took it, -1 for none.
    int Offer(double p_fFreq_Hz)
    {
        m_pJob->m_pActTime->Copy(&m_time, true);
        CProcOMA::VecPeak vecpPeak;
        vecpPeak.push_back(MakePeak(p_fFreq_Hz, 150.0));
        EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
        int nTaker = -1;
        for (unsigned i = 0; vecpPeak[0]->m_bAssigned && i < m_pJob->m_pvecpPsmOut->size(); ++i)
            if (Mode(i)->GetCntr() == 0 && Mode(i)->RetrveSpec(MR)->GetActDataPS()->GetFreq() == p_fFreq_Hz)
                nTaker = static_cast<int>(i);
        EXPECT_EQ(vecpPeak[0]->m_bAssigned, nTaker >= 0);
        return nTaker;
    }
    void EndPass()
    {
        EXPECT_TRUE(m_pJob->UpdateAllPSMs());
        SetTime(static_cast<std::int64_t>(m_time.GetSec()) + 1);
    }
};

TEST_F(JobAssign, RawMagnitudeMustReachAFifthOfTheWarningLimit)
{
    // The peak covers three channels of 0.1 Hz: 0.4 Hz plus and minus 0.1 Hz.
    const auto pPeak = MakePeak(0.4, 0.0);
    for (const auto& [fAmpl, bExpect] : {std::pair{6.6, false}, {20.0 / 3.0 + 1e-9, true}, {g_fNaN, false}})
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
    vecpPeak.push_back(nullptr);
    EXPECT_FALSE(m_pJob->CheckAllPeaksForMagnLimit(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_FALSE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_EQ(m_capture.Count("Invalid Pointer: pPeak!"), 2U);
    vecpPeak[0] = MakePeak(0.4, 1.0);
    m_pJob->m_pDOE = std::make_unique<CDOE>(nullptr, nullptr);
    EXPECT_FALSE(m_pJob->CheckPeakForMagnLimit(vecpPeak[0].get(), vecfAmpl, 0.1));
    EXPECT_TRUE(m_capture.Has("CheckPeakForMagnLimit():Invalid Pointer: pvecLimitMagn!"));
    m_pJob->m_pvecpPsmOut->insert(m_pJob->m_pvecpPsmOut->begin(), nullptr);
    EXPECT_FALSE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, vecfAmpl, 0.1));
    EXPECT_TRUE(m_capture.Has("AssignPeakToPsmOut():Invalid Pointer: pPSM!"));
}

TEST_F(JobAssign, LimitsBelongToTheModeAndUnsetOnesDoNotRestrict)
{
    SJobSettings settings;
    settings.vecMode_Hz = {{0.2, 0.8}, {-1.0, -1.0}};
    MakeJob(settings);
    const std::tuple<double, bool, bool> vecCase[] = {
        {0.2, true, true}, {0.8, true, true}, {0.1999, false, true}, {0.8001, false, true}, {-0.1, false, false}};
    for (const auto& [fFreq_Hz, bLimited, bFree] : vecCase)
    {
        EXPECT_EQ(m_pJob->CheckPSModeSpecFreqLims(fFreq_Hz, Mode(0)), bLimited) << fFreq_Hz;
        EXPECT_EQ(m_pJob->CheckPSModeSpecFreqLims(fFreq_Hz, Mode(1)), bFree) << fFreq_Hz;
    }
    EXPECT_TRUE(m_capture.Has("CheckPSModeSpecFreqLims():Negative freq.value [Hz]: -0.100000!"));
}

TEST_F(JobAssign, QuarterAroundTheLastValidFrequencyMatches)
{
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(0.4, Mode(0))); // none yet, no message
    EXPECT_TRUE(m_capture.Lines().empty());
    ASSERT_EQ(Offer(0.4), 0);
    EXPECT_TRUE(m_pJob->CheckForMatchLastValidFreq(0.5, Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(std::nextafter(0.5, 1.0), Mode(0)));
    EXPECT_TRUE(m_pJob->CheckForMatchLastValidFreq(0.4 * 0.75, Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(std::nextafter(0.4 * 0.75, 0.0), Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(0.0, Mode(0)));
    EXPECT_TRUE(m_capture.Has("CheckForMatchLastValidFreq():Negative peak freq.value [Hz]: 0.000000!"));
}

TEST_F(JobAssign, ModeThatHasBeenSeenDoesNotJumpUntilItHasAged)
{
    ASSERT_EQ(Offer(0.4), 0);
    EXPECT_EQ(Offer(0.7), -1); // active: too far off
    EndPass();
    EXPECT_EQ(Offer(0.45), 0);
    EndPass();
    EndPass();
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzFading);
    EXPECT_EQ(Offer(0.7), -1);
    EndPass();
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzInactive);
    EXPECT_EQ(Offer(0.7), 0);
    EXPECT_EQ(Mode(0)->GetStatz(), eStatzActive);
    EXPECT_DOUBLE_EQ(Mode(0)->GetLastValidFreq(), 0.7);
}

TEST_F(JobAssign, SecondPeakOfASpectrumIsHeldAgainstTheFirst)
{
    ASSERT_EQ(Offer(0.4), 0);
    ASSERT_EQ(Offer(0.5), 0);
    ASSERT_EQ(Offer(0.62), 0); // within 25 % of 0.5, far from 0.4
    EXPECT_DOUBLE_EQ(Mode(0)->GetLastValidFreq(), 0.62);
}

TEST_F(JobAssign, OrderOfTheConfigurationBreaksTies)
{
    SJobSettings settings;
    settings.vecMode_Hz = {{0.3, 0.9}, {0.2, 0.8}};
    MakeJob(settings);
    SetTime(g_nSec);
    EXPECT_EQ(Offer(0.5), 0);  // both inactive
    EXPECT_EQ(Offer(0.25), 1); // only the second has it
    EXPECT_EQ(Offer(0.52), 0);
    for (int nPass = 0; nPass < 8; ++nPass)
    {
        EndPass();
        EXPECT_EQ(Offer(0.25 + 0.04 * nPass), 1);
    }
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzInactive);
    EXPECT_EQ(Offer(0.55), 1); // an active mode goes before an inactive one earlier in the order
}

TEST_F(JobAssign, PeakThatFitsNowhereIsNoError)
{
    EXPECT_EQ(Offer(0.1), -1);
    CProcOMA::VecPeak vecpPeak;
    vecpPeak.push_back(MakePeak(0.4, 150.0));
    vecpPeak[0]->m_bAboveMagnLimit = false;
    EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
    EXPECT_FALSE(vecpPeak[0]->m_bAssigned);
    EXPECT_TRUE(m_capture.Lines().empty());
    vecpPeak[0] = MakePeak(g_fNaN, 150.0); // handled, and nothing changed
    EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
    EXPECT_TRUE(vecpPeak[0]->m_bAssigned);
    EXPECT_EQ(Mode(0)->GetStatz(), eStatzInactive);
}
} // namespace
