#include "refine/CSwingFit.h"
#include <cmath>
#include <complex>

namespace
{
constexpr int MAX_STEPS = 25;
constexpr double CONVERGED = 1e-3; ///< steps below this part of a standard deviation end the search

/// Solves A x = b by Cholesky after scaling the diagonal to 1: columns of very different size do no harm.
struct CScaledCholesky
{
    explicit CScaledCholesky(const Eigen::MatrixXd& p_mat)
        : m_vecScale(p_mat.diagonal().cwiseMax(1e-300).cwiseSqrt().cwiseInverse()),
          m_llt(m_vecScale.asDiagonal() * p_mat * m_vecScale.asDiagonal())
    {
    }
    bool IsGood() const { return m_llt.info() == Eigen::Success && m_llt.rcond() > 1e-13; }
    Eigen::MatrixXd Solve(const Eigen::MatrixXd& p_mat) const
    {
        return m_vecScale.asDiagonal() * m_llt.solve(m_vecScale.asDiagonal() * p_mat);
    }

    Eigen::VectorXd m_vecScale;
    Eigen::LLT<Eigen::MatrixXd> m_llt;
};

Eigen::MatrixXd Gram(const Eigen::MatrixXd& p_mat)
{
    Eigen::MatrixXd mat = Eigen::MatrixXd::Zero(p_mat.cols(), p_mat.cols());
    mat.selfadjointView<Eigen::Lower>().rankUpdate(p_mat.transpose());
    return mat.selfadjointView<Eigen::Lower>();
}
} // namespace

CSwingFit::CSwingFit(const SSeries& p_series, unsigned p_nDegree, std::vector<double> p_vecStep_s)
    : m_series(p_series), m_nDegree(p_nDegree), m_nBase(p_nDegree + 1 + static_cast<Eigen::Index>(p_vecStep_s.size())),
      m_nLinear(m_nBase), m_fMid_s(0.5 * (p_series.arrTime_s[0] + p_series.arrTime_s[p_series.Size() - 1])),
      m_fHalf_s(std::max(1e-9, p_series.arrTime_s[p_series.Size() - 1] - m_fMid_s)),
      m_vecRoot(p_series.arrWeight.sqrt().matrix()), m_vecData(m_vecRoot.array() * p_series.arrValue),
      m_matBase(p_series.Size(), m_nBase)
{
    const Eigen::ArrayXd arrU = (p_series.arrTime_s - m_fMid_s) / m_fHalf_s;
    m_matBase.col(0) = m_vecRoot;
    if (p_nDegree > 0)
        m_matBase.col(1) = m_vecRoot.array() * arrU;
    for (Eigen::Index d = 2; d <= static_cast<Eigen::Index>(p_nDegree);
         ++d) // Legendre: d P_d = (2d-1) u P_d-1 - (d-1) P_d-2
        m_matBase.col(d) =
            ((2.0 * d - 1.0) * arrU * m_matBase.col(d - 1).array() - (d - 1.0) * m_matBase.col(d - 2).array()) / d;
    for (std::size_t i = 0; i < p_vecStep_s.size(); ++i)
        m_matBase.col(p_nDegree + 1 + static_cast<Eigen::Index>(i)) =
            (p_series.arrTime_s >= p_vecStep_s[i]).select(m_vecRoot.array(), 0.0);
}

void CSwingFit::FillPole(const SPole& p_pole, Eigen::Ref<Eigen::VectorXd> r_vecCos,
                         Eigen::Ref<Eigen::VectorXd> r_vecSin) const
{
    const std::complex<double> s(p_pole.fRate, p_pole.fOmega);
    for (Eigen::Index i = 0; i < m_series.Size(); ++i)
    {
        const double t = m_series.arrTime_s[i] - m_fMid_s;
        const double fSize = std::exp(p_pole.fRate * t) * m_vecRoot[i];
        const std::complex<double> g =
            std::complex<double>(fSize * std::cos(p_pole.fOmega * t), fSize * std::sin(p_pole.fOmega * t)) *
            (1.0 + 0.5 * m_series.arrM2_s2[i] * s * s);
        r_vecCos[i] = g.real();
        r_vecSin[i] = g.imag();
    }
}

