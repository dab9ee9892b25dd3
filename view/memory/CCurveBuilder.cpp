#include "view/memory/CCurveBuilder.h"
#include <algorithm>
#include <cmath>

std::int64_t BucketWidth_ms(const SRange& p_range, std::size_t p_nPoints, std::int64_t p_nUnit_ms)
{
    const auto nPoints = static_cast<std::int64_t>(std::max<std::size_t>(p_nPoints, 1));
    const std::int64_t nUnits = (p_range.nTo_ms - p_range.nFrom_ms) / (nPoints * p_nUnit_ms) + 1;
    return nUnits * p_nUnit_ms;
}

CCurveBuilder::CCurveBuilder(const SRange& p_range, std::int64_t p_nWidth_ms, std::size_t p_nColumns)
    : m_range{p_range.nFrom_ms - p_range.nFrom_ms % p_nWidth_ms, p_range.nTo_ms}, m_nWidth_ms(p_nWidth_ms),
      m_nColumns(p_nColumns),
      m_vecBucket(static_cast<std::size_t>((m_range.nTo_ms - m_range.nFrom_ms) / p_nWidth_ms + 1) * p_nColumns)
{
}

void CCurveBuilder::Add(std::int64_t p_nTime_ms, std::size_t p_nColumn, double p_fMin, double p_fMean, double p_fMax)
{
    if (p_nTime_ms < m_range.nFrom_ms || p_nTime_ms > m_range.nTo_ms || std::isnan(p_fMean))
        return;
    const auto nBucket = static_cast<std::size_t>((p_nTime_ms - m_range.nFrom_ms) / m_nWidth_ms);
    SBucket& bucket = m_vecBucket[nBucket * m_nColumns + p_nColumn];
    bucket.fMin = bucket.nCount == 0 ? p_fMin : std::min(bucket.fMin, p_fMin);
    bucket.fMax = bucket.nCount == 0 ? p_fMax : std::max(bucket.fMax, p_fMax);
    bucket.fSum += p_fMean;
    ++bucket.nCount;
}

SCurve CCurveBuilder::Take(SCurve::EResolution p_eResolution)
{
    SCurve curve;
    curve.eResolution = p_eResolution;
    curve.vecColumn.resize(m_nColumns);
    const std::size_t nBuckets = m_vecBucket.size() / m_nColumns;
    // Of a stretch without anything one bucket is enough to show it.
    const auto fnEmpty = [&](std::size_t p_nBucket)
    {
        return std::all_of(m_vecBucket.begin() + static_cast<std::ptrdiff_t>(p_nBucket * m_nColumns),
                           m_vecBucket.begin() + static_cast<std::ptrdiff_t>((p_nBucket + 1) * m_nColumns),
                           [](const SBucket& p_bucket) { return p_bucket.nCount == 0; });
    };
    bool bEmptyBefore = false;
    for (std::size_t i = 0; i < nBuckets; ++i)
    {
        const bool bEmpty = fnEmpty(i);
        if (bEmpty && bEmptyBefore)
            continue;
        bEmptyBefore = bEmpty;
        curve.vecnTime_ms.push_back(m_range.nFrom_ms + static_cast<std::int64_t>(i) * m_nWidth_ms);
        for (std::size_t j = 0; j < m_nColumns; ++j)
        {
            const SBucket& bucket = m_vecBucket[i * m_nColumns + j];
            const bool bNone = bucket.nCount == 0;
            curve.vecColumn[j].vecfMean.push_back(bNone ? g_fNoValue : bucket.fSum / bucket.nCount);
            curve.vecColumn[j].vecfMin.push_back(bNone ? g_fNoValue : bucket.fMin);
            curve.vecColumn[j].vecfMax.push_back(bNone ? g_fNoValue : bucket.fMax);
        }
    }
    return curve;
}
