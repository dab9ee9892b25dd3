#include "platform/dli/CEventReceiver.h"
#include "link/dli/EDli.h"
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
constexpr const char* g_pszLibrary = "library"; ///< source of an end that the server has not sent
constexpr std::size_t g_nMaxTold = 20000;       ///< far above the number of events a server keeps active
} // namespace

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
    const VecEvent vecpEnd = pBatch->bStanding ? EndsBefore(pBatch->vecpEvent) : VecEvent();
    const bool bNewsOnly = pBatch->bStanding && pBatch->lReqNum == 0;
    std::vector<CEvent*> vecpEvent;
    for (const std::unique_ptr<CEvent>& pEvent : vecpEnd)
        vecpEvent.push_back(pEvent.get());
    for (const std::unique_ptr<CEvent>& pEvent : pBatch->vecpEvent)
    {
        if (!bNewsOnly || !IsTold(*pEvent))
            vecpEvent.push_back(pEvent.get());
    }
    for (const CEvent* const pEvent : vecpEvent)
        Note(*pEvent);
    if (bNewsOnly && vecpEvent.empty())
        return true;
    Call([&] { m_pCallBack->Receive(vecpEvent, pBatch->lReqNum); });
    // The end of a request is reported after its reply has been received.
    if (pBatch->lReqNum != 0)
        PushStatus(eReqFinished, pBatch->lReqNum);
    return true;
}

CEventReceiver::TKey CEventReceiver::KeyOf(const CEvent& p_event)
{
    return {p_event.IncidenceKey(), p_event.ElementType(), p_event.ElementID()};
}

/// A restart is an order: it is never active.
bool CEventReceiver::IsForeign(const CEvent& p_event) const
{
    return p_event.ElementType() != m_eElem && p_event.IncidenceKey() != eIkRestart;
}

bool CEventReceiver::IsTold(const CEvent& p_event) const
{
    const auto it = m_mapTold.find(KeyOf(p_event));
    return it != m_mapTold.end() && it->second == p_event.Addition();
}

/// An event repeated with the same text has not ended.
CEventReceiver::VecEvent CEventReceiver::EndsBefore(const VecEvent& p_vecpStanding) const
{
    std::map<TKey, std::string> mapEnded = m_mapTold;
    for (const std::unique_ptr<CEvent>& pEvent : p_vecpStanding)
    {
        if (IsTold(*pEvent))
            mapEnded.erase(KeyOf(*pEvent));
    }
    VecEvent vecpEnd;
    for (auto& [key, r_strText] : mapEnded)
    {
        const auto& [eKey, eElem, nElemId] = key;
        vecpEnd.push_back(std::make_unique<CEvent>(eDIS, eElem, nElemId, eKey, std::move(r_strText), g_pszLibrary));
    }
    return vecpEnd;
}

void CEventReceiver::Note(const CEvent& p_event)
{
    if (!IsForeign(p_event))
        return;
    if (p_event.Transition() != eAPP)
        m_mapTold.erase(KeyOf(p_event));
    else if (m_mapTold.size() < g_nMaxTold)
        m_mapTold[KeyOf(p_event)] = p_event.Addition();
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
