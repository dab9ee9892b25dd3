#pragma once
#include <algorithm>
#include <cstddef>
#include <vector>

/// The value below which a fraction (0 to 1) of the values lies; 0.0 without values. Reorders them.
inline double Percentile(std::vector<double>& r_vecfValue, double p_fPart)
{
    if (r_vecfValue.empty())
        return 0.0;
    const auto nPlace = static_cast<std::ptrdiff_t>(p_fPart * static_cast<double>(r_vecfValue.size() - 1));
    std::nth_element(r_vecfValue.begin(), r_vecfValue.begin() + nPlace, r_vecfValue.end());
    return r_vecfValue[static_cast<std::size_t>(nPlace)];
}
