#include "Dfti.h"
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

// The contract of the layer, for any back end.

namespace
{
using Buffer = std::vector<double>;

Buffer Noise(std::size_t p_nLength)
{
    std::mt19937 engine(static_cast<unsigned>(p_nLength));
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    Buffer vecData(p_nLength);
    for (double& r_fValue : vecData)
        r_fValue = dist(engine);
    return vecData;
}

/// A committed descriptor of a real double transform.
class CDesc
{
  public:
    explicit CDesc(std::size_t p_nLength, double p_fScale = 0.0)
    {
        EXPECT_EQ(DftiCreateDescriptor(&h, DFTI_DOUBLE, DFTI_REAL, 1, static_cast<MKL_LONG>(p_nLength)), DFTI_NO_ERROR);
        if (p_fScale != 0.0)
        {
            EXPECT_EQ(DftiSetValue(h, DFTI_BACKWARD_SCALE, p_fScale), DFTI_NO_ERROR);
        }
        EXPECT_EQ(DftiCommitDescriptor(h), DFTI_NO_ERROR);
    }
    ~CDesc() { EXPECT_EQ(DftiFreeDescriptor(&h), DFTI_NO_ERROR); }
    CDesc(const CDesc&) = delete;
    CDesc& operator=(const CDesc&) = delete;

    DFTI_DESCRIPTOR_HANDLE h = nullptr;
};

Buffer Forward(const Buffer& p_vecTime)
{
    Buffer vecSpec(p_vecTime.size() + 2);
    const CDesc desc(p_vecTime.size());
    EXPECT_EQ(DftiComputeForward(desc.h, p_vecTime.data(), vecSpec.data()), DFTI_NO_ERROR);
    return vecSpec;
}
} // namespace

TEST(Dfti, ForwardIsTheUnscaledSumWithNegativeExponent)
{
    for (const std::size_t n : {2U, 4U, 8U, 64U, 512U})
    {
        const Buffer vecTime = Noise(n);
        const Buffer vecSpec = Forward(vecTime);
        for (std::size_t k = 0; k <= n / 2; ++k)
        {
            std::complex<double> cplxSum = 0.0;
            for (std::size_t j = 0; j < n; ++j)
                cplxSum += vecTime[j] * std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(j * k % n) /
                                                            static_cast<double>(n));
            // The reference sum itself has n rounding errors.
            const double fTolerance = 1e-15 * static_cast<double>(n);
            EXPECT_NEAR(vecSpec[2 * k], cplxSum.real(), fTolerance) << n << " channel " << k;
            EXPECT_NEAR(vecSpec[2 * k + 1], cplxSum.imag(), fTolerance) << n << " channel " << k;
        }
    }
}

TEST(Dfti, ManyThreadsAtTheFirstUseOfALengthGetTheSameDigitsAtAnyAddress)
{
    const std::vector<std::size_t> vecnLength{16, 1024, 8192, 131072, 262144};
    std::vector<std::vector<Buffer>> vecvecResult(4, std::vector<Buffer>(vecnLength.size()));
    std::vector<std::thread> vecThread;
    for (std::size_t t = 0; t < vecvecResult.size(); ++t)
        vecThread.emplace_back(
            [&, t]
            {
                for (std::size_t i = 0; i < vecnLength.size(); ++i)
                {
                    // The buffers of threads 1 and 3 are one double off the allocator's alignment.
                    const std::ptrdiff_t nOffset = t % 2;
                    Buffer vecData = Noise(vecnLength[i]);
                    vecData.insert(vecData.begin(), nOffset, 0.0);
                    Buffer vecSpec(vecnLength[i] + 2 + nOffset);
                    const CDesc desc(vecnLength[i]);
                    DftiComputeForward(desc.h, vecData.data() + nOffset, vecSpec.data() + nOffset);
                    vecvecResult[t][i].assign(vecSpec.begin() + nOffset, vecSpec.end());
                }
            });
    for (std::thread& thread : vecThread)
        thread.join();
    for (std::size_t i = 0; i < vecnLength.size(); ++i)
        for (const auto& vecResult : vecvecResult)
            EXPECT_EQ(vecResult[i], Forward(Noise(vecnLength[i]))) << vecnLength[i];
}

TEST(Dfti, RefusesWhatItCannotDo)
{
    const auto Refuses = [](int p_ePrecision, int p_eDomain, MKL_LONG p_nDimension, MKL_LONG p_nLength)
    {
        DFTI_DESCRIPTOR_HANDLE h = nullptr;
        const MKL_LONG nStatus =
            DftiCreateDescriptor(&h, static_cast<DFTI_CONFIG_VALUE>(p_ePrecision),
                                 static_cast<DFTI_CONFIG_VALUE>(p_eDomain), p_nDimension, p_nLength);
        return !DftiErrorClass(nStatus, DFTI_NO_ERROR) && !h;
    };
    EXPECT_TRUE(Refuses(35, DFTI_REAL, 1, 8));
    EXPECT_TRUE(Refuses(DFTI_DOUBLE, 32, 1, 8));
    EXPECT_TRUE(Refuses(DFTI_DOUBLE, DFTI_REAL, 2, 8));
    for (const MKL_LONG nLength : {0L, -8L, 1L, 6L, 1L << 31})
        EXPECT_TRUE(Refuses(DFTI_DOUBLE, DFTI_REAL, 1, nLength)) << nLength;
}
