#include "refine/CSwingEstimator.h"
#include <algorithm>
#include <cmath>
#include <numbers>

namespace
{
constexpr double TWO_PI = 2.0 * std::numbers::pi;
constexpr Eigen::Index MIN_BLOCKS = 9;
constexpr std::size_t MAX_STEPS = 2;     ///< of the mean, in one stretch
constexpr std::size_t MAX_SWINGS = 4;    ///< in one fit, those of other modes included
constexpr double ONSET_GAIN = 25.0;      ///< least gain of a beginning over a swing that has always stood
constexpr double CANDIDATE_GAIN = 14.0;  ///< of a new excitation that is then looked at closer
constexpr double EXCITATION_GAIN = 35.0; ///< least gain of a step
constexpr double SPLIT_GAIN = 12.0;      ///< by which two stretches have to be better than one with a further swing
constexpr double MAX_PERIODS = 40.0;     ///< no swing stays the same for longer
constexpr double MAX_GROWTH = 0.3;       ///< ratio above which nothing in a grid grows
constexpr double WHITE = 0.3;            ///< correlation of neighbouring blocks up to which noise counts as white
constexpr double MARGIN_PERIODS = 0.75;  ///< no onset is looked for in the last part of a period

double LogGain(const CSwingFit& p_before, const CSwingFit& p_after, const SSeries& p_series)
{
    return static_cast<double>(p_series.Size()) * std::log(p_before.Rss() / std::max(p_after.Rss(), 1e-300));
}

Eigen::Index Margin(const SSeries& p_series, double p_fOmega)
{
    return static_cast<Eigen::Index>(std::ceil(MARGIN_PERIODS * TWO_PI / (p_fOmega * p_series.fBlock_s)));
}
} // namespace

namespace
{
SSeries Whitened(const SSeries& p_series, double p_fPole)
{
    std::vector<Eigen::Index> veci;
    for (Eigen::Index i = 1; i < p_series.Size(); ++i)
        if (p_series.arrTime_s[i] - p_series.arrTime_s[i - 1] < 1.5 * p_series.fBlock_s)
            veci.push_back(i);
    const auto Picked = [&](const Eigen::ArrayXd& p_arr, int nShift)
    {
        Eigen::ArrayXd arr(static_cast<Eigen::Index>(veci.size()));
        for (std::size_t i = 0; i < veci.size(); ++i)
            arr[static_cast<Eigen::Index>(i)] = p_arr[veci[i] - nShift];
        return arr;
    };
    return {Picked(p_series.arrTime_s, 0),
            Picked(p_series.arrValue, 0) - p_fPole * Picked(p_series.arrValue, 1),
            Picked(p_series.arrWeight, 0).min(Picked(p_series.arrWeight, 1)),
            Picked(p_series.arrM2_s2, 0),
            p_series.fBlock_s,
            p_series.fFull};
}

/// Correlation of neighbouring blocks before the onset; 0 if there are too few of them.
double QuietPole(const SSeries& p_series, const CSwingEstimator::SFound& p_found)
{
    const double fEnd_s = p_found.fOnset_s - 4.0 * p_found.estimate.fOnsetDev_s;
    const SSeries quiet = p_series.Before((p_series.arrTime_s < fEnd_s).count());
    if (quiet.Size() < 40)
        return 0.0;
    CSwingFit drift(quiet, 1, {});
    if (!drift.Run({}))
        return 0.0;
    const Eigen::VectorXd& r = drift.Residual();
    const double fSquares = r.squaredNorm();
    return fSquares > 0.0 ? std::min(0.98, r.head(r.size() - 1).dot(r.tail(r.size() - 1)) / fSquares) : 0.0;
}
} // namespace

CSwingEstimator::CSwingEstimator(double p_fMin_Hz, double p_fMax_Hz) : m_fMin_Hz(p_fMin_Hz), m_fMax_Hz(p_fMax_Hz) {}

