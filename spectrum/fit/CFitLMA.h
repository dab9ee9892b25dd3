#pragma once
#include "spectrum/fit/CFit.h"

/// Levenberg-Marquardt fit of a model with few parameters. Runs exactly ten steps; there is no other stopping rule.
/// alpha = sum dy/da_j dy/da_k, beta = sum (y - model) dy/da_j; each step solves alpha with its diagonal multiplied by
/// (1 + lambda).
class CFitLMA : public CFit
{
  public:
    CFitLMA(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace);
    CFitLMA(std::valarray<double>&&, CTraceOMA*) = delete;
    virtual ~CFitLMA() = default;
    CFitLMA(const CFitLMA&) = delete;
    CFitLMA& operator=(const CFitLMA&) = delete;

    /// Sets the start values of the coefficients.
    bool PresetCoefs(const VecCoef& p_vecCoefs);

  protected:
    using VecParam = boost::container::small_vector<unsigned, 3>;

    /// Model value and its derivatives with respect to the coefficients at channel p_fX.
    virtual bool Model(double p_fX, const VecCoef& p_vecCoef, double* p_pfY, VecCoef* p_pvecDyDa) const = 0;
    /// Fits m_vecCoefs to channels p_nLeft to p_nRight. p_vecFree lists the parameters that may change.
    /// @return whether chi-square has decreased.
    bool RunLMA(unsigned p_nLeft, unsigned p_nRight, VecParam p_vecFree);

    VecCoef m_vecCoefs;

  private:
    bool CompleteList(VecParam& r_vecParam) const;
    bool CalcSums(unsigned p_nLeft, unsigned p_nRight, const VecCoef& p_vecCoef, const VecParam& p_vecParam,
                  std::size_t p_nFree, Matrix& r_matAlpha, VecCoef& r_vecBeta);
    bool ZeroFill(Matrix& r_matrix) const;
    /// Gauss-Jordan elimination with full pivoting; the solution replaces r_vecRight.
    static bool GaussJordan(Matrix& r_matrix, VecCoef& r_vecRight);
};
