#include "link/output/CVdsOutCbMeas.h"
#include "host/base/CMethodTrace.h"

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsOutCbMeas";
}

CVdsOutCbMeas::CVdsOutCbMeas(HANDLE p_hStatus, CChanneldataWrite* p_pChanData, std::uint32_t p_nVirtualPmuId,
                             const std::vector<unsigned long>& p_vecnChanId, std::int32_t p_nCycleRate,
                             CTraceOMA* p_pTrace)
    : CVdsOutCb(g_strClass, p_hStatus, p_pChanData, p_nVirtualPmuId, p_vecnChanId, p_nCycleRate, p_pTrace)
{
}

bool CVdsOutCbMeas::OnConnected()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnConnected");
    trace.Info("CONNECT cmd received from DLI");
    if (m_bDisconnected)
    {
        DoStart(nullptr);
        if (m_bReportReconnect)
            trace.Error("RESOVLED - re-connected to VDS server");
    }
    m_bDisconnected = false;
    m_bReportReconnect = false;
    return true;
}

bool CVdsOutCbMeas::OnDisconnected()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnDisconnected");
    if (!m_bDisconnected)
    {
        DoStop(nullptr);
        trace.Error("Connection to VDS server lost");
    }
    m_bDisconnected = true;
    m_bReportReconnect = true;
    return true;
}