bool CSwingFit::SolveLinear(const std::vector<SPole>& p_vecPole, Eigen::MatrixXd& r_matPhi, Eigen::VectorXd& r_vecCoef,
                            Eigen::VectorXd& r_vecResid, double& r_fRss) const
{
    const Eigen::Index nColumns = m_nBase + 2 * static_cast<Eigen::Index>(p_vecPole.size());
    if (m_series.Size() <= nColumns)
        return false;
    r_matPhi.resize(m_series.Size(), nColumns);
    r_matPhi.leftCols(m_nBase) = m_matBase;
    for (std::size_t k = 0; k < p_vecPole.size(); ++k)
        FillPole(p_vecPole[k], r_matPhi.col(First(k)), r_matPhi.col(First(k) + 1));
    const CScaledCholesky solver(Gram(r_matPhi));
    if (!solver.IsGood())
        return false;
    r_vecCoef = solver.Solve(r_matPhi.transpose() * m_vecData);
    r_vecResid = m_vecData - r_matPhi * r_vecCoef;
    // once more on the residual: large means beside small swings cost the normal equations half their digits
    const Eigen::VectorXd vecMend = solver.Solve(r_matPhi.transpose() * r_vecResid);
    r_vecCoef += vecMend;
    r_vecResid -= r_matPhi * vecMend;
    r_fRss = r_vecResid.squaredNorm();
    return std::isfinite(r_fRss);
}

double CSwingFit::RssFor(const std::vector<SPole>& p_vecPole) const
{
    Eigen::MatrixXd matPhi;
    Eigen::VectorXd vecCoef, vecResid;
    double fRss = 0.0;
    return SolveLinear(p_vecPole, matPhi, vecCoef, vecResid, fRss) ? fRss : -1.0;
}

void CSwingFit::FillSlopes()
{
    // x = Re(C g), C = c - i d: dx/drate = Re(C g'), dx/domega = Re(i C g'), g' = exp(st) (t (1 + s^2 m2/2) + s m2)
    m_matSlope.resize(m_series.Size(), 2 * static_cast<Eigen::Index>(m_vecPole.size()));
    for (std::size_t k = 0; k < m_vecPole.size(); ++k)
    {
        const std::complex<double> s(m_vecPole[k].fRate, m_vecPole[k].fOmega),
            c(m_vecCoef[First(k)], -m_vecCoef[First(k) + 1]);
        for (Eigen::Index i = 0; i < m_series.Size(); ++i)
        {
            const double t = m_series.arrTime_s[i] - m_fMid_s, m2 = m_series.arrM2_s2[i];
            const std::complex<double> g(m_matPhi(i, First(k)), m_matPhi(i, First(k) + 1));
            const std::complex<double> x = c * g * (t + s * m2 / (1.0 + 0.5 * m2 * s * s));
            m_matSlope(i, 2 * static_cast<Eigen::Index>(k)) = x.real();
            m_matSlope(i, 2 * static_cast<Eigen::Index>(k) + 1) = -x.imag();
        }
    }
}

bool CSwingFit::Run(const std::vector<SPole>& p_vecPole)
{
    m_vecPole = p_vecPole;
    m_nLinear = First(m_vecPole.size());
    if (m_series.Size() <= Parameters() || !SolveLinear(m_vecPole, m_matPhi, m_vecCoef, m_vecResid, m_fRss))
        return false;
    const auto nPoles = static_cast<Eigen::Index>(m_vecPole.size());
    const double fMaxRate = 20.0 / m_fHalf_s; // e^40 from end to end
    Eigen::MatrixXd matTryPhi;
    Eigen::VectorXd vecTryCoef, vecTryResid;
    Eigen::MatrixXd matAll;
    for (int nStep = 0;; ++nStep)
    {
        FillSlopes();
        matAll.resize(m_series.Size(), m_nLinear + 2 * nPoles);
        matAll << m_matPhi, m_matSlope;
        const CScaledCholesky solver(Gram(matAll));
        if (!solver.IsGood())
            return false;
        m_matCov = solver.Solve(Eigen::MatrixXd::Identity(matAll.cols(), matAll.cols()));
        if (nPoles == 0 || nStep == MAX_STEPS)
            break;
        const Eigen::VectorXd vecDelta = m_matCov.bottomRows(2 * nPoles) * (matAll.transpose() * m_vecResid);
        const double fNoise = m_fRss / static_cast<double>(m_series.Size() - matAll.cols());
        const Eigen::VectorXd vecDev = (m_matCov.diagonal().tail(2 * nPoles) * fNoise).cwiseMax(1e-30).cwiseSqrt();
        if ((vecDelta.array().abs() < CONVERGED * vecDev.array()).all())
            break;
        double fPart = std::min(1.0, 1.0 / (m_fHalf_s * vecDelta.cwiseAbs().maxCoeff()));
        bool bBetter = false;
        for (int nHalf = 0; nHalf < 12 && !bBetter; ++nHalf, fPart *= 0.5)
        {
            std::vector<SPole> vecTry = m_vecPole;
            for (Eigen::Index k = 0; k < nPoles; ++k)
            {
                SPole& r_pole = vecTry[static_cast<std::size_t>(k)];
                r_pole.fRate = std::clamp(r_pole.fRate + fPart * vecDelta[2 * k], -fMaxRate, fMaxRate);
                r_pole.fOmega = std::abs(r_pole.fOmega + fPart * vecDelta[2 * k + 1]);
            }
            double fRss = 0.0;
            bBetter = SolveLinear(vecTry, matTryPhi, vecTryCoef, vecTryResid, fRss) && fRss < m_fRss;
            if (bBetter)
            {
                m_vecPole = vecTry;
                m_matPhi.swap(matTryPhi);
                m_vecCoef.swap(vecTryCoef);
                m_vecResid.swap(vecTryResid);
                m_fRss = fRss;
            }
        }
        if (!bBetter)
            break;
    }
    return true;
}

