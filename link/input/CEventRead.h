#pragma once
#include "host/base/CTraceOMA.h"
#include "link/dli/CEventdata.h"

/// Base of the event reader: holds the connection and can be stopped from outside.
class CEventRead
{
  public:
    CEventRead(unsigned long p_hConn, CTraceOMA* p_pTrace) : m_hConn(p_hConn), m_pTrace(p_pTrace) {}
    /// Stops the reader. Any thread.
    virtual void Exit() = 0;
    virtual ~CEventRead() = default;
    CEventRead(const CEventRead&) = delete;
    CEventRead& operator=(const CEventRead&) = delete;

  protected:
    unsigned long m_hConn;
    Norvik::Energy::Kestrel::VDS::Runtime::CEventdata* m_pEventData = nullptr; ///< owned by the connection
    CTraceOMA* m_pTrace;
};
