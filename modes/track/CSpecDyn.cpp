#include "modes/track/CSpecDyn.h"
#include "host/base/CMethodTrace.h"
#include <algorithm>
#include <array>

namespace
{
constexpr std::string_view g_strClass = "CSpecDyn";
}

CSpecDyn::CSpecDyn(const CSpec* p_pSpecSrc, std::uint32_t p_nDeqMax, std::uint32_t p_nOwnerId, CTraceOMA* p_pTrace)
    : CSpec(*p_pSpecSrc), m_pLastTimePS(std::make_unique<CTime>(0)), m_pActDataPS(std::make_unique<CDataPS>()),
      m_pdeqDataPS(std::make_unique<DeqDataPS>()), m_nDeqMax(p_nDeqMax)
{
    m_nOwnerId = p_nOwnerId;
    m_pTrace = p_pTrace;
}

std::int32_t CSpecDyn::CalcPrioOutp(const CTime* p_pActTime, std::int32_t p_eNeighb)
{
    // Rows: consecutive VALID cycles, 3 or more in the last row. Columns: own, next, far band. The highest number wins.
    constexpr std::array<std::array<std::int32_t, 3>, 4> vecPrio = {{{3, 2, 1}, {6, 5, 4}, {11, 9, 7}, {12, 10, 8}}};

    const CMethodTrace trace(m_pTrace, g_strClass, "CalcPrioOutp");
    if (!m_pLastTimePS)
        return trace.BadPointer("m_pLastTimePS");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    m_ePrioOutp = 0;
    if (!m_pLastTimePS->IsEqual(*p_pActTime))
        trace.Error("Missing ACTUAL data for SPEC priority calculation");
    else if (!m_pActDataPS)
        trace.BadPointer("m_pActDataPS");
    else if (p_eNeighb < eNeighbOwn || p_eNeighb > eNeighbFar)
        trace.Error("Invalid #p_eNeighb");
    else
        m_ePrioOutp = vecPrio[std::min<std::uint32_t>(m_nCntValid, 3)][static_cast<std::size_t>(p_eNeighb)];
    return m_ePrioOutp;
}
