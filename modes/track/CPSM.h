#pragma once
#include "host/base/TShared.h"
#include "modes/record/CDOE.h"
#include "modes/track/CSpecDyn.h"
#include "spectrum/data/CPeakOMA.h"
#include <atomic>
#include <boost/container/small_vector.hpp>
#include <memory>
#include <valarray>
#include <vector>

/// Status of a mode.
enum EStatz : std::int32_t
{
    eStatzActive = 0,  ///< the last pass assigned a peak
    eStatzFading = 1,  ///< no peak in the last pass, counter below its maximum
    eStatzInactive = 2 ///< the counter has reached its maximum
};

/// One power-swing mode of a job: a frequency range in which an oscillation may occur. Records where and how long ago
/// it was last seen, and what each band observed. Lives as long as the job; an inactive mode waits for the next peak.
/// Threads  the job's worker only. Errors: TraceBadPointer and false, which ends the pass.
class CPSM
{
  public:
    /// One value for each band; up to three need no heap.
    using VecFreq = boost::container::small_vector<double, 3>;

    CPSM(bool p_bPower, std::uint32_t p_nId, const VecSpec* p_pvecpSpec, std::uint32_t p_nDeqMax, CDOE* p_pDOE,
         CTraceOMA* p_pTrace);
    ~CPSM();
    CPSM(const CPSM&) = delete;
    CPSM& operator=(const CPSM&) = delete;

    /// Adopts a peak: updates the record of its band and the reference frequencies, clears the counter and activates
    /// the mode. A NaN frequency changes nothing and counts as handled (true).
    bool AddPeak(const CPeakOMA* p_pPeak, const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz,
                 const CTime* p_pActTime);
    /// Ageing: each pass without a peak doubles the increment of the counter, each detection halves it.
    void UpdateCntrAndStatz();
    /// Call after the ageing. Counts VALID cycles, resets records without a peak in this pass, extends the history.
    bool Update(const CTime* p_pActTime);
    bool UpdateDeque(CSpecDyn* p_pSpec);
    CSpecDyn* RetrveSpec(std::int32_t p_eReso) const;
    /// Weighted mean of the frequencies that the bands observed in this PS cycle, up to a quality; only VALID ones if
    /// there are any. -1.0 if there are none (0.0 for a null time).
    double CalcActFreq(std::int32_t p_eQualMax, const CTime* p_pActTime) const;
    bool CollectActFreqs(std::int32_t p_eQualMax, const CTime* p_pActTime, VecFreq* p_pvecfFreq,
                         VecFreq* p_pvecfWeight) const;
    double CalcWeight(const CSpecDyn* p_pSpec, double p_fFreq_Hz) const;
    /// Currently unused.
    double CalcRawMagn(const CPeakOMA* p_pPeak, const std::valarray<double>& p_vecAmpl, double p_fFreqStep_Hz);

    /// Number of existing modes, for traces.
    static int GetNoOfPSM() { return s_nCount; }

    std::uint32_t GetId() const { return m_nId; }
    std::int32_t GetStatz() const { return m_eStatz; }
    std::uint32_t GetCntr() const { return m_nCntr; }
    std::uint32_t GetCntrMax() const { return m_nCntrMax; }
    std::uint32_t GetCntrInc() const { return m_nCntrInc; }
    /// Sets all three counters: a new mode starts fully aged.
    void SetCounters(std::uint32_t p_nCntr) { m_nCntr = m_nCntrMax = m_nCntrInc = p_nCntr; }
    double GetFreqMin() const { return m_fFreqMin_Hz; }
    double GetFreqMax() const { return m_fFreqMax_Hz; }
    double GetLastValidFreq() const { return m_fLastValidFreq_Hz; }
    bool IsLastValidFreq() const { return m_bLastValidFreq; }
    double GetLastFreq() const { return m_fLastFreq_Hz; }
    std::uint32_t GetCntValidCycles() const { return m_nCntValidCycles; }
    bool IsOk() const { return m_bOk; }
    CTraceOMA* GetTrace() const { return m_pTrace; }

    TShared<double> m_fCycle_s{0.0}; ///< read cycle time, set by the read callback; never read

  protected:
    bool m_bPower;               ///< active power job; false: phase angle job
    double m_fFreqMin_Hz = -1.0; ///< below epsilon: no limit
    double m_fFreqMax_Hz = -1.0;
    std::int32_t m_eStatz = eStatzInactive;
    std::int32_t m_eStatzSpare = 2;
    std::uint32_t m_nCntr = 1;    ///< ageing counter; 0: a peak was assigned in this PS cycle
    std::uint32_t m_nCntrMax = 1; ///< the mode is inactive from this value on
    std::uint32_t m_nCntrInc = 1;
    std::unique_ptr<std::vector<std::unique_ptr<CSpecDyn>>> m_pvecpSpec; ///< one for each used band, in band order
    double m_fLastValidFreq_Hz = -1.0;                                   ///< mean frequency of the last VALID data
    bool m_bLastValidFreq = false;
    double m_fLastFreq_Hz = -1.0; ///< same for VALID or SUSPECT data
    bool m_bLastFreq = false;
    std::uint32_t m_nId;
    double m_fPeakBeg_Hz = -1.0; ///< integration limits of CalcRawMagn
    double m_fPeakEnd_Hz = -1.0;
    std::uint32_t m_nCntValidCycles = 0;
    CDOE* m_pDOE;        ///< owned by the job
    CTraceOMA* m_pTrace; ///< not owned, may be null
    bool m_bOk = true;   ///< cleared by the constructor on a null band

  private:
    /// Ages one band: evaluates its record of this PS cycle, or resets the record if there is none.
    bool UpdateSpec(CSpecDyn& p_spec, const CTime& p_actTime, bool& r_bAnyValid) const;

    static std::atomic<int> s_nCount;
};
