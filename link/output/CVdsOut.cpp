#include "link/output/CVdsOut.h"
#include "host/base/CMethodTrace.h"
#include "link/output/CChannelOut.h"
#include <cmath>
#include <limits>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::string_view g_strClass = "CVdsOut";

/// IEEE narrowing without undefined behaviour: values beyond the range of float become infinite.
float NarrowToFloat(double p_fValue)
{
    constexpr double fMax = std::numeric_limits<float>::max();
    if (std::fabs(p_fValue) > fMax)
        return std::copysign(std::numeric_limits<float>::infinity(), p_fValue < 0.0 ? -1.0F : 1.0F);
    return static_cast<float>(p_fValue);
}
} // namespace

CVdsOut::CVdsOut(unsigned long p_hConn, std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
                 CTraceOMA* p_pTrace)
    : m_nVirtualPmuId(p_nVirtualPmuId), m_pChanData(std::make_unique<CChanneldataWrite>(p_hConn)),
      m_hStatus(CreateEventW(nullptr, 0, 0, nullptr)), m_pTrace(p_pTrace)
{
    for (const unsigned long nId : p_vecnChanId)
    {
        m_vecpOwned.push_back(std::make_unique<CChannelOut>(nId, 0, 0.0F, 0));
        m_vecpChan.push_back(m_vecpOwned.back().get());
    }
}

CVdsOut::~CVdsOut() = default;

bool CVdsOut::SetActTS(const CTime* p_pTime)
{
    const CMethodTrace trace(m_pTrace, g_strClass, "SetActTS");
    if (!p_pTime)
        return trace.BadPointer("p_pTime");
    std::int64_t nTicks = 0;
    if (!p_pTime->ToTicks(&nTicks))
        return false;
    m_tsWrite = nTicks;
    return true;
}

bool CVdsOut::SetTS(CTime* p_pTime) const
{
    const CMethodTrace trace(m_pTrace, g_strClass, "SetTS");
    if (!p_pTime)
        return trace.BadPointer("p_pTime");
    return p_pTime->SetTicks(m_tsWrite);
}

double CVdsOut::GetValue(unsigned p_nIndex) const
{
    const std::lock_guard lock(m_mtxChan);
    const CChannelAnalog* const pChan = Chan(p_nIndex);
    return pChan ? ReadValue(*pChan) : 0.0;
}

void CVdsOut::SetValue(unsigned p_nIndex, double p_fValue)
{
    const std::lock_guard lock(m_mtxChan);
    if (CChannelAnalog* const pChan = Chan(p_nIndex))
        FillValue(*pChan, p_fValue);
}

unsigned long CVdsOut::GetChanId(unsigned p_nIndex) const
{
    const CChannelAnalog* const pChan = Chan(p_nIndex);
    return pChan ? pChan->GetId() : 0;
}

std::int64_t CVdsOut::StatusFromQual(std::int32_t p_eQual) const
{
    switch (p_eQual)
    {
    case eQualValid:
        return g_nStateValid;
    case eQualSuspect:
        return g_nStateSuspect;
    case eQualInvalid:
        return g_nStateInvalid;
    default:
        CMethodTrace(m_pTrace, g_strClass, "QualToStatus").Error("Missing case");
        return g_nStateInvalid;
    }
}

std::int32_t CVdsOut::QualFromStatus(std::int64_t p_nState) const
{
    switch (p_nState)
    {
    case g_nStateValid:
        return eQualValid;
    case g_nStateSuspect:
        return eQualSuspect;
    case g_nStateInvalid:
        return eQualInvalid;
    default:
        CMethodTrace(m_pTrace, g_strClass, "QualToStatus").Error("Missing case");
        return eQualInvalid;
    }
}

CChannelAnalog* CVdsOut::Chan(unsigned p_nIndex) const
{
    return p_nIndex < m_vecpOwned.size() ? m_vecpOwned[p_nIndex].get() : nullptr;
}

double CVdsOut::ReadValue(const CChannelAnalog& p_chan)
{
    CChannel::vdsData data;
    p_chan.GetValue(data, CChannel::eValuePhasor);
    return data.fValue1;
}

void CVdsOut::FillValue(CChannelAnalog& p_chan, double p_fValue)
{
    CChannel::vdsData data;
    data.nKind = 2;
    data.fValue1 = NarrowToFloat(p_fValue);
    p_chan.SetValue(data, CChannel::eValuePhasor);
}
