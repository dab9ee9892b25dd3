#include "platform/dli/CReceiver.h"
#include "link/dli/EDli.h"
#include <cstdio>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
void CReceiver::PushStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    Push({p_eStatus, p_lReqNum, p_lAddInfo, 0});
}

void CReceiver::Push(const SStatus& p_status)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    (p_status.eStatus == eWriteResponse ? m_queAnswer : m_queStatus).push_back(p_status);
    Schedule();
}

bool CReceiver::IsAtRest()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_queStatus.empty() && !m_bStatusRuns && !m_bReceiveRuns;
}

/// Starts the lanes that have work. Hold m_mtx.
void CReceiver::Schedule()
{
    if (!m_queAnswer.empty() && !m_bAnswerRuns)
    {
        m_bAnswerRuns = true;
        m_pool.Submit(shared_from_this(), eLaneAnswer);
    }
    if (!m_queStatus.empty() && !m_bStatusRuns && !m_bAnswerRuns)
    {
        m_bStatusRuns = true;
        m_pool.Submit(shared_from_this(), eLaneStatus);
    }
}

void CReceiver::RunLane(int p_nLane)
{
    if (p_nLane == eLaneStatus)
        RunStatus();
    else if (p_nLane == eLaneAnswer)
        RunAnswers();
    else
    {
        while (ReceiveNext())
        {
        }
    }
}

void CReceiver::RunStatus()
{
    for (;;)
    {
        SStatus status;
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            if (m_queStatus.empty() || m_bAnswerRuns)
            {
                m_bStatusRuns = false;
                return;
            }
            status = m_queStatus.front();
            m_queStatus.pop_front();
        }
        Deliver(status);
    }
}

void CReceiver::RunAnswers()
{
    for (;;)
    {
        SStatus status;
        {
            const std::lock_guard<std::mutex> lock(m_mtx);
            if (m_queAnswer.empty())
            {
                m_bAnswerRuns = false;
                Schedule();
                return;
            }
            status = m_queAnswer.front();
            m_queAnswer.pop_front();
        }
        Deliver(status);
    }
}

void CReceiver::Deliver(const SStatus& p_status)
{
    Call([&] { CallStatus(p_status); });
    StatusDone(p_status);
}

void CReceiver::ReportThrow(const char* p_pText)
{
    std::fprintf(stderr, "DLI: exception from a callback: %s\n", p_pText);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
