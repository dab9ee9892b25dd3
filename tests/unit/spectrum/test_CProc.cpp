#include "SpectrumBench.h"
#include "fake/CaptureTrace.h"
#include "host/Epsilon.h"
#include <tuple>

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

TEST_F(ProcTest, NextPeakIsTheHighestAllowedChannelOrNone)
{
    struct SCase
    {
        const char* pszWhat;
        Spectrum vecData;
        unsigned nOffs;
        std::vector<unsigned> vecBeg;
        std::vector<unsigned> vecEnd;
        double fThresh;
        int nWant; ///< -1: none
    };
    const SCase vecCase[] = {
        {"highest, low channels excluded", {90, 80, 1, 2, 5, 2, 1, 3}, 2, {}, {}, 0.0, 4},
        {"first of equal maxima", {0, 0, 1, 5, 1, 5, 1, 1}, 1, {}, {}, 0.0, 3},
        {"first searchable channel", {0, 0, 9, 5, 1, 5, 1, 1}, 2, {}, {}, 0.0, -1},
        {"last channel, though another peak exists", {0, 1, 1, 5, 1, 1, 1, 9}, 1, {}, {}, 0.0, -1},
        {"all zero", {0, 0, 0, 0}, 1, {}, {}, 0.0, -1},
        {"nothing but excluded channels", {1, 2, 3}, 3, {}, {}, 0.0, -1},
        {"prohibited region, ends included", {0, 1, 1, 7, 9, 7, 1, 1, 2, 1}, 1, {3}, {5}, 0.0, 8},
        {"above a region: ends the search, though another peak exists", {0, 1, 9, 8, 1, 1, 2, 1}, 1, {1}, {2}, 0.0, -1},
        {"below a region", {0, 1, 1, 8, 9, 1, 2, 1}, 1, {4}, {5}, 0.0, -1},
        {"neighbour below epsilon", {0, 1, 1, 8, 0.5 * g_fEps, 1, 2, 1}, 1, {}, {}, 0.0, -1},
        {"neighbour of epsilon", {0, 1, g_fEps, 8, g_fEps, 1, 2, 1}, 1, {}, {}, 0.0, 3},
        {"weighted height on the threshold", {0, 1, 1, 8, 1, 1}, 1, {}, {}, 16.0, 3},
        {"weighted height below the threshold", {0, 1, 1, 8, 1, 1}, 1, {}, {}, 16.001, -1},
    };
    for (const SCase& test : vecCase)
    {
        unsigned nPeak = 99;
        const bool bFound =
            m_pProc->FindNextPeakNEW(test.vecData, test.nOffs, test.vecBeg, test.vecEnd, test.fThresh, &nPeak);
        EXPECT_EQ(bFound, test.nWant >= 0) << test.pszWhat;
        EXPECT_EQ(nPeak, bFound ? static_cast<unsigned>(test.nWant) : 99U) << test.pszWhat;
    }
    EXPECT_TRUE(capture.Lines().empty()) << "no peak is no error";
    unsigned nPeak = 0;
    EXPECT_FALSE(m_pProc->FindNextPeakNEW({1, 2}, 3, {}, {}, 0.0, &nPeak));
    EXPECT_TRUE(capture.Has("CProc::FindNextPeakNEW():Invalid no.of data!"));
    EXPECT_FALSE(m_pProc->FindNextPeakNEW({1, 2, 3, 2}, 0, {1}, {4}, 0.0, &nPeak));
    EXPECT_TRUE(capture.Has("CProc::FindNextPeakNEW(): Invalid prohibited region!"));
}

TEST_F(ProcTest, NoiseLevelIsTheMeanTimesTheFactor)
{
    double fThresh = -1.0;
    ASSERT_TRUE(m_pProc->CalcDataThresh({g_fEps, g_fEps, 2.0, 4.0, 6.0}, 2, 2.0, &fThresh));
    EXPECT_NEAR(fThresh, 8.0, 1e-6);
    EXPECT_FALSE(m_pProc->CalcDataThresh({1.0, 2.0}, 2, 2.0, &fThresh));
    EXPECT_TRUE(capture.Has("Invalid no.of data: #nData#=2 #nOffs#=)2"));
    EXPECT_FALSE(m_pProc->CalcDataThresh({0.0, 3.0, -1.0}, 1, 2.0, &fThresh));
    EXPECT_TRUE(capture.Has("Data thresh. calc. failed: #fMean#=2.000000 #fMeanCheck#=)1.000000"));
    EXPECT_NEAR(fThresh, 8.0, 1e-6);
}

