#include "refine/CSpectrum.h"
#include <bit>
#include <cmath>
#include <numbers>
#include <unsupported/Eigen/FFT>

struct CSpectrum::SWork
{
    Eigen::FFT<double> fft;
    std::vector<double> vecfTime, vecfResid;
    std::vector<std::complex<double>> veccFreq;
};

CSpectrum::CSpectrum() : m_pWork(std::make_unique<SWork>())
{
    m_pWork->fft.SetFlag(Eigen::FFT<double>::HalfSpectrum);
}
CSpectrum::~CSpectrum() = default;

const std::vector<std::complex<double>>& CSpectrum::Transform(const std::vector<double>& p_vecfValue,
                                                              std::size_t p_nLength)
{
    m_pWork->vecfTime.assign(p_nLength, 0.0);
    std::copy(p_vecfValue.begin(), p_vecfValue.end(), m_pWork->vecfTime.begin());
    m_pWork->fft.fwd(m_pWork->veccFreq, m_pWork->vecfTime);
    return m_pWork->veccFreq;
}

CSpectrum::SPeak CSpectrum::Peak(const SSeries& p_series, const Eigen::VectorXd& p_vecResid, double p_fOmegaMin,
                                 double p_fOmegaMax)
{
    const Eigen::Index nSize = p_series.Size();
    if (nSize < 4)
        return {};
    const double fBegin_s = p_series.arrTime_s[0], fStep_s = p_series.fBlock_s;
    const auto nGrid = static_cast<std::size_t>(std::lround((p_series.arrTime_s[nSize - 1] - fBegin_s) / fStep_s)) + 1;
    std::vector<double>& r_vec = m_pWork->vecfResid;
    r_vec.assign(nGrid, 0.0);
    double fPower = 0.0;
    for (Eigen::Index i = 0; i < nSize; ++i)
    {
        const double f = p_vecResid[i] * std::sqrt(p_series.arrWeight[i]);
        r_vec[std::min(nGrid - 1,
                       static_cast<std::size_t>(std::lround((p_series.arrTime_s[i] - fBegin_s) / fStep_s)))] += f;
        fPower += f * f;
    }
    const std::size_t nLength = std::bit_ceil(4 * nGrid);
    const auto& vec = Transform(r_vec, nLength);
    const double fChannel = 2.0 * std::numbers::pi / (static_cast<double>(nLength) * fStep_s);
    const auto nLo = static_cast<std::size_t>(std::max(1.0, std::ceil(p_fOmegaMin / fChannel)));
    const std::size_t nHi = std::min(nLength / 2 - 1, static_cast<std::size_t>(p_fOmegaMax / fChannel));
    std::size_t nBest = 0;
    for (std::size_t k = nLo; k <= nHi; ++k)
        if (nBest == 0 || std::norm(vec[k]) > std::norm(vec[nBest]))
            nBest = k;
    if (nBest == 0 || fPower <= 0.0)
        return {};
    const double a = std::norm(vec[nBest - 1]), b = std::norm(vec[nBest]), c = std::norm(vec[nBest + 1]);
    const double fCurve = a - 2.0 * b + c;
    const double fShift = fCurve < 0.0 ? std::clamp(0.5 * (a - c) / fCurve, -0.5, 0.5) : 0.0;
    return {(static_cast<double>(nBest) + fShift) * fChannel, b / fPower};
}
