#pragma once
#include "spectrum/fit/CFit.h"
#include <optional>

/// Polynomial least-squares fit by the normal equations and Cramer's rule:
/// A c = T with A[i][j] = sum w x^(i+j), T[i] = sum w y x^i, x the channel number.
class CFitLSQ : public CFit
{
  public:
    enum EWeight : int
    {
        eWeightNone = 0,  ///< 1
        eWeightSigma = 1, ///< (1 / sigma)^2
        eWeightData = 2   ///< 1 / |y|
    };

    using CFit::CFit;

    /// Fits channels p_nFirst to p_nLast inclusive. False, silently, for a singular matrix.
    bool PolFit(unsigned p_nFirst, unsigned p_nLast, unsigned p_nDegree, int p_eWeight);
    bool CreateWeights(unsigned p_nFirst, unsigned p_nData, int p_eWeight);
    bool FreeMatrix();
    /// c0, c1, c2, ... in ascending order of the power.
    void SwapCoefs(VecCoef& r_vecCoefs) { m_pvecCoefs->swap(r_vecCoefs); }

  protected:
    // They stand in the object, without heap; room for the widest of usual peaks and a parabola.
    std::optional<Matrix> m_pmatMatrix;
    std::optional<boost::container::small_vector<double, 64>> m_pvecWeights{std::in_place};
    std::optional<boost::container::small_vector<double, 5>> m_pvecSumX{std::in_place};
    std::optional<VecCoef> m_pvecSumY{std::in_place};
    std::optional<VecCoef> m_pvecCoefs{std::in_place};

  private:
    void CalcSums(unsigned p_nFirst, unsigned p_nData, unsigned p_nCoefs);
    void FillMatrix(unsigned p_nCoefs);
    /// Gaussian elimination without pivoting; a diagonal element below epsilon gives 0.0.
    static double Determinant(Matrix p_matrix);
};
