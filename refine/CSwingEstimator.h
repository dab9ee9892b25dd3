#pragma once
#include "refine/CNoiseColour.h"
#include "refine/COnset.h"
#include "refine/CSpectrum.h"
#include "refine/CSwingFit.h"
#include "refine/SEstimate.h"
#include <memory>

/// The second estimate of one mode: from a stretch of the signal to onset, swings, deviations and verdict.
///
/// Way      1. The largest spectral line within the mode's limits is the first guess of the frequency.
///          2. Onset and poles by turns: COnset finds the beginning for the poles, CSwingFit the poles from the samples after
///             it, until the beginning stays. Only samples that are surely after it take part.
///          3. Swings are added one by one, wherever their frequency lies, as long as the residual falls by more than
///             chance (criterion of Schwarz with a margin for the search); so are drift of higher order and steps.
///          4. A new excitation of a standing swing is looked for; from there on the stretch is a new one.
///          5. If neighbouring blocks of the quiet time are correlated (drift of loads), all is done again on a series that
///             is whitened to first order: the swings' poles pass through unchanged.
///          6. Deviations from the covariance of the fit, the residual's size and its colour.
/// Threads  one thread an object.
class CSwingEstimator
{
  public:
    static constexpr double STEADY = 0.002;       ///< |ratio| up to which a swing counts as steady
    static constexpr double MAX_SPAN_S = 60.0;    ///< samples older than that take no part
    static constexpr double QUIET_S = 20.0;       ///< samples before them in which the onset is looked for
    static constexpr double MIN_PERIODS = 1.25;   ///< after the onset, for an estimate
    static constexpr double SURE_STEADY = 0.95;   ///< least probability of a verdict: steady
    static constexpr double SURE_DECAYING = 0.99; ///< the same for decaying: it reassures
    static constexpr double SURE_GROWING = 0.999; ///< the same for growing: it alarms

    CSwingEstimator(double p_fMin_Hz, double p_fMax_Hz);

    struct SFound
    {
        SEstimate estimate;    ///< its ticks are left at 0
        double fOnset_s = 0.0; ///< on the clock of the series
    };
    /// @param p_series at most MAX_SPAN_S + QUIET_S up to now
    SFound Run(const SSeries& p_series);

  private:
    using CFitPtr = std::unique_ptr<CSwingFit>;
    struct SWindow
    {
        SSeries series;
        std::vector<double> vecStep_s;
        unsigned nDegree = 1;
        Eigen::Index nRestart = 0; ///< block from which the swing is a new one; 0: none
        COnset::SOnset restart;
        CFitPtr pFit;                  ///< refers to series
        std::vector<std::size_t> veci; ///< swings within the mode's limits, largest first

        double Span_s() const
        {
            return series.Size() < 2 ? 0.0 : series.arrTime_s[series.Size() - 1] - series.arrTime_s[0];
        }
    };
    /// All swings of a stretch. @return false if none lies within the mode's limits, or nRestart is set
    bool FitWindow(SWindow& r_window);
    /// The fit with one swing more, null where none stands out of the residual.
    CFitPtr OneMore(const SWindow& p_window);
    /// A step of the mean joins the fit, or nRestart says from where the swing is a new one, if that explains the residual
    /// better than a further swing (p_pNext, or null). @return true for a step
    bool TakeChange(SWindow& r_window, const CSwingFit* p_pNext);
    /// Whether two stretches with a new excitation between them say more than one fit over both; mends the place.
    bool IsSplit(const SWindow& p_window, const CSwingFit& p_whole, COnset::SOnset& r_onset);
    bool FitPart(SWindow& r_part, std::size_t p_nSwings);
    bool FitFromLastExcitation(SWindow& r_window, SFound& r_found);
    void RaiseDegree(SWindow& r_window) const;
    void PickOwn(SWindow& r_window) const;
    std::vector<SPole> OwnPoles(const SWindow& p_window) const;
    bool FindOnset(const SSeries& p_series, SWindow& r_window, SFound& r_found);
    void Judge(const SSeries& p_series, SWindow& r_window, SFound& r_found);
    void JudgeOrigin(const SWindow& p_window, SEstimate& r_estimate) const;
    SUncertain RatioOf(const SWindow& p_window, std::size_t p_iPole, const CNoiseColour& p_colour) const;

    double m_fMin_Hz, m_fMax_Hz;
    double m_fQuietPole = 0.0; ///< correlation of neighbouring blocks before the last onset that was seen
    double m_fPole = 0.0;      ///< of the filter that this run's series went through, y(i) - pole y(i-1); 0: none
    Eigen::Index m_nLag = 0;   ///< blocks after an onset that the filter mixes with those before it
    CSpectrum m_spectrum;
};
