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
