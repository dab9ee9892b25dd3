#pragma once
#include "job/CJob.h"
#include "job/CPmu.h"
#include "link/output/CVdsOutMeas.h"
#include "modes/record/CDOE.h"
#include "modes/record/CSpec.h"
#include "spectrum/proc/CProcOMA.h"
#include <complex>
#include <memory>
#include <string>
#include <vector>

class CMethodTrace;
class CReadFileMeas;

/// One monitored signal with its bands, modes and worker thread. The signal is the active power over a line (W) or the
/// difference of the voltage phase angles at two places (degrees).
///
/// Owner    CVdsOMA (its vector of jobs); CleanOMA frees it after all threads have ended.
/// Owns     bands, evaluators, modes, m_pDOE, queue, measurement writer and its trace area. Not owned: the PMUs (the
///          session's), m_pReadFile, m_pTimeInp.
/// Threads  as in CJob.
/// Errors   false after one trace line that names class, method and cause. Faults that stop the application's work go
///          through SuspendApp. Nothing is thrown.
class CJobOMA : public CJob
{
  public:
    /// @param p_nSamplesPS depth of the mode histories. p_nRepRate PS repetition rate: n a second, or -n: one in n s.
    CJobOMA(const std::string& p_strName, std::uint32_t p_nId, bool p_bActive, std::int32_t p_eJobMode,
            std::unique_ptr<VecSpec> p_pvecpSpec, std::uint32_t p_nUnitId, std::uint32_t p_nOutputRefId,
            std::uint32_t p_nSamplesPS, std::int32_t p_nRepRate, std::unique_ptr<CDOE> p_pDOE,
            std::unique_ptr<CTraceOMA> p_pTrace, CReadFileMeas* p_pReadFile);
    ~CJobOMA() override;

    // ---- [M] construction and clean-up ----
    /// Address and port of the server link for the CSV header. Set while no job of a pass exists.
    static void SetServerAddress(const std::string& p_strIpAddr, unsigned p_nPort);
    void DeleteAllPsmOuts() { m_pvecpPsmOut.reset(); }
    /// Deletes the bands and the evaluators that use them.
    void DeleteAllSpecs();
    void DeleteAllDoeData() { m_pDOE.reset(); }
    /// Time without a peak until a mode is inactive, in PS cycles: the maximum of the mode counters.
    unsigned NoOfCyclesInactive() const;

    // ---- [R] once for each measurement cycle, in this order ----
    /// Sets m_ActValue from the phasors of the two PMUs.
    bool CalcActualValue();
    /// Sends m_ActValue under the stamp of this measurement cycle. Updates m_pActTime first, unless a pass is using it.
    /// True also if the channel has not been started. [W] uses it as well.
    bool WriteCalcdValue();
    /// Appends m_ActValue to the queue. Drops the oldest value if the queue holds enough for the longest band.
    bool AddMeasToBuf();

    // ---- [R] connection and time line ----
    /// Sets the server's actual cycle time, s, in the job, its evaluators and its modes. @param p_trace of the caller,
    /// used to report a null pointer. @return false if there is one.
    bool SetCycleTime(double p_fCycle_s, const CMethodTrace& p_trace);
    /// Creates the writer of the measurement channel unless it exists. @return false if the library refuses.
    bool CreateVdsOutMeas(unsigned long p_hWrite, std::int32_t p_nCycleRate);
    /// After a jump in the time stamps: stops all modes and empties the queue. Waits for a pass that is still running.
    void InitForNewTimeLine();
    bool ResetDeqMeas();
    bool StopAllPsmOut();
    std::uint32_t RetrveMaxSpecSize() const;
    std::uint32_t RetrveMinSpecSize() const;

