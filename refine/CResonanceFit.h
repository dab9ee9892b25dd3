#pragma once
#include <Eigen/Dense>
#include <vector>

/// Maximum-likelihood fit of resonances to a periodogram, after Whittle (1953).
///
/// Model    S(w) = c + d / w^2 + sum_r (a_r w_r^2 + b_r w^2) / ((w_r^2 - w^2)^2 + (2 z_r w_r w)^2):
///          measurement noise, drift, and damped resonances that white noise drives.
/// Method   the mean of m neighbouring ordinates is a gamma variate of shape m and mean S: minimum of
///          L = sum m (ln S + I / S) by Fisher scoring on the logarithms of all parameters.
/// Covariance  inverse of the Fisher matrix sum m grad(ln S) grad(ln S)'.
class CResonanceFit
{
  public:
    struct SOrdinate
    {
        double fOmega; ///< rad/s
        double fPower; ///< mean of the ordinates
        double fCount; ///< m; less for tapered data
    };
    struct SResonance
    {
        double fOmega; ///< w_r, undamped
        double fZeta;  ///< z_r, above 0
    };

    explicit CResonanceFit(const std::vector<SOrdinate>& p_vec) : m_vec(p_vec) {}

    /// Fits background alone, then resonances from these starts. @return false if nothing finite comes out
    bool Run(const std::vector<SResonance>& p_vecStart);

    double Loss() const { return m_fLoss; } ///< L; differences of it are log likelihood ratios
    SResonance Resonance(std::size_t p_i) const;
    std::size_t Resonances() const { return static_cast<std::size_t>(m_vecLog.size() - BACKGROUND) / PER; }
    /// Variance of ln w_r and ln z_r.
    double VarLogOmega(std::size_t p_i) const { return m_matCov(First(p_i), First(p_i)); }
    double VarLogZeta(std::size_t p_i) const { return m_matCov(First(p_i) + 1, First(p_i) + 1); }
    /// Power that a resonance stands for, over that of all ordinates.
    double Share(std::size_t p_i) const;
    /// Mean and excess over the fit: where the smoothed I / S is largest, in standard deviations. For a further resonance.
    struct SExcess
    {
        double fOmega, fDeviations;
    };
    SExcess Excess() const;

  private:
    static constexpr Eigen::Index BACKGROUND = 2; ///< ln c, ln d
    static constexpr Eigen::Index PER = 4;        ///< ln w, ln z, ln a, ln b
    static Eigen::Index First(std::size_t p_i) { return BACKGROUND + PER * static_cast<Eigen::Index>(p_i); }
    double Density(const Eigen::VectorXd& p_vecLog, double p_fOmega, Eigen::VectorXd* r_pvecGrad) const;
    double LossOf(const Eigen::VectorXd& p_vecLog) const;
    void Start(const std::vector<SResonance>& p_vecStart);
    void Clamp(Eigen::VectorXd& r_vecLog) const;

    const std::vector<SOrdinate>& m_vec;
    Eigen::VectorXd m_vecLog;
    Eigen::MatrixXd m_matCov;
    double m_fLoss = 0.0;
};
