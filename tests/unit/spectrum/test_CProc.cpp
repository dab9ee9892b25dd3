#include "SpectrumBench.h"
#include "fake/CaptureTrace.h"
#include "host/base/Epsilon.h"

namespace
{
using Spectrum = std::valarray<double>;
constexpr double g_fEps = g_fEpsilon;

struct ProcTest : SpectrumBench
{
    ProcTest() { MakeProc(64, 1.0, 0.1); }
    CaptureTrace capture;
};
} // namespace

TEST_F(ProcTest, ArgumentsOutsideTheData)
{
    unsigned nPeak = 99;
    EXPECT_FALSE(m_pProc->FindNextPeakNEW({1, 2}, 3, {}, {}, 0.0, &nPeak));
    EXPECT_TRUE(capture.Has("CProc::FindNextPeakNEW():Invalid no.of data!"));
    EXPECT_FALSE(m_pProc->FindNextPeakNEW({1, 2, 3, 2}, 0, {1}, {4}, 0.0, &nPeak));
    EXPECT_TRUE(capture.Has("CProc::FindNextPeakNEW(): Invalid prohibited region!"));
    EXPECT_FALSE(m_pProc->FindNextPeakNEW({1, 2, 3}, 3, {}, {}, 0.0, &nPeak)) << "nothing but excluded channels";
    EXPECT_EQ(nPeak, 99U);
    double fThresh = -1.0;
    EXPECT_FALSE(m_pProc->CalcDataThresh({1, 2}, 2, 2.0, &fThresh));
    EXPECT_TRUE(capture.Has("CProc::CalcDataThresh():Invalid no.of data: #nData#=2 #nOffs#=)2!"));
    EXPECT_FALSE(m_pProc->CalcDataThresh({1, 2, 1}, 1, 2.0, &fThresh)) << "low channels of a size";
    EXPECT_TRUE(
        capture.Has("CProc::CalcDataThresh():Data thresh. calc. failed: #fMean#=2.000000 #fMeanCheck#=)1.500000!"));
    EXPECT_TRUE(m_pProc->CalcDataThresh({0, 2, 1}, 1, 2.0, &fThresh));
    EXPECT_EQ(fThresh, 3.0);
}

TEST_F(ProcTest, LimitsOnEqualValues)
{
    struct SCase
    {
        Spectrum vecData;
        double fThresh;
        unsigned nPeak;
        int nLeft; ///< -1: rejected
        int nRight;
    };
    const SCase vecCase[] = {{{0, 5, 10, 5, 4.9}, 0, 2, 0, 4}, // exactly half is not below half
                             {{0, 1, 10, 1}, 10, 2, 1, 3},     // exactly at the threshold
                             {{0, 1, 10, 1}, 10.1, 2, -1, 0}};
    for (const SCase& test : vecCase)
    {
        unsigned nLeft = 0;
        unsigned nRight = 0;
        ASSERT_EQ(m_pProc->FindPeakLimits(test.vecData, test.fThresh, test.nPeak, &nLeft, &nRight), test.nLeft >= 0);
        EXPECT_TRUE(test.nLeft < 0 ||
                    (static_cast<int>(nLeft) == test.nLeft && static_cast<int>(nRight) == test.nRight));
    }
}

TEST_F(ProcTest, NextPeakOnEqualValues)
{
    struct SCase
    {
        Spectrum vecData;
        double fThresh;
        int nWant; ///< -1: no peak
    };
    const SCase vecCase[] = {{{0, 0, 1, 5, 1, 5, 1, 1}, 0.0, 3}, // the first of equal maxima
                             {{0, 1, g_fEps, 8, g_fEps, 1, 2, 1}, 0.0, 3},
                             {{0, 1, 1, 8, 0.5 * g_fEps, 1, 2, 1}, 0.0, -1},
                             {{0, 1, 1, 8, 1, 1}, 16.0, 3}, // weighted height exactly at the threshold
                             {{0, 1, 1, 8, 1, 1}, 16.001, -1}};
    for (const SCase& test : vecCase)
    {
        unsigned nPeak = 99;
        EXPECT_EQ(m_pProc->FindNextPeakNEW(test.vecData, 1, {}, {}, test.fThresh, &nPeak), test.nWant >= 0);
        EXPECT_EQ(nPeak, test.nWant < 0 ? 99U : static_cast<unsigned>(test.nWant));
    }
}
