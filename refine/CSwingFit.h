#pragma once
#include "refine/SSeries.h"
#include <Eigen/Dense>
#include <vector>

/// Rate (1/s, negative decays) and angular frequency (rad/s) of one damped sinusoid.
struct SPole
{
    double fRate = 0.0;
    double fOmega = 0.0;
};

/// Least-squares fit of damped sinusoids, a low-order drift and steps of the mean to a series.
///
/// Model    y(t) = sum_d p_d P_d(t) + sum_s h_s [t >= t_s] + sum_k Re( C_k exp(s_k (t - t0)) ), C_k = c_k - i d_k,
///          P_d Legendre polynomials over the series, t0 its middle.
/// Method   variable projection: for given poles s_k the rest is linear and solved exactly; the poles follow by
///          Gauss-Newton steps on the projected Jacobian (Kaufman, 1975), halved until the residual falls. In white
///          noise this is the maximum-likelihood estimate. A block weighs as many samples as it holds.
/// Covariance  (J'WJ)^-1 of all parameters, for a noise variance of 1 a sample.
/// Owner    the series has to outlive the fit.
class CSwingFit
{
  public:
    CSwingFit(const SSeries& p_series, unsigned p_nDegree, std::vector<double> p_vecStep_s);

    /// Fits from these poles. @return false if the equations are singular; the results are then void.
    bool Run(const std::vector<SPole>& p_vecPole);

    const std::vector<SPole>& Poles() const { return m_vecPole; }
    double Rss() const { return m_fRss; }                          ///< weighted sum of squared residuals
    const Eigen::VectorXd& Residual() const { return m_vecResid; } ///< data less model, per block
    Eigen::Index Parameters() const { return m_nLinear + 2 * static_cast<Eigen::Index>(m_vecPole.size()); }

    /// Amplitude of swing p_iPole at p_fTime_s, and its unit standard deviation, with those of rate and angular frequency.
    struct SResult
    {
        double fAmpl, fAmplDev, fRateDev, fOmegaDev;
    };
    SResult Result(std::size_t p_iPole, double p_fTime_s) const;
    /// Height of step p_iStep of the mean.
    double Step(std::size_t p_iStep) const { return m_vecCoef[m_nDegree + 1 + static_cast<Eigen::Index>(p_iStep)]; }
    /// Sum of squares that swing p_iPole stands for over the series.
    double Energy(std::size_t p_iPole) const;
    /// Value of the swings named, without drift, steps and the other swings.
    Eigen::VectorXd Model(const std::vector<std::size_t>& p_veciPole) const;
    /// Sum of squared residuals that these poles would leave, as they are; -1 if the equations are singular.
    double RssFor(const std::vector<SPole>& p_vecPole) const;
    /// Probability that noise alone would let the residual fall as much as one more sinusoid does: the F test with 2 and n
    /// degrees of freedom, (1 + 2 F / n)^(-n/2). 1 where it cannot be asked.
    double ChanceOf(const SPole& p_pole) const;

  private:
    bool SolveLinear(const std::vector<SPole>& p_vecPole, Eigen::MatrixXd& r_matPhi, Eigen::VectorXd& r_vecCoef,
                     Eigen::VectorXd& r_vecResid, double& r_fRss) const;
    void FillPole(const SPole& p_pole, Eigen::Ref<Eigen::VectorXd> r_vecCos,
                  Eigen::Ref<Eigen::VectorXd> r_vecSin) const;
    void FillSlopes();
    Eigen::Index First(std::size_t p_iPole) const { return m_nBase + 2 * static_cast<Eigen::Index>(p_iPole); }

    const SSeries& m_series;
    Eigen::Index m_nDegree;
    Eigen::Index m_nBase;   ///< linear columns before those of the swings
    Eigen::Index m_nLinear; ///< all linear columns
    double m_fMid_s, m_fHalf_s;
    Eigen::VectorXd m_vecRoot;  ///< square roots of the weights
    Eigen::VectorXd m_vecData;  ///< weighted data
    Eigen::MatrixXd m_matBase;  ///< weighted drift and steps
    Eigen::MatrixXd m_matPhi;   ///< weighted linear columns
    Eigen::MatrixXd m_matSlope; ///< weighted derivatives by rate and angular frequency
    Eigen::VectorXd m_vecCoef, m_vecResid;
    Eigen::MatrixXd m_matCov; ///< linear parameters first, then rate and angular frequency of each swing
    std::vector<SPole> m_vecPole;
    double m_fRss = 0.0;
};
