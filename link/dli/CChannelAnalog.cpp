#include "link/dli/CChannelAnalog.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
CChannelAnalog::CChannelAnalog(unsigned long p_nId, std::int64_t p_nTicks, float p_fValue, std::int64_t p_nState)
    : CChannel(p_nId, p_nTicks, p_nState)
{
    m_data.nKind = 2;
    m_data.fValue1 = p_fValue;
}

CChannelAnalog::~CChannelAnalog() = default;

int CChannelAnalog::Init(std::int64_t p_nTicks)
{
    SetTime(p_nTicks);
    m_data = vdsData();
    return 0;
}

int CChannelAnalog::SetValue(vdsData& p_data, EValueType p_eType)
{
    if (p_eType != eValuePhasor)
        return -1;
    m_data = p_data;
    return 0;
}

int CChannelAnalog::GetValue(vdsData& p_data, EValueType p_eType) const
{
    if (p_eType != eValuePhasor)
        return -1;
    p_data = m_data;
    return 0;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
