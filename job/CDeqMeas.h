#pragma once
#include "host/TextOMA.h"
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

/// One measurement: a value in W or degrees and its quality.
struct SMeas
{
    double fValue = 0.0;
    std::int32_t eQual = eQualInvalid;
};

/// The newest measurements of a job, newest at the back.
/// Threads  the read callback appends, the worker reads; they take turns by their handshake. The lock of the object
///          keeps the queue whole when the handshake is given up after its 5 s.
class CDeqMeas
{
  public:
    std::size_t Size() const
    {
        const std::lock_guard lock(m_mtx);
        return m_deq.size();
    }
    void Clear()
    {
        const std::lock_guard lock(m_mtx);
        m_deq.clear();
    }
    /// Appends; drops the oldest first if p_nMax or more are held.
    void Push(const SMeas& p_meas, std::size_t p_nMax)
    {
        const std::lock_guard lock(m_mtx);
        if (!m_deq.empty() && m_deq.size() >= p_nMax)
            m_deq.pop_front();
        m_deq.push_back(p_meas);
    }
    /// Appends without a limit (study signal).
    void Append(const SMeas& p_meas)
    {
        const std::lock_guard lock(m_mtx);
        m_deq.push_back(p_meas);
    }
    /// Copies the newest p_nCount values in time order to p_pfOut. @return false, nothing copied, if fewer are held.
    bool CopyNewest(double* p_pfOut, std::size_t p_nCount) const
    {
        const std::lock_guard lock(m_mtx);
        if (m_deq.size() < p_nCount)
            return false;
        for (auto it = m_deq.end() - static_cast<std::ptrdiff_t>(p_nCount); it != m_deq.end(); ++it)
            *p_pfOut++ = it->fValue;
        return true;
    }

  private:
    mutable std::mutex m_mtx;
    std::deque<SMeas> m_deq;
};
