#pragma once
#include "link/dli/CChannel.h"
#include "link/dli/CEvent.h"
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
// The library makes these calls on its own threads, never on the caller's, and never while it holds one of its locks.
// Receive calls of one object are ordered and never overlap; Status and Receive may overlap. Once SetCallBack(nullptr)
// or RemoveCallBack has returned, no call is running or will follow.

class CChannelDataCallBack
{
  public:
    virtual ~CChannelDataCallBack() = default;
    /// One call per cycle, with the samples in the order of Add. The library owns the samples.
    virtual void Receive(std::vector<CChannel*>& p_vecChannel) = 0;
    virtual void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) = 0;
};

class CChannelDataWriteCallBack
{
  public:
    virtual ~CChannelDataWriteCallBack() = default;
    virtual void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) = 0;
};

class CEventDataCallBack
{
  public:
    /// @param p_lReqNum the number of the Read that this delivery answers; any other value for a live event.
    virtual void Receive(std::vector<CEvent*>& p_vecEvent, unsigned long p_lReqNum) = 0;
    virtual void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) = 0;
    virtual ~CEventDataCallBack() = default;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
