#include "view/memory/CMemory.h"
#include "view/memory/MemoryReads.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace
{
constexpr std::size_t g_nMaxRows = 2'000'000;
constexpr auto g_tWrite = std::chrono::milliseconds(500);
constexpr auto g_tMinutes = std::chrono::seconds(30);
constexpr auto g_tRetain = std::chrono::minutes(10);
constexpr auto g_tRate = std::chrono::seconds(5);
constexpr auto g_tLastRetry = std::chrono::milliseconds(30000);
} // namespace

CMemory::CMemory(std::string p_strFile, const SViewModel& p_model, const SRetention& p_retention)
    : m_strFile(std::move(p_strFile)), m_model(p_model), m_retention(p_retention)
{
    Open(p_model, p_retention);
    for (const SViewJob& job : p_model.vecJob)
        m_vecRecorder.emplace_back(job.fRate_Hz);
    m_state.nMaxBytes = p_retention.nMaxBytes;
    m_state.nBytes = m_pWriter->Bytes();
}

void CMemory::Open(const SViewModel& p_model, const SRetention& p_retention)
{
    try
    {
        m_pWriter = std::make_unique<CMemoryWriter>(m_strFile, p_model, p_retention);
    }
    catch (const CDatabaseError& ex)
    {
        if (ex.Code() != SQLITE_CORRUPT && ex.Code() != SQLITE_NOTADB)
            throw;
        const std::string strAside = m_strFile + ".broken-" + std::to_string(WallMs());
        for (const char* pEnd : {"", "-wal", "-shm"})
        {
            std::error_code ecIgnored;
            std::filesystem::rename(m_strFile + pEnd, strAside + pEnd, ecIgnored);
        }
        std::fprintf(stderr, "omaview: %s; it has been put aside as '%s', a new one begins\n", ex.what(),
                     strAside.c_str());
        m_pWriter = std::make_unique<CMemoryWriter>(m_strFile, p_model, p_retention);
    }
}

CMemory::~CMemory()
{
    Stop();
}

void CMemory::Restore(CEventBook& r_book)
{
    CDatabase& db = m_pWriter->Db();
    const std::int64_t nTicks = db.Integer("SELECT ticks FROM step ORDER BY id DESC LIMIT 1");
    // What ended last may go on: a change of level ends the one and raises the other with the same time stamp.
    std::vector<SViewEvent> vecEvent =
        ReadEvents(db, "end_ms = -1 OR end_ms >= " + std::to_string(MsFromTicks(nTicks)), "id");
    for (const SViewEvent& event : vecEvent)
    {
        const auto it = m_model.mapJob.find(event.nJob);
        if (event.bMode && event.Stands() && it != m_model.mapJob.end())
            m_vecRecorder[it->second].OnEvent(event.nId, TicksFromMs(event.nBegin_ms), 0, SinkOf(it->second));
    }
    r_book.Restore(std::move(vecEvent), db.Integer("SELECT max(id) FROM event"));
    std::set<CEventBook::TIdentity> setLast;
    CStatement get(db, "SELECT event.elem_type, event.elem_id, step.key, step.app FROM step JOIN event ON "
                       "event.id = step.event WHERE step.ticks = ? AND step.id > (SELECT max(id) FROM step) - 10000");
    get.Bind(nTicks);
    while (get.Step())
        setLast.insert({static_cast<std::int32_t>(get.Integer(0)), static_cast<std::uint64_t>(get.Integer(1)),
                        static_cast<int>(get.Integer(2)), get.Integer(3) != 0});
    if (nTicks != 0)
        r_book.RestoreLast(nTicks, std::move(setLast));
}

void CMemory::Start()
{
    m_thread = std::thread([this] { Run(); });
}

void CMemory::Stop()
{
    if (!m_thread.joinable())
        return;
    for (std::size_t i = 0; i < m_vecRecorder.size(); ++i)
        m_vecRecorder[i].Flush(SinkOf(i));
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bStop = true;
        m_cvWork.notify_all();
    }
    m_thread.join();
}

// ---- what comes in ----

