#include "view/memory/CMemoryWriter.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <array>

namespace
{
constexpr int g_nVersion = 1;
constexpr std::int64_t g_nPage = 4096;
constexpr std::int64_t g_nMinutesPerDay = 1440;

constexpr const char* g_pSchema = R"sql(
CREATE TABLE IF NOT EXISTS series (id INTEGER PRIMARY KEY, job INTEGER NOT NULL, mode INTEGER NOT NULL,
    UNIQUE (job, mode));
CREATE TABLE IF NOT EXISTS event (id INTEGER PRIMARY KEY, kind INTEGER NOT NULL, elem_type INTEGER NOT NULL,
    elem_id INTEGER NOT NULL, key INTEGER NOT NULL, known INTEGER NOT NULL, job INTEGER, mode INTEGER,
    text TEXT NOT NULL, level INTEGER NOT NULL, worst INTEGER NOT NULL, begin_ms INTEGER NOT NULL,
    end_ms INTEGER NOT NULL, end_known INTEGER NOT NULL, freq REAL, magn REAL, damp REAL, doe REAL,
    worst_ms INTEGER NOT NULL, ack_by TEXT NOT NULL DEFAULT '', ack_ms INTEGER NOT NULL DEFAULT 0);
CREATE INDEX IF NOT EXISTS event_begin ON event (begin_ms);
CREATE INDEX IF NOT EXISTS event_mode ON event (job, mode, begin_ms);
CREATE INDEX IF NOT EXISTS event_standing ON event (id) WHERE end_ms = -1;
CREATE TABLE IF NOT EXISTS step (id INTEGER PRIMARY KEY, event INTEGER NOT NULL, ticks INTEGER NOT NULL,
    app INTEGER NOT NULL, key INTEGER NOT NULL, level INTEGER NOT NULL, text TEXT NOT NULL,
    freq REAL, magn REAL, damp REAL, doe REAL);
CREATE INDEX IF NOT EXISTS step_event ON step (event);
CREATE TABLE IF NOT EXISTS note (id INTEGER PRIMARY KEY, event INTEGER NOT NULL, by TEXT NOT NULL,
    time_ms INTEGER NOT NULL, text TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS note_event ON note (event);
CREATE TABLE IF NOT EXISTS pass_recent (id INTEGER PRIMARY KEY, series INTEGER NOT NULL, time_ms INTEGER NOT NULL,
    freq REAL, magn REAL, damp REAL, doe REAL);
CREATE TABLE IF NOT EXISTS pass_minute (series INTEGER NOT NULL, minute INTEGER NOT NULL, data BLOB NOT NULL,
    PRIMARY KEY (series, minute)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS mode_minute (series INTEGER NOT NULL, minute INTEGER NOT NULL,
    freq_min REAL, freq REAL, freq_max REAL, magn_min REAL, magn REAL, magn_max REAL,
    damp_min REAL, damp REAL, damp_max REAL, doe_min REAL, doe REAL, doe_max REAL,
    PRIMARY KEY (series, minute)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS value_minute (job INTEGER NOT NULL, minute INTEGER NOT NULL, n INTEGER NOT NULL,
    missing INTEGER NOT NULL, min REAL, sum REAL, max REAL, PRIMARY KEY (job, minute)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS value_record (job INTEGER NOT NULL, begin INTEGER NOT NULL, data BLOB NOT NULL,
    PRIMARY KEY (job, begin)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS blind (begin_ms INTEGER PRIMARY KEY, end_ms INTEGER NOT NULL, text TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS notice (id INTEGER PRIMARY KEY, receiver TEXT NOT NULL, event INTEGER NOT NULL,
    body TEXT NOT NULL, topic TEXT NOT NULL, made_ms INTEGER NOT NULL);
CREATE INDEX IF NOT EXISTS notice_receiver ON notice (receiver, id);
CREATE TABLE IF NOT EXISTS notice_state (receiver TEXT NOT NULL, event INTEGER NOT NULL, level INTEGER NOT NULL,
    PRIMARY KEY (receiver, event)) WITHOUT ROWID;
)sql";
} // namespace

struct CMemoryWriter::SStatements
{
    explicit SStatements(CDatabase& r_db)
        : event(r_db, "INSERT INTO event (id, kind, elem_type, elem_id, key, known, job, mode, text, level, worst, "
                      "begin_ms, end_ms, end_known, freq, magn, damp, doe, worst_ms) "
                      "VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?) ON CONFLICT (id) DO UPDATE SET "
                      "key=excluded.key, text=excluded.text, level=excluded.level, worst=excluded.worst, "
                      "end_ms=excluded.end_ms, end_known=excluded.end_known, freq=excluded.freq, magn=excluded.magn, "
                      "damp=excluded.damp, doe=excluded.doe, worst_ms=excluded.worst_ms"),
          step(r_db, "INSERT INTO step (event, ticks, app, key, level, text, freq, magn, damp, doe) "
                     "VALUES (?,?,?,?,?,?,?,?,?,?)"),
          pass(r_db, "INSERT INTO pass_recent (series, time_ms, freq, magn, damp, doe) VALUES (?,?,?,?,?,?)"),
          passMinute(r_db, "SELECT data FROM pass_minute WHERE series=? AND minute=?"),
          putPassMinute(r_db, "INSERT OR REPLACE INTO pass_minute (series, minute, data) VALUES (?,?,?)"),
          putModeMinute(r_db, "INSERT OR REPLACE INTO mode_minute VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)"),
          samples(r_db, "INSERT OR REPLACE INTO value_record (job, begin, data) VALUES (?,?,?)"),
          valueMinute(r_db, "INSERT INTO value_minute VALUES (?,?,?,?,?,?,?) ON CONFLICT (job, minute) DO UPDATE SET "
                            "n=n+excluded.n, missing=missing+excluded.missing, "
                            "min=min(coalesce(min, excluded.min), coalesce(excluded.min, min)), "
                            "sum=coalesce(sum, 0)+coalesce(excluded.sum, 0), "
                            "max=max(coalesce(max, excluded.max), coalesce(excluded.max, max))"),
          blind(r_db, "INSERT OR REPLACE INTO blind (begin_ms, end_ms, text) VALUES (?,?,?)")
    {
    }
    CStatement event, step, pass, passMinute, putPassMinute, putModeMinute, samples, valueMinute, blind;
};

CMemoryWriter::CMemoryWriter(const std::string& p_strFile, const SViewModel& p_model, const SRetention& p_retention)
    : m_model(p_model), m_retention(p_retention), m_db(p_strFile, CDatabase::eReadWrite)
{
    m_db.Exec("PRAGMA page_size=" + std::to_string(g_nPage));
    m_db.Exec("PRAGMA journal_mode=WAL");
    m_db.Exec("PRAGMA synchronous=NORMAL");
    m_db.Exec("PRAGMA wal_autocheckpoint=4000");
    m_db.Exec("PRAGMA journal_size_limit=67108864");
    m_db.Exec("PRAGMA cache_size=-65536");
    // A tenth of room for what has to be written before the oldest is taken out.
    m_db.Exec("PRAGMA max_page_count=" + std::to_string(m_retention.nMaxBytes / g_nPage * 11 / 10 + 1000));
    Make();
    m_pSql = std::make_shared<SStatements>(m_db);
    Begin();
    TakeSeries(p_model);
    TakeRecent();
    Commit();
}

void CMemoryWriter::Make()
{
    const std::int64_t nVersion = m_db.Integer("PRAGMA user_version");
    if (nVersion > g_nVersion)
        throw std::runtime_error("the file of the memory has version " + std::to_string(nVersion) +
                                 ": expected at most " + std::to_string(g_nVersion) + ", of a newer program");
    m_db.Exec("BEGIN IMMEDIATE");
    m_db.Exec(g_pSchema);
    m_db.Exec("PRAGMA user_version=" + std::to_string(g_nVersion));
    m_db.Exec("COMMIT");
}

void CMemoryWriter::TakeSeries(const SViewModel& p_model)
{
    CStatement put(m_db, "INSERT OR IGNORE INTO series (job, mode) VALUES (?,?)");
    CStatement get(m_db, "SELECT id FROM series WHERE job=? AND mode=?");
    for (const SViewJob& job : p_model.vecJob)
    {
        std::vector<std::int64_t>& vecnSeries = m_vecvecnSeries.emplace_back();
        for (const SViewMode& mode : job.vecMode)
        {
            put.Bind(job.nId, mode.nId).Run();
            get.Bind(job.nId, mode.nId).Step();
            vecnSeries.push_back(get.Integer(0));
        }
    }
}

/// Passes that a run which did not end in order has left.
void CMemoryWriter::TakeRecent()
{
    {
        CStatement get(m_db, "SELECT series, time_ms, freq, magn, damp, doe FROM pass_recent ORDER BY id");
        while (get.Step())
        {
            const std::int64_t nTime_ms = get.Integer(1);
            TPass pass;
            for (int i = 0; i < 4; ++i)
                pass[static_cast<std::size_t>(i)] = static_cast<float>(get.Real(2 + i));
            SMinute& minute = MinuteAt({get.Integer(0), MinuteOf(nTime_ms)});
            minute.mapPass[static_cast<std::uint16_t>(nTime_ms - MinuteOf(nTime_ms) * g_nMinute_ms)] = pass;
        }
    }
    WriteMinutes();
}

void CMemoryWriter::Rollback()
{
    if (sqlite3_get_autocommit(m_db.Handle()) == 0)
        m_db.Exec("ROLLBACK");
}

void CMemoryWriter::Write(const TMemoryRow& p_row)
{
    std::visit([this](const auto& p_one) { Put(p_one); }, p_row);
}

void CMemoryWriter::Put(const SPassRow& p_row)
{
    const std::int64_t nSeries = SeriesOf(p_row.iJob, p_row.iMode);
    const auto fnValue = [&](std::size_t p_i) { return static_cast<double>(p_row.vecfValue[p_i]); };
    m_pSql->pass.Bind(nSeries, p_row.nTime_ms, fnValue(0), fnValue(1), fnValue(2), fnValue(3)).Run();
    const std::int64_t nMinute = MinuteOf(p_row.nTime_ms);
    SMinute& minute = MinuteAt({nSeries, nMinute});
    minute.mapPass[static_cast<std::uint16_t>(p_row.nTime_ms - nMinute * g_nMinute_ms)] = p_row.vecfValue;
    minute.bDirty = true;
    ++m_nBuffered;
    m_nNewest_ms = p_row.nTime_ms;
}

CMemoryWriter::SMinute& CMemoryWriter::MinuteAt(const TMinuteKey& p_key)
{
    const auto [it, bNew] = m_mapMinute.try_emplace(p_key);
    if (bNew)
    {
        CStatement& get = m_pSql->passMinute.Bind(p_key.first, p_key.second);
        if (get.Step())
            DecodePasses(get.Blob(0), it->second.mapPass);
        get.Reset();
    }
    return it->second;
}

void CMemoryWriter::WriteMinutes()
{
    const std::int64_t nNow = MinuteOf(m_nNewest_ms);
    for (auto it = m_mapMinute.begin(); it != m_mapMinute.end();)
    {
        if (it->second.bDirty)
        {
            const std::string strBlob = EncodePasses(it->second.mapPass);
            m_pSql->putPassMinute.Bind(it->first.first, it->first.second, std::span<const char>(strBlob)).Run();
            WriteExtremes(it->first, it->second.mapPass);
            it->second.bDirty = false;
        }
        it = it->first.second == nNow ? std::next(it) : m_mapMinute.erase(it);
    }
    m_db.Exec("DELETE FROM pass_recent");
    m_nBuffered = 0;
}

void CMemoryWriter::WriteExtremes(const TMinuteKey& p_key, const TPassMinute& p_mapPass)
{
    std::array<SExtremes, 4> vecExtremes;
    for (const auto& [nMs, pass] : p_mapPass)
        for (std::size_t i = 0; i < 4; ++i)
            vecExtremes[i].Add(pass[i]);
    CStatement& put = m_pSql->putModeMinute.Bind(p_key.first, p_key.second);
    for (int i = 0; i < 4; ++i)
    {
        const SExtremes& extremes = vecExtremes[static_cast<std::size_t>(i)];
        put.BindOne(3 + 3 * i, extremes.Min());
        put.BindOne(4 + 3 * i, extremes.Mean());
        put.BindOne(5 + 3 * i, extremes.Max());
    }
    put.Run();
}

void CMemoryWriter::Put(const SViewEvent& p_event)
{
    m_pSql->event
        .Bind(p_event.nId, static_cast<int>(p_event.eKind), p_event.eElemType, p_event.nElemId, p_event.eKey,
              p_event.bMode, p_event.nJob, p_event.nMode, p_event.strText, p_event.nLevel, p_event.nWorst,
              p_event.nBegin_ms, p_event.nEnd_ms, p_event.bEndKnown, p_event.fFreq_Hz, p_event.fMagnMax,
              p_event.fDampMax, p_event.fDOEMax, p_event.nWorst_ms)
        .Run();
}

void CMemoryWriter::Put(const SStepRow& p_row)
{
    const SViewStep& step = p_row.step;
    m_pSql->step
        .Bind(p_row.nEvent, step.nTicks, step.bApp, step.eKey, step.nLevel, step.strText, step.fFreq_Hz, step.fMagn,
              step.fDamp, step.fDOE)
        .Run();
}

void CMemoryWriter::Put(const SSampleRow& p_row)
{
    m_pSql->samples.Bind(m_model.vecJob[p_row.iJob].nId, p_row.nBegin, std::span<const char>(p_row.strBlob)).Run();
}

void CMemoryWriter::Put(const SMinuteRow& p_row)
{
    m_nNewest_ms = std::max(m_nNewest_ms, p_row.nMinute * g_nMinute_ms);
    const double fNone = g_fNoValue;
    const SExtremes& extremes = p_row.extremes;
    m_pSql->valueMinute
        .Bind(m_model.vecJob[p_row.iJob].nId, p_row.nMinute, static_cast<std::int64_t>(extremes.nCount),
              static_cast<std::int64_t>(p_row.nMissing), extremes.Min(), extremes.nCount == 0 ? fNone : extremes.fSum,
              extremes.Max())
        .Run();
}

void CMemoryWriter::Put(const SBlindRow& p_row)
{
    m_pSql->blind.Bind(p_row.nBegin_ms, p_row.nEnd_ms, p_row.strText).Run();
}

// ---- how much is kept ----

std::int64_t CMemoryWriter::Bytes()
{
    return (m_db.Integer("PRAGMA page_count") - m_db.Integer("PRAGMA freelist_count")) * g_nPage;
}

void CMemoryWriter::DropBefore(std::int64_t p_nPassMinute, std::int64_t p_nValueMinute)
{
    Begin();
    // A range of each series: nothing reads the whole table.
    CStatement pass(m_db, "DELETE FROM pass_minute WHERE series=? AND minute<?");
    CStatement mode(m_db, "DELETE FROM mode_minute WHERE series=? AND minute<?");
    CStatement series(m_db, "SELECT id FROM series");
    while (series.Step())
    {
        pass.Bind(series.Integer(0), p_nPassMinute).Run();
        mode.Bind(series.Integer(0), p_nValueMinute).Run();
    }
    CStatement record(m_db, "DELETE FROM value_record WHERE job=? AND begin<?");
    CStatement value(m_db, "DELETE FROM value_minute WHERE job=? AND minute<?");
    CStatement jobs(m_db, "SELECT DISTINCT job FROM series");
    while (jobs.Step())
    {
        record.Bind(jobs.Integer(0), TicksFromMs(p_nPassMinute * g_nMinute_ms)).Run();
        value.Bind(jobs.Integer(0), p_nValueMinute).Run();
    }
    CStatement(m_db, "DELETE FROM blind WHERE end_ms<>-1 AND end_ms<?").Bind(p_nValueMinute * g_nMinute_ms).Run();
    Commit();
}

void CMemoryWriter::Retain()
{
    if (m_nNewest_ms == 0)
        return;
    const std::int64_t nNow = MinuteOf(m_nNewest_ms);
    std::int64_t nPasses_min = m_retention.nPasses_d * g_nMinutesPerDay;
    std::int64_t nMinutes_min = m_retention.nMinutes_d * g_nMinutesPerDay;
    DropBefore(nNow - nPasses_min, nNow - nMinutes_min);
    // Too large all the same: passes first, down to an hour; then minutes, down to a day.
    while (Bytes() > m_retention.nMaxBytes && (nPasses_min > 60 || nMinutes_min > g_nMinutesPerDay))
    {
        if (nPasses_min > 60)
            nPasses_min = std::max<std::int64_t>(60, nPasses_min * 3 / 4);
        else
            nMinutes_min = std::max<std::int64_t>(g_nMinutesPerDay, nMinutes_min * 3 / 4);
        DropBefore(nNow - nPasses_min, nNow - nMinutes_min);
    }
}
