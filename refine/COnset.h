#pragma once
#include "refine/CSwingFit.h"

/// Where swings of known poles set in, found by what the data say of every block as the first one.
///
/// For each block i: y = drift [+ the swings all along] + [t >= t_i] (step and slope of the mean + the swings anew), all linear. The sum
/// of squares left, Rss(i), gives the likelihood Rss^(-N/2), noise of unknown size taken as given; its maximum is the onset.
/// All N least-squares problems share the sums over the later blocks, so that the search costs N small factorisations.
class COnset
{
  public:
    struct SOnset
    {
        Eigen::Index nFirst = 0; ///< first block after the onset
        Eigen::Index nSafe = 0;  ///< first block that is after it with 99.9 %
        double fFirst_s = 0.0;   ///< time of the begin of block nFirst
        double fTime_s = 0.0;    ///< onset, middle of the likelihood
        double fDev_s = -1.0;    ///< its standard deviation
        double fGain = 0.0;      ///< N ln(Rss(none) / Rss(onset)): twice the log likelihood ratio against no change
        double fGainStep = 0.0;  ///< the part of it that a mere step at the same place would bring
    };
    /// @param p_bStanding the swings stand from the first block on, and a new excitation is looked for; otherwise their begin
    /// @param p_nMargin blocks at the end in which no onset is looked for
    static SOnset Locate(const SSeries& p_series, const std::vector<SPole>& p_vecPole, bool p_bStanding,
                         Eigen::Index p_nMargin);
};
