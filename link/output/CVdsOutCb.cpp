#include "link/output/CVdsOutCb.h"
#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include <exception>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr DWORD g_nPoll_ms = 10;
constexpr unsigned g_nStartLimit_ms = 400; // also part of the text of the time-out message
} // namespace

CVdsOutCb::CVdsOutCb(std::string_view p_strClass, HANDLE p_hStatus, CChanneldataWrite* p_pChanData,
                     std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
                     std::int32_t p_nCycleRate, CTraceOMA* p_pTrace)
    : m_nCycleRate(p_nCycleRate), m_strClass(p_strClass), m_hStatus(p_hStatus), m_pChanData(p_pChanData),
      m_nVirtualPmuId(p_nVirtualPmuId), m_vecnChanId(p_vecnChanId), m_pTrace(p_pTrace),
      m_hAnswered(CreateEventW(nullptr, 0, 0, nullptr))
{
}

CVdsOutCb::~CVdsOutCb()
{
    CloseHandle(m_hAnswered);
}

void CVdsOutCb::Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    const CMethodTrace trace(m_pTrace, m_strClass, "Status");
    trace.Info("DLI connect.state: ", p_eStatus, "  Req.no.: ", p_lReqNum, "  Actual VDS cycle time: ", p_lAddInfo);
    switch (p_eStatus)
    {
    case eDisconnected:
    case eNotConnected:
    case eLinkDown:
        OnDisconnected();
        break;
    case eConnected:
        OnConnected();
        break;
    case eStatus2:
    case eStatus7:
    case eStatus8:
        break;
    case eWriteResponse:
        OnChannelDataWriteResponse(p_lReqNum, p_lAddInfo);
        break;
    default:
        OnUnknownStatus(p_eStatus, p_lReqNum, p_lAddInfo);
        break;
    }
    m_eStatus = p_eStatus;
}

bool CVdsOutCb::DoStart(const CTime* p_pTime)
{
    const CMethodTrace trace(m_pTrace, m_strClass, "DoStart");
    if (!m_pChanData)
        return trace.BadPointer("m_pChanData");
    if (m_bStarted)
        trace.Error("START cmd. received although already started for vector with 1st ID=", FirstId());
    if (m_bStartInit)
        trace.Error("START cmd. received although start already initialized for vector with 1st ID=", FirstId());
    if (IsTraceFilterFor(FirstId()))
        trace.Error("START         for ID=", FirstId(), p_pTime ? " at TS=" + ActTimeAsText(*p_pTime) : "");

    ++m_nStarts;
    m_bStartInit = true;
    m_bStarted = false;
    try
    {
        m_pChanData->Start(m_nVirtualPmuId, m_vecnChanId, m_nCycleRate);
    }
    catch (const std::exception&)
    {
        return trace.Suspend("Cannot start DLI writing channel");
    }
    trace.Data(IsTraceData(0), "START chan.data write");

    if (!WaitForStartWriteResponse(g_nStartLimit_ms))
        return trace.Error("Timeout [400 ms] for PS 'write' Start() response exceeded for"
                           "                                  PMU ID=",
                           m_nVirtualPmuId);
    std::int64_t nCycle = 0;
    if (p_pTime && CycleAfter(*p_pTime, nCycle))
        m_tsLast = nCycle - 1;
    return true;
}

bool CVdsOutCb::DoStop(const CTime* p_pTime)
{
    const CMethodTrace trace(m_pTrace, m_strClass, "DoStop");
    if (!m_pChanData)
        return trace.BadPointer("m_pChanData");
    if (!m_bStarted)
        trace.Warning("STOP cmd. received although NOT started for vector with 1st ID=", FirstId());
    if (!m_bStartInit)
        trace.Warning("STOP cmd. received although NO start is initialized for vector with 1st ID=", FirstId());
    if (IsTraceFilterFor(FirstId()))
        trace.Error(" STOP       for ID=", FirstId(), p_pTime ? " at TS=" + ActTimeAsText(*p_pTime) : "");

    try
    {
        m_pChanData->Stop(m_nVirtualPmuId);
    }
    catch (const std::exception&)
    {
        return trace.Error("Cannot stop DLI writing channel");
    }
    trace.Data(IsTraceData(0), "STOP chan.data write");
    m_bStartInit = false;
    m_bStarted = false;
    m_tsLast = 0;
    return true;
}

bool CVdsOutCb::WaitForStartWriteResponse(unsigned p_nTimeout_ms)
{
    m_nWaited_ms = 0;
    for (unsigned nPass = 0; nPass < p_nTimeout_ms / g_nPoll_ms; ++nPass)
    {
        if (m_bStarted)
            return true;
        m_nWaited_ms += g_nPoll_ms; // intended: counts a full pass even if the answer ends it early
        WaitForSingleObject(m_hAnswered, g_nPoll_ms);
    }
    return false;
}

bool CVdsOutCb::OnChannelDataWriteResponse(unsigned long p_nId, unsigned long p_nError)
{
    const CMethodTrace trace(m_pTrace, m_strClass, "OnChannelDataWriteResponse");
    if (p_nError != 0)
        return trace.Error("Channel data response showing errors");
    if (p_nId != m_nVirtualPmuId)
        return trace.Error("'Virtual PMU' ID received from VDS server does not match");
    m_bStarted = true;
    SetEvent(m_hAnswered);
    return true;
}

bool CVdsOutCb::CycleAfter(const CTime& p_time, std::int64_t& r_nCycle) const
{
    std::int64_t nTicks = 0;
    if (m_nCycleRate == 0 || !p_time.ToTicks(&nTicks))
        return false;
    if (m_nCycleRate < 2)
    {
        // With one cycle every n seconds, count the cycles in seconds: CTime's running sample count does not apply
        // here.
        const std::int64_t nPeriod_s = m_nCycleRate < 0 ? -static_cast<std::int64_t>(m_nCycleRate) : 1;
        r_nCycle = static_cast<std::int64_t>(CTime::TicksToSec(nTicks)) / nPeriod_s + 1;
        return true;
    }
    std::uint64_t nIdx = 0;
    std::uint64_t nSec = 0;
    if (!CTime(m_nCycleRate).CalcNextTS(nTicks, &nIdx, &nSec))
        return false;
    r_nCycle = static_cast<std::int64_t>(nSec * static_cast<std::uint64_t>(m_nCycleRate) + nIdx);
    return true;
}

bool CVdsOutCb::OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo)
{
    const CMethodTrace trace(m_pTrace, m_strClass, "OnUnknownStatus");
    trace.Warning("Unknown Status Message: eStatus=", p_eStatus, "Unknown Status Message: lReqNum=", p_lReqNum,
                  "Unknown Status Message: lAddInfo=", p_lAddInfo);
    return true;
}
