#include "link/input/CEventReadCb.h"
#include "host/base/AppState.h"
#include "host/base/CMethodTrace.h"
#include "link/dli/EDli.h"

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CEventReadCb";
}

CEventReadCb::CEventReadCb(CTraceOMA* p_pTrace)
    : m_hStatus(CreateEventW(nullptr, 0, 0, nullptr)), m_hReceive(CreateEventW(nullptr, 0, 0, nullptr)),
      m_pTrace(p_pTrace)
{
}

CEventReadCb::~CEventReadCb()
{
    for (const HANDLE hEvent : {m_hStatus, m_hReceive})
        if (hEvent)
            CloseHandle(hEvent);
}

void CEventReadCb::Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Status");
    // Intended: the same words for every status, known or not.
    trace.Info("Unknown Status Message: eStatus=", p_eStatus, "  lReqNum=", p_lReqNum, "  lAddInfo=", p_lAddInfo);
    switch (p_eStatus)
    {
    case eConnected:
        g_bConnected = true;
        break;
    case eNotConnected:
        g_bConnected = false;
        break;
    case eReqFinished:
        if (p_lReqNum == m_nUpcReq)
        {
            trace.Info("eReqFinished received for UPC request");
            m_bUpcFinished = true;
        }
        break;
    case eDisconnected:
    case eStatus2:
    case eLinkDown:
    case eStatus7:
    case eStatus8:
    case eReqCycle:
        break;
    default:
        OnUnknownStatus(p_eStatus, p_lReqNum, p_lAddInfo);
        break;
    }
    m_eStatus = p_eStatus;
    if (!SetEvent(m_hStatus))
        trace.Error("Event cannot be set");
}

void CEventReadCb::OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnUnknownStatus");
    trace.Info("(): Unknown Status Message: eStatus = ", p_eStatus, "  lReqNum=", p_lReqNum, "  lAddInfo=", p_lAddInfo);
}

/// A platform restart applies to every application.
bool CEventReadCb::OnRestart(std::int32_t p_eElem, std::int32_t p_eOwn)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnRestart");
    if (p_eElem != eElemPlatform && p_eElem != p_eOwn)
        return true;
    m_eCommand = eCommandRestart;
    trace.Info("Init. app. restart");
    return SetEvent(m_hReceive) ? true : trace.Error("SetEvent() failed");
}

/// Intended: unlike its restart, a stop of the platform does not stop this application.
bool CEventReadCb::OnSuspend(std::int32_t p_eElem, std::int32_t p_eOwn)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnSuspend");
    if (p_eElem != p_eOwn)
        return true;
    m_eCommand = eCommandSuspend;
    trace.Info("Init. application service stop");
    return SetEvent(m_hReceive) ? true : trace.Error("SetEvent() failed");
}
