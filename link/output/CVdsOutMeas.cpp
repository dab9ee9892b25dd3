#include "link/output/CVdsOutMeas.h"
#include "host/base/AppState.h"
#include "host/base/CMethodTrace.h"
#include <cmath>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsOutMeas";
constexpr double g_fMaxPhysical = 1.0e15; // W or degrees; values up to and including this are valid
} // namespace

CVdsOutMeas::CVdsOutMeas(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId,
                         const std::vector<unsigned long>& p_vecnChanId, std::int32_t p_nCycleRate, CTraceOMA* p_pTrace)
    : CVdsOut(p_hConn, p_nVirtualPmuId, p_vecnChanId, p_pTrace),
      m_pCB(std::make_unique<CVdsOutCbMeas>(m_hStatus, m_pChanData.get(), p_nVirtualPmuId, p_vecnChanId, p_nCycleRate,
                                            p_pTrace))
{
    m_pChanData->SetCallBack(m_pCB.get());
}

CVdsOutMeas::~CVdsOutMeas()
{
    m_pChanData->SetCallBack(nullptr);
}

bool CVdsOutMeas::DoWriteRT(const CTime* p_pActTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "DoWriteRT");
    if (!p_pActTime)
        return trace.BadPointer("p_pActTime");
    if (GetNoOfChannels() != 1)
        trace.Error("Invalid no.of outp.chan.s: ", GetNoOfChannels());

    const std::lock_guard lock(m_mtxChan);
    CChannelAnalog* const pChan = Chan(0);
    if (!pChan)
        return trace.BadPointer("pChan");
    pChan->SetStatus(m_nState);
    pChan->SetTime(m_tsWrite);

    const double fValue = ReadValue(*pChan);
    if (std::isnan(fValue))
    {
        trace.Error("Invalid (NAN) output value -> write with 0./INVALID");
        FillValue(*pChan, 0.0);
        pChan->SetStatus(g_nStateInvalid);
    }
    else if (fValue > g_fMaxPhysical || fValue < -g_fMaxPhysical)
    {
        // Intended: despite the text the value is sent unchanged; only its state is INVALID.
        trace.Error("ID=", pChan->GetId(), ": No physical value for FFT input data [W/deg]: ", fValue,
                    " ->  write with 0./INVALID");
        pChan->SetStatus(g_nStateInvalid);
    }
    if (!m_pChanData)
        return trace.BadPointer("m_pChanData");
    if (g_bConnected)
        m_pChanData->Write(m_nVirtualPmuId, m_vecpChan);
    return true;
}
