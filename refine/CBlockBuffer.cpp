#include "refine/CBlockBuffer.h"
#include <cmath>
#include <vector>

CBlockBuffer::CBlockBuffer(double p_fCycle_s, unsigned p_nDecimation, double p_fKeep_s)
    : m_fCycle_s(p_fCycle_s), m_nDecimation(std::max(1u, p_nDecimation)),
      m_nKeep(static_cast<std::size_t>(std::ceil(p_fKeep_s / (p_fCycle_s * m_nDecimation))))
{
}

void CBlockBuffer::Clear()
{
    m_deqBlock.clear();
    m_open.nCount = 0;
    m_nReference = 0;
}

void CBlockBuffer::Close()
{
    if (m_open.nCount == 0)
        return;
    const double n = m_open.nCount;
    m_deqBlock.push_back({m_open.nNumber, m_open.nCount, m_open.fMean / n, m_open.fPos / n, m_open.fPos2 / n});
    m_nReference = m_nLast;
    m_open.nCount = 0;
}

void CBlockBuffer::Add(std::int64_t p_nPosition, double p_fValue)
{
    const std::int64_t nNumber = p_nPosition / m_nDecimation;
    if (m_open.nCount != 0 || !m_deqBlock.empty())
    {
        if (p_nPosition <= m_nLast)
            return;
        if (p_nPosition - m_nLast > static_cast<std::int64_t>(m_nKeep * m_nDecimation))
            Clear();
    }
    if (m_open.nCount != 0 && nNumber != m_open.nNumber)
        Close();
    if (m_open.nCount == 0)
        m_open = {nNumber, 0, 0.0, 0.0, 0.0};
    const double fPos = static_cast<double>(p_nPosition - nNumber * m_nDecimation);
    ++m_open.nCount;
    m_open.fMean += p_fValue;
    m_open.fPos += fPos;
    m_open.fPos2 += fPos * fPos;
    m_nLast = p_nPosition;
    if (fPos + 1.0 >= m_nDecimation)
        Close();
    while (!m_deqBlock.empty() && m_deqBlock.front().nNumber + static_cast<std::int64_t>(m_nKeep) < nNumber)
        m_deqBlock.pop_front();
}

SSeries CBlockBuffer::Series(double p_fSpan_s, unsigned p_nMerge) const
{
    std::vector<SBlock> vec; // joined ones, as sums over positions relative to the first block joined
    const double fOldest = static_cast<double>(m_nReference) - p_fSpan_s / m_fCycle_s;
    const std::int64_t nMerge = std::max(1u, p_nMerge);
    for (const SBlock& b : m_deqBlock)
    {
        if (static_cast<double>(b.nNumber * m_nDecimation) < fOldest)
            continue;
        const double fOffset = static_cast<double>(b.nNumber % nMerge * m_nDecimation);
        const double n = b.nCount;
        if (vec.empty() || vec.back().nNumber != b.nNumber / nMerge)
            vec.push_back({b.nNumber / nMerge, 0, 0.0, 0.0, 0.0});
        SBlock& r_sum = vec.back();
        r_sum.nCount += b.nCount;
        r_sum.fMean += n * b.fMean;
        r_sum.fPos += n * (b.fPos + fOffset);
        r_sum.fPos2 += n * (b.fPos2 + fOffset * (2.0 * b.fPos + fOffset));
    }
    SSeries series;
    const auto nSize = static_cast<Eigen::Index>(vec.size());
    for (auto* pArr : {&series.arrTime_s, &series.arrValue, &series.arrWeight, &series.arrM2_s2})
        pArr->resize(nSize);
    const std::int64_t nPositions = nMerge * m_nDecimation;
    for (Eigen::Index i = 0; i < nSize; ++i)
    {
        const SBlock& b = vec[static_cast<std::size_t>(i)];
        const double n = b.nCount, fPos = b.fPos / n;
        series.arrTime_s[i] = (static_cast<double>(b.nNumber * nPositions - m_nReference) + fPos) * m_fCycle_s;
        series.arrValue[i] = b.fMean / n;
        series.arrWeight[i] = n;
        series.arrM2_s2[i] = std::max(0.0, b.fPos2 / n - fPos * fPos) * m_fCycle_s * m_fCycle_s;
    }
    series.fBlock_s = static_cast<double>(nPositions) * m_fCycle_s;
    series.fFull = static_cast<double>(nPositions);
    return series;
}
