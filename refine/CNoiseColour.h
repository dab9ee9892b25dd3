#pragma once
#include "refine/SSeries.h"

/// Spectrum of what a fit leaves over, as an autoregressive model, so that deviations hold in coloured noise too: the variance
/// of a sinusoid's parameters goes with the noise density at its frequency.
class CNoiseColour
{
  public:
    /// Takes lag products of a residual, already times the square roots of the weights. Call once a stretch, then Fit.
    void Add(const SSeries& p_series, const Eigen::VectorXd& p_vecResid);
    /// Yule-Walker (Levinson), order 0 to 6 by the criterion of Schwarz: order 0 means white.
    void Fit();
    /// Density at p_fOmega over the mean density, 1 in white noise; within 0.2 and 100.
    double Factor(double p_fOmega) const;

  private:
    static constexpr int MAX_ORDER = 6;
    double m_afSum[MAX_ORDER + 1] = {};
    double m_afCount[MAX_ORDER + 1] = {};
    double m_afCoef[MAX_ORDER + 1] = {1.0};
    int m_nOrder = 0;
    double m_fInnovation = 1.0; ///< variance of the innovation over that of the residual
    double m_fStep_s = 1.0;
};
