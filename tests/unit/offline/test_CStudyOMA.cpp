#include "fake/CaptureTrace.h"
#include "offline/CStudyOMA.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <valarray>

namespace
{
constexpr double g_fTwoPi = 2.0 * std::numbers::pi;
constexpr double g_fStep_s = 0.02;
constexpr unsigned g_nSamples = 256;

struct Study : testing::Test
{
    Study() { CStudyOMA::s_nCount = 0; }
    ~Study() override { CStudyOMA::s_nCount = 0; }

    /// Adds a peak as -peak: does. Damping ratio with its sign; 0.0 is impossible.
    void AddPeak(double p_fFreq_Hz, double p_fAmpl, double p_fDamp, double p_fOffset_s)
    {
        auto pPeak = std::make_unique<CPeakOMA>(&trace);
        pPeak->SetFreq(p_fFreq_Hz);
        pPeak->SetAmpl(p_fAmpl);
        pPeak->CalcFWHM(p_fDamp);
        pPeak->SetNegDamp(p_fDamp < 0.0 ? 1.0 : 0.0);
        pPeak->SetOffset(p_fOffset_s);
        vecpPeak.push_back(std::move(pPeak));
    }
    bool Create(double p_fNoise = 0.0, double p_fShift = 0.0, double p_fRange_s = 0.0, unsigned p_nSamples = g_nSamples)
    {
        CStudyOMA study(&deqMeas, p_nSamples, g_fStep_s, &trace);
        return study.CreateData(&vecpPeak, 50, p_fNoise, p_fShift, p_fRange_s);
    }
    std::valarray<double> Signal() const
    {
        std::valarray<double> vecSignal(g_nSamples);
        EXPECT_TRUE(deqMeas.CopyNewest(&vecSignal[0], g_nSamples));
        EXPECT_EQ(deqMeas.Size(), g_nSamples);
        return vecSignal;
    }

    CTraceOMA trace{"STUDY"};
    CaptureTrace capture;
    CDeqMeas deqMeas;
    std::vector<std::unique_ptr<CPeakOMA>> vecpPeak;
};
} // namespace

TEST_F(Study, PeaksAreDampedSinusoidsFromTheirStartOn)
{
    AddPeak(0.8, 100.0, -0.05, 0.0);
    AddPeak(2.0, 10.0, 0.02, 1.013); // between two samples
    AddPeak(1.0, 1e6, -0.01, 60.0);  // starts after the block
    deqMeas.Append({77.0, eQualInvalid});
    ASSERT_TRUE(Create());
    const std::valarray<double> vecSignal = Signal();
    for (std::size_t i = 0; i < g_nSamples; ++i)
    {
        const double fTime_s = static_cast<double>(i) * g_fStep_s;
        const double fAngle1 = g_fTwoPi * 0.8 * fTime_s;
        const double fAngle2 = g_fTwoPi * 2.0 * std::max(0.0, fTime_s - 1.013);
        EXPECT_NEAR(vecSignal[i],
                    100.0 * std::sin(fAngle1) * std::exp(-0.05 * fAngle1) +
                        10.0 * std::sin(fAngle2) * std::exp(0.02 * fAngle2),
                    1e-9)
            << i;
    }
}

TEST_F(Study, ShiftMovesThePhaseOnUntilTheRangeIsThrough)
{
    AddPeak(0.8, 100.0, -0.05, 0.0);
    // A shift of half a cycle of 1 s gives four blocks in a range of 2 s; the fifth equals the first.
    std::vector<std::valarray<double>> vecvecSignal;
    for (unsigned i = 0; i < 5; ++i)
    {
        ASSERT_TRUE(Create(0.0, 0.5, 2.0));
        vecvecSignal.push_back(Signal());
    }
    for (std::size_t i = 0; i + 25 < g_nSamples; ++i)
    {
        EXPECT_NEAR(vecvecSignal[1][i], vecvecSignal[0][i + 25], 1e-9);
        EXPECT_NEAR(vecvecSignal[3][i], vecvecSignal[2][i + 25], 1e-9);
        EXPECT_DOUBLE_EQ(vecvecSignal[4][i], vecvecSignal[0][i]);
    }
    EXPECT_EQ(CStudyOMA::s_nCount, 1U);
    ASSERT_TRUE(Create(0.0, 0.0, 0.0));
    EXPECT_EQ(CStudyOMA::s_nCount, 1U) << "without a shift nothing counts";
}

TEST_F(Study, NoiseIsASmallOffsetOfEachSample)
{
    AddPeak(0.8, 100.0, -0.05, 60.0); // starts after the block
    for (const double fNoise : {500.0, 0.5 * 1.1920929e-07})
    {
        std::srand(11);
        ASSERT_TRUE(Create(fNoise));
        const std::valarray<double> vecSignal = Signal();
        std::srand(11);
        for (const double fValue : vecSignal)
            EXPECT_EQ(fValue, fNoise > 1.0 ? std::rand() * fNoise / 4294967295.0 : 0.0);
    }
}

TEST_F(Study, RangeShorterThanACycleIsAnError)
{
    AddPeak(0.8, 100.0, -0.05, 0.0);
    EXPECT_TRUE(Create(0.0, 1.0, 1.0)) << "one cycle of 50 samples of 0.02 s";
    EXPECT_FALSE(Create(0.0, 1.0, 0.99));
    EXPECT_TRUE(capture.Has("CStudyOMA::CreateData():Cannot increment counter!"));
    EXPECT_EQ(Signal().size(), g_nSamples) << "the block is there all the same";
}

TEST_F(Study, WhatIsMissingIsToldAndEmptiesTheQueue)
{
    deqMeas.Append({1.0, eQualValid});
    EXPECT_FALSE(Create());
    EXPECT_TRUE(capture.Has("CStudyOMA::CreateData():No study PS modes specified!"));
    EXPECT_EQ(deqMeas.Size(), 0U);
    AddPeak(0.8, 100.0, -0.05, 0.0);
    for (const unsigned nSamples : {0U, 1U})
        EXPECT_FALSE(Create(0.0, 0.0, 0.0, nSamples));
    EXPECT_EQ(capture.Count("CStudyOMA::CreateData():Freq.spectrum has 0 channels!"), 2U);
    EXPECT_TRUE(Create(0.0, 0.0, 0.0, 2));
    vecpPeak.push_back(nullptr);
    EXPECT_FALSE(Create());
    EXPECT_TRUE(capture.Has("CStudyOMA::CreateData():Invalid Pointer: pPeak!"));
    vecpPeak.pop_back();
    AddPeak(1.0, 10.0, 0.0, 0.0);
    EXPECT_FALSE(Create()) << "a ratio of 0 has no width";
}
