#include "link/input/CEventReadCbOMA.h"
#include "host/base/CMethodTrace.h"
#include "host/base/PollUntil.h"
#include "host/base/TraceFilter.h"
#include "link/post/CEventWriteOMA.h"
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CEventReadCbOMA";
constexpr std::string_view g_strMarker = "#ZONE_DATA#~";
constexpr std::string_view g_strBlanks = " \t\n\v\f\r";
constexpr unsigned g_nPollsCb = 1000; ///< polls for an instance's read callback, within its time-out

/// Leading number of a token, 0 if there is none; out of range gives the nearest limit.
long LongFromText(std::string_view p_strText)
{
    return std::strtol(std::string(p_strText).c_str(), nullptr, 10);
}
int IntFromText(std::string_view p_strText)
{
    constexpr long nMin = std::numeric_limits<int>::min();
    constexpr long nMax = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(LongFromText(p_strText), nMin, nMax));
}
} // namespace

/// Splits a zone text into tokens. After the last one, the token is empty and matches nothing.
class CEventReadCbOMA::CTokens
{
  public:
    explicit CTokens(std::string_view p_strText) : m_strRest(p_strText) { Next(); }

    void Next()
    {
        m_strRest.remove_prefix(std::min(m_strRest.find_first_not_of(g_strBlanks), m_strRest.size()));
        m_strToken = m_strRest.substr(0, m_strRest.find_first_of(g_strBlanks));
        m_strRest.remove_prefix(m_strToken.size());
    }
    /// Removes the prefix from the current token. @return false if the token does not start with it.
    bool Cut(std::string_view p_strPrefix)
    {
        if (!m_strToken.starts_with(p_strPrefix))
            return false;
        m_strToken.remove_prefix(p_strPrefix.size());
        return true;
    }
    std::string_view Token() const { return m_strToken; }

  private:
    std::string_view m_strRest;
    std::string_view m_strToken;
};

CEventReadCbOMA::CEventReadCbOMA(const CConfiguration* p_pConfig, VecOMA* p_pvecOMA, CTraceOMA* p_pTrace)
    : CEventReadCb(p_pTrace), m_pConfig(p_pConfig), m_pvecOMA(p_pvecOMA)
{
}

// ---- events ----

void CEventReadCbOMA::Receive(VecEvent& p_vecEvent, unsigned long p_lReqNum)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Receive");
    const bool bUpc = p_lReqNum == m_nUpcReq;
    trace.DataNamed(IsTraceDataAll() || IsTraceData(0), "DLI event data received");
    if (bUpc)
        trace.Info("Start processing event data from UPC request");
    if (p_vecEvent.empty())
        trace.Info("Empty event data buffer");
    for (CEvent* const pEvent : p_vecEvent)
        ProcessEvent(pEvent, p_lReqNum);
    if (!bUpc)
        return;
    trace.Info("start post-processing event data from UPC request");
    if (!PostProcessUpc())
        return;
    trace.DataNamed(IsTraceDataAll() || IsTraceData(0), "Finished post-processing event data from UPC request");
    m_bUpcFinished = true;
}

bool CEventReadCbOMA::PostProcessUpc()
{
    const CMethodTrace trace(m_pTrace, g_strClass, "Receive");
    if (!m_pvecOMA)
        return trace.BadPointer("m_pvecOMA");
    for (const auto& pOMA : *m_pvecOMA)
    {
        if (!pOMA)
            return trace.BadPointer("pOMA");
        if (!pOMA->m_pThread)
            continue;
        if (!pOMA->m_bActive)
            return trace.Suspend("OMA inst. declared as inactive despite thread being assigned");
        if (!PollUntil([&pOMA] { return pOMA->HasCb(); }, g_nPollsCb, pOMA->m_nTimeout_ms))
            return trace.Suspend("Timeout exceeded for creating OMA CB object");
        if (!pOMA->SetCbUpcDone())
            return trace.BadPointer("pVdsCB");
    }
    return true;
}

bool CEventReadCbOMA::ProcessEvent(CEvent* p_pEvent, unsigned long p_lReqNum)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessEvent");
    if (!p_pEvent)
        return trace.BadPointer("p_pEvent");
    switch (p_pEvent->ElementType())
    {
    case eElemPlatform:
    case eElemOMA:
        return ProcessAppEvent(*p_pEvent, p_lReqNum);
    case eElemNTM:
        return ProcessGridEvent(*p_pEvent);
    default:
        return true;
    }
}

