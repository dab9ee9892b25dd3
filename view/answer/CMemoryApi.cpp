#include "view/answer/CMemoryApi.h"
#include "view/answer/CurveJson.h"
#include "view/answer/EventQuery.h"
#include "view/metrics/ViewMetrics.h"
#include "view/state/StateJson.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <filesystem>

namespace json = boost::json;

namespace
{
constexpr std::int64_t g_nHour_ms = 3'600'000;
constexpr std::int64_t g_nTenMinutes_ms = 600'000;
constexpr std::int64_t g_nBefore_ms = 120'000;
constexpr std::int64_t g_nAfter_ms = 60'000;
constexpr std::int64_t g_nMaxRecord_ms = 6 * g_nHour_ms;
constexpr std::size_t g_nMaxNote = 4000;
constexpr std::int64_t g_nMaxNotes = 1000;
constexpr const char* g_pEvents = "/api/v1/events/";
constexpr const char* g_pExports = "/api/v1/export/events/";

void Download(SHttpResponse& r_response, const char* p_pType, const std::string& p_strName, std::string p_strBody)
{
    r_response.strType = p_pType;
    r_response.vecHeader.emplace_back("Content-Disposition", "attachment; filename=\"" + p_strName + "\"");
    r_response.strBody = std::move(p_strBody);
}
} // namespace

CMemoryApi::CMemoryApi(CMemory& r_memory, const SViewModel& p_model, CViewState& r_state)
    : m_memory(r_memory), m_model(p_model), m_state(r_state), m_reader(r_memory, p_model)
{
}

bool CMemoryApi::Answer(const SHttpRequest& p_request, const SViewUser& p_user, SHttpResponse& r_response)
{
    json::object answer;
    if (p_request.strMethod == "POST")
    {
        if (!Change(p_request, p_user, answer))
            return false;
    }
    else if (p_request.strMethod != "GET")
        return false;
    else if (!Get(p_request, answer))
        return Export(p_request, r_response);
    r_response.strBody = json::serialize(answer);
    return true;
}

std::int64_t CMemoryApi::Now_ms() const
{
    const std::int64_t nNow_ms = m_state.View([](const CViewState::SView& p_view) { return p_view.nNow_ms; });
    return nNow_ms != 0 ? nNow_ms : WallMs();
}

bool CMemoryApi::Get(const SHttpRequest& p_request, json::object& r_answer)
{
    const std::string& strPath = p_request.strPath;
    if (strPath == "/api/v1/trends")
        r_answer = Trends(p_request);
    else if (strPath == "/api/v1/values")
    {
        std::size_t iJob = 0;
        const SViewJob& job = JobOf(m_model, p_request, iJob);
        const SRange range = RangeOf(p_request, Now_ms(), g_nTenMinutes_ms);
        const std::lock_guard<std::mutex> lock(m_mtx);
        r_answer = ValuesJson(job, m_reader.Values(iJob, range, PointsOf(p_request)));
    }
    else if (strPath == "/api/v1/events")
        r_answer = Events(p_request);
    else if (const std::int64_t nId = IdOfPath(strPath, g_pEvents, ""); nId >= 0)
        r_answer = EventPage(nId, PointsOf(p_request));
    else
        return false;
    return true;
}

json::object CMemoryApi::Trends(const SHttpRequest& p_request)
{
    const std::vector<SModeRef> vecMode = ModesOf(m_model, p_request);
    const SRange range = RangeOf(p_request, Now_ms(), g_nHour_ms);
    const std::size_t nPoints = PointsOf(p_request);
    json::array modes;
    json::array events;
    json::array suspended;
    const std::lock_guard<std::mutex> lock(m_mtx);
    for (const SModeRef& mode : vecMode)
    {
        modes.push_back(CourseJson(m_model, mode, m_reader.Course(mode, range, nPoints)));
        SEventFilter filter;
        filter.nFrom_ms = range.nFrom_ms;
        filter.nTo_ms = range.nTo_ms;
        filter.nJob = static_cast<std::int64_t>(m_model.vecJob[mode.iJob].nId);
        filter.nMode = static_cast<std::int64_t>(m_model.vecJob[mode.iJob].vecMode[mode.iMode].nId);
        filter.nLimit = 500;
        for (const SViewEvent& event : m_reader.Events(filter))
            events.push_back(EventJson(m_model, event));
    }
    for (const CMemoryReader::SBlind& blind : m_reader.Blind(range))
        suspended.push_back(BlindJson(blind));
    return {{"from_ms", range.nFrom_ms},
            {"to_ms", range.nTo_ms},
            {"modes", std::move(modes)},
            {"events", std::move(events)},
            {"suspended", std::move(suspended)}};
}