bool CMemory::Push(TMemoryRow p_row, bool p_bMust)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_vecRow.size() >= g_nMaxRows && !p_bMust)
    {
        ++m_state.nLost;
        return false;
    }
    m_vecRow.push_back(std::move(p_row));
    return true;
}

CValueRecorder::SSink CMemory::SinkOf(std::size_t p_iJob)
{
    const auto iJob = static_cast<std::uint32_t>(p_iJob);
    return {[this, iJob](std::span<const SSample> p_vecSample) {
                Push(SSampleRow{iJob, p_vecSample.front().nTicks, EncodeSamples(p_vecSample)}, false);
            },
            [this, iJob](std::int64_t p_nMinute, const SExtremes& p_extremes, std::uint32_t p_nMissing) {
                Push(SMinuteRow{iJob, p_nMinute, p_extremes, p_nMissing}, false);
            }};
}

void CMemory::OnEvent(const SViewEvent& p_event)
{
    Push(p_event, true);
    const auto it = m_model.mapJob.find(p_event.nJob);
    if (p_event.bMode && it != m_model.mapJob.end())
        m_vecRecorder[it->second].OnEvent(p_event.nId, TicksFromMs(p_event.nBegin_ms),
                                          p_event.Stands() ? 0 : TicksFromMs(p_event.nEnd_ms), SinkOf(it->second));
}

void CMemory::OnStep(std::int64_t p_nEvent, const SViewStep& p_step)
{
    Push(SStepRow{p_nEvent, p_step}, true);
}

void CMemory::OnPass(std::size_t p_iJob, std::size_t p_iMode, std::int64_t p_nTime_ms, const double* p_pfValue)
{
    SPassRow row{static_cast<std::uint32_t>(p_iJob), static_cast<std::uint32_t>(p_iMode), p_nTime_ms, {}};
    for (std::size_t i = 0; i < row.vecfValue.size(); ++i)
        row.vecfValue[i] = static_cast<float>(p_pfValue[i]);
    Push(row, false);
}

void CMemory::OnSample(std::size_t p_iJob, std::int64_t p_nTicks, float p_fValue)
{
    m_vecRecorder[p_iJob].OnSample({p_nTicks, p_fValue}, SinkOf(p_iJob));
}

void CMemory::OnBlind(std::int64_t p_nBegin_ms, std::int64_t p_nEnd_ms, const std::string& p_strText)
{
    Push(SBlindRow{p_nBegin_ms, p_nEnd_ms, p_strText}, true);
}

void CMemory::Do(const std::function<void(CDatabase&)>& p_fnDo)
{
    const auto pTask = std::make_shared<STask>();
    pTask->fnDo = p_fnDo;
    std::unique_lock<std::mutex> lock(m_mtx);
    if (m_bStop)
        throw std::runtime_error("the program ends");
    m_vecpTask.push_back(pTask);
    m_cvWork.notify_all();
    m_cvDone.wait(lock, [&] { return pTask->bDone; });
    if (pTask->pError)
        std::rethrow_exception(pTask->pError);
}

void CMemory::Later(std::function<void(CDatabase&)> p_fnDo)
{
    const auto pTask = std::make_shared<STask>();
    pTask->fnDo = std::move(p_fnDo);
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (!m_bStop)
        m_vecpTask.push_back(pTask);
}

void CMemory::Flush()
{
    try
    {
        Do([](CDatabase&) {});
    }
    catch (const std::exception&)
    {
        // what is in the file can be read all the same
    }
}

CMemory::SState CMemory::State() const
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    SState state = m_state;
    state.nWaiting = m_vecRow.size();
    return state;
}

// ---- the writer ----

void CMemory::Run()
{
    for (;;)
    {
        {
            std::unique_lock<std::mutex> lock(m_mtx);
            m_cvWork.wait_for(lock, m_state.bOk ? g_tWrite : m_tRetry,
                              [this] { return m_bStop || !m_vecpTask.empty(); });
            if (m_vecBatch.empty())
                m_vecBatch.swap(m_vecRow);
            m_vecpBatchTask.swap(m_vecpTask);
        }
        const bool bOk = WriteOnce();
        const std::lock_guard<std::mutex> lock(m_mtx);
        for (const TTaskPtr& pTask : m_vecpBatchTask)
            pTask->bDone = true;
        m_vecpBatchTask.clear();
        m_cvDone.notify_all();
        // At the end what waits is written, unless that cannot be.
        if (m_bStop && m_vecpTask.empty() && (!bOk || m_vecRow.empty()))
            return;
    }
}

