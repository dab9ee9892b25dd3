#include "refine/CAmbient.h"
#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace
{
constexpr double TWO_PI = 2.0 * std::numbers::pi;
constexpr double MAX_HOLE_S = 2.0;
constexpr std::size_t MIN_BLOCKS = 64; ///< of a stretch
constexpr double TAPER = 0.05;         ///< part of the stretch at either end
constexpr double MERGE = 0.005;        ///< ordinates are joined up to this part of their frequency
constexpr double EXCESS = 6.0;         ///< deviations from which a further resonance is tried
constexpr double RESONANCE_GAIN =
    15.0; ///< least log likelihood ratio for each resonance: 4 parameters, looked for anywhere
constexpr std::size_t MAX_RESONANCES = 4;

/// Largest product of 2, 3 and 5 that is not above n: lengths that transform fast.
std::size_t SmoothLength(std::size_t n)
{
    for (; n > 1; --n)
    {
        std::size_t m = n;
        for (const std::size_t p : {2u, 3u, 5u})
            while (m % p == 0)
                m /= p;
        if (m == 1)
            break;
    }
    return n;
}

/// Removes mean and trend, tapers. @return sum of the squares of the window
double Window(const std::vector<double>& p_vecX, std::vector<double>& r_vecY)
{
    const double n = static_cast<double>(p_vecX.size());
    double fTaper = 0.0, s0 = 0.0, s1 = 0.0, s2 = 0.0, y0 = 0.0, y1 = 0.0;
    for (std::size_t i = 0; i < p_vecX.size(); ++i)
        if (const double u = static_cast<double>(i) / n - 0.5; p_vecX[i] != 0.0)
        {
            s0 += 1.0;
            s1 += u;
            s2 += u * u;
            y0 += r_vecY[i];
            y1 += u * r_vecY[i];
        }
    const double fSlope = (s0 * y1 - s1 * y0) / (s0 * s2 - s1 * s1), fMean = (y0 - fSlope * s1) / s0;
    for (std::size_t i = 0; i < p_vecX.size(); ++i)
    {
        const double u = (static_cast<double>(i) + 0.5) / n, fEdge = std::min({u, 1.0 - u, TAPER}) / TAPER;
        const double w = p_vecX[i] * 0.5 * (1.0 - std::cos(std::numbers::pi * fEdge));
        r_vecY[i] = w * (r_vecY[i] - fMean - fSlope * (static_cast<double>(i) / n - 0.5));
        fTaper += w * w;
    }
    return fTaper;
}
} // namespace

CAmbient::CAmbient(double p_fCycle_s, double p_fMin_Hz, double p_fMax_Hz)
    : m_fMin_Hz(p_fMin_Hz), m_fMax_Hz(p_fMax_Hz),
      m_buffer(p_fCycle_s, static_cast<unsigned>(std::max(1.0, 1.0 / (p_fCycle_s * 4.0 * p_fMax_Hz))), KEEP_S)
{
}

void CAmbient::AddStretch(const SSeries& p_series, Eigen::Index p_nFirst, Eigen::Index p_nEnd,
                          std::vector<CResonanceFit::SOrdinate>& r_vec, double& r_fSpan_s)
{
    const double fStep_s = p_series.fBlock_s, fEnd_s = p_series.arrTime_s[p_nEnd - 1];
    const auto nAll = static_cast<std::size_t>(std::lround((fEnd_s - p_series.arrTime_s[p_nFirst]) / fStep_s)) + 1;
    const std::size_t nGrid = 4 * SmoothLength(nAll / 4);
    if (nGrid < MIN_BLOCKS || static_cast<double>(nGrid) * fStep_s < STRETCH_S)
        return;
    std::vector<double> vecX(nGrid, 0.0), vecY(nGrid, 0.0);
    for (Eigen::Index i = p_nEnd - 1; i >= p_nFirst; --i)
    {
        const auto nBack = static_cast<std::size_t>(std::lround((fEnd_s - p_series.arrTime_s[i]) / fStep_s));
        if (nBack >= nGrid)
            break;
        vecX[nGrid - 1 - nBack] = 1.0;
        vecY[nGrid - 1 - nBack] = p_series.arrValue[i];
    }
    const double fTaper = Window(vecX, vecY), fSpan_s = static_cast<double>(nGrid) * fStep_s;
    r_fSpan_s += fSpan_s;
    const auto& vecFreq = m_spectrum.Transform(vecY, nGrid);
    const double fLo_Hz = std::max(0.5 * m_fMin_Hz, 3.0 / fSpan_s), fHi_Hz = std::min(1.5 * m_fMax_Hz, 0.45 / fStep_s);
    // tapered, neighbouring ordinates are no longer independent: as many free ones as the window leaves samples
    const double fFree = fTaper / static_cast<double>(nGrid);
    const double nPositions = p_series.fFull;
    for (auto k = static_cast<std::size_t>(std::ceil(fLo_Hz * fSpan_s)); k < nGrid / 2;)
    {
        const double f = static_cast<double>(k) / fSpan_s;
        if (f > fHi_Hz)
            break;
        const std::size_t nEnd =
            std::min(nGrid / 2, k + std::max<std::size_t>(1, static_cast<std::size_t>(MERGE * f * fSpan_s)));
        double fSum = 0.0;
        const auto nJoined = static_cast<double>(nEnd - k);
        const double fMid = (static_cast<double>(k) + 0.5 * (nJoined - 1.0)) / fSpan_s;
        for (; k < nEnd; ++k)
            fSum += std::norm(vecFreq[k]);
        const double x = std::numbers::pi * fMid * fStep_s; // response of the mean over a block
        const double fResponse = nPositions > 1.0 ? std::sin(x) / (nPositions * std::sin(x / nPositions)) : 1.0;
        r_vec.push_back({TWO_PI * fMid, fSum / (nJoined * fTaper * fResponse * fResponse), nJoined * fFree});
    }
}

