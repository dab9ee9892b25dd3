#include "vds/core/CElements.h"
#include "link/dli/EDli.h"

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

bool IsStop(const SEvent& p_event)
{
    return (p_event.eKey == eIkServiceStopOMA && p_event.eElemType == eElemOMA) ||
           (p_event.eKey == eIkServiceStopNTM && p_event.eElemType == eElemNTM);
}

bool IsRestart(const SEvent& p_event)
{
    return p_event.eKey == eIkRestart && p_event.eTrans == eAPP;
}

bool IsOrder(const SEvent& p_event)
{
    return p_event.eKey == eIkRestart || IsStop(p_event);
}

void CElements::Declare(std::int32_t p_eElemType, const std::vector<std::uint64_t>& p_vecnId)
{
    m_eElemType = p_eElemType;
    m_nApplication = p_vecnId.empty() ? 0 : p_vecnId.front();
    m_setnId = {p_vecnId.begin(), p_vecnId.end()};
}

bool CElements::Has(const SEvent& p_event) const
{
    return p_event.eElemType == m_eElemType && m_setnId.count(p_event.nElemId) != 0;
}

bool CElements::IsOwn(const SEvent& p_event) const
{
    return Has(p_event) ||
           (p_event.eElemType == m_eElemType && p_event.nOwner != 0 && p_event.nOwner == m_nApplication);
}

bool CElements::Hears(const SEvent& p_event) const
{
    return !IsDeclared() || p_event.eElemType != m_eElemType || IsOwn(p_event);
}

bool CElements::IsStart(const SEvent& p_event) const
{
    return IsDeclared() && p_event.eElemType == m_eElemType && p_event.nElemId == m_nApplication &&
           p_event.eTrans == 0 && IsStop(p_event);
}

bool CElements::IsLeftOver(const SEvent& p_event) const
{
    const bool bNoData = p_event.eKey == eIkNoPhasorData && p_event.eElemType == eElemOMA;
    return IsOwn(p_event) && (IsStop(p_event) || bNoData);
}