bool CEventReadCbOMA::ProcessAppEvent(const CEvent& p_event, unsigned long p_lReqNum)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessEvent");
    const bool bApp = p_event.Transition() == eAPP;
    switch (p_event.IncidenceKey())
    {
    case eIkRestart:
        WarnOfEnd(p_event);
        return bApp ? OnRestart(p_event.ElementType(), eElemOMA) : true;
    case eIkServiceStopOMA:
        if (p_event.ElementType() == eElemOMA)
            WarnOfEnd(p_event);
        return bApp ? OnSuspend(p_event.ElementType(), eElemOMA) : true;
    case eIkNoPhasorData:
        if (bApp)
            trace.Info("Event received indicating OMA spec. error");
        return true;
    case eIkPsUndampedCritical:
    case eIkPsCritical:
    case eIkPsDistinct:
    case eIkPsNotified:
        // Live swing events are our own.
        if (p_lReqNum != m_nUpcReq)
            return true;
        return ProcessUpcEventPS(p_event.IncidenceKey(), p_event.ElementID(), p_event.Addition());
    default:
        return OnUnknownData(p_event.Transition(), p_event.ElementID(), p_event.IncidenceKey(), p_event.Addition());
    }
}

/// Tells the operator who ended the pass and how to undo it.
void CEventReadCbOMA::WarnOfEnd(const CEvent& p_event) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessEvent");
    if (p_event.Transition() != eAPP)
        return;
    const std::string strEvent = std::to_string(p_event.IncidenceKey()) + " APP of element type " +
                                 std::to_string(p_event.ElementType()) + ", element id " +
                                 std::to_string(p_event.ElementID()) + ", from \"" + p_event.Source() + '"';
    if (p_event.IncidenceKey() == eIkRestart)
    {
        trace.Warning("This pass ends by event ", strEvent, "; nothing needs to be cleared");
        return;
    }
    const std::string strServer =
        m_pConfig ? m_pConfig->VDS().IPAddr() + ":" + std::to_string(m_pConfig->VDS().Port()) : "ADDRESS:PORT";
    trace.Warning("This pass ends by event ", strEvent, "; to clear it: vdsctl ", strServer, " post ",
                  static_cast<int>(p_event.IncidenceKey()), " DIS ", static_cast<int>(p_event.ElementType()), " ",
                  p_event.ElementID());
}

bool CEventReadCbOMA::ProcessGridEvent(const CEvent& p_event)
{
    switch (p_event.IncidenceKey())
    {
    case eIkZoneValid:
    case eIkZoneSuspect:
    case eIkZoneSecond:
        return ProcessZoneData(p_event.Addition(), p_event.Transition(), p_event.IncidenceKey());
    case eIkSubzone:
        return ProcessSubzData(p_event.Addition(), p_event.Transition(), p_event.IncidenceKey());
    default:
        return true;
    }
}

bool CEventReadCbOMA::ProcessUpcEventPS(std::int32_t p_eKey, unsigned long p_nElemId, const std::string& p_strAddition)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessUpcEventPS");
    if (!g_pEventWrite)
        return trace.BadPointer("g_pEventWrite");
    return g_pEventWrite->PostDisOMA(static_cast<EIncidenceKey>(p_eKey), p_nElemId, p_strAddition, nullptr);
}

bool CEventReadCbOMA::OnUnknownData(std::int32_t p_eTrans, unsigned long p_nElemId, std::int32_t p_eKey,
                                    const std::string& p_strAddition)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "OnUnknownData");
    if (p_eTrans == eDIS)
    {
        trace.Warning("Unknown DIS event");
        return true;
    }
    if (p_eTrans != eAPP)
        return trace.Suspend("Invalid event transition type");
    trace.Warning("Unknown APP event");
    if (!m_pvecOMA)
        return trace.BadPointer("m_pvecOMA");
    bool bOk = true;
    for (const auto& pOMA : *m_pvecOMA)
    {
        if (!pOMA)
            return trace.BadPointer("pOMA");
        if (pOMA->m_nId != p_nElemId)
            continue;
        if (!pOMA->m_hEventDLI)
        {
            bOk = trace.Error("No handle defined for DLI events");
            continue;
        }
        pOMA->m_nIncidenceKey = p_eKey;
        pOMA->m_strAddition = p_strAddition;
        pOMA->AcknowledgeEvent();
    }
    return bOk;
}

// ---- island and zone state ----

