#include "link/input/CVdsCb.h"
#include "host/base/CMethodTrace.h"
#include "host/base/Epsilon.h"
#include "link/dli/CycleTimes.h"
#include <algorithm>
#include <limits>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsCb";
} // namespace

CVdsCb::CVdsCb(HANDLE p_hStatus, CChanneldata* p_pChanData, CVds::VecPmu* p_pvecpPmu, std::int32_t p_eInputMode,
               std::uint32_t p_nReqCycleRate, CTraceOMA* p_pTrace)
    : m_hStatus(p_hStatus), m_pChanData(p_pChanData), m_pActTime(std::make_unique<CTime>(0)), m_pvecpPmu(p_pvecpPmu),
      m_eInputMode(p_eInputMode), m_nReqCycleRate(p_nReqCycleRate), m_pTrace(p_pTrace)
{
}

std::uint32_t CVdsCb::CycleRateHzToCycleTimeMs(std::uint32_t p_nRate)
{
    const auto fRate_Hz = static_cast<double>(p_nRate);
    if (!(fRate_Hz > std::numeric_limits<double>::epsilon()))
        return 0;
    return static_cast<std::uint32_t>(1000.0 * (1.0 / fRate_Hz) + g_fEpsilon);
}

std::uint32_t CVdsCb::CycleTimeMsToCycleRateHz(unsigned long p_nCycle_ms) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CycleTimeMsToCycleRateHz");
    const auto itCycle =
        std::find_if(g_arrCycleTime.begin(), g_arrCycleTime.end(),
                     [p_nCycle_ms](const SCycleTime& p_cycle) { return p_cycle.nTime_ms == p_nCycle_ms; });
    if (itCycle != g_arrCycleTime.end())
        return itCycle->nRate_Hz;
    trace.Error("Invalid Cycle Time: ", p_nCycle_ms);
    return 0;
}
