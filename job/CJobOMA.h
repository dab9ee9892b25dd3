#pragma once
#include "job/CJob.h"
#include "job/CPmu.h"
#include "link/CVdsOutMeas.h"
#include "modes/CDOE.h"
#include "modes/CSpec.h"
#include "spectrum/CProcOMA.h"
#include <complex>
#include <memory>
#include <string>
#include <vector>

class CReadFileMeas;

/// One monitored signal with its bands, modes and worker thread: active power over a line (W) or the voltage phase angle
/// difference between two places (degrees).
///
/// Owner    CVdsOMA (its vector of jobs); CleanOMA frees it after all threads have ended.
/// Owns     bands, evaluators, modes, m_pDOE, queue, measurement writer and its trace area.
///          Not owned: the PMUs (the session's), m_pReadFile, m_pTimeInp.
/// Threads  as in CJob.
/// Errors   false after one trace line that names class, method and cause. What ends the application's work goes
///          through SuspendApp. Nothing is thrown.
class CJobOMA : public CJob
{
  public:
    /// @param p_nSamplesPS depth of the mode histories. p_nRepRate PS repetition rate: n a second, or -n: one per n s.
    CJobOMA(const std::string& p_strName, std::uint32_t p_nId, bool p_bActive, std::int32_t p_eJobMode,
            std::unique_ptr<VecSpec> p_pvecpSpec, std::uint32_t p_nUnitId, std::uint32_t p_nOutputRefId,
            std::uint32_t p_nSamplesPS, std::int32_t p_nRepRate, std::unique_ptr<CDOE> p_pDOE,
            std::unique_ptr<CTraceOMA> p_pTrace, CReadFileMeas* p_pReadFile);
    ~CJobOMA() override;

    // ---- [M] construction and clean-up ----
    void DeleteAllPsmOuts() { m_pvecpPsmOut.reset(); }
    void DeleteAllSpecs();
    void DeleteAllDoeData() { m_pDOE.reset(); }
    /// Seconds without a peak until a mode is inactive, in PS cycles: maximum of the mode counters.
    unsigned NoOfCyclesInactive() const;

    // ---- [R] once for each measurement cycle, in this order ----
    /// Sets m_ActValue from the phasors of the two PMUs.
    bool CalcActualValue();
    /// Sends m_ActValue under the stamp of this measurement cycle. True also when the channel is not started.
    bool WriteCalcdValue();
    /// Appends m_ActValue to the queue; drops the oldest record when the longest band is full.
    bool AddMeasToBuf();

    // ---- [R] connection and time line ----
    /// Makes the writer of the measurement channel if there is none yet.
    bool CreateVdsOutMeas(unsigned long p_hWrite, std::int32_t p_nCycleRate);
    /// What a time-stamp jump costs: all modes stop, the queue is empty. Waits for a pass that is still running.
    void InitForNewTimeLine();
    bool ResetDeqMeas();
    bool StopAllPsmOut();
    std::uint32_t RetrveMaxSpecSize() const;
    std::uint32_t RetrveMinSpecSize() const;

    // ---- [W] ----
    int ThreadCB();
    bool RunWorker(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows) override;
    bool WriteHeadToCSV(CWriteFile* p_pFileCSV) override;
    bool WriteDataToCSV(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows) override;
    bool Write1stPmuDataToCSV(CWriteFile* p_pFileCSV);
    bool Write2ndPmuDataToCSV(CWriteFile* p_pFileCSV);
    bool TraceAllPSMData();
    unsigned CalcNoOfMeas(double p_fRange_s) const;
    unsigned NoOfMeasPerTimeShift() const;
    bool RetrveTotalFreqEnd(double* p_pfEnd_Hz) const;
    bool RetrveActValueFromFile();
    bool WriteInvalidActualValue();
    bool StopWrite();
    bool ReStartWrite();
    bool WriteDataPS();
    bool UpdateAllPSMs();
    std::int32_t RetrveGridQualFromNTM();
    bool GetCsvFileName(std::wstring* p_pwstr) const;
    bool GetFftFileName(std::wstring* p_pwstr) const;
    bool GetPsmFileName(std::wstring* p_pwstr) const;

