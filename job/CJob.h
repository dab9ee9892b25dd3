#pragma once
#include "WinEvents.h"
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include "host/base/TShared.h"
#include "modes/track/CPsmOut.h"
#include "spectrum/data/CDeqMeas.h"
#include <atomic>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class CWriteFile;

/// Events of a job, by handle index. 4 and 5 are unused.
enum EJobEvent : unsigned
{
    eJobEventStart = 0,     ///< server link established
    eJobEventNewData = 1,   ///< new data for a worker pass
    eJobEventStop = 2,      ///< server link lost
    eJobEventTerminate = 3, ///< end the job
    eJobEventCount = 6
};

/// Base of a job: thread, handles, time stamps, measurements and modes.
/// Threads  [M] main: construction and clean-up. [R] read callback. [W] this job's worker. R waits for W
///          (m_bWorkerDone) before it returns, so R and W take turns. After R's time limit of 5 s they may overlap: the
///          queue and the single values are safe by themselves, and m_mtxModes protects the modes.
class CJob
{
  public:
    using VecPsmOut = std::vector<std::unique_ptr<CPsmOut>>;

    CJob(const std::string& p_strName, std::uint32_t p_nId, bool p_bActive, CTraceOMA* p_pTrace);
    virtual ~CJob();
    CJob(const CJob&) = delete;
    CJob& operator=(const CJob&) = delete;

    /// One pass of the analysis. @param[in,out] p_pnCsvRows rows written so far to p_pFileCSV (null: no file).
    virtual bool RunWorker(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows) = 0;
    virtual bool WriteHeadToCSV(CWriteFile* p_pFileCSV) = 0;
    virtual bool WriteDataToCSV(CWriteFile* p_pFileCSV, unsigned* p_pnCsvRows) = 0;

    /// Marks the end of a pass, [W].
    void TellWorkerDone();
    bool HasThread() const { return m_pThread != nullptr; }
    bool IsOk() const { return m_bOk; }

    std::atomic<bool> m_bWorkerDone{true}; ///< [R] clears before event 1, [W] sets after each pass
    const HANDLE m_hWorkerDone;            ///< signalled after m_bWorkerDone is set, to end [R]'s poll early
    std::atomic<bool> m_bStartDone{true};  ///< [R] clears before event 0, [W] sets once the old data are discarded
    std::string m_strName;
    bool m_bActive;      ///< from the configuration, cleared when the job cannot run; [M]
    std::uint32_t m_nId; ///< element id of the job
    std::unique_ptr<std::vector<HANDLE>>
        m_pvechOMA;                                ///< exactly six handles, see EJobEvent; null until the thread set-up
    TShared<double> m_fCycle_s{0.0};               ///< read cycle time of the server, s; [R] sets
    std::atomic<const CTime*> m_pTimeInp{nullptr}; ///< stamp of the current cycle; owned by the read callback
    std::unique_ptr<CTime> m_pActTime; ///< the job's private copy for one pass; [W], [R] for the measurement channel
    std::atomic<bool> m_bTerminate{false};        ///< ends the loop of ThreadCB and any long wait in it
    std::atomic<bool> m_bTerminateRequest{false}; ///< set before handle 3 is signalled: interrupts a long wait
    std::atomic<bool> m_bThreadDone{false};       ///< set when the thread ends
    std::unique_ptr<CDeqMeas> m_pdeqMeas;
    std::atomic<std::uint32_t> m_nMeasSinceShift{0}; ///< measurements added since the last complete pass
    std::unique_ptr<VecPsmOut> m_pvecpPsmOut;        ///< output modes, in configuration order
    std::unique_ptr<std::vector<std::unique_ptr<CPSM>>> m_pvecpPsmTmp; ///< temporary modes: always empty
    std::unique_ptr<boost::thread> m_pThread;                          ///< the worker; [M] sets and clears
    CTraceOMA* m_pTrace;                                               ///< the job's area, not owned, may be null
    bool m_bOk = true;     ///< cleared when the constructor meets a null pointer
    std::mutex m_mtxModes; ///< held by [W] during a pass and by [R] while it stops the modes
};