// ---- events ----

json::object CMemoryApi::Events(const SHttpRequest& p_request)
{
    const SEventFilter filter = FilterOf(m_model, p_request);
    m_memory.Flush();
    const std::lock_guard<std::mutex> lock(m_mtx);
    const std::vector<SViewEvent> vecEvent = m_reader.Events(filter);
    json::array events;
    for (const SViewEvent& event : vecEvent)
        events.push_back(EventJson(m_model, event));
    const bool bMore = static_cast<std::int64_t>(vecEvent.size()) == filter.nLimit;
    return {{"events", std::move(events)},
            {"next", bMore ? json::value(std::to_string(vecEvent.back().nId)) : json::value()}};
}

SViewEvent CMemoryApi::EventOf(std::int64_t p_nId)
{
    m_memory.Flush();
    const std::lock_guard<std::mutex> lock(m_mtx);
    SEventFilter filter;
    filter.nBefore = p_nId + 1;
    filter.nLimit = 1;
    const std::vector<SViewEvent> vecEvent = m_reader.Events(filter);
    if (vecEvent.empty() || vecEvent[0].nId != p_nId)
        throw CApiError(404, "there is no event " + std::to_string(p_nId));
    return vecEvent[0];
}

SRange CMemoryApi::RangeOfEvent(const SViewEvent& p_event) const
{
    const std::int64_t nEnd_ms =
        p_event.Stands() ? std::max(Now_ms(), p_event.nBegin_ms) : p_event.nEnd_ms + g_nAfter_ms;
    return {p_event.nBegin_ms - g_nBefore_ms, std::min(nEnd_ms, p_event.nBegin_ms + g_nMaxRecord_ms)};
}

json::object CMemoryApi::EventPage(std::int64_t p_nId, std::size_t p_nPoints)
{
    const SViewEvent event = EventOf(p_nId);
    const SRange range = RangeOfEvent(event);
    json::array steps;
    json::array notes;
    json::array neighbours;
    json::value course;
    json::object values;
    const std::lock_guard<std::mutex> lock(m_mtx);
    for (const SViewStep& step : m_reader.Steps(p_nId))
        steps.push_back(StepJson(step));
    for (const SNote& note : m_reader.Notes(p_nId))
        notes.push_back(NoteJson(note));
    for (const SNeighbour& neighbour : m_reader.Neighbours(event))
        neighbours.push_back(NeighbourJson(m_model, neighbour));
    const auto itMode = m_model.mapMode.find(event.nMode);
    if (event.bMode && itMode != m_model.mapMode.end())
    {
        const SModeRef mode{itMode->second.iJob, itMode->second.iMode};
        course = CourseJson(m_model, mode, m_reader.Course(mode, range, p_nPoints));
        values = ValuesJson(m_model.vecJob[mode.iJob], m_reader.Values(mode.iJob, range, p_nPoints));
    }
    else
        values = {{"job", 0},
                  {"unit", ""},
                  {"resolution", "full"},
                  {"time_ms", json::array()},
                  {"mean", json::array()},
                  {"min", json::array()},
                  {"max", json::array()}};
    return {{"event", EventJson(m_model, event)}, {"steps", std::move(steps)},           {"values", std::move(values)},
            {"course", std::move(course)},        {"neighbours", std::move(neighbours)}, {"notes", std::move(notes)}};
}

