#pragma once
#include "view/memory/CMemoryWriter.h"
#include "view/memory/CValueRecorder.h"
#include "view/state/CEventBook.h"
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// The memory: takes what happens off the live state without ever waiting, and writes it twice a second.
///
/// Threads  IViewMemory under the lock of the state; Do and Flush any; one of its own writes.
/// Bounds   two million rows wait at most; beyond that passes and values are dropped and counted, events are not.
/// Errors   a file that cannot be written is tried again, after 1 s growing to 30 s, with one line a change of reason.
class CMemory : public IViewMemory
{
  public:
    /// @throws std::runtime_error if the file cannot be opened. One that is broken is put aside, with a line.
    CMemory(std::string p_strFile, const SViewModel& p_model, const SRetention& p_retention);
    ~CMemory() override;
    CMemory(const CMemory&) = delete;
    CMemory& operator=(const CMemory&) = delete;

    /// Gives the book what stood, and what comes next. Ahead of Start.
    void Restore(CEventBook& r_book);
    void Start();
    /// Writes what waits. No row may come after it.
    void Stop();

    /// Runs p_fnDo in the next transaction and waits for its end; rows that came before are written ahead of it.
    /// @throws what p_fnDo throws, or CDatabaseError.
    void Do(const std::function<void(CDatabase&)>& p_fnDo);
    /// The same without waiting: for the queue of notices.
    void Later(std::function<void(CDatabase&)> p_fnDo);
    /// All rows that came before are in the file when it returns, unless that cannot be written.
    void Flush();

    struct SState
    {
        bool bOk = true;
        std::string strText;
        std::int64_t nBytes = 0;
        std::int64_t nMaxBytes = 0;
        double fRows_perS = 0.0;
        std::uint64_t nRows = 0;
        std::size_t nWaiting = 0;
        std::uint64_t nLost = 0;
    };
    SState State() const;
    const std::string& File() const { return m_strFile; }
    std::int64_t SeriesOf(std::size_t p_iJob, std::size_t p_iMode) const
    {
        return m_pWriter->SeriesOf(p_iJob, p_iMode);
    }

    // ---- IViewMemory ----
    void OnEvent(const SViewEvent& p_event) override;
    void OnStep(std::int64_t p_nEvent, const SViewStep& p_step) override;
    void OnPass(std::size_t p_iJob, std::size_t p_iMode, std::int64_t p_nTime_ms, const double* p_pfValue) override;
    void OnSample(std::size_t p_iJob, std::int64_t p_nTicks, float p_fValue) override;
    void OnBlind(std::int64_t p_nBegin_ms, std::int64_t p_nEnd_ms, const std::string& p_strText) override;

  private:
    struct STask
    {
        std::function<void(CDatabase&)> fnDo;
        bool bDone = false;
        std::exception_ptr pError;
    };
    using TTaskPtr = std::shared_ptr<STask>;
    using TTime = std::chrono::steady_clock::time_point;

    void Open(const SViewModel& p_model, const SRetention& p_retention);
    bool Push(TMemoryRow p_row, bool p_bMust);
    CValueRecorder::SSink SinkOf(std::size_t p_iJob);
    void Run();
    bool WriteOnce();
    void WriteBatch();
    void RunTasks();
    void Failed(const std::exception& p_ex, bool p_bCommitted);
    void Housekeep(TTime p_tNow);

    const std::string m_strFile;
    const SViewModel& m_model;
    const SRetention m_retention;
    std::unique_ptr<CMemoryWriter> m_pWriter;
    std::vector<CValueRecorder> m_vecRecorder; ///< under the lock of the state

    mutable std::mutex m_mtx;
    // ---- under m_mtx ----
    std::condition_variable m_cvWork;
    std::condition_variable m_cvDone;
    std::vector<TMemoryRow> m_vecRow;
    std::vector<TTaskPtr> m_vecpTask;
    bool m_bStop = false;
    SState m_state;
    std::uint64_t m_nRowsBefore = 0;

    // ---- writer ----
    std::vector<TMemoryRow> m_vecBatch; ///< being written; kept after a failure
    std::vector<TTaskPtr> m_vecpBatchTask;
    TTime m_tMinutes{};
    TTime m_tRetain{};
    TTime m_tRate{};
    std::chrono::milliseconds m_tRetry{1000};
    std::thread m_thread;
};
