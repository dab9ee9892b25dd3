#include "view/state/CViewState.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <cmath>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;
using Runtime::SFeedBatch;
using Runtime::SFeedEvent;
using Runtime::SFeedHealth;
using Runtime::SFeedStep;

namespace
{
constexpr auto g_tNoSamples = std::chrono::seconds(3);

std::string Seconds(double p_fTime_s)
{
    return std::to_string(static_cast<long>(std::ceil(p_fTime_s))) + " s";
}
} // namespace

CViewState::CViewState(const SViewModel& p_model, IViewMemory& r_memory)
    : m_model(p_model), m_memory(r_memory), m_book(p_model, r_memory)
{
    m_vecJob.reserve(p_model.vecJob.size());
    for (const SViewJob& job : p_model.vecJob)
        m_vecJob.emplace_back(job);
}

// ---- of the link ----

void CViewState::OnLink(bool p_bUp, const std::string& p_strText)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_bLinked != p_bUp || m_nLinkSince_ms == 0)
        m_nLinkSince_ms = WallMs();
    m_bLinked = p_bUp;
    m_strLink = p_strText;
    m_vecStanding.clear();
    m_tHealth = m_tCycle = std::chrono::steady_clock::now();
    if (p_bUp)
        return;
    m_health.reset();
    m_fSamples_perS = 0.0;
    for (CJobState& job : m_vecJob)
    {
        job.OnChannel(false);
        for (CJobState::SMode& mode : job.m_vecMode)
            mode = {};
        job.m_nRevision = m_nRevision + 1;
    }
}

std::int64_t CViewState::EventsSince() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return std::max<std::int64_t>(m_book.LastTicks(), 1); // an empty memory wants all that the server knows
}

void CViewState::Receive(const SFeedBatch& p_batch)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_nLost += p_batch.nLost;
    for (const SFeedStep& step : p_batch.vecStep)
        TakeStep(step);
    for (const SFeedEvent& event : p_batch.vecEvent)
    {
        m_book.Take(event, m_nRevision + 1);
        const auto it = m_model.mapMode.find(event.nElemId);
        if (it != m_model.mapMode.end())
            m_vecJob[it->second.iJob].m_nRevision = m_nRevision + 1;
    }
    m_vecStanding.insert(m_vecStanding.end(), p_batch.vecStanding.begin(), p_batch.vecStanding.end());
    if (p_batch.bStandingDone)
    {
        m_book.TakeStanding(m_vecStanding, m_nNow_ms != 0 ? m_nNow_ms : WallMs(), m_nRevision + 1);
        m_vecStanding.clear();
        for (CJobState& job : m_vecJob)
            job.m_nRevision = m_nRevision + 1;
    }
    TakeSuspension();
}

void CViewState::TakeStep(const SFeedStep& p_step)
{
    if (p_step.vecnId.empty())
        return;
    const auto it = m_model.mapChannel.find(p_step.vecnId[0]);
    if (it == m_model.mapChannel.end())
        return;
    const std::size_t iJob = it->second.iJob;
    if (it->second.iMode != SViewModel::g_nActualValue)
        return TakeMode(iJob, static_cast<std::size_t>(it->second.iMode), p_step);
    CJobState& job = m_vecJob[iJob];
    if (p_step.eKind != SFeedStep::eWrite)
    {
        job.OnChannel(p_step.eKind == SFeedStep::eStart);
        job.m_nRevision = m_nRevision + 1;
        return;
    }
    if (p_step.nTicks <= g_nEpochTicks)
        return;
    const bool bValid = p_step.vecnQual[0] < 2 && std::isfinite(p_step.vecfValue[0]);
    const float fValue = bValid ? p_step.vecfValue[0] : std::numeric_limits<float>::quiet_NaN();
    job.OnValue(MsFromTicks(p_step.nTicks), fValue, static_cast<int>(p_step.vecnQual[0]));
    m_nNow_ms = MsFromTicks(p_step.nTicks);
    m_memory.OnSample(iJob, p_step.nTicks, fValue);
}

