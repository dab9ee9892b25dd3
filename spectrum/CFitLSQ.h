#pragma once
#include "spectrum/CFit.h"
#include <memory>
#include <vector>

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

    CFitLSQ(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace, const std::valarray<double>& p_vecSigma);

    /// Fits channels p_nFirst to p_nLast inclusive. False, silently, for a singular matrix.
    bool PolFit(unsigned p_nFirst, unsigned p_nLast, unsigned p_nDegree, int p_eWeight);
    bool CreateWeights(unsigned p_nFirst, unsigned p_nData, int p_eWeight);
    bool FreeMatrix();
    /// c0, c1, c2, ... in ascending order of the power.
    const std::vector<double>& GetCoefs() const { return *m_pvecCoefs; }
    void SwapCoefs(std::vector<double>& r_vecCoefs) { m_pvecCoefs->swap(r_vecCoefs); }

  protected:
    using Matrix = std::vector<std::vector<double>>;

    std::unique_ptr<Matrix> m_pmatMatrix;
    std::unique_ptr<std::vector<double>> m_pvecWeights;
    std::unique_ptr<std::vector<double>> m_pvecSumX;
    std::unique_ptr<std::vector<double>> m_pvecSumY;
    std::unique_ptr<std::vector<double>> m_pvecCoefs;

  private:
    void CalcSums(unsigned p_nFirst, unsigned p_nData, unsigned p_nCoefs);
    void FillMatrix(unsigned p_nCoefs);
    /// Gaussian elimination without pivoting; a diagonal element below epsilon gives 0.0.
    static double Determinant(Matrix p_matrix);
};
