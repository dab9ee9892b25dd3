#include "refine/CSwingEstimator.h"
#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace
{
constexpr double TWO_PI = 2.0 * std::numbers::pi;
constexpr double VERDICT_PERIODS = 1.5;
constexpr double SURE_LATER = 0.95; ///< of growing, without the first half period
constexpr double SURE_ORIGIN = 0.9;
constexpr double ORIGIN_PERIODS = 6.0;
constexpr double HARMONIC_CHANCE = 1e-5;   ///< that noise looks like a harmonic; asked anew every second
constexpr double NATURAL_ODDS = 4.0;       ///< of a steady swing, before its harmonics are looked at
constexpr double NATURAL_HARMONICS = 0.01; ///< natural swings that are large enough to show harmonics

double Normal(double p_fX)
{
    return 0.5 * std::erfc(-p_fX / std::numbers::sqrt2);
}

struct SProbabilities
{
    double fDecaying, fGrowing;
    double Steady() const { return std::max(0.0, 1.0 - fDecaying - fGrowing); }
};

SProbabilities Probabilities(const SUncertain& p_ratio)
{
    const double fDev = std::max(p_ratio.fDev, 1e-9);
    return {Normal((-CSwingEstimator::STEADY - p_ratio.fValue) / fDev),
            Normal((p_ratio.fValue - CSwingEstimator::STEADY) / fDev)};
}

/// Standard deviation of one sample's noise, with Student's widening: two deviations hold 95 % with few blocks, too.
double NoiseDev(const CSwingFit& p_fit, const SSeries& p_series)
{
    const double fFree = std::max(1.0, static_cast<double>(p_series.Size() - p_fit.Parameters()));
    return std::sqrt(p_fit.Rss() / fFree) * (1.0 + 5.0 / (4.0 * fFree));
}
} // namespace

SUncertain CSwingEstimator::RatioOf(const SWindow& p_window, std::size_t p_iPole, const CNoiseColour& p_colour) const
{
    const SPole& pole = p_window.pFit->Poles()[p_iPole];
    const double fSquare = pole.fOmega * pole.fOmega + pole.fRate * pole.fRate;
    const CSwingFit::SResult result = p_window.pFit->Result(p_iPole, 0.0);
    const double fNoise = NoiseDev(*p_window.pFit, p_window.series) * std::sqrt(p_colour.Factor(pole.fOmega));
    // d ratio = (omega^2 d rate - rate omega d omega) / (omega^2 + rate^2)^(3/2); rate and frequency are nearly uncorrelated
    const double fDev =
        std::hypot(pole.fOmega * pole.fOmega * result.fRateDev, pole.fRate * pole.fOmega * result.fOmegaDev) /
        std::pow(fSquare, 1.5);
    return {pole.fRate / std::sqrt(fSquare), fDev * fNoise};
}

void CSwingEstimator::JudgeOrigin(const SWindow& p_window, SEstimate& r_estimate) const
{
    if (r_estimate.eVerdict == EVerdict::eDecaying)
    {
        r_estimate.eOrigin =
            EOrigin::eNatural; // a drive holds its amplitude; what dies down follows the grid's own mode
        r_estimate.fOriginProbability = r_estimate.fProbability;
    }
    if (r_estimate.eVerdict != EVerdict::eSteady || r_estimate.fPeriods < ORIGIN_PERIODS)
        return;
    // a drive that is not sinusoidal shows lines at multiples of its frequency, and they stand as steadily
    const SPole& own = p_window.pFit->Poles()[p_window.veci[0]];
    double fChance = 1.0;
    for (const double fTimes : {2.0, 3.0})
    {
        const SPole harmonic{0.0, fTimes * own.fOmega};
        if (harmonic.fOmega > 0.9 * std::numbers::pi / p_window.series.fBlock_s)
            continue;
        const bool bFitted =
            std::any_of(p_window.pFit->Poles().begin(), p_window.pFit->Poles().end(),
                        [&](const SPole& p) { return std::abs(p.fOmega - harmonic.fOmega) * p_window.Span_s() < 1.0; });
        fChance = std::min(fChance, bFitted ? 0.0 : p_window.pFit->ChanceOf(harmonic));
    }
    if (fChance > HARMONIC_CHANCE)
        return;
    r_estimate.fOriginProbability = 1.0 / (1.0 + NATURAL_ODDS * std::max(fChance, NATURAL_HARMONICS));
    if (r_estimate.fOriginProbability >= SURE_ORIGIN)
        r_estimate.eOrigin = EOrigin::eForced;
}

