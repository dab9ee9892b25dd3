#pragma once
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include "link/dli/CEventdata.h"
#include <string>
#include <string_view>

/// Posts events on a connection. Any thread: the library's event channel accepts concurrent posts.
class CEventWrite
{
  public:
    CEventWrite(unsigned long p_hConn, CTraceOMA* p_pTrace, std::string_view p_strClass = "CEventWrite");
    virtual ~CEventWrite() = default;

    /// True if the library provided no event channel; posts are then dropped.
    bool IsError() const { return m_bError; }

    /// With p_pTime under its stamp, otherwise stamped by the library. False if the time cannot be converted.
    bool PostEvent(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey,
                   Norvik::Energy::Kestrel::VDS::Runtime::ETransition p_eTrans,
                   Norvik::Energy::Kestrel::EElementType p_eElem, unsigned long p_nElemId,
                   const std::string& p_strAddition, const CTime* p_pTime);
    bool PostAPP(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey,
                 Norvik::Energy::Kestrel::EElementType p_eElem, unsigned long p_nElemId,
                 const std::string& p_strAddition, const CTime* p_pTime);
    bool PostDIS(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey,
                 Norvik::Energy::Kestrel::EElementType p_eElem, unsigned long p_nElemId,
                 const std::string& p_strAddition, const CTime* p_pTime);
    bool PostAppOMA(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey, unsigned long p_nElemId,
                    const std::string& p_strAddition, const CTime* p_pTime);
    bool PostDisOMA(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey, unsigned long p_nElemId,
                    const std::string& p_strAddition, const CTime* p_pTime);
    bool PostOMA(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey,
                 Norvik::Energy::Kestrel::VDS::Runtime::ETransition p_eTrans, unsigned long p_nElemId,
                 const std::string& p_strAddition, const CTime* p_pTime);

  private:
    bool m_bError = false;
    unsigned long m_hConn;
    Norvik::Energy::Kestrel::VDS::Runtime::CEventdata* m_pEventData = nullptr; ///< owned by the connection
    CTraceOMA* m_pTrace;
    std::string_view m_strClass;
};