void CSwingEstimator::PickOwn(SWindow& r_window) const
{
    // a line within half a channel of a limit may belong to either side
    const double fSlack_Hz = 0.5 / std::max(1e-9, r_window.Span_s());
    r_window.veci.clear();
    const auto& vecPole = r_window.pFit->Poles();
    for (std::size_t i = 0; i < vecPole.size(); ++i)
        if (const double f = vecPole[i].fOmega / TWO_PI; f > m_fMin_Hz - fSlack_Hz && f < m_fMax_Hz + fSlack_Hz)
            r_window.veci.push_back(i);
    std::sort(r_window.veci.begin(), r_window.veci.end(),
              [&](std::size_t a, std::size_t b) { return r_window.pFit->Energy(a) > r_window.pFit->Energy(b); });
    if (r_window.veci.size() > 2)
        r_window.veci.resize(2);
}

std::vector<SPole> CSwingEstimator::OwnPoles(const SWindow& p_window) const
{
    std::vector<SPole> vec;
    for (const std::size_t i : p_window.veci)
        vec.push_back(p_window.pFit->Poles()[i]);
    return vec;
}

CSwingEstimator::CFitPtr CSwingEstimator::OneMore(const SWindow& p_window)
{
    const SSeries& series = p_window.series;
    const double n = static_cast<double>(series.Size()), fSpan_s = p_window.Span_s();
    const CSpectrum::SPeak peak = m_spectrum.Peak(series, p_window.pFit->Residual(), 0.6 * TWO_PI / fSpan_s,
                                                  0.95 * std::numbers::pi / series.fBlock_s);
    if (peak.fOmega <= 0.0 || peak.fRatio < std::min(std::log(n) + 5.0, 0.2 * n))
        return nullptr;
    std::vector<SPole> vecPole = p_window.pFit->Poles();
    vecPole.push_back({0.0, peak.fOmega});
    double fBest = -1.0, fRate = 0.0;
    for (const double fRatio : {0.0, -0.04, -0.15, 0.04})
    {
        vecPole.back().fRate = fRatio * peak.fOmega;
        const double fRss = p_window.pFit->RssFor(vecPole);
        if (fRss >= 0.0 && (fBest < 0.0 || fRss < fBest))
        {
            fBest = fRss;
            fRate = vecPole.back().fRate;
        }
    }
    vecPole.back().fRate = fRate;
    auto pNext = std::make_unique<CSwingFit>(series, p_window.nDegree, p_window.vecStep_s);
    if (!pNext->Run(vecPole) || LogGain(*p_window.pFit, *pNext, series) < 4.0 * std::log(n) + 12.0)
        return nullptr;
    // slower than the stretch, dead within a period or exploding: drift, or a beginning that is not yet understood
    for (const SPole& pole : pNext->Poles())
        if (pole.fOmega * fSpan_s < 0.4 * TWO_PI || pole.fRate < -pole.fOmega || pole.fRate > MAX_GROWTH * pole.fOmega)
            return nullptr;
    return pNext;
}

void CSwingEstimator::RaiseDegree(SWindow& r_window) const
{
    const double fLeast = 2.0 * std::log(static_cast<double>(r_window.series.Size())) + 8.0;
    for (unsigned nDegree = r_window.nDegree + 1; nDegree <= 3; ++nDegree)
    {
        auto pNext = std::make_unique<CSwingFit>(r_window.series, nDegree, r_window.vecStep_s);
        if (!pNext->Run(r_window.pFit->Poles()) || LogGain(*r_window.pFit, *pNext, r_window.series) < fLeast)
            return;
        r_window.pFit = std::move(pNext);
        r_window.nDegree = nDegree;
    }
}

bool CSwingEstimator::FitPart(SWindow& r_part, std::size_t p_nSwings)
{
    if (r_part.series.Size() < MIN_BLOCKS)
        return false;
    r_part.pFit = std::make_unique<CSwingFit>(r_part.series, 1, std::vector<double>());
    if (!r_part.pFit->Run({}))
        return false;
    while (r_part.pFit->Poles().size() < p_nSwings)
    {
        CFitPtr pMore = OneMore(r_part);
        if (!pMore)
            break;
        r_part.pFit = std::move(pMore);
    }
    PickOwn(r_part);
    return true;
}

