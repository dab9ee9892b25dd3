#pragma once
#include "WinEvents.h"
#include "link/output/CEventDataOMA.h"
#include "link/output/CVdsOutPS.h"
#include "modes/track/CPSM.h"
#include <memory>
#include <vector>

/// A swing mode with an outlet: four channels on the server (frequency, magnitude, damping ratio, degree of exposure)
/// and the event of the mode. Writing while a peak is assigned, silent from the first pass without one.
/// Owner    the job; owns its trace area besides the members. Threads: the job's worker.
class CPsmOut : public CPSM
{
  public:
    /// @param p_hVds connection of the output channels. p_nUnitId id of the virtual PMU. p_vecnOutRefId the four channels.
    /// p_pTrace the mode's own area; taken over.
    CPsmOut(bool p_bPower, unsigned long p_hVds, std::uint32_t p_nId, std::uint32_t p_nUnitId,
            const std::vector<unsigned long>& p_vecnOutRefId, std::int32_t p_nRepRate, double p_fFreqMin_Hz,
            double p_fFreqMax_Hz, std::int32_t p_eEventMin, const VecSpec* p_pvecpSpec, std::uint32_t p_nDeqMax,
            CDOE* p_pDOE, std::unique_ptr<CTraceOMA> p_pTrace);
    ~CPsmOut();

    /// Once a PS cycle: choice of band, four values, start of the channels if needed, values and event out.
    /// False only if an active mode has no values: the modes behind it then get no output in this pass.
    bool WriteActualData(const CTime* p_pActTime);
    bool CreateOutputValues(const CTime* p_pActTime, double& r_fFreq, double& r_fMagn, double& r_fDamp, double& r_fDOE,
                            std::int32_t& r_eQual);
    bool CalcOutpFreq(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool CalcOutpDamp(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool CalcOutpMagn(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool CalcOutpDOE(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool DampForDoeFromLastValue(const CSpecDyn* p_pSpec, double& r_fValue) const;
    bool MagnForDoeFromLastValue(const CSpecDyn* p_pSpec, double& r_fValue) const;
    /// The band that speaks for the mode in this PS cycle, null if none.
    CSpecDyn* RetrveOutpSpec(const CTime* p_pActTime, std::int32_t& r_eQual);
    bool CalcNeighb(double p_fFreq_Hz, std::int32_t p_eReso, std::int32_t& r_eNeighb) const;
    /// Ends writing and event, for the stop of the job, invalid input, a split or a gap.
    bool Stop(const CTime* p_pActTime);
    /// Nobody calls it at present: WriteActualData holds this logic.
    bool ProcessEvents(const CTime* p_pActTime);

    CVdsOutPS* GetVdsOutPS() const { return m_pVdsOutPS.get(); }
    CEventDataOMA* GetEventData() const { return m_pEventData.get(); }
    bool IsOutpValid() const { return m_bOutpValid; }

  private:
    /// Starts the channels; says beforehand if an event of an earlier output still stands.
    bool StartOutput(const CTime* p_pActTime);
    /// Stops the channels and ends the event.
    void EndOutput(const CTime* p_pActTime);
    /// Newest record of a band, null with a trace under the caller's name.
    const CDataPS* ActData(const CSpecDyn* p_pSpec, std::string_view p_strMethod) const;

    std::unique_ptr<CTraceOMA> m_pTraceOwn;
    bool m_bOutpValid = false; ///< values were made in the last call of WriteActualData
    [[maybe_unused]] double m_fReserved = -1.0;
    std::unique_ptr<CVdsOutPS> m_pVdsOutPS;
    HANDLE m_hStatus = nullptr;               ///< signalled by the writer's callback; never closed (layer's table)
    [[maybe_unused]] std::int32_t m_nRepRate; ///< PS repetition rate
    std::unique_ptr<CEventDataOMA> m_pEventData;
};
