#include "spectrum/fit/CFitLSQ.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include <cmath>

namespace
{
constexpr std::string_view g_strClass = "CFitLSQ";
}

bool CFitLSQ::PolFit(unsigned p_nFirst, unsigned p_nLast, unsigned p_nDegree, int p_eWeight)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "PolFit");
    const unsigned nCoefs = p_nDegree + 1;
    if (nCoefs < 1)
        return trace.Error("At least 1 fit coef. required");
    const unsigned nData = IsRange(p_nFirst, p_nLast) ? p_nLast - p_nFirst + 1 : 0;
    if (nCoefs >= nData)
        return trace.Error("No of Data Points Must Exceed No of Coefficients!");
    if (!CreateWeights(p_nFirst, nData, p_eWeight))
        return false;
    CalcSums(p_nFirst, nData, nCoefs);

    m_fChiSq = 0.0;
    FillMatrix(nCoefs);
    const double fDet = Determinant(*m_pmatMatrix);
    if (std::abs(fDet) < g_fEpsilon)
        return false;
    m_pvecCoefs->assign(nCoefs, 0.0);
    for (unsigned k = 0; k < nCoefs; ++k)
    {
        Matrix matrix = *m_pmatMatrix;
        for (unsigned i = 0; i < nCoefs; ++i)
            matrix[i][k] = (*m_pvecSumY)[i];
        (*m_pvecCoefs)[k] = Determinant(std::move(matrix)) / fDet;
    }

    // Intended: omits the constant sum of w y^2. No result depends on the absolute chi-square.
    const VecCoef& vecCoef = *m_pvecCoefs;
    for (unsigned i = 0; i < nCoefs; ++i)
    {
        m_fChiSq += -2.0 * vecCoef[i] * (*m_pvecSumY)[i];
        for (unsigned j = 0; j < nCoefs; ++j)
            m_fChiSq += vecCoef[i] * vecCoef[j] * (*m_pvecSumX)[i + j];
    }
    m_fChiSq /= nData - nCoefs;
    return true;
}

bool CFitLSQ::CreateWeights(unsigned p_nFirst, unsigned p_nData, int p_eWeight)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CreateWeights");
    if (p_nData == 0 || !IsRange(p_nFirst, p_nFirst + p_nData - 1))
        return false;
    if (p_eWeight != eWeightNone && m_vecSigma.size() != m_vecData.size())
    {
        trace.Warning("Missing sigma values for specified weighting mode -> Using no weights");
        p_eWeight = eWeightNone;
    }
    m_pvecWeights->assign(p_nData, 1.0);
    for (unsigned i = 0; i < p_nData; ++i)
    {
        const double fData = std::abs(m_vecData[p_nFirst + i]);
        switch (p_eWeight)
        {
        case eWeightNone:
            break;
        case eWeightSigma:
            (*m_pvecWeights)[i] = 1.0 / m_vecSigma[p_nFirst + i] * (1.0 / m_vecSigma[p_nFirst + i]);
            break;
        case eWeightData:
            (*m_pvecWeights)[i] = fData > g_fEpsilon ? 1.0 / fData : 1.0;
            break;
        default:
            return trace.Error("Invalid Weighting Mode");
        }
    }
    return true;
}

void CFitLSQ::CalcSums(unsigned p_nFirst, unsigned p_nData, unsigned p_nCoefs)
{
    m_pvecSumX->assign(2 * p_nCoefs - 1, 0.0);
    m_pvecSumY->assign(p_nCoefs, 0.0);
    for (unsigned i = 0; i < p_nData; ++i)
    {
        const double fX = p_nFirst + i;
        double fTerm = (*m_pvecWeights)[i];
        for (double& r_fSum : *m_pvecSumX)
        {
            r_fSum += fTerm;
            fTerm *= fX;
        }
        fTerm = (*m_pvecWeights)[i] * m_vecData[p_nFirst + i];
        for (double& r_fSum : *m_pvecSumY)
        {
            r_fSum += fTerm;
            fTerm *= fX;
        }
    }
}

void CFitLSQ::FillMatrix(unsigned p_nCoefs)
{
    if (!m_pmatMatrix || m_pmatMatrix->size() != p_nCoefs)
        m_pmatMatrix.emplace(p_nCoefs, VecCoef(p_nCoefs, 0.0));
    for (unsigned i = 0; i < p_nCoefs; ++i)
        for (unsigned j = 0; j < p_nCoefs; ++j)
            (*m_pmatMatrix)[i][j] = (*m_pvecSumX)[i + j];
}

bool CFitLSQ::FreeMatrix()
{
    if (!m_pmatMatrix)
        return CMethodTrace(m_pTrace, g_strClass, "FreeMatrix").BadPointer("Invalid 'm_pmatMatrix' pointer");
    m_pmatMatrix.reset();
    return true;
}

double CFitLSQ::Determinant(Matrix p_matrix)
{
    const std::size_t nSize = p_matrix.size();
    double fDet = 1.0;
    for (std::size_t k = 0; k < nSize; ++k)
    {
        if (std::abs(p_matrix[k][k]) < g_fEpsilon)
            return 0.0;
        fDet *= p_matrix[k][k];
        for (std::size_t i = k + 1; i < nSize; ++i)
        {
            const double fFactor = p_matrix[i][k] / p_matrix[k][k];
            for (std::size_t j = k; j < nSize; ++j)
                p_matrix[i][j] -= fFactor * p_matrix[k][j];
        }
    }
    return fDet;
}