// ---- what operators add ----

bool CMemoryApi::Change(const SHttpRequest& p_request, const SViewUser& p_user, json::object& r_answer)
{
    if (const std::int64_t nId = IdOfPath(p_request.strPath, g_pEvents, "/notes"); nId >= 0)
        r_answer = AddNote(nId, p_request, p_user);
    else if (const std::int64_t nAck = IdOfPath(p_request.strPath, g_pEvents, "/acknowledge"); nAck >= 0)
    {
        BodyOf(p_request);
        r_answer = Acknowledge(nAck, p_user);
    }
    else
        return false;
    return true;
}

json::object CMemoryApi::AddNote(std::int64_t p_nId, const SHttpRequest& p_request, const SViewUser& p_user)
{
    const json::object body = BodyOf(p_request);
    const json::value* pText = body.if_contains("text");
    if (!pText || !pText->is_string() || pText->as_string().empty() || pText->as_string().size() > g_nMaxNote)
        throw CApiError(400, "expected text of 1 to " + std::to_string(g_nMaxNote) + " bytes");
    const SViewEvent event = EventOf(p_nId);
    if (event.nNotes >= g_nMaxNotes)
        throw CApiError(400, "the event has " + std::to_string(g_nMaxNotes) + " notes already");
    SNote note{0, p_user.strName, WallMs(), std::string(pText->as_string())};
    m_memory.Do(
        [&](CDatabase& r_db)
        {
            CStatement put(r_db, "INSERT INTO note (event, by, time_ms, text) VALUES (?,?,?,?)");
            put.Bind(p_nId, note.strBy, note.nTime_ms, note.strText).Run();
            note.nId = sqlite3_last_insert_rowid(r_db.Handle());
        });
    m_state.ChangeEvent(p_nId, [](SViewEvent& r_event) { ++r_event.nNotes; });
    return NoteJson(note);
}

json::object CMemoryApi::Acknowledge(std::int64_t p_nId, const SViewUser& p_user)
{
    EventOf(p_nId);
    const std::int64_t nNow_ms = WallMs();
    bool bFirst = false;
    m_memory.Do(
        [&](CDatabase& r_db)
        {
            CStatement put(r_db, "UPDATE event SET ack_by=?, ack_ms=? WHERE id=? AND ack_by=''");
            put.Bind(p_user.strName, nNow_ms, p_nId).Run();
            bFirst = sqlite3_changes(r_db.Handle()) != 0;
        });
    if (bFirst)
        m_state.ChangeEvent(p_nId,
                            [&](SViewEvent& r_event)
                            {
                                r_event.strAckBy = p_user.strName;
                                r_event.nAck_ms = nNow_ms;
                            });
    return EventJson(m_model, EventOf(p_nId));
}

// ---- exports ----

