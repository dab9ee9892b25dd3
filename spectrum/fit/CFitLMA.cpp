#include "spectrum/fit/CFitLMA.h"
#include "host/base/CMethodTrace.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CFitLMA";
constexpr unsigned g_nSteps = 10;
} // namespace

CFitLMA::CFitLMA(const std::valarray<double>& p_vecData, CTraceOMA* p_pTrace) : CFit(p_vecData, p_pTrace) {}

bool CFitLMA::PresetCoefs(const VecCoef& p_vecCoefs)
{
    m_vecCoefs = p_vecCoefs;
    if (m_vecCoefs.empty())
        return CMethodTrace(m_pTrace, g_strClass, "PresetCoefs").Error("Cannot preset fit coefficients");
    return true;
}

bool CFitLMA::RunLMA(unsigned p_nLeft, unsigned p_nRight, VecParam p_vecFree)
{
    const std::size_t nFree = p_vecFree.size();
    if (!IsRange(p_nLeft, p_nRight) || nFree == 0 || !CompleteList(p_vecFree))
        return false;
    Matrix matAlpha(nFree, VecCoef(nFree));
    Matrix matCovar = matAlpha;
    VecCoef vecBeta(nFree);
    if (!CalcSums(p_nLeft, p_nRight, m_vecCoefs, p_vecFree, nFree, matAlpha, vecBeta))
        return false;
    const double fStart = m_fChiSq;
    double fAccepted = m_fChiSq;
    double fLambda = 0.001;
    for (unsigned nStep = 0; nStep < g_nSteps; ++nStep)
    {
        matCovar = matAlpha;
        for (std::size_t j = 0; j < nFree; ++j)
            matCovar[j][j] = matAlpha[j][j] * (1.0 + fLambda);
        VecCoef vecSolution = vecBeta;
        // If the system cannot be solved, the solution is unchanged; the step is tried and judged like any other.
        GaussJordan(matCovar, vecSolution);
        VecCoef vecTry = m_vecCoefs;
        for (std::size_t j = 0; j < nFree; ++j)
            vecTry[p_vecFree[j]] += vecSolution[j];
        if (!CalcSums(p_nLeft, p_nRight, vecTry, p_vecFree, nFree, matCovar, vecSolution))
            return false;
        if (m_fChiSq < fAccepted)
        {
            fLambda *= 0.1;
            fAccepted = m_fChiSq;
            matAlpha = matCovar;
            vecBeta = vecSolution;
            m_vecCoefs = vecTry;
        }
        else
        {
            fLambda *= 10.0;
            m_fChiSq = fAccepted;
        }
    }
    return m_fChiSq < fStart;
}

/// Appends the fixed parameters. @return false if a parameter is listed twice or does not exist.
bool CFitLMA::CompleteList(VecParam& r_vecParam) const
{
    VecParam vecnUsed(m_vecCoefs.size(), 0);
    for (const unsigned nParam : r_vecParam)
        if (nParam >= vecnUsed.size() || ++vecnUsed[nParam] > 1)
            return false;
    for (unsigned nParam = 0; nParam < vecnUsed.size(); ++nParam)
        if (vecnUsed[nParam] == 0)
            r_vecParam.push_back(nParam);
    return true;
}

bool CFitLMA::ZeroFill(Matrix& r_matrix) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ZeroFill");
    if (r_matrix.empty())
    {
        trace.Warning("Matrix without vectors");
        return false;
    }
    for (auto& vecRow : r_matrix)
    {
        if (vecRow.empty())
        {
            trace.Warning("Matrix vector without elements");
            return false;
        }
        std::fill(vecRow.begin(), vecRow.end(), 0.0);
    }
    return true;
}

bool CFitLMA::CalcSums(unsigned p_nLeft, unsigned p_nRight, const VecCoef& p_vecCoef, const VecParam& p_vecParam,
                       std::size_t p_nFree, Matrix& r_matAlpha, VecCoef& r_vecBeta)
{
    if (!ZeroFill(r_matAlpha))
        return false;
    std::fill(r_vecBeta.begin(), r_vecBeta.end(), 0.0);
    m_fChiSq = 0.0;
    VecCoef vecDyDa(p_vecCoef.size(), 0.0);
    for (unsigned nChan = p_nLeft; nChan <= p_nRight; ++nChan)
    {
        double fModel = 0.0;
        if (!Model(nChan, p_vecCoef, &fModel, &vecDyDa))
            return false;
        const double fDy = m_vecData[nChan] - fModel;
        for (std::size_t j = 0; j < p_nFree; ++j)
        {
            const double fDyDa = vecDyDa[p_vecParam[j]];
            for (std::size_t k = 0; k <= j; ++k)
                r_matAlpha[j][k] += fDyDa * vecDyDa[p_vecParam[k]];
            r_vecBeta[j] += fDy * fDyDa;
        }
        m_fChiSq += fDy * fDy;
    }
    for (std::size_t j = 1; j < p_nFree; ++j)
        for (std::size_t k = 0; k < j; ++k)
            r_matAlpha[k][j] = r_matAlpha[j][k];
    return true;
}

bool CFitLMA::GaussJordan(Matrix& r_matrix, VecCoef& r_vecRight)
{
    const std::size_t nSize = r_matrix.size();
    boost::container::small_vector<bool, 3> vecbPivot(nSize, false);
    for (std::size_t nTurn = 0; nTurn < nSize; ++nTurn)
    {
        double fBig = 0.0;
        std::size_t nRow = nSize;
        std::size_t nCol = nSize;
        for (std::size_t j = 0; j < nSize; ++j)
        {
            if (vecbPivot[j])
                continue;
            for (std::size_t k = 0; k < nSize; ++k)
                if (!vecbPivot[k] && fBig <= std::abs(r_matrix[j][k]))
                {
                    fBig = std::abs(r_matrix[j][k]);
                    nRow = j;
                    nCol = k;
                }
        }
        // Only NaN is left, or the pivot column has been used before.
        if (nRow == nSize || vecbPivot[nCol])
            return false;
        vecbPivot[nCol] = true;
        if (nRow != nCol)
        {
            r_matrix[nRow].swap(r_matrix[nCol]);
            std::swap(r_vecRight[nRow], r_vecRight[nCol]);
        }
        if (r_matrix[nCol][nCol] == 0.0)
            return false;
        const double fInv = 1.0 / r_matrix[nCol][nCol];
        for (double& r_fElem : r_matrix[nCol])
            r_fElem *= fInv;
        r_vecRight[nCol] *= fInv;
        for (std::size_t j = 0; j < nSize; ++j)
        {
            if (j == nCol)
                continue;
            const double fFactor = r_matrix[j][nCol];
            for (std::size_t k = 0; k < nSize; ++k)
                r_matrix[j][k] -= r_matrix[nCol][k] * fFactor;
            r_vecRight[j] -= r_vecRight[nCol] * fFactor;
        }
    }
    return true;
}
