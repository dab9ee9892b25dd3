#include "spectrum/fft/ManyNumbers.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <vector>

// Runs each loop on every length around its vector width: compared with the plain loop, and with one relevant number at
// each position.

namespace
{
constexpr std::size_t g_nMost = 35;

std::vector<double> Numbers(std::size_t p_nCount)
{
    std::vector<double> vecfNumber(p_nCount);
    for (std::size_t i = 0; i < p_nCount; ++i)
        vecfNumber[i] = std::sin(static_cast<double>(i * i) + 1.0);
    return vecfNumber;
}
const double* End(const std::vector<double>& p_vec)
{
    return p_vec.data() + p_vec.size();
}

struct ManyNumbers : testing::Test
{
    void SetUp() override
    {
#ifdef OMA_TEST_WIDE
        if (!__builtin_cpu_supports("avx2"))
            GTEST_SKIP() << "this processor has no AVX2";
#endif
    }
};
} // namespace

TEST_F(ManyNumbers, EachPlaceCounts)
{
    for (std::size_t nCount = 1; nCount <= g_nMost; ++nCount)
        for (std::size_t n = 0; n < nCount; ++n)
        {
            std::vector<double> vecfNumber = Numbers(nCount);
            for (const double fTop : {2.0, -2.0})
            {
                vecfNumber[n] = fTop;
                EXPECT_EQ(IsOneAbove(vecfNumber.data(), End(vecfNumber), 1.5), fTop > 0.0) << n << " of " << nCount;
                EXPECT_EQ(LargestOf(vecfNumber.data(), End(vecfNumber)), 2.0) << n << " of " << nCount;
            }
            vecfNumber[n] = 1e6;
            EXPECT_NEAR(SumsOf(vecfNumber.data(), End(vecfNumber)).fSum,
                        std::accumulate(vecfNumber.begin(), vecfNumber.end(), 0.0), 1e-6);
            EXPECT_EQ(IsOneAbove(vecfNumber.data(), End(vecfNumber), 1e6), false) << "the limit itself is not above";
            vecfNumber[n] = std::numeric_limits<double>::quiet_NaN();
            EXPECT_FALSE(IsOneAbove(vecfNumber.data(), End(vecfNumber), 1.5));
            EXPECT_LE(LargestOf(vecfNumber.data(), End(vecfNumber)), 1.0) << "passed over";
            EXPECT_TRUE(std::isnan(SumsOf(vecfNumber.data(), End(vecfNumber)).fSumAbs));
        }
}

TEST_F(ManyNumbers, ResultsAreThoseOfThePlainLoops)
{
    for (std::size_t nCount = 0; nCount <= g_nMost; ++nCount)
    {
        const std::vector<double> vecfNumber = Numbers(nCount);
        std::vector<std::complex<double>> vecComplex(nCount);
        std::vector<double> vecfSquare(nCount + 1, 7.0);
        std::vector<double> vecfRoot(nCount + 1, 7.0);
        std::vector<double> vecfRest(nCount + 1, 7.0);
        double fSum = 0.0;
        double fSumAbs = 0.0;
        for (std::size_t i = 0; i < nCount; ++i)
        {
            vecComplex[i] = {vecfNumber[i], 2.0 * vecfNumber[i]};
            vecfRoot[i] = std::abs(vecfNumber[i]);
            vecfRest[i] = 0.25;
            fSum += vecfNumber[i];
            fSumAbs += std::abs(vecfNumber[i]);
        }
        EXPECT_NEAR(SumsOf(vecfNumber.data(), End(vecfNumber)).fSum, fSum, 1e-13);
        EXPECT_NEAR(SumsOf(vecfNumber.data(), End(vecfNumber)).fSumAbs, fSumAbs, 1e-13);
        SquaresOf(vecComplex.data(), nCount, vecfSquare.data());
        TakeRoots(vecfRoot.data(), nCount, 0.5);
        TakeOff(vecfRest.data(), nCount, vecfNumber.data(), 0.125);
        for (std::size_t i = 0; i < nCount; ++i)
        {
            EXPECT_EQ(vecfSquare[i], std::norm(vecComplex[i]));
            EXPECT_EQ(vecfRoot[i], 0.5 * std::sqrt(std::abs(vecfNumber[i])));
            EXPECT_EQ(vecfRest[i], std::max(0.25 - vecfNumber[i], 0.125));
        }
        for (const auto& vecf : {vecfSquare, vecfRoot, vecfRest})
            EXPECT_EQ(vecf[nCount], 7.0) << "nothing is written after the end";
    }
}
