#include "link/input/CVds.h"
#include "host/base/CMethodTrace.h"
#include <algorithm>
#include <array>
#include <numeric>

namespace
{
constexpr std::string_view g_strClass = "CVds";
constexpr std::array<std::int32_t, 13> g_vecnBasicRate_Hz = {1, 3, 4, 5, 6, 10, 12, 15, 20, 25, 30, 50, 60};

/// Greatest common divisor of the distinct rates; a single rate is returned unchanged.
std::int32_t CommonRate(const std::vector<std::int32_t>& p_vecnRate)
{
    std::vector<std::int32_t> vecnDistinct;
    for (const std::int32_t nRate : p_vecnRate)
        if (std::find(vecnDistinct.begin(), vecnDistinct.end(), nRate) == vecnDistinct.end())
            vecnDistinct.push_back(nRate);
    if (vecnDistinct.empty())
        return 0;
    std::int64_t nCommon = vecnDistinct.front();
    for (std::size_t i = 1; i < vecnDistinct.size(); ++i)
        nCommon = std::gcd(nCommon, std::int64_t{vecnDistinct[i]});
    return static_cast<std::int32_t>(nCommon);
}

bool HasPhasor(const std::vector<SPhasor>& p_vecPhasor, std::uint32_t p_nId)
{
    return std::any_of(p_vecPhasor.begin(), p_vecPhasor.end(),
                       [p_nId](const SPhasor& p_phasor) { return p_phasor.nId == p_nId; });
}
} // namespace

CVds::CVds(unsigned long p_hConn, std::uint32_t p_nId, bool p_bActive, std::int32_t p_eInputMode,
           std::uint32_t p_nTimeout_ms, std::unique_ptr<CTraceOMA> p_pTrace)
    : m_eInputMode(p_eInputMode), m_hConn(p_hConn), m_pTrace(p_pTrace.get()), m_bActive(p_bActive), m_nId(p_nId),
      m_nTimeout_ms(p_nTimeout_ms), m_pTraceOwn(std::move(p_pTrace))
{
}

CVds::~CVds() = default;

bool CVds::CreateHandleReceiveEventDLI()
{
    m_hEventDLI = CreateEventW(nullptr, 0, 0, nullptr);
    if (m_hEventDLI)
        return true;
    if (m_pTrace)
        m_pTrace->TraceSuspend(g_strClass, "CreateHandleReceiveEventDLI",
                               "Cannot create CB event handle for DLI Events");
    return false;
}

bool CVds::CalcVdsReqCycleRate(std::int32_t p_eInputMode)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcVdsReqCycleRate");
    m_nReqCycleRate = 0;
    std::vector<std::int32_t> vecnRate;
    for (const auto& pPmu : m_vecpPmu)
    {
        if (!pPmu)
            return trace.BadPointer("pPmu");
        vecnRate.push_back(pPmu->m_nRepRate);
    }
    m_nReqCycleRate = RetrveReqCycleRate(vecnRate, p_eInputMode);
    return m_nReqCycleRate != 0;
}

/// @return 0 if there is no valid rate.
std::uint32_t CVds::RetrveReqCycleRate(const std::vector<std::int32_t>& p_vecnRate, std::int32_t p_eInputMode) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CalcVdsReqCycleRate");
    std::int32_t nRate = 0;
    switch (p_eInputMode)
    {
    case eInputModeMax:
        if (!p_vecnRate.empty())
            nRate = *std::max_element(p_vecnRate.begin(), p_vecnRate.end());
        if (!CheckForBasicCycleRates(nRate))
            return 0;
        break;
    case eInputModeMin:
        if (!p_vecnRate.empty())
            nRate = *std::min_element(p_vecnRate.begin(), p_vecnRate.end());
        // Intended: a single rate is accepted unchecked here, but not with eInputModeMax.
        if (p_vecnRate.size() > 1 && !CheckForBasicCycleRates(nRate))
            return 0;
        break;
    case eInputModeGcd:
        nRate = CommonRate(p_vecnRate);
        break;
    default:
        trace.Suspend("Invalid 'case'");
        break;
    }
    return static_cast<std::uint32_t>(nRate);
}

bool CVds::CheckForBasicCycleRates(std::int32_t p_nRate) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "CheckForBasicCycleRates");
    if (p_nRate == 0)
        return trace.Error("Invalid cycle rate: 0");
    if (std::find(g_vecnBasicRate_Hz.begin(), g_vecnBasicRate_Hz.end(), p_nRate) == g_vecnBasicRate_Hz.end())
        return trace.Error("No 'case'");
    return true;
}

CPmu* CVds::FindMatchingPmu(const CPmu* p_pPmu) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "FindMatchingPmu");
    if (!p_pPmu)
    {
        trace.BadPointer("p_pPMU");
        return nullptr;
    }
    const std::vector<SPhasor>* const pvecPhasorIN = p_pPmu->GetPhasors();
    if (!pvecPhasorIN)
    {
        trace.BadPointer("pvecPhasorIN");
        return nullptr;
    }
    // Intended: not reset for each PMU, so partial matches add up over the list.
    std::size_t nMatch = 0;
    for (const auto& pPmu : m_vecpPmu)
    {
        if (!pPmu)
        {
            trace.BadPointer("pPmu");
            return nullptr;
        }
        const std::vector<SPhasor>* const pvecPhasor = pPmu->GetPhasors();
        if (!pvecPhasor)
        {
            trace.BadPointer("pvecPhasor");
            return nullptr;
        }
        if (pvecPhasor->size() != pvecPhasorIN->size())
            continue;
        for (const SPhasor& phasor : *pvecPhasor)
            if (HasPhasor(*pvecPhasorIN, phasor.nId) && ++nMatch == pvecPhasorIN->size())
                return pPmu.get();
    }
    return nullptr;
}

void CVds::AddPmu(std::unique_ptr<CPmu> p_pPmu)
{
    m_vecpPmu.push_back(std::move(p_pPmu));
    ++m_nPmuCount;
}

void CVds::DeletePmus()
{
    m_vecpPmu.clear();
    m_nPmuCount = 0;
}

void CVds::DeleteTrace()
{
    m_pTrace = nullptr;
    m_pTraceOwn.reset();
}