bool CSwingEstimator::IsSplit(const SWindow& p_window, const CSwingFit& p_whole, COnset::SOnset& r_onset)
{
    const std::size_t nSwings = p_window.pFit->Poles().size();
    const auto Free = [](const SWindow& p)
    { return std::max(1.0, static_cast<double>(p.series.Size() - p.pFit->Parameters())); };
    // the fit over both stretches has poles that suit neither: better ones find the place, the place better ones
    for (int nPass = 0; nPass < 3; ++nPass)
    {
        SWindow before, later;
        later.series = p_window.series.From(r_onset.nSafe);
        before.series = p_window.series.Before(std::max<Eigen::Index>(1, r_onset.nFirst));
        if (!FitPart(later, nSwings) || later.veci.empty() ||
            later.Span_s() * later.pFit->Poles()[later.veci[0]].fOmega < MIN_PERIODS * TWO_PI)
            return false;
        double fRss = later.pFit->Rss(), fFree = Free(later);
        if (FitPart(before, nSwings))
        {
            fRss += before.pFit->Rss();
            fFree += Free(before);
        }
        const double fWhole = p_whole.Rss() / static_cast<double>(p_window.series.Size() - p_whole.Parameters());
        if (static_cast<double>(p_window.series.Size()) * std::log(fWhole / (fRss / fFree)) > SPLIT_GAIN)
            return true;
        const std::vector<SPole> vecPole = OwnPoles(later);
        const COnset::SOnset onset =
            COnset::Locate(p_window.series, vecPole, true, Margin(p_window.series, vecPole[0].fOmega));
        if (onset.nFirst == r_onset.nFirst || onset.fGain < CANDIDATE_GAIN)
            return false;
        r_onset = onset;
    }
    return false;
}

bool CSwingEstimator::TakeChange(SWindow& r_window, const CSwingFit* p_pNext)
{
    PickOwn(r_window);
    if (r_window.veci.empty() || r_window.vecStep_s.size() >= MAX_STEPS)
        return false;
    // without the swings of other modes, whose poles the search does not know
    std::vector<std::size_t> veciOther;
    for (std::size_t i = 0; i < r_window.pFit->Poles().size(); ++i)
        if (std::find(r_window.veci.begin(), r_window.veci.end(), i) == r_window.veci.end())
            veciOther.push_back(i);
    SSeries series = r_window.series;
    series.arrValue -= r_window.pFit->Model(veciOther).array();
    for (std::size_t i = 0; i < r_window.vecStep_s.size(); ++i)
        series.arrValue -= (series.arrTime_s >= r_window.vecStep_s[i]).cast<double>() * r_window.pFit->Step(i);
    const std::vector<SPole> vecPole = OwnPoles(r_window);
    COnset::SOnset onset = COnset::Locate(series, vecPole, true, Margin(series, vecPole[0].fOmega));
    if (onset.fGain < CANDIDATE_GAIN)
        return false;
    const double fSwing = p_pNext ? LogGain(*r_window.pFit, *p_pNext, r_window.series) : 0.0;
    if (onset.fGain - onset.fGainStep > CANDIDATE_GAIN)
    {
        if (IsSplit(r_window, p_pNext ? *p_pNext : *r_window.pFit, onset))
        {
            r_window.restart = onset;
            r_window.nRestart = onset.nSafe + m_nLag;
            return false;
        }
    }
    if (onset.fGain < std::max(EXCITATION_GAIN, fSwing) || onset.fGainStep < 0.5 * onset.fGain)
        return false;
    r_window.vecStep_s.push_back(onset.fFirst_s); // the swing goes on, only its mean has moved
    auto pNext = std::make_unique<CSwingFit>(r_window.series, r_window.nDegree, r_window.vecStep_s);
    if (!pNext->Run(r_window.pFit->Poles()))
    {
        r_window.vecStep_s.pop_back();
        return false;
    }
    r_window.pFit = std::move(pNext);
    return true;
}

bool CSwingEstimator::FitWindow(SWindow& r_window)
{
    r_window.nRestart = 0;
    r_window.vecStep_s.clear();
    r_window.nDegree = 1;
    r_window.veci.clear();
    if (r_window.series.Size() < MIN_BLOCKS || r_window.Span_s() < MIN_PERIODS / m_fMax_Hz)
        return false;
    r_window.pFit = std::make_unique<CSwingFit>(r_window.series, r_window.nDegree, r_window.vecStep_s);
    if (!r_window.pFit->Run({}))
        return false;
    while (r_window.pFit->Poles().size() < MAX_SWINGS)
    {
        CFitPtr pNext = OneMore(r_window);
        if (TakeChange(r_window, pNext.get()))
            continue;
        if (r_window.nRestart > 0)
            return false;
        if (!pNext)
            break;
        r_window.pFit = std::move(pNext);
        RaiseDegree(r_window);
    }
    PickOwn(r_window);
    return !r_window.veci.empty() &&
           r_window.Span_s() * r_window.pFit->Poles()[r_window.veci[0]].fOmega >= MIN_PERIODS * TWO_PI;
}

