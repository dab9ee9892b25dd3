#pragma once
#include "view/memory/CDatabase.h"
#include "view/memory/MemoryRows.h"
#include "view/state/ViewModel.h"
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// How much is kept.
struct SRetention
{
    std::int64_t nPasses_d = 30;
    std::int64_t nMinutes_d = 730;
    std::int64_t nMaxBytes = 20'000'000'000;
};

/// Writes rows to the file, in transactions of its owner.
///
/// Passes   go to a small table at once, and once in a while as one blob a mode and minute to the large one: a week of one
///          mode lies together in the file, and six thousand modes a second do not tear it apart.
/// Threads  that of CMemory.
class CMemoryWriter
{
  public:
    /// Opens the file, makes what is missing, takes up what the last run has left.
    CMemoryWriter(const std::string& p_strFile, const SViewModel& p_model, const SRetention& p_retention);

    void Begin() { m_db.Exec("BEGIN IMMEDIATE"); }
    void Commit() { m_db.Exec("COMMIT"); }
    void Rollback();
    void Write(const TMemoryRow& p_row);
    /// Blobs of all minutes that have changed. Inside of a transaction.
    void WriteMinutes();
    /// Whether so much waits that WriteMinutes is due.
    bool HasMany() const { return m_nBuffered > 200'000; }
    /// Takes out what is too old, or what is oldest if the file is too large. With transactions of its own.
    void Retain();
    std::int64_t Bytes();
    CDatabase& Db() { return m_db; }

    /// Number of a mode in the file.
    std::int64_t SeriesOf(std::size_t p_iJob, std::size_t p_iMode) const { return m_vecvecnSeries[p_iJob][p_iMode]; }

  private:
    using TMinuteKey = std::pair<std::int64_t, std::int64_t>; ///< series, minute
    struct SMinute
    {
        TPassMinute mapPass;
        bool bDirty = true;
    };
    void Make();
    void TakeSeries(const SViewModel& p_model);
    void TakeRecent();
    SMinute& MinuteAt(const TMinuteKey& p_key);
    void WriteExtremes(const TMinuteKey& p_key, const TPassMinute& p_mapPass);
    void Put(const SPassRow& p_row);
    void Put(const SViewEvent& p_event);
    void Put(const SStepRow& p_row);
    void Put(const SSampleRow& p_row);
    void Put(const SMinuteRow& p_row);
    void Put(const SBlindRow& p_row);
    void DropBefore(std::int64_t p_nPassMinute, std::int64_t p_nValueMinute);

    const SViewModel& m_model;
    const SRetention m_retention;
    CDatabase m_db;
    struct SStatements;
    std::shared_ptr<SStatements> m_pSql;
    std::vector<std::vector<std::int64_t>> m_vecvecnSeries; ///< by job and mode
    std::map<TMinuteKey, SMinute> m_mapMinute;
    std::size_t m_nBuffered = 0;   ///< passes in it
    std::int64_t m_nNewest_ms = 0; ///< newest time of the data that was written
};
