#include "SpectrumBench.h"
#include "fake/CaptureTrace.h"
#include "unit/job/ResultDir.h"

namespace
{
constexpr double g_fStep_s = 0.02;

/// One swing: initial amplitude, frequency, damping ratio (negative: decaying).
struct SSwing
{
    double fAmpl;
    double fFreq_Hz;
    double fDamp;

    double Rate() const { return g_fTwoPi * fFreq_Hz * fDamp / std::sqrt(1.0 - fDamp * fDamp); }
    double At(double p_fTime_s) const
    {
        return fAmpl * std::exp(Rate() * p_fTime_s) * std::sin(g_fTwoPi * fFreq_Hz * p_fTime_s);
    }
};

/// 2048 samples of 0.02 s: 40.96 s, 0.0244 Hz a channel, band up to 0.8 Hz.
struct ProcOmaTest : SpectrumBench
{
    static constexpr std::uint32_t s_nSamples = 2048;
    ProcOmaTest() { MakeProc(s_nSamples, 0.8, g_fStep_s); }
    /// Swings on a mean of 5000, with noise.
    void FeedSwings(const std::vector<SSwing>& p_vecSwing, double p_fNoise = 1.0)
    {
        std::mt19937 engine(7);
        std::normal_distribution<double> dist(0.0, p_fNoise);
        Feed(Samples(s_nSamples, g_fStep_s,
                     [&](double t)
                     {
                         double fValue = 5000.0 + dist(engine);
                         for (const SSwing& swing : p_vecSwing)
                             fValue += swing.At(t);
                         return fValue;
                     }));
    }
    CaptureTrace capture;
};
} // namespace

TEST_F(ProcOmaTest, WideBandGivesTheDampingOfASwingInNoise)
{
    for (const double fDampWant : {-0.02, 0.01})
    {
        const SSwing swing{400.0, 0.43, fDampWant};
        std::mt19937 engine(11);
        std::normal_distribution<double> dist(0.0, 1.0);
        CFFT fft(&m_trace);
        ASSERT_TRUE(fft.FFTbyMKL(Samples(s_nSamples, g_fStep_s, [&](double t) { return swing.At(t) + dist(engine); }),
                                 g_fStep_s));
        std::valarray<double> vecTime(s_nSamples);
        double fMagn = -1.0;
        double fDamp = 0.0;
        // Channels 1 to 170, up to ten times the frequency: a tenth of the noise of 1 remains.
        ASSERT_TRUE(m_pProc->DampFromTimeData(1, 170, &fft, swing.fFreq_Hz, &vecTime, &fMagn, &fDamp));
        EXPECT_NEAR(fDamp, fDampWant, 0.003);
        const double fEnd = swing.fAmpl * std::exp(swing.Rate() * s_nSamples * g_fStep_s);
        EXPECT_NEAR(fMagn, fEnd, 0.1 * fEnd) << "the newest swing ends at most one cycle before the block";
    }
}

TEST_F(ProcOmaTest, WhatIsMissingEndsTheRunWithItsLine)
{
    FeedSwings({{160.0, 0.43, 0}});
    m_pProc->SetDeltaT(0.0);
    EXPECT_TRUE(Run(0.8).empty());
    EXPECT_TRUE(capture.Has("CProcOMA::Run():Calc. of max.freq.value failed!"));
    m_pSpec = std::make_unique<CSpec>(true, MR, s_nSamples, 0.2, 900.0, 1, &m_trace);
    m_pProc = std::make_unique<CProcOMA>(&m_deqMeas, m_pSpec.get(), &m_doe, &m_trace);
    m_pProc->SetDeltaT(g_fStep_s);
    EXPECT_TRUE(Run(900.0).empty());
    EXPECT_TRUE(capture.Has("Insufficient spec.ampl. buf.size: 1475!"));
    MakeProc(1, 0.8, g_fStep_s);
    EXPECT_TRUE(Run(0.8).empty());
    EXPECT_TRUE(capture.Has("CProcOMA::Run():FFT error!"));
    MakeProc(s_nSamples, 0.8, g_fStep_s);
    const CDOE doeNone(nullptr, nullptr);
    CProcOMA proc(&m_deqMeas, m_pSpec.get(), &doeNone, &m_trace);
    proc.SetDeltaT(g_fStep_s);
    CProcOMA::VecPeak vecpPeak;
    EXPECT_TRUE(proc.Run(0.8, L"", L"", 1, 0, &vecpPeak));
    EXPECT_TRUE(vecpPeak.empty());
    EXPECT_TRUE(capture.Has("CProcOMA::Run():Invalid Pointer: pvecLimitMagn!"));
}

TEST_F(ProcOmaTest, SamplesThatAreNoNumbersAreBorne)
{
    FeedSwings({{160.0, 0.43, 0}});
    m_deqMeas.Append({std::numeric_limits<double>::quiet_NaN(), eQualInvalid});
    EXPECT_TRUE(Run(0.8, 2).empty());
    m_deqMeas.Clear();
    FeedSwings({{1e300, 0.43, 0}, {1e-300, 0.1, 0}});
    Run(0.8, 2);
}

TEST_F(ProcOmaTest, FilesOfARunWithOnePeakAreTheGoldenOnes)
{
    const CResultDir dir;
    Options({L"-file:psm"});
    MakeProc(64, 12.0, 0.02);
    // The same signal as in golden.py next to the files: its spectrum is a Gaussian, to which the fit is exact.
    Feed(Samples(64, 1.0,
                 [](double i)
                 {
                     double fSum = 0.0;
                     for (int k = 0; k < 32; ++k)
                         fSum += (k == 0 ? 80.0 : 160.0) * std::exp(-0.5 * std::pow((k - 12.3) / 3.0, 2)) *
                                 std::cos(g_fTwoPi * k * (i / 64.0 + 47.0 / 360.0));
                     return fSum;
                 }));
    for (int n = 0; n < 2; ++n) // overwritten by each run
        EXPECT_EQ(Run(30.0, 1, L"c:\\fft.dat", L"c:\\psmext.dat").size(), 1U);
    for (const std::string strName : {"fft.dat", "psmext.dat"})
    {
        std::ostringstream text;
        text << std::ifstream(OMA_TEST_DATA "/result_files/" + strName).rdbuf();
        EXPECT_EQ(dir.Text(strName), text.str());
    }
    std::filesystem::create_directory(dir.Path("folder"));
    Run(30.0, 1, L"c:\\folder", {});
    EXPECT_TRUE(capture.Has("Error writing FFT data"));
    EXPECT_EQ(Run(30.0, 1, {}, L"c:\\folder").size(), 1U) << "goes on without the file";
    EXPECT_TRUE(capture.Has("Cannot open TUI input file"));
}