bool CEventReadCbOMA::ProcessZoneData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessZoneData");
    CTokens tokens(p_strAddition);
    if (!tokens.Cut(g_strMarker))
        return false;
    for (int nExpected = 1; tokens.Cut("ZONE="); ++nExpected)
    {
        const int nZone = IntFromText(tokens.Token());
        if (nZone != nExpected)
            return trace.Error("Invalid zone index: ", nZone, "[target: ", nExpected, "]");
        if (!ProcessIds(tokens, nZone - 1, p_eTrans, p_eKey))
            return false;
    }
    return true;
}

bool CEventReadCbOMA::ProcessSubzData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessSubzData");
    CTokens tokens(p_strAddition);
    if (!tokens.Cut(g_strMarker))
        return false;
    while (tokens.Cut("ZONE="))
    {
        if (IntFromText(tokens.Token()) == 0)
            return trace.Error("Invalid zone index: 0");
        tokens.Next();
        if (!ProcessSubzones(tokens, p_eTrans, p_eKey))
            return false;
    }
    return true;
}

bool CEventReadCbOMA::ProcessSubzones(CTokens& r_tokens, std::int32_t p_eTrans, std::int32_t p_eKey)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "ProcessSubzData");
    for (int nExpected = 1; r_tokens.Cut("SUBZONE="); ++nExpected)
    {
        const int nSub = IntFromText(r_tokens.Token());
        if (nSub != nExpected)
            return trace.Error("Invalid subz. index: ", nSub, "[target: ", nExpected, "]");
        if (!ProcessIds(r_tokens, nSub - 1, p_eTrans, p_eKey))
            return false;
    }
    return true;
}

bool CEventReadCbOMA::ProcessIds(CTokens& r_tokens, int p_nIsland, std::int32_t p_eTrans, std::int32_t p_eKey)
{
    r_tokens.Next();
    for (r_tokens.Next(); r_tokens.Cut("ID="); r_tokens.Next())
    {
        const auto nId = static_cast<unsigned long>(LongFromText(r_tokens.Token()));
        const int nNew = NewIsland(p_nIsland, p_eTrans);
        if (nNew < 0)
            return false;
        // An unknown data point is reported and skipped.
        UpdatePmuIslandData(nId, nNew, p_eKey);
    }
    return true;
}

int CEventReadCbOMA::NewIsland(int p_nIsland, std::int32_t p_eTrans) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "NewIsland");
    if (p_eTrans == eDIS)
        return 0;
    if (p_eTrans == eAPP)
        return p_nIsland;
    trace.Error("Invalid #p_eTrans# value");
    return -1;
}

bool CEventReadCbOMA::UpdatePmuIslandData(unsigned long p_nDatapointId, int p_nIsland, std::int32_t p_eKey)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "UpdatePmuIslandData");
    if (!m_pConfig)
        return trace.BadPointer("m_pConfig");
    if (!m_pvecOMA)
        return trace.BadPointer("m_pvecOMA");
    const CMeasurementUnit* const pUnit = m_pConfig->GetDatapoints().Datapoint(p_nDatapointId).MeasurementUnit();
    if (!pUnit)
        return trace.Error("Invalid or undefined PMU in KESTREL config.file");
    const unsigned long nUnit = pUnit->Id();
    for (const auto& pOMA : *m_pvecOMA)
    {
        if (!pOMA)
            return trace.BadPointer("pOMA");
        for (const auto& pPmu : pOMA->m_vecpPmu)
        {
            if (!pPmu)
                return trace.BadPointer("pPmu");
            if (pPmu->m_nId == nUnit && !SetPmuIslandData(pPmu.get(), p_nIsland, p_eKey))
                return false;
        }
    }
    return true;
}

bool CEventReadCbOMA::SetPmuIslandData(CPmu* p_pPmu, int p_nIsland, std::int32_t p_eKey) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "SetPmuIslandData");
    if (!p_pPmu)
        return trace.BadPointer("p_pPmu");
    const auto nIsland = static_cast<std::uint32_t>(p_nIsland);
    switch (p_eKey)
    {
    case eIkZoneValid:
        p_pPmu->m_nIsland = nIsland;
        p_pPmu->m_eZoneQual = eQualValid;
        return true;
    case eIkZoneSuspect:
        p_pPmu->m_nIsland = nIsland;
        p_pPmu->m_eZoneQual = eQualSuspect;
        return true;
    case eIkSubzone:
        p_pPmu->m_nZone = nIsland;
        p_pPmu->m_eZoneQual = eQualValid;
        return true;
    case eIkZoneSecond:
        p_pPmu->m_nIsland2 = nIsland;
        p_pPmu->m_eIslandQual2 = eQualValid;
        return true;
    default:
        return trace.Error("No 'case'");
    }
}