TEST_F(ProcTest, LimitsAreTheFirstChannelsBelowHalf)
{
    struct SCase
    {
        const char* pszWhat;
        Spectrum vecData;
        double fThresh;
        unsigned nPeak;
        int nLeft; ///< -1: refused
        int nRight;
    };
    const SCase vecCase[] = {
        {"unsymmetric", {0, 1, 4, 6, 10, 6, 5, 5, 4, 1}, 0, 4, 2, 8},
        {"exactly half is not below", {0, 5, 10, 5, 4.9}, 0, 2, 0, 4},
        {"rises on the left: half moves up, the right walk starts there", {0, 1, 5.5, 12, 9, 10, 5.9, 1}, 0, 5, 2, 6},
        {"that walk has the budget of its own start", {0, 1, 5.5, 12, 9, 10, 9, 5.9, 1}, 0, 5, -1, 0},
        {"rises on the right: half moves up", {1, 1, 10, 5, 14, 6.9, 1}, 0, 2, 1, 5},
        {"no foot on the left", {6, 7, 10, 3, 1}, 0, 2, -1, 0},
        {"no foot on the right", {1, 3, 10, 7, 6}, 0, 2, -1, 0},
        {"broader than the budget of 2 + 3 channels", {1, 6, 6, 6, 6, 6, 9, 4, 1}, 0, 6, -1, 0},
        {"foot on the last channel of the budget", {1, 1, 6, 6, 6, 9, 4, 1}, 0, 5, 1, 6},
        {"below the threshold", {0, 1, 10, 1}, 10.1, 2, -1, 0},
        {"on the threshold", {0, 1, 10, 1}, 10, 2, 1, 3},
    };
    for (const SCase& test : vecCase)
    {
        unsigned nLeft = 0;
        unsigned nRight = 0;
        const bool bOk = m_pProc->FindPeakLimits(test.vecData, test.fThresh, test.nPeak, &nLeft, &nRight);
        EXPECT_EQ(bOk, test.nLeft >= 0) << test.pszWhat;
        if (bOk)
        {
            EXPECT_EQ(nLeft, static_cast<unsigned>(test.nLeft)) << test.pszWhat;
            EXPECT_EQ(nRight, static_cast<unsigned>(test.nRight)) << test.pszWhat;
        }
    }
}

TEST_F(ProcTest, FitIsTakenOffDownToEpsilon)
{
    Spectrum vecSearch{5.0, 3.0, 1.0, g_fEps};
    CProcOMA::SubtractFit(vecSearch, {2.0, 3.0, 4.0, 0.0});
    EXPECT_EQ(std::vector<double>(std::begin(vecSearch), std::end(vecSearch)),
              (std::vector<double>{3.0, g_fEps, g_fEps, g_fEps}));
}

TEST_F(ProcTest, RangeOfAPeakIsOneWidthToBothSides)
{
    // A block of 64 samples at 10 Hz: 0.15625 Hz a channel.
    Feed(Samples(64, 0.1, [](double) { return 1.0; }));
    Run(1.0);
    const std::tuple<double, double, unsigned, unsigned> vecCase[] = {
        {1.5625, 0.3125, 8, 13}, {1.6, 0.32, 8, 13}, {0.3, 0.4, 0, 5},
        {4.7, 0.3, 28, 31},      {4.9, 10.0, 0, 31}, {1e300, 1.0, 4294967295U, 31}};
    for (const auto& [fFreq_Hz, fFWHM_Hz, nLoWant, nHiWant] : vecCase)
    {
        unsigned nLo = 0;
        unsigned nHi = 0;
        EXPECT_TRUE(m_pProc->CalcPeakRange(fFreq_Hz, fFWHM_Hz, 32, &nLo, &nHi));
        EXPECT_EQ(nLo, nLoWant) << fFreq_Hz;
        EXPECT_EQ(nHi, nHiWant) << fFreq_Hz;
    }
}

TEST_F(ProcTest, PhaseStepsTurnOnlyWithTheStepBefore)
{
    // Steps 10, -350 (after a rising one: -710), 350 (after a falling one: 710), 350 (after a rising one: nothing).
    Spectrum vecStep(5);
    ASSERT_TRUE(CProcOMA::CalcPhaseSteps({0.0, 10.0, -340.0, 10.0, 360.0}, vecStep));
    const double vecfWant[] = {0.0, 10.0 / 710.0, -1.0, 1.0, 0.0};
    for (std::size_t k = 0; k < 5; ++k)
        EXPECT_DOUBLE_EQ(vecStep[k], vecfWant[k]) << k;
    ASSERT_TRUE(CProcOMA::CalcPhaseSteps({7.0, 7.0, 7.0, 7.0, 7.0}, vecStep));
    EXPECT_EQ(vecStep.max(), 0.0) << "nothing to divide by";
}
