#include "spectrum/fft/ManyNumbers.h"
#include <algorithm>
#include <cmath>

// Builds a second copy of each loop for processors with AVX2; it is selected at process start. Sanitizers do not
// support this selection.
#if defined(__x86_64__) && defined(__ELF__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) &&                \
    !defined(__SANITIZE_THREAD__)
#define OMA_WIDE __attribute__((target_clones("avx2", "default")))
#else
#define OMA_WIDE
#endif

namespace
{
constexpr std::ptrdiff_t g_nLanes = 8;
}

OMA_WIDE bool IsOneAbove(const double* p_pfBegin, const double* p_pfEnd, double p_fLimit)
{
    // Count all of them: stopping at the first match would prevent vectorisation.
    return std::count_if(p_pfBegin, p_pfEnd, [p_fLimit](double p_fValue) { return p_fValue > p_fLimit; }) != 0;
}

OMA_WIDE double LargestOf(const double* p_pfBegin, const double* p_pfEnd)
{
    double vecfLane[g_nLanes] = {};
    for (; p_pfEnd - p_pfBegin >= g_nLanes; p_pfBegin += g_nLanes)
        for (std::ptrdiff_t i = 0; i < g_nLanes; ++i)
        {
            const double fHeight = std::abs(p_pfBegin[i]);
            vecfLane[i] = fHeight > vecfLane[i] ? fHeight : vecfLane[i];
        }
    for (; p_pfBegin < p_pfEnd; ++p_pfBegin)
        vecfLane[0] = std::max(vecfLane[0], std::abs(*p_pfBegin));
    return *std::max_element(vecfLane, vecfLane + g_nLanes);
}

OMA_WIDE SSums SumsOf(const double* p_pfBegin, const double* p_pfEnd)
{
    double vecfSum[g_nLanes] = {};
    double vecfSumAbs[g_nLanes] = {};
    for (; p_pfEnd - p_pfBegin >= g_nLanes; p_pfBegin += g_nLanes)
        for (std::ptrdiff_t i = 0; i < g_nLanes; ++i)
        {
            vecfSum[i] += p_pfBegin[i];
            vecfSumAbs[i] += std::abs(p_pfBegin[i]);
        }
    SSums sums{0.0, 0.0};
    for (std::ptrdiff_t i = 0; i < g_nLanes; ++i)
    {
        sums.fSum += vecfSum[i];
        sums.fSumAbs += vecfSumAbs[i];
    }
    for (; p_pfBegin < p_pfEnd; ++p_pfBegin)
    {
        sums.fSum += *p_pfBegin;
        sums.fSumAbs += std::abs(*p_pfBegin);
    }
    return sums;
}

OMA_WIDE void SquaresOf(const std::complex<double>* p_pcplx, std::size_t p_nCount, double* p_pfOut)
{
    for (std::size_t i = 0; i < p_nCount; ++i)
        p_pfOut[i] = std::norm(p_pcplx[i]);
}

OMA_WIDE void TakeRoots(double* p_pfData, std::size_t p_nCount, double p_fScale)
{
    for (std::size_t i = 0; i < p_nCount; ++i)
        p_pfData[i] = std::sqrt(p_pfData[i]) * p_fScale;
}

OMA_WIDE void TakeOff(double* p_pfData, std::size_t p_nCount, const double* p_pfOff, double p_fFloor)
{
    for (std::size_t i = 0; i < p_nCount; ++i)
    {
        const double fRest = p_pfData[i] - p_pfOff[i];
        p_pfData[i] = fRest <= p_fFloor ? p_fFloor : fRest;
    }
}
