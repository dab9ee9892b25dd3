#include "view/state/CJobState.h"
#include <algorithm>

namespace
{
/// Ten values a second show a swing of 3 Hz; a slower signal has its own rate.
constexpr double g_fStep_ms = 100.0;
} // namespace

CJobState::CJobState(const SViewJob& p_job)
    : m_vecMode(p_job.vecMode.size()), m_job(p_job), m_fStep_ms(std::max(g_fStep_ms, 1000.0 / p_job.fRate_Hz)),
      m_vecfTrace(static_cast<std::size_t>(static_cast<double>(g_nTrace_ms) / m_fStep_ms) + 1)
{
}

void CJobState::OnChannel(bool p_bRuns)
{
    m_bRuns = p_bRuns;
    m_nValidFrom_ms = 0;
}

void CJobState::OnValue(std::int64_t p_nTime_ms, float p_fValue, int p_eQual)
{
    const double fStep_ms = static_cast<double>(p_nTime_ms - m_nTime_ms);
    const bool bGap = fStep_ms <= 0.0 || fStep_ms * m_job.fRate_Hz > 1500.0;
    if (std::isnan(p_fValue))
        m_nValidFrom_ms = 0;
    else if (m_nValidFrom_ms == 0 || bGap)
        m_nValidFrom_ms = p_nTime_ms;
    m_fValue = p_fValue;
    m_eQual = p_eQual;
    m_nTime_ms = p_nTime_ms;

    const auto nPlace = static_cast<std::int64_t>(static_cast<double>(p_nTime_ms) / m_fStep_ms + 0.01);
    const auto nSize = static_cast<std::int64_t>(m_vecfTrace.size());
    if (nPlace == m_nTraceLast)
        return;
    if (m_nTraceLast < 0 || nPlace < m_nTraceLast || nPlace - m_nTraceLast >= nSize)
        m_nTraceFirst = m_nTraceLast = nPlace; // time has jumped: what was before says nothing
    else
    {
        for (std::int64_t n = m_nTraceLast + 1; n < nPlace; ++n)
            m_vecfTrace[static_cast<std::size_t>(n % nSize)] = std::numeric_limits<float>::quiet_NaN();
        m_nTraceLast = nPlace;
        m_nTraceFirst = std::max(m_nTraceFirst, m_nTraceLast - nSize + 1);
    }
    m_vecfTrace[static_cast<std::size_t>(nPlace % nSize)] = p_fValue;
}

double CJobState::Filled_s() const
{
    if (m_nValidFrom_ms == 0)
        return 0.0;
    const double fBack_s = static_cast<double>(m_nTime_ms - m_nValidFrom_ms) / 1000.0 + 1.0 / m_job.fRate_Hz;
    return std::min(fBack_s, m_job.Window_s());
}

CJobState::STrace CJobState::Trace(std::int64_t p_nFrom) const
{
    STrace trace;
    const std::int64_t nFrom = std::max(p_nFrom, m_nTraceFirst);
    trace.nBegin_ms = static_cast<std::int64_t>(static_cast<double>(nFrom) * m_fStep_ms);
    const auto nSize = static_cast<std::int64_t>(m_vecfTrace.size());
    for (std::int64_t n = nFrom; n <= m_nTraceLast; ++n)
        trace.vecfValue.push_back(m_vecfTrace[static_cast<std::size_t>(n % nSize)]);
    return trace;
}
