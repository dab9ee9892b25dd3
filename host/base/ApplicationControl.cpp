#include "host/base/ApplicationControl.h"
#include "host/base/AppState.h"
#include "host/base/CTraceOMA.h"
#include <atomic>

namespace
{
enum EControl : int
{
    eControlRestart = 0,
    eControlSuspend = 1,
    eControlStop = 2
};

std::atomic<TOnSuspension> g_pfnOnSuspension{nullptr};

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
    const TOnSuspension pfnOnSuspension = g_pfnOnSuspension;
    if (p_nControl == eControlSuspend && pfnOnSuspension)
        pfnOnSuspension(p_strShort);
}

void SetOnSuspension(TOnSuspension p_pfnOnSuspension)
{
    g_pfnOnSuspension = p_pfnOnSuspension;
}
