#include "host/base/ApplicationControl.h"
#include "host/base/AppState.h"
#include "host/base/CTraceOMA.h"
#include "link/post/CEventWrite.h"
#include <mutex>

using Norvik::Energy::Kestrel::EElementType;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
enum EControl : int
{
    eControlRestart = 0,
    eControlSuspend = 1,
    eControlStop = 2
};

/// Whom the events belong to. Written while a pass is built, read by any thread that suspends.
struct SEventContext
{
    std::int32_t eElemType = 0;
    unsigned long hSocket = 0;
    unsigned long nElemId = 0;
};
std::mutex g_mtxEventContext;
SEventContext g_eventContext;

SEventContext GetEventContext()
{
    const std::lock_guard lock(g_mtxEventContext);
    return g_eventContext;
}

std::string FullText(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText)
{
    std::string strFull(p_strClass);
    strFull.append("::").append(p_strMethod).append("(): ").append(p_strText).append("!");
    return strFull;
}

std::string FullText(std::string_view p_strMethod, std::string_view p_strText)
{
    std::string strFull(p_strMethod);
    strFull.append("(): ").append(p_strText).append("!");
    return strFull;
}

std::string ShortText(std::string_view p_strText)
{
    return std::string(p_strText) + "!";
}

void TraceControl(int p_nControl, std::string_view p_strFull)
{
    CTraceOMA trace("");
    switch (p_nControl)
    {
    case eControlRestart:
        trace.TraceWarning(p_strFull);
        break;
    case eControlSuspend:
        trace.TraceSuspend(p_strFull);
        break;
    case eControlStop:
        trace.TraceInfo(p_strFull, true);
        break;
    default:
        trace.TraceError(p_strFull);
        break;
    }
}

void ChangeState(int p_nControl)
{
    if (p_nControl == eControlStop)
    {
        g_eAppState = eAppStop;
    }
    else if (p_nControl == eControlSuspend)
    {
        EAppState eExpected = eAppRun;
        g_eAppState.compare_exchange_strong(eExpected, eAppSuspend);
    }
}

void PostSuspension(const std::string& p_strShort)
{
    const SEventContext context = GetEventContext();
    EIncidenceKey eKey = eIkNone;
    if (context.eElemType == Norvik::Energy::Kestrel::eElemNTM)
        eKey = eIkServiceStopNTM;
    else if (context.eElemType == Norvik::Energy::Kestrel::eElemOMA)
        eKey = eIkServiceStopOMA;
    else
        return;
    // The line has been written already, so the writer stays silent if there is no connection yet.
    CEventWrite eventWrite(context.hSocket, nullptr);
    if (!eventWrite.IsError())
        eventWrite.PostEvent(eKey, eAPP, static_cast<EElementType>(context.eElemType), context.nElemId, p_strShort,
                             nullptr);
}
} // namespace

void SuspendApp(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText)
{
    ApplicationControl(eControlSuspend, FullText(p_strClass, p_strMethod, p_strText), ShortText(p_strText));
}

void SuspendApp(std::string_view p_strMethod, std::string_view p_strText)
{
    ApplicationControl(eControlSuspend, FullText(p_strMethod, p_strText), ShortText(p_strText));
}

void RestartApp(std::string_view p_strClass, std::string_view p_strMethod, std::string_view p_strText)
{
    ApplicationControl(eControlRestart, FullText(p_strClass, p_strMethod, p_strText), ShortText(p_strText));
}

void RestartApp(std::string_view p_strMethod, std::string_view p_strText)
{
    ApplicationControl(eControlRestart, FullText(p_strMethod, p_strText), ShortText(p_strText));
}

void ApplicationControl(int p_nControl, std::string_view p_strFull, const std::string& p_strShort)
{
    TraceControl(p_nControl, p_strFull);
    ChangeState(p_nControl);
    if (p_nControl == eControlSuspend)
        PostSuspension(p_strShort);
}

void SetEventContext(std::int32_t p_eElemType)
{
    SetEventContext(p_eElemType, 0, 0);
}

void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket)
{
    SetEventContext(p_eElemType, p_hSocket, 0);
}

void SetEventContext(std::int32_t p_eElemType, unsigned long p_hSocket, unsigned long p_nElemId)
{
    const std::lock_guard lock(g_mtxEventContext);
    g_eventContext = {p_eElemType, p_hSocket, p_nElemId};
}
