#include "Dfti.h"
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

// What the layer promises, whatever library stands behind it.

namespace
{
using Buffer = std::vector<double>;

Buffer Noise(std::size_t p_nLength)
{
    std::mt19937 engine(static_cast<unsigned>(p_nLength));
    std::uniform_real_distribution<double> dist(-1.0, 1.0);
    Buffer vecData(p_nLength + 2, 0.0);
    for (std::size_t i = 0; i < p_nLength; ++i)
        vecData[i] = dist(engine);
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

Buffer Forward(Buffer p_vecData)
{
    const CDesc desc(p_vecData.size() - 2);
    EXPECT_EQ(DftiComputeForward(desc.h, p_vecData.data()), DFTI_NO_ERROR);
    return p_vecData;
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
            // The sum itself rounds n times.
            const double fTolerance = 1e-15 * static_cast<double>(n);
            EXPECT_NEAR(vecSpec[2 * k], cplxSum.real(), fTolerance) << n << " channel " << k;
            EXPECT_NEAR(vecSpec[2 * k + 1], cplxSum.imag(), fTolerance) << n << " channel " << k;
        }
    }
}

TEST(Dfti, BackwardWithScaleOneByLengthGivesTheSamplesBack)
{
    for (std::size_t n = 2; n <= 65536; n *= 2)
    {
        const Buffer vecTime = Noise(n);
        Buffer vecData = Forward(vecTime);
        const CDesc desc(n, 1.0 / static_cast<double>(n));
        EXPECT_EQ(DftiComputeBackward(desc.h, vecData.data()), DFTI_NO_ERROR);
        for (std::size_t i = 0; i < n; ++i)
            ASSERT_NEAR(vecData[i], vecTime[i], 1e-14) << n << " sample " << i;
    }
}

TEST(Dfti, BackwardIsUnscaledUnlessTold)
{
    Buffer vecData{0.0, 0.0, 1.0, 0.0, 0.0, 0.0}; // one half of a cosine of height 2
    const CDesc desc(4);
    EXPECT_EQ(DftiComputeBackward(desc.h, vecData.data()), DFTI_NO_ERROR);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(vecData[i], 2.0 * std::cos(std::numbers::pi / 2.0 * static_cast<double>(i)), 1e-15);
}

TEST(Dfti, SameDigitsAtAnyAddressAndOnAnyThread)
{
    std::vector<Buffer> vecWant;
    for (std::size_t n = 2; n <= 8192; n *= 2)
        vecWant.push_back(Forward(Noise(n)));
    std::vector<std::thread> vecThread;
    std::vector<unsigned> vecnDiffering(4, 0);
    for (std::size_t t = 0; t < vecnDiffering.size(); ++t)
        vecThread.emplace_back(
            [&vecWant, &r_nDiffering = vecnDiffering[t], t]
            {
                for (const Buffer& vecResult : vecWant)
                {
                    // Threads 1 and 3 stand one double off the alignment of the allocator.
                    const std::size_t nOffset = t % 2;
                    Buffer vecData = Noise(vecResult.size() - 2);
                    vecData.insert(vecData.begin(), nOffset, 0.0);
                    const CDesc desc(vecResult.size() - 2);
                    DftiComputeForward(desc.h, vecData.data() + nOffset);
                    if (!std::equal(vecResult.begin(), vecResult.end(), vecData.begin() + static_cast<long>(nOffset)))
                        ++r_nDiffering;
                }
            });
    for (std::thread& thread : vecThread)
        thread.join();
    EXPECT_EQ(vecnDiffering, std::vector<unsigned>(4, 0));
}

TEST(Dfti, FirstUseOfALengthByManyThreadsAtOnce)
{
    // Lengths that no other test of this program uses.
    std::vector<std::thread> vecThread;
    std::vector<double> vecfSum(6, 0.0);
    for (double& r_fSum : vecfSum)
        vecThread.emplace_back(
            [&r_fSum]
            {
                for (const std::size_t n : {131072U, 262144U})
                {
                    Buffer vecData(n + 2, 1.0);
                    const CDesc desc(n);
                    DftiComputeForward(desc.h, vecData.data());
                    r_fSum += vecData[0];
                }
            });
    for (std::thread& thread : vecThread)
        thread.join();
    EXPECT_EQ(vecfSum, std::vector<double>(6, 131072.0 + 262144.0));
}

TEST(Dfti, RefusesWhatItCannotDo)
{
    struct SCase
    {
        int ePrecision;
        int eDomain;
        MKL_LONG nDimension;
        MKL_LONG nLength;
    };
    for (const SCase& refused : {SCase{35, DFTI_REAL, 1, 8}, SCase{DFTI_DOUBLE, 32, 1, 8},
                                 SCase{DFTI_DOUBLE, DFTI_REAL, 2, 8}, SCase{DFTI_DOUBLE, DFTI_REAL, 1, 0},
                                 SCase{DFTI_DOUBLE, DFTI_REAL, 1, -8}, SCase{DFTI_DOUBLE, DFTI_REAL, 1, 1},
                                 SCase{DFTI_DOUBLE, DFTI_REAL, 1, 6}, SCase{DFTI_DOUBLE, DFTI_REAL, 1, 1L << 31}})
    {
        DFTI_DESCRIPTOR_HANDLE h = nullptr;
        const MKL_LONG nStatus =
            DftiCreateDescriptor(&h, static_cast<DFTI_CONFIG_VALUE>(refused.ePrecision),
                                 static_cast<DFTI_CONFIG_VALUE>(refused.eDomain), refused.nDimension, refused.nLength);
        EXPECT_FALSE(DftiErrorClass(nStatus, DFTI_NO_ERROR)) << refused.nLength;
        EXPECT_EQ(h, nullptr);
    }
    DFTI_DESCRIPTOR_HANDLE hNone = nullptr;
    EXPECT_FALSE(DftiErrorClass(DftiCommitDescriptor(hNone), DFTI_NO_ERROR));
    EXPECT_FALSE(DftiErrorClass(DftiFreeDescriptor(&hNone), DFTI_NO_ERROR));
}

TEST(Dfti, ComputesOnlyAfterCommit)
{
    Buffer vecData(10, 0.0);
    DFTI_DESCRIPTOR_HANDLE h = nullptr;
    ASSERT_EQ(DftiCreateDescriptor(&h, DFTI_DOUBLE, DFTI_REAL, 1, 8), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(h, vecData.data()), DFTI_NO_ERROR);
    EXPECT_EQ(DftiCommitDescriptor(h), DFTI_NO_ERROR);
    EXPECT_EQ(DftiComputeForward(h, vecData.data()), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeForward(h, nullptr), DFTI_NO_ERROR);
    EXPECT_NE(DftiSetValue(h, DFTI_REAL, 1.0), DFTI_NO_ERROR);
    EXPECT_EQ(DftiSetValue(h, DFTI_BACKWARD_SCALE, 0.125), DFTI_NO_ERROR);
    EXPECT_NE(DftiComputeBackward(h, vecData.data()), DFTI_NO_ERROR) << "a changed setting asks for a new commit";
    EXPECT_EQ(DftiFreeDescriptor(&h), DFTI_NO_ERROR);
    EXPECT_EQ(h, nullptr);
}
