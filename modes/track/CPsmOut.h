#pragma once
#include "WinEvents.h"
#include "link/output/CEventDataOMA.h"
#include "link/output/CVdsOutPS.h"
#include "modes/track/CPSM.h"
#include <memory>
#include <vector>

/// A swing mode with an output: four channels on the server (frequency, magnitude, damping ratio, degree of exposure)
/// and the event of the mode. It writes while peaks are assigned and stops in the first pass without one.
/// Owner    the job; owns its trace area as well. Threads: the job's worker.
class CPsmOut : public CPSM
{
  public:
    /// @param p_hVds write connection. p_nUnitId id of the virtual PMU. p_vecnOutRefId the four channels. p_pTrace the
    /// mode's trace area; takes ownership.
    CPsmOut(bool p_bPower, unsigned long p_hVds, std::uint32_t p_nId, std::uint32_t p_nUnitId,
            const std::vector<unsigned long>& p_vecnOutRefId, std::int32_t p_nRepRate, double p_fFreqMin_Hz,
            double p_fFreqMax_Hz, std::int32_t p_eEventMin, const VecSpec* p_pvecpSpec, std::uint32_t p_nDeqMax,
            CDOE* p_pDOE, std::unique_ptr<CTraceOMA> p_pTrace);
    ~CPsmOut();

    /// Call once a PS cycle: selects the band, computes the four values, starts the channels if necessary, and sends
    /// values and event. False only if an active mode has no values; the modes after it then get no output in this
    /// pass.
    bool WriteActualData(const CTime* p_pActTime);
    bool CreateOutputValues(const CTime* p_pActTime, double& r_fFreq, double& r_fMagn, double& r_fDamp, double& r_fDOE,
                            std::int32_t& r_eQual);
    bool CalcOutpFreq(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool CalcOutpDamp(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool CalcOutpMagn(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool CalcOutpDOE(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool DampForDoeFromLastValue(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool MagnForDoeFromLastValue(const CSpecDyn* p_pSpec, double& r_fValue) const;
    /// The band whose values are output in this PS cycle; null if there is none.
    CSpecDyn* RetrveOutpSpec(const CTime* p_pActTime, std::int32_t& r_eQual);
    bool CalcNeighb(double p_fFreq_Hz, std::int32_t p_eReso, std::int32_t& r_eNeighb) const;
    /// Ends writing and event; used when the job stops and after invalid input, a split or a gap.
    bool Stop(const CTime* p_pActTime);
    /// Currently unused: WriteActualData contains this logic.
    bool ProcessEvents(const CTime* p_pActTime);

    CVdsOutPS* GetVdsOutPS() const { return m_pVdsOutPS.get(); }
    CEventDataOMA* GetEventData() const { return m_pEventData.get(); }
    bool IsOutpValid() const { return m_bOutpValid; }

  private:
    /// Starts the channels. First reports an event of an earlier output that is still active.
    bool StartOutput(const CTime* p_pActTime);
    /// Stops the channels and ends the event.
    void EndOutput(const CTime* p_pActTime);
    /// Newest record of a band; null after a trace under the caller's name.
    const CDataPS* ActData(const CSpecDyn* p_pSpec, std::string_view p_strMethod) const;

    std::unique_ptr<CTraceOMA> m_pTraceOwn;
    bool m_bOutpValid = false; ///< the last call of WriteActualData produced values
    [[maybe_unused]] double m_fReserved = -1.0;
    std::unique_ptr<CVdsOutPS> m_pVdsOutPS;
    HANDLE m_hStatus = nullptr;               ///< signalled by the writer's callback; never closed
    [[maybe_unused]] std::int32_t m_nRepRate; ///< PS repetition rate
    std::unique_ptr<CEventDataOMA> m_pEventData;
};
