#include "link/output/CEventDataOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include "link/post/CEventWriteOMA.h"

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CEventDataOMA";

enum EEventType : std::int32_t
{
    eEventNone = 0,
    eEventNotified = 1,
    eEventDistinct = 2,
    eEventCritical = 3,
    eEventUndamped = 4
};

/// Reports an unhandled value with a suspend line, although the application continues.
bool NoMatchingCase(CTraceOMA* p_pTrace, std::string_view p_strMethod)
{
    if (p_pTrace)
        p_pTrace->TraceSuspend(g_strClass, p_strMethod, "No matching 'case'");
    return false;
}
} // namespace

CEventDataOMA::CEventDataOMA(bool p_bPowerSignal, std::uint32_t p_nElementId, const CDOE* p_pDOE,
                             std::int32_t p_eMinEvent, CTraceOMA* p_pTrace)
    : m_eMinEvent(p_eMinEvent), m_bPowerSignal(p_bPowerSignal), m_nElementId(p_nElementId), m_pDOE(p_pDOE),
      m_pTrace(p_pTrace)
{
}

bool CEventDataOMA::ProcessAPP(const CTime* p_pActTime, double p_fFreq_Hz, double p_fMagn, double p_fDamp,
                               double p_fDOE)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessAPP");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    std::int32_t eType = eEventNone;
    if (!RetrieveEventTypeFromDOE(p_fDOE, eType))
        return false;
    if (eType == eEventNone)
    {
        ProcessDIS(p_pActTime);
        return true;
    }
    if (eType == m_eLastEvent)
        return true;
    ProcessDIS(p_pActTime);
    if (eType < m_eMinEvent)
        return true;
    // Intended: warns of a negative ratio, which is a damped swing, and posts the event anyway.
    if (eType == eEventUndamped && p_fDamp < 0.0)
        trace.Warning("Event type UNDAMPED CRITICAL does not fit to damp.ratio: ", p_fDamp);

    PostPS(eType, eAPP, p_fFreq_Hz, p_fMagn, p_fDamp, p_fDOE, p_pActTime);
    m_eLastEvent = eType;
    m_fFreq = p_fFreq_Hz;
    m_fMagn = p_fMagn;
    m_fDamp = p_fDamp;
    m_fDOE = p_fDOE;
    return true;
}

bool CEventDataOMA::ProcessDIS(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessDIS");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (m_eLastEvent != eEventNone)
    {
        PostPS(m_eLastEvent, eDIS, m_fFreq, m_fMagn, m_fDamp, m_fDOE, p_pActTime);
        m_eLastEvent = eEventNone;
    }
    return true;
}

bool CEventDataOMA::RetrieveEventTypeFromDOE(double p_fDOE, std::int32_t& r_eType) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "RetrieveEventTypeFromDOE");
    if (!m_pDOE)
        return trace.BadPointer("m_pDOE");
    unsigned nLevel = 0;
    if (!m_pDOE->RetrveViolLevel(p_fDOE, m_pTrace, nLevel))
        return false;
    if (nLevel >= 12)
        return trace.Suspend("No matching 'case'");
    if (nLevel == 0)
        r_eType = eEventNone;
    else if (nLevel <= 2)
        r_eType = eEventNotified;
    else if (nLevel <= 6)
        r_eType = eEventDistinct;
    else if (nLevel <= 10)
        r_eType = eEventCritical;
    else
        r_eType = eEventUndamped;
    return true;
}

bool CEventDataOMA::RetrveIncKeyFromEventTypePS(std::int32_t p_eType, EIncidenceKey& r_eKey) const
{
    switch (p_eType)
    {
    case eEventNone:
        r_eKey = eIkNone;
        return true;
    case eEventNotified:
        r_eKey = eIkPsNotified;
        return true;
    case eEventDistinct:
        r_eKey = eIkPsDistinct;
        return true;
    case eEventCritical:
        r_eKey = eIkPsCritical;
        return true;
    case eEventUndamped:
        r_eKey = eIkPsUndampedCritical;
        return true;
    default:
        return NoMatchingCase(m_pTrace, "RetrveIncKeyFromEventTypePS");
    }
}

bool CEventDataOMA::CreateTextFromIncKeyPS(EIncidenceKey p_eKey, std::string& r_strText) const
{
    switch (p_eKey)
    {
    case eIkNone:
    case eIkPsNotified:
    case eIkPsDistinct:
    case eIkPsCritical:
    case eIkPsUndampedCritical:
        r_strText = SwingEventAsText(p_eKey);
        return true;
    default:
        return NoMatchingCase(m_pTrace, "CreateTextFromIncKeyPS");
    }
}

std::string CEventDataOMA::CreateAddition(double p_fFreq_Hz, double p_fMagn, double p_fDamp, double p_fDOE) const
{
    const std::string strMagn = m_bPowerSignal ? DoubleAsText(p_fMagn, 10, 0, true) : DoubleAsText(p_fMagn, 3, 2, true);
    return "#FREQUENCY#|#MAGNITUDE#|#DAMPING_RATIO#|#DEGREE_OF_EXPOSURE#~" + DoubleAsText(p_fFreq_Hz, 2, 2, false) +
           "|" + strMagn + "|" + DoubleAsText(p_fDamp, 1, 3, true) + "|" + DoubleAsText(p_fDOE, 2, 2, false);
}

bool CEventDataOMA::PostPS(std::int32_t p_eType, ETransition p_eTrans, double p_fFreq_Hz, double p_fMagn,
                           double p_fDamp, double p_fDOE, const CTime* p_pActTime)
{
    EIncidenceKey eKey = eIkNone;
    if (!RetrveIncKeyFromEventTypePS(p_eType, eKey))
        return false;
    const std::string strAddition = CreateAddition(p_fFreq_Hz, p_fMagn, p_fDamp, p_fDOE);
    if (g_pEventWrite)
        g_pEventWrite->PostOMA(eKey, p_eTrans, m_nElementId, strAddition, p_pActTime);
    TraceMessage(eKey, p_eTrans, strAddition);
    m_eTrans = p_eTrans;
    return true;
}

bool CEventDataOMA::TraceMessage(EIncidenceKey p_eKey, ETransition p_eTrans, const std::string& p_strText) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "TraceMessage");
    std::string strKey;
    if (!CreateTextFromIncKeyPS(p_eKey, strKey))
        return false;
    trace.Data(IsTraceData(0), TransAsText(p_eTrans), " - ", strKey, ": ", p_strText);
    return true;
}