void CSwingEstimator::Judge(const SSeries& p_series, SWindow& r_window, SFound& r_found)
{
    CNoiseColour colour;
    colour.Add(r_window.series, r_window.pFit->Residual());
    const Eigen::Index nBefore =
        r_found.estimate.bOnset ? (p_series.arrTime_s < r_found.fOnset_s - 4.0 * r_found.estimate.fOnsetDev_s).count()
                                : 0;
    if (nBefore > 24)
    {
        const SSeries before = p_series.Before(nBefore);
        CSwingFit quiet(before, 1, {});
        if (quiet.Run({}))
            colour.Add(before, quiet.Residual());
    }
    colour.Fit();

    SEstimate& r_e = r_found.estimate;
    r_e.nSwings = static_cast<unsigned>(r_window.veci.size());
    const double fNoise = NoiseDev(*r_window.pFit, r_window.series);
    for (std::size_t k = 0; k < r_window.veci.size(); ++k)
    {
        const SPole& pole = r_window.pFit->Poles()[r_window.veci[k]];
        const CSwingFit::SResult result = r_window.pFit->Result(r_window.veci[k], 0.0);
        const double fDev = fNoise * std::sqrt(colour.Factor(pole.fOmega));
        const std::complex<double> back =
            std::exp(-std::complex<double>(pole.fRate, pole.fOmega) * r_window.series.fBlock_s);
        const double fGain = std::abs(1.0 - m_fPole * back); // of the filter
        r_e.aSwing[k] = {{pole.fOmega / TWO_PI, result.fOmegaDev * fDev / TWO_PI},
                         RatioOf(r_window, r_window.veci[k], colour),
                         {result.fAmpl / fGain, result.fAmplDev * fDev / fGain}};
    }
    r_e.nSamples = static_cast<unsigned>(r_window.series.arrWeight.sum());
    r_e.fSpan_s = r_window.Span_s();
    r_e.fPeriods = r_e.fSpan_s * r_e.aSwing[0].freq_Hz.fValue;

    const SProbabilities p = Probabilities(r_e.aSwing[0].ratio);
    EVerdict eLikely = p.fDecaying > p.fGrowing ? EVerdict::eDecaying : EVerdict::eGrowing;
    r_e.fProbability = std::max(p.fDecaying, p.fGrowing);
    if (p.Steady() > r_e.fProbability)
    {
        eLikely = EVerdict::eSteady;
        r_e.fProbability = p.Steady();
    }
    const double fSure = eLikely == EVerdict::eGrowing  ? SURE_GROWING
                         : eLikely == EVerdict::eSteady ? SURE_STEADY
                                                        : SURE_DECAYING;
    if (r_e.fPeriods < VERDICT_PERIODS || r_e.fProbability < fSure)
        return;
    if (eLikely == EVerdict::eGrowing)
    {
        // what only looks like growth because the swing set in softly is gone half a period later
        SWindow later;
        const double fVisible_s =
            2.0 / r_window.pFit->Poles()[r_window.veci[0]].fRate; // earlier it was a seventh of now
        if (fVisible_s * r_e.aSwing[0].freq_Hz.fValue < VERDICT_PERIODS)
            return;
        later.series = r_window.series.From(
            (r_window.series.arrTime_s < r_window.series.arrTime_s[0] + 0.5 / r_e.aSwing[0].freq_Hz.fValue).count());
        if (!FitWindow(later) || Probabilities(RatioOf(later, later.veci[0], colour)).fGrowing < SURE_LATER)
            return;
    }
    r_e.eVerdict = eLikely;
    JudgeOrigin(r_window, r_e);
}