void CViewState::TakeMode(std::size_t p_iJob, std::size_t p_iMode, const SFeedStep& p_step)
{
    CJobState& job = m_vecJob[p_iJob];
    CJobState::SMode& mode = job.m_vecMode[p_iMode];
    job.m_nRevision = m_nRevision + 1;
    if (p_step.eKind == SFeedStep::eStop)
    {
        mode = {};
        return;
    }
    if (p_step.eKind == SFeedStep::eStart)
    {
        mode.bAlive = true;
        mode.nSince_ms = m_nNow_ms;
        return;
    }
    if (p_step.nTicks <= g_nEpochTicks)
        return;
    mode.bAlive = true;
    mode.nTime_ms = MsFromTicks(p_step.nTicks);
    if (mode.nSince_ms == 0)
        mode.nSince_ms = mode.nTime_ms;
    for (std::size_t i = 0; i < p_step.vecnId.size(); ++i)
    {
        const auto it = m_model.mapChannel.find(p_step.vecnId[i]);
        if (it == m_model.mapChannel.end() || it->second.iJob != p_iJob ||
            it->second.iMode != static_cast<int>(p_iMode))
            continue;
        const double fValue = p_step.vecfValue[i];
        mode.vecfValue[static_cast<std::size_t>(it->second.iQuantity)] =
            p_step.vecnQual[i] < 2 && std::isfinite(fValue) ? fValue : g_fNoValue;
    }
    ++m_nPasses;
    m_book.TakePass(m_model.vecJob[p_iJob].vecMode[p_iMode].nId, mode.nTime_ms, mode.vecfValue.data(), m_nRevision + 1);
    m_memory.OnPass(p_iJob, p_iMode, mode.nTime_ms, mode.vecfValue.data());
}

void CViewState::OnHealth(const SFeedHealth& p_health)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    const TTime tNow = std::chrono::steady_clock::now();
    const double fTime_s = std::chrono::duration<double>(tNow - m_tHealth).count();
    m_vecfFrames_perS.assign(p_health.vecStream.size(), 0.0);
    if (m_health && fTime_s > 0.1 && p_health.nSamples >= m_health->nSamples)
    {
        m_fSamples_perS = static_cast<double>(p_health.nSamples - m_health->nSamples) / fTime_s;
        for (std::size_t i = 0; i < std::min(p_health.vecStream.size(), m_health->vecStream.size()); ++i)
            m_vecfFrames_perS[i] =
                static_cast<double>(p_health.vecStream[i].nFrames - m_health->vecStream[i].nFrames) / fTime_s;
    }
    if (!m_health || p_health.nCycles != m_health->nCycles)
    {
        m_tCycle = tNow;
        m_nCycle_ms = p_health.nTicks > g_nEpochTicks ? MsFromTicks(p_health.nTicks) : 0;
    }
    m_tHealth = tNow;
    m_health = p_health;
    if (p_health.nTicks > g_nEpochTicks)
        m_nNow_ms = MsFromTicks(p_health.nTicks);
}

// ---- of the program ----

void CViewState::Publish(TTime p_tNow)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    SViewStatus status = Judge(p_tNow);
    if (status.eLevel != m_status.eLevel || status.nSince_ms == 0)
        status.nSince_ms = status.eLevel == m_status.eLevel ? m_status.nSince_ms : m_nNow_ms;
    m_status = std::move(status);
    TellMemory();
    ++m_nRevision;
}

