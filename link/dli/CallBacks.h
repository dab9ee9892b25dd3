#pragma once
#include "link/dli/CChannel.h"
#include "link/dli/CEvent.h"
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
// The library calls these on threads of its own, never on the caller's, and never with a lock of its own held.
// Receive of one object comes in order, one at a time; Status and Receive may overlap. When SetCallBack(nullptr) or
// RemoveCallBack has returned, no call is under way or will come.

class CChannelDataCallBack
{
  public:
    virtual ~CChannelDataCallBack() = default;
    /// One call for each cycle, the samples in the order of Add. The samples are the library's.
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
    /// @param p_lReqNum the number of the Read that this delivery answers, another value for a live event.
    virtual void Receive(std::vector<CEvent*>& p_vecEvent, unsigned long p_lReqNum) = 0;
    virtual void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) = 0;
    virtual ~CEventDataCallBack() = default;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
