#include "platform/dli/CEventReceiver.h"
#include "link/dli/EDli.h"
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
void CEventReceiver::PushEvents(std::shared_ptr<SEventBatch> p_pBatch)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_queBatch.push_back(std::move(p_pBatch));
    if (m_bReceiveRuns)
        return;
    m_bReceiveRuns = true;
    m_pool.Submit(shared_from_this(), eLaneReceive);
}

void CEventReceiver::CallStatus(const SStatus& p_status)
{
    m_pCallBack->Status(p_status.eStatus, p_status.lReqNum, p_status.lAddInfo);
}

bool CEventReceiver::ReceiveNext()
{
    std::shared_ptr<SEventBatch> pBatch;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_queBatch.empty())
        {
            m_bReceiveRuns = false;
            return false;
        }
        pBatch = std::move(m_queBatch.front());
        m_queBatch.pop_front();
    }
    std::vector<CEvent*> vecpEvent;
    for (const std::unique_ptr<CEvent>& pEvent : pBatch->vecpEvent)
        vecpEvent.push_back(pEvent.get());
    Call([&] { m_pCallBack->Receive(vecpEvent, pBatch->lReqNum); });
    // The end of a request is told when its reply has been taken.
    if (pBatch->lReqNum != 0)
        PushStatus(eReqFinished, pBatch->lReqNum);
    return true;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
