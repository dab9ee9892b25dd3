#pragma once
#include <Eigen/Core>

/// A stretch of a signal as weighted means over short blocks of samples; blocks without a valid sample are left out.
/// A complex exponential exp(s t), averaged over a block, is exp(s t_c) * (1 + s^2 m2 / 2) up to the fourth order, with the
/// centre t_c and the variance m2 of the sample times in the block: so partly filled blocks need no bridging.
struct SSeries
{
    Eigen::ArrayXd arrTime_s; ///< centre of the samples of each block, rising; 0 is the reference time
    Eigen::ArrayXd arrValue;  ///< mean of the samples, W or degrees
    Eigen::ArrayXd arrWeight; ///< number of samples in it, above 0
    Eigen::ArrayXd arrM2_s2;  ///< variance of the sample times within the block
    double fBlock_s = 0.0;    ///< length of a full block
    double fFull = 1.0;       ///< samples of a full block

    Eigen::Index Size() const { return arrTime_s.size(); }
    /// The blocks from index p_nFirst on.
    SSeries From(Eigen::Index p_nFirst) const
    {
        const Eigen::Index nCount = Size() - p_nFirst;
        return {arrTime_s.tail(nCount),
                arrValue.tail(nCount),
                arrWeight.tail(nCount),
                arrM2_s2.tail(nCount),
                fBlock_s,
                fFull};
    }
    /// The blocks before index p_nEnd.
    SSeries Before(Eigen::Index p_nEnd) const
    {
        return {arrTime_s.head(p_nEnd),
                arrValue.head(p_nEnd),
                arrWeight.head(p_nEnd),
                arrM2_s2.head(p_nEnd),
                fBlock_s,
                fFull};
    }
};
