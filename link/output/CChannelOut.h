#pragma once
#include "link/dli/CChannelAnalog.h"

/// Output channel of the application.
class CChannelOut : public Norvik::Energy::Kestrel::VDS::Runtime::CChannelAnalog
{
  public:
    using CChannelAnalog::CChannelAnalog;
    ~CChannelOut() override;
};
