#include "refine/CResonanceFit.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr int MAX_STEPS = 60;
constexpr double PRIOR = 1e-3; ///< keeps parameters that the data say nothing of from running away

/// c, d, a and b are told in units of this power, so that one range of logarithms fits all.
double Level(const std::vector<CResonanceFit::SOrdinate>& p_vec)
{
    std::vector<double> vec;
    for (const auto& o : p_vec)
        vec.push_back(o.fPower);
    std::nth_element(vec.begin(), vec.begin() + static_cast<long>(vec.size() / 2), vec.end());
    return std::max(vec[vec.size() / 2], 1e-300);
}
} // namespace

CResonanceFit::SResonance CResonanceFit::Resonance(std::size_t p_i) const
{
    return {std::exp(m_vecLog[First(p_i)]), std::exp(m_vecLog[First(p_i) + 1])};
}

double CResonanceFit::Density(const Eigen::VectorXd& p_vecLog, double p_fOmega, Eigen::VectorXd* r_pvecGrad) const
{
    const double w2 = p_fOmega * p_fOmega, fNoise = std::exp(p_vecLog[0]), fDrift = std::exp(p_vecLog[1]) / w2;
    double fSum = fNoise + fDrift;
    if (r_pvecGrad)
        *r_pvecGrad << fNoise, fDrift, Eigen::VectorXd::Zero(p_vecLog.size() - BACKGROUND);
    for (std::size_t r = 0; r < Resonances(); ++r)
    {
        const Eigen::Index k = First(r);
        const double r2 = std::exp(2.0 * p_vecLog[k]), z2 = std::exp(2.0 * p_vecLog[k + 1]);
        const double fGap = r2 - w2, fWidth = 4.0 * z2 * r2 * w2, fDen = fGap * fGap + fWidth;
        const double a = std::exp(p_vecLog[k + 2]) * r2 / fDen, b = std::exp(p_vecLog[k + 3]) * w2 / fDen;
        fSum += a + b;
        if (r_pvecGrad)
            r_pvecGrad->segment<4>(k) << 2.0 * a - (a + b) * (4.0 * fGap * r2 + 2.0 * fWidth) / fDen,
                -(a + b) * 2.0 * fWidth / fDen, a, b;
    }
    if (r_pvecGrad)
        *r_pvecGrad /= fSum;
    return fSum;
}

double CResonanceFit::LossOf(const Eigen::VectorXd& p_vecLog) const
{
    double fSum = 0.0;
    for (const SOrdinate& o : m_vec)
    {
        const double fDensity = Density(p_vecLog, o.fOmega, nullptr);
        fSum += o.fCount * (std::log(fDensity) + o.fPower / fDensity);
    }
    return fSum;
}

void CResonanceFit::Clamp(Eigen::VectorXd& r_vecLog) const
{
    for (std::size_t r = 0; r < Resonances(); ++r)
    {
        double& r_fOmega = r_vecLog[First(r)];
        r_fOmega = std::clamp(r_fOmega, std::log(m_vec.front().fOmega), std::log(m_vec.back().fOmega));
        double& r_fZeta = r_vecLog[First(r) + 1];
        r_fZeta = std::clamp(r_fZeta, std::log(1e-4), std::log(0.9));
    }
}

void CResonanceFit::Start(const std::vector<SResonance>& p_vecStart)
{
    const double fLevel = Level(m_vec);
    m_vecLog.resize(BACKGROUND + PER * static_cast<Eigen::Index>(p_vecStart.size()));
    m_vecLog[0] = std::log(0.5 * fLevel);
    m_vecLog[1] = std::log(0.1 * fLevel * m_vec.front().fOmega * m_vec.front().fOmega);
    for (std::size_t r = 0; r < p_vecStart.size(); ++r)
    {
        const double w = p_vecStart[r].fOmega, z = p_vecStart[r].fZeta;
        double fSum = 0.0, fCount = 1e-9; // mean power over the width of the resonance
        for (const SOrdinate& o : m_vec)
            if (std::abs(o.fOmega - w) < std::max(z * w, 2.0 * (m_vec[1].fOmega - m_vec[0].fOmega)))
            {
                fSum += o.fPower * o.fCount;
                fCount += o.fCount;
            }
        const double fHeight = std::max(fSum / fCount, fLevel);
        m_vecLog.segment<4>(First(r)) << std::log(w), std::log(z), std::log(2.0 * fHeight * z * z * w * w),
            std::log(2.0 * fHeight * z * z * w * w);
    }
}

