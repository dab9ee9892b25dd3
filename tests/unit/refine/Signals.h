#pragma once
#include "refine/SSeries.h"
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

/// Signals with known truth for the tests of the second estimate.
namespace Signals
{
inline constexpr double TWO_PI = 2.0 * std::numbers::pi;
inline constexpr std::int64_t START = 638452296000000000;

inline double Rate(double p_fFreq_Hz, double p_fRatio)
{
    return TWO_PI * p_fFreq_Hz * p_fRatio / std::sqrt(1.0 - p_fRatio * p_fRatio);
}

/// A damped sinusoid from p_fBegin_s on, amplitude 1 there.
inline double Swing(double t, double p_fFreq_Hz, double p_fRatio, double p_fBegin_s, double p_fPhase = 0.4)
{
    const double a = t - p_fBegin_s;
    return a < 0.0 ? 0.0 : std::exp(Rate(p_fFreq_Hz, p_fRatio) * a) * std::cos(TWO_PI * p_fFreq_Hz * a + p_fPhase);
}

/// Blocks of one sample each at these times.
inline SSeries Series(const std::vector<double>& p_vecTime_s, double p_fBlock_s, const auto& p_value)
{
    SSeries series;
    const auto n = static_cast<Eigen::Index>(p_vecTime_s.size());
    series.arrTime_s = Eigen::Map<const Eigen::ArrayXd>(p_vecTime_s.data(), n);
    series.arrValue = series.arrTime_s.unaryExpr(p_value);
    series.arrWeight = Eigen::ArrayXd::Ones(n);
    series.arrM2_s2 = Eigen::ArrayXd::Zero(n);
    series.fBlock_s = p_fBlock_s;
    return series;
}

inline std::vector<double> Times(double p_fBegin_s, double p_fEnd_s, double p_fStep_s)
{
    std::vector<double> vec;
    for (int i = 0; p_fBegin_s + i * p_fStep_s < p_fEnd_s; ++i)
        vec.push_back(p_fBegin_s + i * p_fStep_s);
    return vec;
}
} // namespace Signals
