#include "JobBench.h"
#include <cmath>
#include <numbers>
#include <random>

// Two swings with known frequency and damping go in as phasors, modes, channels and events come out.

namespace
{
constexpr double g_fGrow_Hz = 1.23;
constexpr double g_fDecay_Hz = 0.43;
constexpr double g_fRatioGrow = 0.004;
constexpr double g_fRatioDecay = -0.03;
constexpr unsigned g_nSeconds = 120;

class WholeJob : public JobBench
{
  protected:
    WholeJob()
    {
        SJobSettings settings;
        settings.vecnSamples = {512, 1024, 2048};
        settings.fMagnWarn = 10.0;
        settings.fMagnAlarm = 20.0;
        MakeJob(settings);
        SetPhases(m_pmu1st, 1, 1);
        SetPhases(m_pmu2nd, 2, 1);
        SetPhasor(m_pmu1st, 0, 1.0, 0.0);
        StartMeas();
    }
    static double Swing(double p_fAmpl, double p_fFreq_Hz, double p_fRatio, double p_fTime_s)
    {
        const double fOmega = 2.0 * std::numbers::pi * p_fFreq_Hz;
        return p_fAmpl * std::exp(p_fRatio * fOmega * p_fTime_s) * std::sin(fOmega * p_fTime_s);
    }
    /// One second of the signal, and its pass.
    void RunSecond(unsigned p_nSec)
    {
        for (unsigned i = 1; i <= 50; ++i)
        {
            const double fTime_s = p_nSec + 0.02 * i;
            SetPhasor(m_pmu2nd, 0,
                      1000.0 + Swing(2.0, g_fGrow_Hz, g_fRatioGrow, fTime_s) +
                          Swing(60.0, g_fDecay_Hz, g_fRatioDecay, fTime_s) + m_noise(m_random),
                      0.0);
            m_time.SetTicks((g_nSec + p_nSec) * g_nTicksPerSec + i * 200000);
            m_pJob->m_pTimeInp = &m_time;
            ASSERT_TRUE(m_pJob->CalcActualValue() && m_pJob->WriteCalcdValue() && m_pJob->AddMeasToBuf());
        }
        const bool bEnough = m_pJob->m_pdeqMeas->Size() >= 512;
        EXPECT_EQ(m_pJob->RunWorker(nullptr, nullptr), bEnough) << p_nSec;
    }
    std::mt19937 m_random{20240305};
    std::normal_distribution<double> m_noise{0.0, 0.5};
};

TEST_F(WholeJob, GrowingSwingBecomesUndampedCriticalDecayingOneGoesSilent)
{
    for (unsigned nSec = 0; nSec < g_nSeconds; ++nSec)
        RunSecond(nSec);
    for (const auto& write : FakeDli::Writes(g_nIdModeUnitFirst))
        printf("D %ld %f %f %f %f\n", (long)(write.vecValue[0].nTicks / 10000000 - g_nSec), write.vecValue[0].fValue,
               write.vecValue[1].fValue, write.vecValue[2].fValue, write.vecValue[3].fValue);
    for (const auto& write : FakeDli::Writes(g_nIdModeUnitFirst + 1))
        printf("G %ld %f %f %f %f\n", (long)(write.vecValue[0].nTicks / 10000000 - g_nSec), write.vecValue[0].fValue,
               write.vecValue[1].fValue, write.vecValue[2].fValue, write.vecValue[3].fValue);
    for (const auto& p : FakeDli::Posts())
        printf("%ld %d %d %ld %s\n", (long)(p.nTicks / 10000000 - g_nSec), p.eKey, p.eTrans, p.nElemId,
               p.strText.c_str());
}
} // namespace