SEventRecord CMemoryApi::RecordOf(std::int64_t p_nId)
{
    SEventRecord record;
    record.event = EventOf(p_nId);
    const auto itMode = m_model.mapMode.find(record.event.nMode);
    if (!record.event.bMode || itMode == m_model.mapMode.end())
        throw CApiError(404, "event " + std::to_string(p_nId) + " belongs to no mode");
    record.iJob = itMode->second.iJob;
    record.iMode = itMode->second.iMode;
    const SRange range = RangeOfEvent(record.event);
    const std::lock_guard<std::mutex> lock(m_mtx);
    record.vecSample = m_reader.Samples(record.iJob, range);
    if (record.vecSample.empty())
        throw CApiError(404, "the record of event " + std::to_string(p_nId) + " is not kept any more");
    record.course = m_reader.Course({record.iJob, record.iMode}, range, 100'000);
    record.vecStep = m_reader.Steps(p_nId);
    return record;
}

bool CMemoryApi::Export(const SHttpRequest& p_request, SHttpResponse& r_response)
{
    constexpr const char* pCsv = "text/csv; charset=utf-8";
    const std::string& strPath = p_request.strPath;
    if (const std::int64_t nId = IdOfPath(strPath, g_pExports, ".csv"); nId >= 0)
        Download(r_response, pCsv, "event-" + std::to_string(nId) + ".csv", RecordCsv(m_model, RecordOf(nId)));
    else if (const std::int64_t nCff = IdOfPath(strPath, g_pExports, ".cff"); nCff >= 0)
        Download(r_response, "application/octet-stream", "event-" + std::to_string(nCff) + ".cff",
                 RecordComtrade(m_model, RecordOf(nCff)));
    else if (strPath == "/api/v1/export/events.csv")
    {
        SEventFilter filter = FilterOf(m_model, p_request);
        filter.nLimit = 100'000;
        m_memory.Flush();
        const std::lock_guard<std::mutex> lock(m_mtx);
        Download(r_response, pCsv, "events.csv", EventsCsv(m_model, m_reader.Events(filter)));
    }
    else if (strPath == "/api/v1/export/trends.csv")
    {
        const std::vector<SModeRef> vecMode = ModesOf(m_model, p_request);
        const SRange range = RangeOf(p_request, Now_ms(), g_nHour_ms);
        std::vector<SCurve> vecCurve;
        const std::lock_guard<std::mutex> lock(m_mtx);
        for (const SModeRef& mode : vecMode)
            vecCurve.push_back(m_reader.Course(mode, range, PointsOf(p_request)));
        Download(r_response, pCsv, "trends.csv", TrendsCsv(m_model, vecMode, vecCurve));
    }
    else if (strPath == "/api/v1/export/values.csv")
    {
        std::size_t iJob = 0;
        const SViewJob& job = JobOf(m_model, p_request, iJob);
        const SRange range = RangeOf(p_request, Now_ms(), g_nTenMinutes_ms);
        const std::lock_guard<std::mutex> lock(m_mtx);
        Download(r_response, pCsv, "values.csv", ValuesCsv(job, m_reader.Values(iJob, range, PointsOf(p_request))));
    }
    else
        return false;
    return true;
}

// ---- how the memory is ----

void CMemoryApi::FillHealth(json::object& r_health)
{
    const CMemory::SState state = m_memory.State();
    std::error_code ec;
    const std::filesystem::path pathFolder = std::filesystem::absolute(m_memory.File(), ec).parent_path();
    const auto nFree = static_cast<std::int64_t>(std::filesystem::space(pathFolder, ec).available);
    std::int64_t nOldest_ms = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        nOldest_ms = m_reader.Oldest_ms();
    }
    r_health["store"] = {{"ok", state.bOk},
                         {"text", state.strText},
                         {"bytes", state.nBytes},
                         {"bytes_max", state.nMaxBytes},
                         {"disk_free_bytes", ec ? 0 : nFree},
                         {"rows_per_s", state.fRows_perS},
                         {"rows_waiting", state.nWaiting},
                         {"rows_lost", state.nLost},
                         {"oldest_ms", JsonTimeOrNull(nOldest_ms)}};
}

void CMemoryApi::FillMetrics(std::string& r_strText)
{
    const CMemory::SState state = m_memory.State();
    CMetricText text(r_strText);
    text.Single("oma_store_ok", "gauge", "Whether the memory can be written.", state.bOk ? 1 : 0);
    text.Single("oma_store_bytes", "gauge", "Size of the memory.", static_cast<double>(state.nBytes));
    text.Single("oma_store_rows_total", "counter", "Rows that were written.", static_cast<double>(state.nRows));
    text.Single("oma_store_rows_waiting", "gauge", "Rows that wait to be written.",
                static_cast<double>(state.nWaiting));
    text.Single("oma_store_rows_lost_total", "counter", "Rows that were dropped.", static_cast<double>(state.nLost));
}

std::string CMemoryApi::WhyNotReady()
{
    const CMemory::SState state = m_memory.State();
    return state.bOk ? "" : "the memory cannot be written: " + state.strText;
}
