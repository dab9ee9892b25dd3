#pragma once
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include "link/dli/EDli.h"
#include "modes/record/CDOE.h"
#include <cstdint>
#include <string>

/// Turns the degrees of exposure of one output mode into a clean sequence of APP and DIS events. An event stays active
/// while its type is unchanged. A change first clears the old event and then raises the new one, in the same cycle.
/// Owner    the output mode. Threads: the job's worker.
/// Types    0 none, 1 notified, 2 distinct, 3 critical, 4 undamped critical.
class CEventDataOMA
{
  public:
    /// @param p_nElementId id of the mode. p_eMinEvent lowest event type that is posted.
    CEventDataOMA(bool p_bPowerSignal, std::uint32_t p_nElementId, const CDOE* p_pDOE, std::int32_t p_eMinEvent,
                  CTraceOMA* p_pTrace);

    bool ProcessAPP(const CTime* p_pActTime, double p_fFreq_Hz, double p_fMagn, double p_fDamp, double p_fDOE);
    bool ProcessDIS(const CTime* p_pActTime);
    std::int32_t GetLastEvent() const { return m_eLastEvent; }
    std::int32_t GetTrans() const { return m_eTrans; }

    bool RetrieveEventTypeFromDOE(double p_fDOE, std::int32_t& r_eType) const;
    bool RetrveIncKeyFromEventTypePS(std::int32_t p_eType,
                                     Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey& r_eKey) const;
    bool CreateTextFromIncKeyPS(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey,
                                std::string& r_strText) const;
    /// "#FREQUENCY#|...#~", followed by the four numbers in fixed formats.
    std::string CreateAddition(double p_fFreq_Hz, double p_fMagn, double p_fDamp, double p_fDOE) const;

  private:
    bool PostPS(std::int32_t p_eType, Norvik::Energy::Kestrel::VDS::Runtime::ETransition p_eTrans, double p_fFreq_Hz,
                double p_fMagn, double p_fDamp, double p_fDOE, const CTime* p_pActTime);
    bool TraceMessage(Norvik::Energy::Kestrel::VDS::Runtime::EIncidenceKey p_eKey,
                      Norvik::Energy::Kestrel::VDS::Runtime::ETransition p_eTrans, const std::string& p_strText) const;

    std::int32_t m_eTrans = 0; ///< last posted transition
    std::int32_t m_eMinEvent;
    bool m_bPowerSignal; ///< selects the format of the magnitude
    std::uint32_t m_nElementId;
    std::int32_t m_eLastEvent = 0; ///< type of the active event
    double m_fFreq = -1.0;         ///< values of the active event, repeated in its DIS
    double m_fMagn = -1.0;
    double m_fDamp = -1.0;
    double m_fDOE = -1.0;
    const CDOE* m_pDOE; ///< owned by the job
    CTraceOMA* m_pTrace;
};
