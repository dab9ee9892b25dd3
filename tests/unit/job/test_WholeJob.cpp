#include "JobBench.h"
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
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
        settings.vecnSamples = {256, 512, 1024};
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
        const bool bEnough = m_pJob->m_pdeqMeas->Size() >= 256;
        EXPECT_EQ(m_pJob->RunWorker(nullptr, nullptr), bEnough) << p_nSec;
    }
    std::mt19937 m_random{20240305};
    std::normal_distribution<double> m_noise{0.0, 0.5};
};

/// What a mode wrote between two times.
struct STrack
{
    STrack(unsigned long p_nUnit, unsigned p_nFrom_s, unsigned p_nTo_s)
    {
        for (const FakeDli::SWrite& write : FakeDli::Writes(p_nUnit))
        {
            const double f_s = static_cast<double>(write.vecValue[0].nTicks - g_nSec * g_nTicksPerSec) / g_nTicksPerSec;
            if (f_s < p_nFrom_s || f_s > p_nTo_s)
                continue;
            vecfTime_s.push_back(f_s);
            vecfFreq_Hz.push_back(write.vecValue[0].fValue);
            vecfLogMagn.push_back(std::log(write.vecValue[1].fValue));
            vecfDamp.push_back(write.vecValue[2].fValue);
        }
    }
    static double Mean(const std::vector<double>& p_vecf)
    {
        return std::accumulate(p_vecf.begin(), p_vecf.end(), 0.0) / static_cast<double>(p_vecf.size());
    }
    /// Growth of the magnitude from the first third of the track to the last, 1/s.
    double Growth() const
    {
        const auto fnMean = [n = vecfTime_s.size() / 3](const std::vector<double>& p_vecf, bool p_bLast) {
            return Mean({p_bLast ? p_vecf.end() - n : p_vecf.begin(), p_bLast ? p_vecf.end() : p_vecf.begin() + n});
        };
        return (fnMean(vecfLogMagn, true) - fnMean(vecfLogMagn, false)) /
               (fnMean(vecfTime_s, true) - fnMean(vecfTime_s, false));
    }
    std::vector<double> vecfTime_s, vecfFreq_Hz, vecfLogMagn, vecfDamp;
};

TEST_F(WholeJob, GrowingSwingBecomesUndampedCriticalDecayingOneGoesSilent)
{
    for (unsigned nSec = 0; nSec < g_nSeconds; ++nSec)
        RunSecond(nSec);

    // Frequencies to a channel of the longest and the shortest band, rates to a twentieth and a tenth: noise is there.
    const STrack grow(g_nIdModeUnitFirst + 1, 40, g_nSeconds);
    EXPECT_GT(grow.vecfTime_s.size(), 70U);
    for (const double fFreq_Hz : grow.vecfFreq_Hz)
        EXPECT_NEAR(fFreq_Hz, g_fGrow_Hz, 50.0 / 1024);
    EXPECT_NEAR(grow.Growth() / (2.0 * std::numbers::pi * g_fGrow_Hz * g_fRatioGrow), 1.0, 0.05);
    EXPECT_NEAR(STrack::Mean(grow.vecfDamp), g_fRatioGrow, 0.002);
    const STrack decay(g_nIdModeUnitFirst, 0, 22);
    EXPECT_GT(decay.vecfTime_s.size(), 15U);
    for (const double fFreq_Hz : decay.vecfFreq_Hz)
        EXPECT_NEAR(fFreq_Hz, g_fDecay_Hz, 50.0 / 256);
    EXPECT_NEAR(decay.Growth() / (2.0 * std::numbers::pi * g_fDecay_Hz * g_fRatioDecay), 1.0, 0.1);
    EXPECT_NEAR(STrack::Mean(decay.vecfDamp), g_fRatioDecay, 0.01);

    EXPECT_TRUE(STrack(g_nIdModeUnitFirst, 60, g_nSeconds).vecfTime_s.empty());
    EXPECT_FALSE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
    std::map<unsigned long, std::vector<FakeDli::SPost>> mapPost;
    for (const FakeDli::SPost& post : FakeDli::Posts())
        mapPost[post.nElemId].push_back(post);
    ASSERT_EQ(mapPost.size(), 2U);
    for (const auto& [nId, vecPost] : mapPost)
        for (std::size_t i = 0; i < vecPost.size(); ++i)
        {
            // Each event ends before the next one comes, with the text of its beginning.
            EXPECT_EQ(vecPost[i].eTrans, i % 2 == 0 ? FakeDli::Dli::eAPP : FakeDli::Dli::eDIS);
            EXPECT_TRUE(i % 2 == 0 || vecPost[i].strText == vecPost[i - 1].strText);
        }
    EXPECT_EQ(mapPost[g_nIdModeFirst].back().eTrans, FakeDli::Dli::eDIS);
    EXPECT_EQ(mapPost[g_nIdModeFirst + 1].front().eKey, FakeDli::Dli::eIkPsDistinct);
    EXPECT_EQ(mapPost[g_nIdModeFirst + 1].back().eKey, FakeDli::Dli::eIkPsUndampedCritical);
    EXPECT_EQ(mapPost[g_nIdModeFirst + 1].back().eTrans, FakeDli::Dli::eAPP);

    const std::vector<FakeDli::SWrite> vecMeas = FakeDli::Writes(g_nIdMeasUnit);
    ASSERT_EQ(vecMeas.size(), 50 * g_nSeconds);
    for (std::size_t i = 0; i < vecMeas.size(); ++i)
        EXPECT_EQ(vecMeas[i].vecValue[0].nTicks, g_nSec * g_nTicksPerSec + static_cast<std::int64_t>(i + 1) * 200000);
}
} // namespace