    // ---- [W] ----
    /// Body of the worker thread. @return 0, or -1 if it could not start.
    int ThreadCB();
    bool RunWorker(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows) override;
    bool WriteHeadToCSV(CWriteFile* p_pFileCSV) override;
    bool WriteDataToCSV(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows) override;
    bool Write1stPmuDataToCSV(CWriteFile* p_pFileCSV);
    bool Write2ndPmuDataToCSV(CWriteFile* p_pFileCSV);
    bool TraceAllPSMData();
    /// Number of measurements in a time range; 0 after an error line.
    unsigned CalcNoOfMeas(double p_fRange_s) const;
    /// Number of measurements between two passes.
    unsigned NoOfMeasPerTimeShift() const;
    /// Largest upper limit of all bands, whether used or not.
    bool RetrveTotalFreqEnd(double* p_pfEnd_Hz) const;
    bool RetrveActValueFromFile();
    bool WriteInvalidActualValue();
    /// Stops the measurement channel. True if there is no writer.
    bool StopWrite();
    /// Waits at most 60 s for the write connection, then starts the measurement channel.
    bool ReStartWrite();
    bool WriteDataPS();
    bool UpdateAllPSMs();
    /// 0 intact, 1 potential split or subsplit, 2 actual split between the places of the two PMUs.
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
    std::unique_ptr<std::vector<std::unique_ptr<CProcOMA>>> m_pvecpProc; ///< one for each used band, in band order
    double m_fInactTmp_s = 0.0;                                          ///< of the temporary modes; never read
    double m_fInact_s = 10.0;                                            ///< s without a peak until a mode is inactive
    std::atomic<std::uint64_t> m_nCycleProc{0};  ///< PS cycle of the last pass, for the first check; 0: none yet
    std::atomic<std::uint64_t> m_nCycleWrite{0}; ///< same for the second check
    std::atomic<std::uint64_t> m_nCycleSpare{0}; ///< cleared with the others; never read
    std::int32_t m_eJobMode;                     ///< 0 active power, 1 voltage phase angle difference
    std::uint32_t m_nUnitId;                     ///< virtual PMU of the measurement channel
    std::uint32_t m_nOutputRefId;                ///< its channel
    std::unique_ptr<CVdsOutMeas> m_pVdsOutMeas;  ///< null until CreateVdsOutMeas; [R] creates it before event 0
    HANDLE m_hStatus = nullptr;                  ///< always null: the writer has a handle of its own
    std::unique_ptr<VecSpec> m_pvecpSpec;
    std::uint32_t m_nMaxSpecSize = 0; ///< cached, because every cycle needs it; 0: not yet determined
    std::uint32_t m_nSamplesPS;
    std::int32_t m_nRepRate;                ///< PS repetition rate
    CPmu* m_pPmu1st = nullptr;              ///< voltage; owned by the session
    CPmu* m_pPmu2nd = nullptr;              ///< current, or the second voltage; owned by the session
    bool m_bUsingNTM = false;               ///< uses the grid state of the NTM application; [M]
    bool m_bSplitActive = false;            ///< suspended by an actual network split; [W]
    std::int32_t m_eInputQual = eQualValid; ///< input state: INVALID after an INVALID value until a VALID one; [W]
    std::int32_t m_eGridQual = 2;           ///< 0 intact, 1 potential, 2 actual split; [W]
    CReadFileMeas* m_pReadFile;             ///< not owned, may be null
    std::unique_ptr<CDOE> m_pDOE;

    SMeas GetActValue() const;
    void SetActValue(const SMeas& p_meas);
    CTraceOMA* GetTrace() const { return m_pTrace; }
    /// Frees the trace area, after everything that traces into it. Last step before the job is deleted.
    void DeleteTrace();

  private:
    /// Counts of one pass.
    struct SPass
    {
        unsigned nPeaks = 0;
        unsigned nNotAssigned = 0;
    };
    /// Settings of the evaluators; the same for all bands in a pass.
    struct SRunSettings
    {
        double fFreqEnd_Hz = -1.0; ///< largest band end
        std::wstring wstrFileFFT;  ///< empty: no dump
        std::wstring wstrFilePSM;  ///< empty: no dump
        int eFit = 1;              ///< 1 least squares, 2 followed by Levenberg-Marquardt
    };
    /// State of the thread between two events.
    struct SThread
    {
        bool bNoDataReported = false; ///< incident 4202 is active
        bool bFirstTimeout = true;
        bool bStopped = true;
        unsigned nCsvRows = 0;
        std::unique_ptr<CWriteFile> pFileCSV;
    };