SAmbient CAmbient::Fit(const std::vector<CResonanceFit::SOrdinate>& p_vec)
{
    SAmbient ambient;
    auto pFit = std::make_unique<CResonanceFit>(p_vec);
    if (!pFit->Run({}))
        return ambient;
    std::vector<CResonanceFit::SResonance> vec;
    while (vec.size() < MAX_RESONANCES)
    {
        const CResonanceFit::SExcess excess = pFit->Excess();
        if (excess.fDeviations < EXCESS)
            break;
        std::unique_ptr<CResonanceFit> pBest;
        for (const double fZeta : {0.02, 0.08})
        {
            auto vecStart = vec;
            vecStart.push_back({excess.fOmega, fZeta});
            auto pNext = std::make_unique<CResonanceFit>(p_vec);
            if (pNext->Run(vecStart) && (!pBest || pNext->Loss() < pBest->Loss()))
                pBest = std::move(pNext);
        }
        if (!pBest || pFit->Loss() - pBest->Loss() < RESONANCE_GAIN)
            break;
        pFit = std::move(pBest);
        vec.clear();
        for (std::size_t r = 0; r < pFit->Resonances(); ++r)
            vec.push_back(pFit->Resonance(r));
    }
    double fShare = 0.0;
    for (std::size_t r = 0; r < vec.size(); ++r)
    {
        const double z = vec[r].fZeta, fDevZeta = z * std::sqrt(pFit->VarLogZeta(r));
        const double f_Hz = vec[r].fOmega * std::sqrt(std::max(0.0, 1.0 - z * z)) / TWO_PI;
        // a hump wider than that, or one whose width is not known by half, is background
        if (f_Hz < m_fMin_Hz || f_Hz > m_fMax_Hz || z > 0.3 || fDevZeta > 0.5 * z || pFit->Share(r) <= fShare)
            continue;
        fShare = pFit->Share(r);
        ambient.eSource = EAmbientSource::eSpectrum;
        ambient.freq_Hz = {f_Hz, f_Hz * std::sqrt(pFit->VarLogOmega(r))};
        ambient.ratio = {-z, fDevZeta};
    }
    return ambient;
}

SAmbient CAmbient::Estimate()
{
    const SSeries series = m_buffer.Series(KEEP_S);
    std::vector<CResonanceFit::SOrdinate> vec;
    double fSpan_s = 0.0;
    Eigen::Index nFirst = 0;
    for (Eigen::Index i = 1; i <= series.Size(); ++i)
        if (i == series.Size() || series.arrTime_s[i] - series.arrTime_s[i - 1] > MAX_HOLE_S + series.fBlock_s)
        {
            AddStretch(series, nFirst, i, vec, fSpan_s);
            nFirst = i;
        }
    // rounding moves a constant, too
    if (fSpan_s < MIN_S ||
        (series.arrValue - series.arrValue.mean()).matrix().norm() <= 1e-10 * series.arrValue.matrix().norm())
        return {};
    std::sort(vec.begin(), vec.end(), [](const auto& a, const auto& b) { return a.fOmega < b.fOmega; });
    SAmbient ambient = Fit(vec);
    ambient.fSpan_s = fSpan_s;
    return ambient;
}