/// Why there are no values, if the server is the reason.
SViewStatus CViewState::JudgeLink(TTime p_tNow) const
{
    const std::string strServer = m_model.strAddr + ":" + std::to_string(m_model.nPort);
    if (!m_bLinked)
        return {SViewStatus::eFault,
                "no connection to the server at " + strServer +
                    (m_nLinkSince_ms == 0 ? "" : " since " + ClockFromMs(m_nLinkSince_ms) + " UTC") +
                    (m_strLink.empty() ? "" : ": " + m_strLink),
                0};
    if (p_tNow - m_tHealth > g_tNoSamples)
        return {SViewStatus::eFault, "the server at " + strServer + " does not answer", 0};
    if (m_health && m_health->nCycles == 0)
        return {SViewStatus::eWaiting, "the server waits for its first samples", 0};
    if (p_tNow - m_tCycle > g_tNoSamples)
        return {SViewStatus::eFault, "no samples since " + ClockFromMs(m_nCycle_ms) + " UTC", 0};
    return {SViewStatus::eOk, "", 0};
}

SViewStatus CViewState::JudgeWindows() const
{
    std::size_t nActive = 0;
    std::size_t nRuns = 0;
    std::size_t nInvalid = 0;
    std::size_t nFilling = 0;
    double fLongest_s = 0.0;
    double fRest_s = 0.0;
    for (std::size_t i = 0; i < m_vecJob.size(); ++i)
    {
        const CJobState& job = m_vecJob[i];
        if (!m_model.vecJob[i].bActive)
            continue;
        ++nActive;
        nRuns += job.Runs() ? 1U : 0U;
        nInvalid += job.Runs() && job.HasValue() && job.Filled_s() == 0.0 ? 1U : 0U;
        const double fWindow_s = m_model.vecJob[i].Window_s();
        const double fMissing_s = fWindow_s - job.Filled_s();
        nFilling += fMissing_s > 0.5 / m_model.vecJob[i].fRate_Hz ? 1U : 0U;
        if (fMissing_s > fRest_s)
        {
            fRest_s = fMissing_s;
            fLongest_s = fWindow_s;
        }
    }
    if (nActive == 0)
        return {SViewStatus::eFault, "no job of the configuration is active", 0};
    if (nRuns == 0)
        return {SViewStatus::eFault, "no application writes results", 0};
    if (nInvalid == nActive)
        return {SViewStatus::eFault, "the values of all jobs are invalid", 0};
    if (nFilling != 0)
        return {SViewStatus::eWaiting,
                (nFilling == nActive ? std::string()
                                     : std::to_string(nFilling) + " of " + std::to_string(nActive) + " jobs: ") +
                    "the window of " + Seconds(fLongest_s) + " is full in " + Seconds(fRest_s),
                0};
    return {SViewStatus::eOk, "all windows are full: every swing of the configuration would be seen", 0};
}

SViewStatus CViewState::Judge(TTime p_tNow) const
{
    SViewStatus status = JudgeLink(p_tNow);
    if (status.eLevel != SViewStatus::eOk)
        return status;
    if (!m_strSuspended.empty())
        return {SViewStatus::eFault, m_strSuspended, 0};
    return JudgeWindows();
}

void CViewState::TakeSuspension()
{
    std::string strText;
    for (const SViewEvent& record : m_book.Records())
        if (record.Stands() && record.eKind == EEventKind::eSystem &&
            (record.eKey == Runtime::eIkServiceStopOMA || record.eKey == Runtime::eIkNoPhasorData))
            strText = (record.eKey == Runtime::eIkServiceStopOMA ? "suspended: " : "") + record.strText;
    if (strText == m_strSuspended)
        return;
    m_strSuspended = std::move(strText);
    for (CJobState& job : m_vecJob)
        job.m_nRevision = m_nRevision + 1;
}

/// Spans of time in which nothing could be seen.
void CViewState::TellMemory()
{
    const bool bBlind = m_status.eLevel == SViewStatus::eFault && m_nNow_ms != 0;
    if (bBlind && !m_bBlind)
        m_nBlind_ms = m_nNow_ms;
    if (bBlind != m_bBlind)
        m_memory.OnBlind(m_nBlind_ms, bBlind ? -1 : std::max(m_nNow_ms, m_nBlind_ms), m_status.strText);
    m_bBlind = bBlind;
}
