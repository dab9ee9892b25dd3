#pragma once
#include "spectrum/CFit.h"
#include <vector>

/// Levenberg-Marquardt fit of a model with few parameters. Exactly ten steps, no other stopping rule.
/// alpha = sum dy/da_j dy/da_k, beta = sum (y - model) dy/da_j; a step solves alpha with diagonal * (1 + lambda).
class CFitLMA : public CFit
{
  public:
    CFitLMA(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace);
    virtual ~CFitLMA() = default;
    CFitLMA(const CFitLMA&) = delete;
    CFitLMA& operator=(const CFitLMA&) = delete;

    /// Start values of the coefficients.
    bool PresetCoefs(const std::vector<double>& p_vecCoefs);

  protected:
    using Matrix = std::vector<std::vector<double>>;

    /// Model value and its derivatives by the coefficients at channel p_fX.
    virtual bool Model(double p_fX, std::vector<double> p_vecCoef, double* p_pfY,
                       std::vector<double>* p_pvecDyDa) const = 0;
    /// Fits m_vecCoefs on channels p_nLeft to p_nRight; p_vecFree lists the parameters that may move.
    /// @return whether chi-square has become smaller.
    bool RunLMA(unsigned p_nLeft, unsigned p_nRight, std::vector<unsigned> p_vecFree);

    std::vector<double> m_vecCoefs;

  private:
    bool CompleteList(std::vector<unsigned>& r_vecParam) const;
    bool CalcSums(unsigned p_nLeft, unsigned p_nRight, const std::vector<double>& p_vecCoef,
                  const std::vector<unsigned>& p_vecParam, std::size_t p_nFree, Matrix& r_matAlpha,
                  std::vector<double>& r_vecBeta);
    bool ZeroFill(Matrix& r_matrix) const;
    /// Gauss-Jordan elimination with full pivoting; the solution replaces r_vecRight.
    static bool GaussJordan(Matrix& r_matrix, std::vector<double>& r_vecRight);
};
