#include "platform/dli/CDataReceiver.h"
#include "link.pb.h"
#include "link/dli/EDli.h"
#include "link/dli/SampleState.h"
#include <algorithm>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
constexpr std::int64_t g_nQueue_ms = 10000;
constexpr std::size_t g_nMaxQueue = 10000;
/// The first cycles wait until the reply to the start has been delivered, but not indefinitely.
constexpr auto g_tReady = std::chrono::seconds(2);
} // namespace

void CDataReceiver::Begin(unsigned p_nStart, const std::vector<unsigned long>& p_vecnId)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    DropQueue();
    m_nStart = p_nStart;
    m_vecnId = p_vecnId;
    m_bReady = false;
    m_tStarted = std::chrono::steady_clock::now();
}

void CDataReceiver::Started(unsigned p_nStart, std::int64_t p_nCycle_ms, bool p_bLive)
{
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (p_nStart != m_nStart)
            return;
        m_bLive = p_bLive;
        m_nMaxQueue = std::clamp<std::size_t>(
            static_cast<std::size_t>(g_nQueue_ms / std::clamp<std::int64_t>(p_nCycle_ms, 1, g_nQueue_ms)), 2,
            g_nMaxQueue);
        m_tStarted = std::chrono::steady_clock::now();
    }
    Push({eReqCycle, 0, static_cast<unsigned long>(std::max<std::int64_t>(p_nCycle_ms, 0)), p_nStart});
}

void CDataReceiver::PushCycle(const Link::Cycle& p_cycle)
{
    std::unique_lock<std::mutex> lock(m_mtx);
    if (p_cycle.start() != m_nStart || m_nStart == 0)
        return;
    std::unique_ptr<SCycle> pCycle;
    if (m_queCycle.size() >= (m_bLive ? m_nMaxQueue : g_nMaxQueue)) // a replay waits and never gets there
    {
        pCycle = std::move(m_queCycle.front());
        m_queCycle.pop_front();
    }
    else if (!m_vecSpare.empty())
    {
        pCycle = std::move(m_vecSpare.back());
        m_vecSpare.pop_back();
    }
    else
        pCycle = std::make_unique<SCycle>();
    pCycle->nStart = p_cycle.start();
    pCycle->nSeq = p_cycle.seq();
    pCycle->nTicks = p_cycle.time();
    pCycle->vecfMagn.assign(p_cycle.magn().begin(), p_cycle.magn().end());
    pCycle->vecfAngle.assign(p_cycle.angle().begin(), p_cycle.angle().end());
    pCycle->vecnState.assign(p_cycle.state().begin(), p_cycle.state().end());
    m_queCycle.push_back(std::move(pCycle));
    if (!m_bReady && std::chrono::steady_clock::now() - m_tStarted > g_tReady)
        m_bReady = true;
    if (!BeginReceive())
        return;
    lock.unlock(); // before the lane, whose first step locks it
    m_pool.Submit(shared_from_this(), eLaneReceive);
}

void CDataReceiver::CallStatus(const SStatus& p_status)
{
    if (p_status.eStatus == eReqCycle)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (p_status.nStart != m_nStart)
            return; // reply to an abandoned start
    }
    m_pCallBack->Status(p_status.eStatus, p_status.lReqNum, p_status.lAddInfo);
}

void CDataReceiver::StatusDone(const SStatus& p_status)
{
    if (p_status.eStatus != eReqCycle)
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (p_status.nStart != m_nStart)
            return;
        m_bReady = true;
        if (BeginReceive())
            m_pool.Submit(shared_from_this(), eLaneReceive);
    }
    if (const std::shared_ptr<IReport> pReport = m_pReport.lock())
        pReport->ReportReady(p_status.nStart);
}

bool CDataReceiver::ReceiveNext()
{
    std::unique_ptr<SCycle> pCycle;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_queCycle.empty() || !m_bReady)
        {
            m_bReceiveRuns = false;
            return false;
        }
        pCycle = std::move(m_queCycle.front());
        m_queCycle.pop_front();
        Fill(*pCycle);
    }
    if (!m_vecpChannel.empty())
        Call([this] { m_pCallBack->Receive(m_vecpChannel); });
    const unsigned nStart = pCycle->nStart;
    const std::uint64_t nSeq = pCycle->nSeq;
    bool bMore = false;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_vecSpare.size() < m_nMaxQueue)
            m_vecSpare.push_back(std::move(pCycle));
        bMore = !m_queCycle.empty();
    }
    if (const std::shared_ptr<IReport> pReport = m_pReport.lock())
        pReport->ReportTaken(nStart, nSeq, bMore);
    return true;
}

/// Copies a cycle into the channel objects. Hold m_mtx, since it reads the ids.
void CDataReceiver::Fill(const SCycle& p_cycle)
{
    m_vecChannel.resize(m_vecnId.size(), CChannelAnalog(0, 0, 0.0F, 0));
    m_vecpChannel.resize(m_vecChannel.size());
    const std::size_t nSamples =
        std::min({p_cycle.vecfMagn.size(), p_cycle.vecfAngle.size(), p_cycle.vecnState.size()});
    for (std::size_t i = 0; i < m_vecChannel.size(); ++i)
    {
        CChannelAnalog& channel = m_vecChannel[i];
        CChannel::vdsData data;
        data.nKind = CChannel::eValuePhasor;
        channel.SetId(m_vecnId[i]);
        channel.SetType(CChannel::eTypeAnalog);
        channel.SetTime(p_cycle.nTicks);
        if (i < nSamples)
        {
            data.fValue1 = p_cycle.vecfMagn[i];
            data.fValue2 = p_cycle.vecfAngle[i];
            channel.SetStatus(static_cast<std::int64_t>(p_cycle.vecnState[i]));
        }
        else
            channel.SetStatus(g_nStateNoSample);
        channel.SetValue(data, CChannel::eValuePhasor);
        m_vecpChannel[i] = &channel;
    }
}

void CDataReceiver::DropQueue()
{
    for (std::unique_ptr<SCycle>& pCycle : m_queCycle)
        m_vecSpare.push_back(std::move(pCycle));
    m_queCycle.clear();
}

/// Hold m_mtx. @return true: the lane must be submitted.
bool CDataReceiver::BeginReceive()
{
    if (m_bReceiveRuns || m_queCycle.empty() || !m_bReady)
        return false;
    m_bReceiveRuns = true;
    return true;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