/// @return false if nothing could be written: the rows stay.
bool CMemory::WriteOnce()
{
    bool bCommitted = false;
    try
    {
        m_pWriter->Begin();
        WriteBatch();
        RunTasks();
        m_pWriter->Commit();
        bCommitted = true;
        const std::size_t nRows = m_vecBatch.size();
        m_vecBatch.clear();
        Housekeep(std::chrono::steady_clock::now());
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_state.nRows += nRows;
        if (!m_state.bOk)
            std::fprintf(stderr, "omaview: the memory is written again\n");
        m_state.bOk = true;
        m_state.strText.clear();
        m_tRetry = std::chrono::milliseconds(1000);
        return true;
    }
    catch (const std::exception& ex)
    {
        Failed(ex, bCommitted);
        return false;
    }
}

void CMemory::WriteBatch()
{
    for (const TMemoryRow& row : m_vecBatch)
        m_pWriter->Write(row);
}

/// A task that fails undoes its own work only.
void CMemory::RunTasks()
{
    for (const TTaskPtr& pTask : m_vecpBatchTask)
    {
        m_pWriter->Db().Exec("SAVEPOINT task");
        try
        {
            pTask->fnDo(m_pWriter->Db());
        }
        catch (...)
        {
            pTask->pError = std::current_exception();
            m_pWriter->Db().Exec("ROLLBACK TO task");
        }
        m_pWriter->Db().Exec("RELEASE task");
    }
}

/// @param p_bCommitted what was asked for has been done, and only the housekeeping has failed.
void CMemory::Failed(const std::exception& p_ex, bool p_bCommitted)
{
    try
    {
        m_pWriter->Rollback();
        // Full by its own bound: what is oldest makes room.
        const auto* pError = dynamic_cast<const CDatabaseError*>(&p_ex);
        if (pError && pError->Code() == SQLITE_FULL)
            m_pWriter->Retain();
    }
    catch (const std::exception&)
    {
        // the next try will say it
    }
    const std::lock_guard<std::mutex> lock(m_mtx);
    for (const TTaskPtr& pTask : m_vecpBatchTask)
        if (!pTask->pError && !p_bCommitted)
            pTask->pError = std::make_exception_ptr(std::runtime_error(std::string("the memory: ") + p_ex.what()));
    if (m_state.bOk || m_state.strText != p_ex.what())
        std::fprintf(stderr, "omaview: the memory cannot be written: %s\n", p_ex.what());
    else
        m_tRetry = std::min(m_tRetry * 2, g_tLastRetry);
    m_state.bOk = false;
    m_state.strText = p_ex.what();
}

void CMemory::Housekeep(TTime p_tNow)
{
    bool bStop = false;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        bStop = m_bStop;
    }
    if (p_tNow - m_tMinutes >= g_tMinutes || m_pWriter->HasMany() || bStop)
    {
        m_tMinutes = p_tNow;
        m_pWriter->Begin();
        m_pWriter->WriteMinutes();
        m_pWriter->Commit();
    }
    const std::int64_t nBytes = m_pWriter->Bytes();
    if (p_tNow - m_tRetain >= g_tRetain || nBytes > m_retention.nMaxBytes)
    {
        m_tRetain = p_tNow;
        m_pWriter->Retain();
    }
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_state.nBytes = nBytes;
    if (p_tNow - m_tRate >= g_tRate)
    {
        const double fTime_s = std::chrono::duration<double>(p_tNow - m_tRate).count();
        m_state.fRows_perS = m_tRate == TTime{} ? 0.0 : static_cast<double>(m_state.nRows - m_nRowsBefore) / fTime_s;
        m_nRowsBefore = m_state.nRows;
        m_tRate = p_tNow;
    }
}
