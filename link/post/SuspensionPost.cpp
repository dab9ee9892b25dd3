#include "link/post/SuspensionPost.h"
#include "host/base/ApplicationControl.h"
#include "link/post/CEventWrite.h"
#include <mutex>

using Norvik::Energy::Kestrel::EElementType;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
/// Element that the events belong to. Written while a pass is built; read by any thread that suspends.
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
    // The error line has already been written, so the writer stays silent if there is no connection yet.
    CEventWrite eventWrite(context.hSocket, nullptr);
    if (!eventWrite.IsError())
        eventWrite.PostEvent(eKey, eAPP, static_cast<EElementType>(context.eElemType), context.nElemId, p_strShort,
                             nullptr);
}
} // namespace

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
    SetOnSuspension(&PostSuspension);
}