CSwingFit::SResult CSwingFit::Result(std::size_t p_iPole, double p_fTime_s) const
{
    const Eigen::Index c = First(p_iPole), r = m_nLinear + 2 * static_cast<Eigen::Index>(p_iPole);
    const double fCos = m_vecCoef[c], fSin = m_vecCoef[c + 1], fMid = std::hypot(fCos, fSin);
    const double fAge_s = p_fTime_s - m_fMid_s, fAmpl = fMid * std::exp(m_vecPole[p_iPole].fRate * fAge_s);
    // ln A(t) = ln A(mid) + rate * age: its variance from those of the two and their covariance
    const double fU = fCos / (fMid * fMid), fV = fSin / (fMid * fMid);
    const double fVar = fU * fU * m_matCov(c, c) + fV * fV * m_matCov(c + 1, c + 1) +
                        2.0 * fU * fV * m_matCov(c, c + 1) + fAge_s * fAge_s * m_matCov(r, r) +
                        2.0 * fAge_s * (fU * m_matCov(c, r) + fV * m_matCov(c + 1, r));
    return {fAmpl, fAmpl * std::sqrt(std::max(0.0, fVar)), std::sqrt(m_matCov(r, r)),
            std::sqrt(m_matCov(r + 1, r + 1))};
}

double CSwingFit::Energy(std::size_t p_iPole) const
{
    return (m_matPhi.middleCols(First(p_iPole), 2) * m_vecCoef.segment(First(p_iPole), 2)).squaredNorm();
}

Eigen::VectorXd CSwingFit::Model(const std::vector<std::size_t>& p_veciPole) const
{
    Eigen::VectorXd vec = Eigen::VectorXd::Zero(m_series.Size());
    for (const std::size_t i : p_veciPole)
        vec += m_matPhi.middleCols(First(i), 2) * m_vecCoef.segment(First(i), 2);
    return vec.cwiseQuotient(m_vecRoot);
}

double CSwingFit::ChanceOf(const SPole& p_pole) const
{
    Eigen::MatrixXd mat(m_series.Size(), m_matPhi.cols() + m_matSlope.cols() + 2);
    mat.leftCols(m_matPhi.cols()) = m_matPhi;
    mat.middleCols(m_matPhi.cols(), m_matSlope.cols()) = m_matSlope;
    FillPole(p_pole, mat.col(mat.cols() - 2), mat.col(mat.cols() - 1));
    const Eigen::Index nFree = m_series.Size() - mat.cols();
    const CScaledCholesky solver(Gram(mat));
    if (nFree < 4 || !solver.IsGood())
        return 1.0;
    const Eigen::VectorXd vecSide = mat.transpose() * m_vecResid;
    const double fFall = std::min(m_fRss, vecSide.dot(solver.Solve(vecSide).col(0)));
    // F = (fall / 2) / (rest / n): 1 + 2 F / n = whole / rest
    return std::pow(1.0 - fFall / std::max(m_fRss, 1e-300), 0.5 * static_cast<double>(nFree));
}
