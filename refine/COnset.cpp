#include "refine/COnset.h"
#include <cmath>

namespace
{
constexpr int MAX_SWITCHED = 6; ///< step, slope, two swings
constexpr int MAX_BASE = 6;     ///< drift of first order, two swings
constexpr double RIDGE = 1e-7;  ///< keeps rounding out where a switched column is one of the base: the first blocks
using CSwitched = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, MAX_SWITCHED, MAX_SWITCHED>;
using CCross = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, MAX_BASE, MAX_SWITCHED>;
using CSide = Eigen::Matrix<double, Eigen::Dynamic, 1, 0, MAX_SWITCHED, 1>;

/// Weighted columns: step, slope, then cosine and sine of each swing, each of about unit size.
Eigen::MatrixXd SwitchedColumns(const SSeries& p_series, const std::vector<SPole>& p_vecPole)
{
    const Eigen::ArrayXd arrRoot = p_series.arrWeight.sqrt();
    const Eigen::ArrayXd arrTime = p_series.arrTime_s - p_series.arrTime_s.mean();
    Eigen::MatrixXd mat(p_series.Size(), 2 + 2 * static_cast<Eigen::Index>(p_vecPole.size()));
    const double fSpan_s = std::max(1e-9, arrTime.maxCoeff() - arrTime.minCoeff());
    mat.col(0) = arrRoot;
    mat.col(1) = arrRoot * arrTime / fSpan_s;
    const double fMaxRate = 60.0 / fSpan_s;
    for (std::size_t k = 0; k < p_vecPole.size(); ++k)
    {
        const Eigen::ArrayXd arrSize = arrRoot * (std::clamp(p_vecPole[k].fRate, -fMaxRate, fMaxRate) * arrTime).exp();
        mat.col(2 + 2 * static_cast<Eigen::Index>(k)) = arrSize * (p_vecPole[k].fOmega * arrTime).cos();
        mat.col(3 + 2 * static_cast<Eigen::Index>(k)) = arrSize * (p_vecPole[k].fOmega * arrTime).sin();
    }
    return mat;
}

/// v' M^-1 v for a symmetric M that may be singular: M is what the base has left of the columns.
double Explained(CSwitched p_mat, CSide p_vec)
{
    for (Eigen::Index i = 0; i < p_mat.cols(); ++i)
    {
        const double f = 1.0 / std::sqrt(std::max(p_mat(i, i), 1e-300));
        p_mat.row(i) *= f;
        p_mat.col(i) *= f;
        p_vec[i] *= f;
        p_mat(i, i) += 1e-9;
    }
    return std::max(0.0, p_vec.dot(p_mat.llt().solve(p_vec)));
}

void Spread(const SSeries& p_series, const Eigen::VectorXd& p_vecRss, COnset::SOnset& r_onset)
{
    const Eigen::Index nSize = p_vecRss.size();
    const double fLeast = p_vecRss[r_onset.nFirst];
    double fSum = 0.0, fMean = 0.0, fSquare = 0.0;
    Eigen::VectorXd vecLikely(nSize);
    for (Eigen::Index i = 0; i < nSize; ++i)
    {
        vecLikely[i] = std::exp(-0.5 * static_cast<double>(p_series.Size()) * std::log(p_vecRss[i] / fLeast));
        // an onset inside a block leaves half of it on either side
        const double fTime = p_series.arrTime_s[i] - 0.5 * p_series.fBlock_s - p_series.arrTime_s[r_onset.nFirst];
        fSum += vecLikely[i];
        fMean += vecLikely[i] * fTime;
        fSquare += vecLikely[i] * fTime * fTime;
    }
    fMean /= fSum;
    r_onset.fFirst_s = p_series.arrTime_s[r_onset.nFirst] - 0.5 * p_series.fBlock_s;
    r_onset.fTime_s = p_series.arrTime_s[r_onset.nFirst] + fMean;
    r_onset.fDev_s =
        std::sqrt(std::max(0.0, fSquare / fSum - fMean * fMean) + p_series.fBlock_s * p_series.fBlock_s / 12.0);
    double fLater = 0.0;
    r_onset.nSafe = nSize - 1;
    while (r_onset.nSafe > r_onset.nFirst && (fLater += vecLikely[r_onset.nSafe]) < 1e-3 * fSum)
        --r_onset.nSafe;
    r_onset.nSafe = std::min(r_onset.nSafe + 1, p_series.Size() - 1); // the onset may lie within the first block
}
} // namespace

COnset::SOnset COnset::Locate(const SSeries& p_series, const std::vector<SPole>& p_vecPole, bool p_bStanding,
                              Eigen::Index p_nMargin)
{
    SOnset onset;
    const Eigen::Index nSize = p_series.Size(), nEnd = nSize - std::max<Eigen::Index>(p_nMargin, 1);
    if (nEnd < 2)
        return onset;
    const Eigen::MatrixXd matSwitched = SwitchedColumns(p_series, p_vecPole);
    const Eigen::Index nSwitched = matSwitched.cols(), nBase = p_bStanding ? nSwitched : 2;
    Eigen::MatrixXd matBase = matSwitched.leftCols(nBase);
    for (Eigen::Index b = 0; b < nBase; ++b) // orthonormal, twice for the digits
        for (int nPass = 0; nPass < 2; ++nPass)
        {
            for (Eigen::Index a = 0; a < b; ++a)
                matBase.col(b) -= matBase.col(a).dot(matBase.col(b)) * matBase.col(a);
            matBase.col(b).normalize();
        }
    Eigen::VectorXd vecData = matSwitched.col(0).array() * p_series.arrValue;
    for (int nPass = 0; nPass < 2; ++nPass)
        vecData -= matBase * (matBase.transpose() * vecData);
    const double fRssNone = std::max(vecData.squaredNorm(), 1e-300);

    CSwitched matGram = CSwitched::Zero(nSwitched, nSwitched);
    CCross matCross = CCross::Zero(nBase, nSwitched);
    CSide vecSide = CSide::Zero(nSwitched);
    Eigen::VectorXd vecRss = Eigen::VectorXd::Constant(nEnd, fRssNone);
    const Eigen::MatrixXd matRows = matSwitched.transpose(), matBaseRows = matBase.transpose();
    for (Eigen::Index i = nSize - 1; i >= 0; --i)
    {
        matGram.noalias() += matRows.col(i) * matRows.col(i).transpose();
        matCross.noalias() += matBaseRows.col(i) * matRows.col(i).transpose();
        vecSide.noalias() += vecData[i] * matRows.col(i);
        if (i >= nEnd)
            continue;
        CSwitched mat = matGram - matCross.transpose() * matCross;
        mat.diagonal() += RIDGE * matGram.diagonal();
        vecRss[i] = std::max(fRssNone - Explained(mat, vecSide), 1e-12 * fRssNone);
        if (i == nEnd - 1 || vecRss[i] < vecRss[onset.nFirst])
        {
            onset.nFirst = i;
            onset.fGainStep = vecSide[0] * vecSide[0] / std::max(mat(0, 0), 1e-300);
        }
    }
    const double fNone = p_bStanding ? fRssNone : vecRss[0], n = static_cast<double>(nSize);
    onset.fGain = n * std::log(fNone / vecRss[onset.nFirst]);
    onset.fGainStep = -n * std::log(std::max(1e-12, 1.0 - onset.fGainStep / fRssNone));
    Spread(p_series, vecRss, onset);
    return onset;
}
