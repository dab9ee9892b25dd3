#pragma once
#include "refine/SSeries.h"
#include <complex>
#include <memory>
#include <vector>

/// Periodogram of a residual on a grid of blocks; blocks that are missing count as 0 weight.
/// Threads  one thread an object: the transform keeps its tables.
class CSpectrum
{
  public:
    CSpectrum();
    ~CSpectrum();

    struct SPeak
    {
        double fOmega = 0.0; ///< rad/s, between channels by a parabola; 0: none
        double fRatio = 0.0; ///< |sum w r exp(-i omega t)|^2 / sum w (w r^2): in white noise exponential with mean 1
    };
    /// Largest peak between the limits. @param p_vecResid residual times the square root of the weight, per block
    SPeak Peak(const SSeries& p_series, const Eigen::VectorXd& p_vecResid, double p_fOmegaMin, double p_fOmegaMax);

    /// Transform of real values padded to p_nLength; channels 0 to p_nLength / 2.
    const std::vector<std::complex<double>>& Transform(const std::vector<double>& p_vecfValue, std::size_t p_nLength);

  private:
    struct SWork;
    std::unique_ptr<SWork> m_pWork;
};