    // ---- actual value ----
    bool CalcActivePower(double* p_pfSum);
    bool CalcActivePower(unsigned p_nPhase, double* p_pfPhase);
    bool TraceActivePower(double p_fValue, std::int32_t p_eQual);
    bool CalcPhaseAngleDiff(double* p_pfValue);
    bool TracePhaseAngleDiff(double p_fValue, std::int32_t p_eQual);
    bool PhasorsToPosSequ(const CPmu* p_pPmu, std::complex<double>* p_pcplx);
    bool RetrievePhasor(const CPmu* p_pPmu, std::complex<double>* p_pcplx);
    bool RetrievePhasor(const CPmu* p_pPmu, unsigned p_nPhase, std::complex<double>* p_pcplx);
    std::int32_t CalcTotalQual();

    // ---- [W] assignment of peaks to modes ----
    bool CheckAllPeaksForMagnLimit(CProcOMA::VecPeak* p_pvecpPeak, const std::valarray<double>& p_vecfAmpl,
                                   double p_fFreqStep_Hz);
    bool CheckPeakForMagnLimit(const CPeakOMA* p_pPeak, const std::valarray<double>& p_vecfAmpl, double p_fFreqStep_Hz);
    bool AssignAllPeaksToPSMs(CProcOMA::VecPeak* p_pvecpPeak, const std::valarray<double>& p_vecfAmpl,
                              double p_fFreqStep_Hz);
    bool AssignPeakToPsmOut(CPeakOMA* p_pPeak, const std::valarray<double>& p_vecfAmpl, double p_fFreqStep_Hz,
                            std::int32_t p_eStatz, bool p_bCheckLastFreq);
    bool CheckPSModeSpecFreqLims(double p_fFreq_Hz, const CPSM* p_pPSM);
    bool CheckForMatchLastValidFreq(double p_fFreq_Hz, const CPSM* p_pPSM);

    // ---- data ----
    std::unique_ptr<std::vector<std::unique_ptr<CProcOMA>>> m_pvecpProc;  ///< one for each used band, in band order
    double m_fInactTmp_s = 0.0;                    ///< of the temporary modes; nobody reads it
    double m_fInact_s = 10.0;                      ///< s without a peak until a mode is inactive
    std::atomic<std::uint64_t> m_nCycleProc{0};    ///< PS cycle of the last pass, first check; 0: none yet
    std::atomic<std::uint64_t> m_nCycleWrite{0};   ///< the same for the second check
    std::atomic<std::uint64_t> m_nCycleSpare{0};   ///< cleared with the others; nobody reads it
    std::int32_t m_eJobMode;                       ///< 0 active power, 1 voltage phase angle difference
    std::uint32_t m_nUnitId;                       ///< virtual PMU of the measurement channel
    std::uint32_t m_nOutputRefId;                  ///< its channel
    std::unique_ptr<CVdsOutMeas> m_pVdsOutMeas;    ///< null until CreateVdsOutMeas; [R] makes it before event 0
    HANDLE m_hStatus = nullptr;
    std::unique_ptr<VecSpec> m_pvecpSpec;
    std::uint32_t m_nSamplesPS;
    std::int32_t m_nRepRate;                       ///< PS repetition rate
    CPmu* m_pPmu1st = nullptr;                     ///< voltage; the session's
    CPmu* m_pPmu2nd = nullptr;                     ///< current, or the second voltage; the session's
    bool m_bUsingNTM = false;                      ///< takes its grid state from the NTM application; [M]
    bool m_bSplitActive = false;                   ///< suspended because of an actual network split; [W]
    std::int32_t m_eInputQual = eQualValid;        ///< INVALID while the input state machine is in that state; [W]
    std::int32_t m_eGridQual = 2;                  ///< 0 intact, 1 potential, 2 actual split; [W]
    CReadFileMeas* m_pReadFile;                    ///< not owned, may be null
    std::unique_ptr<CDOE> m_pDOE;

    SMeas GetActValue() const;
    void SetActValue(const SMeas& p_meas);
    CTraceOMA* GetTrace() const { return m_pTrace; }
    /// Frees the trace area: last step before the job is deleted.
    void DeleteTrace();

  private:
    std::unique_ptr<CTraceOMA> m_pTraceOwn;
    mutable std::mutex m_mtxAct;                   ///< m_ActValue: bears an overlap of [R] and [W]
    SMeas m_ActValue;
    std::mutex m_mtxWrite;                         ///< the measurement writer: the same
};
