#pragma once
#include "spectrum/fit/CFit.h"
#include <optional>

/// Polynomial least-squares fit by the normal equations and Cramer's rule: A c = T with A[i][j] = sum w x^(i+j), T[i] =
/// sum w y x^i; x is the channel number.
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

    /// Fits channels p_nFirst to p_nLast inclusive. False, without a message, if the matrix is singular.
    bool PolFit(unsigned p_nFirst, unsigned p_nLast, unsigned p_nDegree, int p_eWeight);
    bool CreateWeights(unsigned p_nFirst, unsigned p_nData, int p_eWeight);
    bool FreeMatrix();
    /// c0, c1, c2, ... in ascending order of the power.
    void SwapCoefs(VecCoef& r_vecCoefs) { m_pvecCoefs->swap(r_vecCoefs); }

  protected:
    // Members, to avoid the heap. There is room for a parabola and the widest usual peak.
    std::optional<Matrix> m_pmatMatrix;
    std::optional<boost::container::small_vector<double, 64>> m_pvecWeights{std::in_place};
    std::optional<boost::container::small_vector<double, 5>> m_pvecSumX{std::in_place};
    std::optional<VecCoef> m_pvecSumY{std::in_place};
    std::optional<VecCoef> m_pvecCoefs{std::in_place};

  private:
    void CalcSums(unsigned p_nFirst, unsigned p_nData, unsigned p_nCoefs);
    void FillMatrix(unsigned p_nCoefs);
    /// Gaussian elimination without pivoting; returns 0.0 if a diagonal element is below epsilon.
    static double Determinant(Matrix p_matrix);
};