    // ---- steps of ThreadCB; p_trace names ThreadCB ----
    void CreateFileCSV(SThread& r_thread, const CMethodTrace& p_trace);
    void HandleEvent(DWORD p_nResult, SThread& r_thread, const CMethodTrace& p_trace);
    void OnTimeout(SThread& r_thread, const CMethodTrace& p_trace);
    void OnStart(SThread& r_thread);
    void OnNewData(SThread& r_thread, const CMethodTrace& p_trace);
    void OnStop();
    void StopModes();
    void StartWriteAgain();

    // ---- steps of RunWorker, in their order; p_trace names RunWorker ----
    bool TakeActTime(const CMethodTrace& p_trace);
    /// @return false if a network split, or its end, ends the pass.
    bool CheckGrid(const CMethodTrace& p_trace);
    void SuspendBySplit(const CMethodTrace& p_trace);
    bool RetrveValue(const CMethodTrace& p_trace);
    bool UpdateInputQual(const CMethodTrace& p_trace);
    bool ProcessMeas(const CMethodTrace& p_trace, CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows);
    bool CheckDataAndTime(const CMethodTrace& p_trace);
    bool IsNextCycle(std::atomic<std::uint64_t>& r_nCycleLast, std::int64_t& r_nMissing) const;
    bool CheckCycleProc(const CMethodTrace& p_trace);
    bool CheckCycleWrite(const CMethodTrace& p_trace);
    bool CreateStudyData();
    bool RunAllProcs(const CMethodTrace& p_trace);
    bool RetrveRunSettings(const CMethodTrace& p_trace, SRunSettings& r_settings) const;
    bool RunProc(CProcOMA* p_pProc, const SRunSettings& p_settings, const CMethodTrace& p_trace, SPass& r_pass);
    bool AssignPeaks(CProcOMA* p_pProc, CProcOMA::VecPeak* p_pvecpPeak, const CMethodTrace& p_trace, SPass& r_pass);

    bool WriteModePS(CPsmOut* p_pPSM, const CMethodTrace& p_trace, unsigned& r_nTotal_ms);

    void CreateProcs();
    CVdsOutMeas* MeasWriter() const;
    bool WriteHeadOfColumns(CWriteFile* p_pFileCSV, const CMethodTrace& p_trace);
    bool WriteHeadOfUnits(CWriteFile* p_pFileCSV, const CMethodTrace& p_trace);
    /// Checks that both PMUs and their phasors exist. The names are used in the message.
    bool CheckPmuPhasors(const CMethodTrace& p_trace, std::string_view p_strName1st,
                         std::string_view p_strName2nd) const;
    bool CalcPhasorOfPmu(const CPmu* p_pPmu, std::string_view p_strNoCase, const CMethodTrace& p_trace,
                         std::complex<double>* p_pcplx);

    std::unique_ptr<CTraceOMA> m_pTraceOwn;
    mutable std::mutex m_mtxAct; ///< guards m_ActValue if [R] and [W] overlap
    SMeas m_ActValue;
    unsigned m_nPassesToStart = 0; ///< [W] passes until a failed start of the channel is repeated; 0: no retry
    mutable std::mutex m_mtxWrite; ///< guards the measurement writer likewise

    // Statistics of the angle difference. Currently unused: allocated and freed with the job, never filled.
    std::vector<unsigned> m_vecnStatDeg;
    std::vector<unsigned> m_vecnStatDeciDeg;
    unsigned m_nStatCnt = 0;
    std::unique_ptr<CWriteFile> m_pFileStatDeg;
    std::unique_ptr<CWriteFile> m_pFileStatDeciDeg;
};
