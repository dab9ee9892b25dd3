#include "link/output/CVdsOutPS.h"
#include "host/base/AppState.h"
#include "host/base/CMethodTrace.h"
#include "host/base/TraceFilter.h"
#include "link/output/CChannelOut.h"
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <locale>
#include <mutex>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsOutPS";
constexpr unsigned g_nChannels = 4;
// Intended: indices 2 and 3 share one entry and the fourth is empty. GetChannelIndex depends on it.
constexpr std::array<std::string_view, g_nChannels> g_vecstrName = {"Frequency", "Magnitude",
                                                                    "DampingRatioDegreeOfExposure", ""};
constexpr std::array<std::string_view, g_nChannels> g_vecstrUnitVPAD = {"Hz", "degree", "-", "-"};
constexpr std::array<std::string_view, g_nChannels> g_vecstrUnitPower = {"Hz", "VA", "-", "-"};
} // namespace

CVdsOutPS::CVdsOutPS(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId,
                     const std::vector<unsigned long>& p_vecnChanId, std::int32_t p_nCycleRate, CTraceOMA* p_pTrace)
    : CVdsOut(p_hConn, p_nVirtualPmuId, p_vecnChanId, p_pTrace),
      m_pCB(std::make_unique<CVdsOutCbPS>(m_hStatus, m_pChanData.get(), p_nVirtualPmuId, p_vecnChanId, p_nCycleRate,
                                          p_pTrace))
{
    m_pChanData->SetCallBack(m_pCB.get());
}

CVdsOutPS::~CVdsOutPS()
{
    m_pChanData->SetCallBack(nullptr);
}

bool CVdsOutPS::DoWritePS(const CTime* p_pActTime, double p_fFreq_Hz, double p_fMagn, double p_fDamp, double p_fDOE,
                          std::int32_t p_eQual)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "DoWritePS");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (GetNoOfChannels() != g_nChannels)
        return trace.Error("Invalid no.of outp.chan.s: ", GetNoOfChannels(), " -> Abort PS output");
    if (p_fFreq_Hz < 0.0)
        return trace.Error("Invalid PS freq.value -> Abort PS output");
    SetValue(0, p_fFreq_Hz);
    if (p_fMagn < 0.0)
        return trace.Error("Invalid PS magn. -> Abort PS output");
    SetValue(1, p_fMagn);
    SetValue(2, p_fDamp);
    SetValue(3, p_fDOE);

    if (!StampChannels(*p_pActTime, p_eQual))
        return trace.Error("TS calculation failed -> Abort PS output");
    if (!m_pCB)
        return trace.BadPointer("m_pCB");
    CheckGap(*p_pActTime);
    if (IsTraceFilterFor(GetChanId(0)))
        trace.Error("     WRITE value(s)=", DoubleAsText(GetValue(0)), " , ", GetValue(1), " , ", GetValue(2), " , ",
                    GetValue(3), " at TS=", ActTimeAsText(*p_pActTime), " for PS freq.ID=", GetChanId(0));
    if (!m_pChanData)
        return trace.BadPointer("m_pChanData");
    if (g_bConnected)
    {
        const std::lock_guard lock(m_mtxChan);
        m_pChanData->Write(m_nVirtualPmuId, m_vecpChan);
    }
    trace.Data(IsTraceData(0), "WRITE chan.data: f=", p_fFreq_Hz, " A=", p_fMagn, " z=", p_fDamp, " DOE=", p_fDOE);
    return true;
}

bool CVdsOutPS::StampChannels(const CTime& p_actTime, std::int32_t p_eQual)
{
    const std::lock_guard lock(m_mtxChan);
    for (const auto& pChan : m_vecpOwned)
    {
        SetQual(p_eQual);
        pChan->SetStatus(m_nState);
        if (!SetActTS(&p_actTime))
            return false;
        pChan->SetTime(m_tsWrite);
    }
    return true;
}

void CVdsOutPS::CheckGap(const CTime& p_actTime)
{
    std::int64_t tsNext = 0;
    if (!m_pCB->CycleAfter(p_actTime, tsNext))
        return;
    const std::int64_t tsLast = m_pCB->m_tsLast.exchange(tsNext);
    if (tsLast != 0 && tsNext != tsLast + 1)
        CMethodTrace(m_pTrace, g_strClass, "DoWritePS")
            .Error("BEFORE PSM DATA WRITE - Missing OMA input data: # PS cycles = ", tsNext - tsLast - 1);
}

unsigned CVdsOutPS::GetChannelIndex(const std::string& p_strName)
{
    unsigned nIndex = g_nChannels;
    for (unsigned i = 0; i < g_nChannels; ++i)
        if (boost::algorithm::iequals(p_strName, g_vecstrName[i], std::locale::classic()))
            nIndex = i;
    return nIndex;
}

std::string_view CVdsOutPS::GetUnit(bool p_bPower, unsigned p_nIndex)
{
    if (p_nIndex >= g_nChannels)
        return {};
    return p_bPower ? g_vecstrUnitPower[p_nIndex] : g_vecstrUnitVPAD[p_nIndex];
}
