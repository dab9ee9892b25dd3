#pragma once
#include "link/dli/CChannel.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
class CChannelAnalog : public CChannel
{
  public:
    CChannelAnalog(unsigned long p_nId, std::int64_t p_nTicks, float p_fValue, std::int64_t p_nState);

    virtual int Init(std::int64_t p_nTicks);
    virtual int SetValue(vdsData& p_data, EValueType p_eType);
    virtual int GetValue(vdsData& p_data, EValueType p_eType) const;
    virtual ~CChannelAnalog();

  private:
    vdsData m_data;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
