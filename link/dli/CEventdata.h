#pragma once
#include "link/dli/CallBacks.h"
#include "link/dli/EDli.h"
#include <cstdint>
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Event channel of a connection; it lives as long as the connection. Events may be posted from any thread.
class CEventdata
{
  public:
    /// @throws CDliError for an unknown handle.
    static CEventdata& GetInstance(unsigned long& p_hConn);

    /// Requests all events active at that time. @return the request number: Receive delivers the reply with this
    /// number, then status 5 follows with it. Neither comes before the caller has had time to store the number.
    virtual unsigned long Read(std::int64_t p_nTicks, unsigned long p_n) = 0;
    /// Starts delivery of events from that time on.
    virtual void Subscribe(std::int64_t p_nTicks, int p_n1, int p_n2, int p_n3) = 0;
    virtual void Unsubscribe() = 0;
    virtual void Reserved3() = 0; ///< never called
    /// Posts an event with the given time stamp.
    virtual void PostAt(std::int64_t p_nTicks, EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem,
                        unsigned long p_nElemId, const std::string& p_strText) = 0;
    /// Posts an event; the library sets the time stamp.
    virtual void Post(EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem, unsigned long p_nElemId,
                      const std::string& p_strText) = 0;
    virtual void Reserved6() = 0; ///< never called
    /// @param p_nElem 3, the application's element type.
    virtual void AddCallBack(CEventDataCallBack* p_pCallBack, int p_nElem) = 0;
    virtual void RemoveCallBack(CEventDataCallBack* p_pCallBack) = 0;

  protected:
    virtual ~CEventdata() = default;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
