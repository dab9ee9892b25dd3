#pragma once
#include "host/base/TextOMA.h"
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

/// One measurement: a value in W or degrees and its quality.
struct SMeas
{
    double fValue = 0.0;
    std::int32_t eQual = eQualInvalid;
};

/// The newest measurements of a job, oldest first, in a ring buffer that grows as needed. Only values are stored:
/// INVALID input empties the queue, so their quality is not needed.
/// Threads  the read callback appends, the worker reads; they take turns by a handshake. The lock keeps the queue
///          intact if the handshake is abandoned after its 5 s.
class CDeqMeas
{
  public:
    std::size_t Size() const
    {
        const std::lock_guard lock(m_mtx);
        return m_nSize;
    }
    void Clear()
    {
        const std::lock_guard lock(m_mtx);
        m_nFirst = 0;
        m_nSize = 0;
    }
    /// Appends. First drops the oldest if it already holds p_nMax or more.
    void Push(const SMeas& p_meas, std::size_t p_nMax)
    {
        const std::lock_guard lock(m_mtx);
        if (m_nSize > 0 && m_nSize >= p_nMax)
        {
            m_nFirst = Place(1);
            --m_nSize;
        }
        Put(p_meas.fValue);
    }
    /// Appends without a limit (study signal).
    void Append(const SMeas& p_meas)
    {
        const std::lock_guard lock(m_mtx);
        Put(p_meas.fValue);
    }
    /// Copies the newest p_nCount values to p_pfOut, oldest first. @return false, with nothing copied, if there are
    /// fewer.
    bool CopyNewest(double* p_pfOut, std::size_t p_nCount) const
    {
        const std::lock_guard lock(m_mtx);
        if (m_nSize < p_nCount)
            return false;
        const std::size_t nBegin = p_nCount > 0 ? Place(m_nSize - p_nCount) : 0;
        const std::size_t nToEnd = std::min(p_nCount, m_vecfRing.size() - nBegin);
        double* const pfRest = std::copy_n(m_vecfRing.data() + nBegin, nToEnd, p_pfOut);
        std::copy_n(m_vecfRing.data(), p_nCount - nToEnd, pfRest);
        return true;
    }

  private:
    /// Index in the ring of the value that is p_nIndex after the oldest.
    std::size_t Place(std::size_t p_nIndex) const { return (m_nFirst + p_nIndex) & (m_vecfRing.size() - 1); }
    void Put(double p_fValue)
    {
        if (m_nSize == m_vecfRing.size())
            Grow();
        m_vecfRing[Place(m_nSize)] = p_fValue;
        ++m_nSize;
    }
    void Grow()
    {
        std::rotate(m_vecfRing.begin(), m_vecfRing.begin() + static_cast<std::ptrdiff_t>(m_nFirst), m_vecfRing.end());
        m_nFirst = 0;
        m_vecfRing.resize(std::max<std::size_t>(64, 2 * m_vecfRing.size()));
    }

    mutable std::mutex m_mtx;
    std::vector<double> m_vecfRing; ///< size: a power of two
    std::size_t m_nFirst = 0;       ///< index of the oldest
    std::size_t m_nSize = 0;
};
