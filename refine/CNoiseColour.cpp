#include "refine/CNoiseColour.h"
#include <algorithm>
#include <cmath>
#include <complex>

void CNoiseColour::Add(const SSeries& p_series, const Eigen::VectorXd& p_vecResid)
{
    m_fStep_s = p_series.fBlock_s;
    const Eigen::Index nSize = p_series.Size();
    for (Eigen::Index i = 0; i < nSize; ++i)
        for (Eigen::Index j = i; j < std::min(nSize, i + MAX_ORDER + 1); ++j)
        {
            const long nLag = std::lround((p_series.arrTime_s[j] - p_series.arrTime_s[i]) / m_fStep_s);
            if (nLag > MAX_ORDER)
                break;
            m_afSum[nLag] += p_vecResid[i] * p_vecResid[j];
            m_afCount[nLag] += 1.0;
        }
}

void CNoiseColour::Fit()
{
    const double n = m_afCount[0], fVar = n > 0.0 ? m_afSum[0] / n : 0.0;
    m_nOrder = 0;
    m_fInnovation = 1.0;
    if (fVar <= 0.0)
        return;
    double afTry[MAX_ORDER + 1] = {1.0}, fError = 1.0, fBest = 0.0;
    const int nMax = std::min(MAX_ORDER, static_cast<int>(n / 12.0));
    for (int p = 1; p <= nMax; ++p)
    {
        // products over n, as the theory of the biased estimate wants; missing neighbours are made up for
        const auto Rho = [&](int k)
        { return m_afCount[k] > 0.0 ? m_afSum[k] / m_afCount[k] * (1.0 - k / n) / fVar : 0.0; };
        double fSum = Rho(p);
        for (int k = 1; k < p; ++k)
            fSum += afTry[k] * Rho(p - k);
        const double fReflect = std::clamp(-fSum / fError, -0.99, 0.99);
        double afNext[MAX_ORDER + 1];
        std::copy(std::begin(afTry), std::end(afTry), std::begin(afNext));
        for (int k = 1; k < p; ++k)
            afNext[k] = afTry[k] + fReflect * afTry[p - k];
        afNext[p] = fReflect;
        std::copy(std::begin(afNext), std::end(afNext), std::begin(afTry));
        fError *= 1.0 - fReflect * fReflect;
        const double fCriterion = n * std::log(fError) + p * std::log(n);
        if (fCriterion < fBest)
        {
            fBest = fCriterion;
            m_nOrder = p;
            m_fInnovation = fError;
            std::copy(std::begin(afTry), std::end(afTry), std::begin(m_afCoef));
        }
    }
}

double CNoiseColour::Factor(double p_fOmega) const
{
    std::complex<double> sum = 1.0;
    for (int k = 1; k <= m_nOrder; ++k)
        sum += m_afCoef[k] * std::polar(1.0, -p_fOmega * m_fStep_s * k);
    return std::clamp(m_fInnovation / std::norm(sum), 0.2, 100.0);
}