bool CSwingEstimator::FindOnset(const SSeries& p_series, SWindow& r_window, SFound& r_found)
{
    if (p_series.Size() < MIN_BLOCKS)
        return false;
    CSwingFit drift(p_series, 1, {});
    const double fSize = (p_series.arrWeight.sqrt() * p_series.arrValue).matrix().norm();
    if (!drift.Run({}) || drift.Residual().norm() <= 1e-10 * fSize) // rounding moves a constant, too
        return false;
    const CSpectrum::SPeak peak = m_spectrum.Peak(p_series, drift.Residual(), m_fMin_Hz * TWO_PI, m_fMax_Hz * TWO_PI);
    if (peak.fOmega <= 0.0)
        return false;
    std::vector<SPole> vecPole{{0.0, peak.fOmega}};
    Eigen::Index nBefore = -2;
    for (int nPass = 0; nPass < 4; ++nPass)
    {
        const double fSpan_s = std::min(MAX_SPAN_S, MAX_PERIODS * TWO_PI / vecPole[0].fOmega);
        const Eigen::Index nOldest = (p_series.arrTime_s < -fSpan_s).count();
        const COnset::SOnset onset = COnset::Locate(p_series, vecPole, false, Margin(p_series, vecPole[0].fOmega));
        const bool bOnset = onset.fGain > ONSET_GAIN;
        const Eigen::Index nFirst = bOnset ? onset.nFirst : 0;
        if (std::abs(nFirst - nBefore) <= (nPass > 2 ? 1 : 0))
            break;
        nBefore = nFirst;
        r_found.estimate.bOnset = bOnset;
        r_found.fOnset_s = onset.fTime_s;
        r_found.estimate.fOnsetDev_s = bOnset ? onset.fDev_s : -1.0;
        r_window.pFit.reset();
        r_window.series = p_series.From(std::max(bOnset ? onset.nSafe + m_nLag : 0, nOldest));
        if (!FitFromLastExcitation(r_window, r_found))
            return false;
        if (r_found.fOnset_s > onset.fTime_s)
            break;
        vecPole = OwnPoles(r_window);
    }
    return true;
}

bool CSwingEstimator::FitFromLastExcitation(SWindow& r_window, SFound& r_found)
{
    bool bFitted = FitWindow(r_window);
    for (int nPass = 0; nPass < 3 && !bFitted && r_window.nRestart > 0; ++nPass)
    {
        r_found.estimate.bOnset = true;
        r_found.fOnset_s = r_window.restart.fTime_s;
        r_found.estimate.fOnsetDev_s = r_window.restart.fDev_s;
        r_window.pFit.reset();
        r_window.series = SSeries(r_window.series.From(r_window.nRestart));
        bFitted = FitWindow(r_window);
    }
    return bFitted;
}

CSwingEstimator::SFound CSwingEstimator::Run(const SSeries& p_series)
{
    SFound found;
    SWindow window;
    m_nLag = 0;
    m_fPole = 0.0;
    bool bFound = FindOnset(p_series, window, found);
    const SSeries* pSeries = &p_series;
    SSeries whitened;
    if (bFound && found.estimate.bOnset)
        m_fQuietPole = QuietPole(p_series, found);
    if (m_fQuietPole > WHITE)
    {
        // a swing through this filter is a swing with the same pole; only its size changes
        m_nLag = 1;
        m_fPole = m_fQuietPole;
        whitened = Whitened(p_series, m_fPole);
        pSeries = &whitened;
        window = SWindow();
        found = SFound();
        bFound = FindOnset(whitened, window, found);
    }
    if (!bFound || window.veci.empty())
        return SFound();
    Judge(*pSeries, window, found);
    return found;
}
