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
    /// Offers one peak. @return the index of the mode that took it, -1 if none did.
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

TEST_F(JobAssign, QuarterAroundTheLastValidFrequencyMatches)
{
    ASSERT_EQ(Offer(0.4), 0);
    EXPECT_TRUE(m_pJob->CheckForMatchLastValidFreq(0.5, Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(std::nextafter(0.5, 1.0), Mode(0)));
    EXPECT_TRUE(m_pJob->CheckForMatchLastValidFreq(0.4 * 0.75, Mode(0)));
    EXPECT_FALSE(m_pJob->CheckForMatchLastValidFreq(std::nextafter(0.4 * 0.75, 0.0), Mode(0)));
}

TEST_F(JobAssign, ModeThatHasBeenSeenDoesNotJumpUntilItHasAged)
{
    ASSERT_EQ(Offer(0.4), 0);
    EXPECT_EQ(Offer(0.7), -1); // active: too far away
    EndPass();
    EXPECT_EQ(Offer(0.45), 0);
    EndPass();
    EndPass();
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzFading);
    EXPECT_EQ(Offer(0.7), -1);
    EndPass();
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzInactive);
    EXPECT_EQ(Offer(0.7), 0);
}

TEST_F(JobAssign, OrderOfTheConfigurationBreaksTies)
{
    SJobSettings settings;
    settings.vecMode_Hz = {{0.3, 0.9}, {0.2, 0.8}};
    MakeJob(settings);
    SetTime(g_nSec);
    EXPECT_EQ(Offer(0.5), 0);  // both inactive
    EXPECT_EQ(Offer(0.25), 1); // only within the range of the second
    EXPECT_EQ(Offer(0.52), 0);
    for (int nPass = 0; nPass < 8; ++nPass)
    {
        EndPass();
        EXPECT_EQ(Offer(0.25 + 0.04 * nPass), 1);
    }
    ASSERT_EQ(Mode(0)->GetStatz(), eStatzInactive);
    EXPECT_EQ(Offer(0.55), 1); // an active mode comes before an inactive one that is earlier in the order
}

TEST_F(JobAssign, PeakThatFitsNowhereIsNoError)
{
    EXPECT_EQ(Offer(0.1), -1);
    CProcOMA::VecPeak vecpPeak;
    vecpPeak.push_back(MakePeak(g_fNaN, 150.0)); // handled, but changes nothing
    EXPECT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
    EXPECT_TRUE(vecpPeak[0]->m_bAssigned);
    EXPECT_EQ(Mode(0)->GetStatz(), eStatzInactive);
}
} // namespace
