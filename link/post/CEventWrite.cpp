#include "link/post/CEventWrite.h"
#include "host/base/CMethodTrace.h"

using Norvik::Energy::Kestrel::EElementType;
using Norvik::Energy::Kestrel::eElemOMA;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

CEventWrite::CEventWrite(unsigned long p_hConn, CTraceOMA* p_pTrace, std::string_view p_strClass)
    : m_hConn(p_hConn), m_pTrace(p_pTrace), m_strClass(p_strClass)
{
    const CMethodTrace trace(m_pTrace, m_strClass, m_strClass);
    try
    {
        m_pEventData = &CEventdata::GetInstance(m_hConn);
        // The library returns a reference taken from a table of pointers, so it can still be null.
        if (!m_pEventData)
            m_bError = !trace.Error("Invalid DLI event handler instance");
    }
    catch (const std::exception& error)
    {
        m_bError = !trace.Error("Error resulting from DLI GetInstance() call: ", error.what());
    }
}

bool CEventWrite::PostEvent(EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem, unsigned long p_nElemId,
                            const std::string& p_strAddition, const CTime* p_pTime)
{
    const CMethodTrace trace(m_pTrace, m_strClass, "PostEvent");
    if (!m_pEventData)
        return trace.BadPointer("m_pEventData");
    std::int64_t nTicks = 0;
    if (p_pTime && !p_pTime->ToTicks(&nTicks))
        return trace.Error("Invalid TS");
    try
    {
        if (p_pTime)
            m_pEventData->PostAt(nTicks, p_eKey, p_eTrans, p_eElem, p_nElemId, p_strAddition);
        else
            m_pEventData->Post(p_eKey, p_eTrans, p_eElem, p_nElemId, p_strAddition);
    }
    catch (const std::exception& error)
    {
        return trace.Error("Error resulting from DLI Post() call: ", error.what());
    }
    return true;
}

bool CEventWrite::PostAPP(EIncidenceKey p_eKey, EElementType p_eElem, unsigned long p_nElemId,
                          const std::string& p_strAddition, const CTime* p_pTime)
{
    return PostEvent(p_eKey, eAPP, p_eElem, p_nElemId, p_strAddition, p_pTime);
}

bool CEventWrite::PostDIS(EIncidenceKey p_eKey, EElementType p_eElem, unsigned long p_nElemId,
                          const std::string& p_strAddition, const CTime* p_pTime)
{
    return PostEvent(p_eKey, eDIS, p_eElem, p_nElemId, p_strAddition, p_pTime);
}

bool CEventWrite::PostAppOMA(EIncidenceKey p_eKey, unsigned long p_nElemId, const std::string& p_strAddition,
                             const CTime* p_pTime)
{
    return PostEvent(p_eKey, eAPP, eElemOMA, p_nElemId, p_strAddition, p_pTime);
}

bool CEventWrite::PostDisOMA(EIncidenceKey p_eKey, unsigned long p_nElemId, const std::string& p_strAddition,
                             const CTime* p_pTime)
{
    return PostEvent(p_eKey, eDIS, eElemOMA, p_nElemId, p_strAddition, p_pTime);
}

bool CEventWrite::PostOMA(EIncidenceKey p_eKey, ETransition p_eTrans, unsigned long p_nElemId,
                          const std::string& p_strAddition, const CTime* p_pTime)
{
    return PostEvent(p_eKey, p_eTrans, eElemOMA, p_nElemId, p_strAddition, p_pTime);
}
