#pragma once
#include "view/memory/CMemoryReader.h"

/// Puts what comes in the order of time into buckets of one width; what is empty stays visible as such.
class CCurveBuilder
{
  public:
    /// @param p_nWidth_ms of a bucket. @param p_nColumns of the curve.
    CCurveBuilder(const SRange& p_range, std::int64_t p_nWidth_ms, std::size_t p_nColumns);
    void Add(std::int64_t p_nTime_ms, std::size_t p_nColumn, double p_fMin, double p_fMean, double p_fMax);
    SCurve Take(SCurve::EResolution p_eResolution);

  private:
    struct SBucket
    {
        std::uint32_t nCount = 0;
        double fMin = 0.0;
        double fSum = 0.0;
        double fMax = 0.0;
    };
    const SRange m_range;
    const std::int64_t m_nWidth_ms;
    const std::size_t m_nColumns;
    std::vector<SBucket> m_vecBucket; ///< by bucket and column
};

/// Width that gives about so many points.
std::int64_t BucketWidth_ms(const SRange& p_range, std::size_t p_nPoints, std::int64_t p_nUnit_ms);