bool CResonanceFit::Run(const std::vector<SResonance>& p_vecStart)
{
    if (m_vec.size() < 20)
        return false;
    Start(p_vecStart);
    const Eigen::Index n = m_vecLog.size();
    double fDamping = 1e-2;
    m_fLoss = LossOf(m_vecLog);
    Eigen::VectorXd vecGrad(n);
    Eigen::MatrixXd matFisher(n, n);
    for (int nStep = 0; nStep < MAX_STEPS && std::isfinite(m_fLoss); ++nStep)
    {
        Eigen::VectorXd vecSide = Eigen::VectorXd::Zero(n);
        matFisher.setZero();
        for (const SOrdinate& o : m_vec)
        {
            const double fDensity = Density(m_vecLog, o.fOmega, &vecGrad);
            vecSide += o.fCount * (o.fPower / fDensity - 1.0) * vecGrad;
            matFisher.noalias() += o.fCount * vecGrad * vecGrad.transpose();
        }
        matFisher.diagonal().array() += PRIOR;
        double fFall = -1.0;
        while (fFall < 0.0 && fDamping < 1e8)
        {
            Eigen::MatrixXd mat = matFisher;
            mat.diagonal() *= 1.0 + fDamping;
            Eigen::VectorXd vecStep = mat.ldlt().solve(vecSide);
            vecStep *= std::min(1.0, 1.0 / std::max(1e-12, vecStep.cwiseAbs().maxCoeff()));
            Eigen::VectorXd vecTry = m_vecLog + vecStep;
            Clamp(vecTry);
            const double fLoss = LossOf(vecTry);
            fFall = std::isfinite(fLoss) ? m_fLoss - fLoss : -1.0;
            fDamping = fFall < 0.0 ? fDamping * 8.0 : std::max(1e-9, fDamping * 0.2);
            if (fFall >= 0.0)
            {
                m_vecLog = vecTry;
                m_fLoss = fLoss;
            }
        }
        if (fFall < 1e-4)
            break;
    }
    m_matCov = matFisher.inverse();
    return std::isfinite(m_fLoss) && m_matCov.allFinite();
}

double CResonanceFit::Share(std::size_t p_i) const
{
    double fOwn = 0.0, fAll = 0.0;
    Eigen::VectorXd vecGrad(m_vecLog.size());
    for (const SOrdinate& o : m_vec)
    {
        const double fDensity = Density(m_vecLog, o.fOmega, &vecGrad);
        fOwn += o.fCount * fDensity * (vecGrad[First(p_i) + 2] + vecGrad[First(p_i) + 3]);
        fAll += o.fCount * fDensity;
    }
    return fOwn / fAll;
}

CResonanceFit::SExcess CResonanceFit::Excess() const
{
    SExcess best{0.0, 0.0};
    const std::size_t nSize = m_vec.size();
    std::vector<double> vecSum(nSize + 1, 0.0), vecCount(nSize + 1, 0.0);
    for (std::size_t i = 0; i < nSize; ++i)
    {
        vecSum[i + 1] =
            vecSum[i] + m_vec[i].fCount * (m_vec[i].fPower / Density(m_vecLog, m_vec[i].fOmega, nullptr) - 1.0);
        vecCount[i + 1] = vecCount[i] + m_vec[i].fCount;
    }
    for (const std::size_t nWidth : {4u, 8u, 16u, 32u})
        for (std::size_t i = 0; i + nWidth <= nSize; ++i)
        {
            const double f = (vecSum[i + nWidth] - vecSum[i]) / std::sqrt(vecCount[i + nWidth] - vecCount[i]);
            if (f > best.fDeviations)
                best = {m_vec[i + nWidth / 2].fOmega, f};
        }
    return best;
}
