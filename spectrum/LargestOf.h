#pragma once
#include <algorithm>
#include <cmath>
#include <cstddef>

/// Largest absolute value of many, 0.0 for none; what is no number is passed over. Eight lanes side by side: a comparison
/// need not wait for the one before.
inline double LargestOf(const double* p_pfBegin, const double* p_pfEnd)
{
    constexpr std::ptrdiff_t nLanes = 8;
    double vecfLane[nLanes] = {};
    const auto Take = [&vecfLane](std::ptrdiff_t p_nLane, double p_fValue)
    {
        const double fHeight = std::abs(p_fValue);
        vecfLane[p_nLane] = fHeight > vecfLane[p_nLane] ? fHeight : vecfLane[p_nLane];
    };
    for (; p_pfEnd - p_pfBegin >= nLanes; p_pfBegin += nLanes)
        for (std::ptrdiff_t nLane = 0; nLane < nLanes; ++nLane)
            Take(nLane, p_pfBegin[nLane]);
    for (; p_pfBegin < p_pfEnd; ++p_pfBegin)
        Take(0, *p_pfBegin);
    return *std::max_element(vecfLane, vecfLane + nLanes);
}
