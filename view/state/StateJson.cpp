#include "view/state/StateJson.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <cmath>

namespace json = boost::json;
namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
/// Publications between two lists of all values: a second.
constexpr std::uint64_t g_nRevisionsOfValues = 4;
constexpr std::size_t g_nMaxTraceValues = 100000;

/// Six digits are more than a picture or a float has.
double Rounded(double p_fValue)
{
    if (p_fValue == 0.0 || !std::isfinite(p_fValue))
        return p_fValue;
    const double fScale = std::pow(10.0, 6 - static_cast<int>(std::floor(std::log10(std::fabs(p_fValue)))));
    return std::round(p_fValue * fScale) / fScale;
}

json::object ModeJson(const CViewState::SView& p_view, const SViewMode& p_mode, const CJobState::SMode& p_state)
{
    const SViewEvent* pEvent = p_view.book.StandingOf(p_mode.nId);
    return {{"mode", p_mode.nId},
            {"level", pEvent ? pEvent->nLevel : 0},
            {"alive", p_state.bAlive},
            {"since_ms", JsonTimeOrNull(pEvent ? pEvent->nBegin_ms : p_state.nSince_ms)},
            {"time_ms", JsonTimeOrNull(p_state.nTime_ms)},
            {"frequency_Hz", JsonNumberOrNull(p_state.vecfValue[0])},
            {"magnitude", JsonNumberOrNull(p_state.vecfValue[1])},
            {"damping_ratio", JsonNumberOrNull(p_state.vecfValue[2])},
            {"exposure", JsonNumberOrNull(p_state.vecfValue[3])},
            {"event", pEvent ? json::value(pEvent->nId) : json::value()}};
}

json::object JobJson(const CViewState::SView& p_view, std::size_t p_iJob)
{
    const SViewJob& job = p_view.model.vecJob[p_iJob];
    const CJobState& state = p_view.vecJob[p_iJob];
    json::array modes;
    int nLevel = 0;
    for (std::size_t i = 0; i < job.vecMode.size(); ++i)
    {
        modes.push_back(ModeJson(p_view, job.vecMode[i], state.m_vecMode[i]));
        nLevel = std::max(nLevel, static_cast<int>(modes.back().as_object()["level"].as_int64()));
    }
    return {{"job", job.nId},
            {"level", nLevel},
            {"value", state.HasValue() ? JsonNumberOrNull(state.Value()) : json::value()},
            {"quality", state.HasValue() ? json::value(state.Quality()) : json::value()},
            {"time_ms", JsonTimeOrNull(state.Time_ms())},
            {"filled_s", Rounded(state.Filled_s())},
            {"suspended", p_view.strSuspended.empty() ? json::value() : json::value(p_view.strSuspended)},
            {"modes", std::move(modes)}};
}

json::array ValuesJson(const CViewState::SView& p_view)
{
    json::array values;
    for (std::size_t i = 0; i < p_view.vecJob.size(); ++i)
    {
        const CJobState& job = p_view.vecJob[i];
        if (job.HasValue())
            values.push_back(json::array{p_view.model.vecJob[i].nId, JsonNumberOrNull(job.Value()), job.Quality(),
                                         Rounded(job.Filled_s())});
    }
    return values;
}

json::object TraceJson(const CViewState::SView& p_view, std::size_t p_iJob, std::int64_t& r_nNext)
{
    const CJobState& job = p_view.vecJob[p_iJob];
    const CJobState::STrace trace = job.Trace(r_nNext);
    r_nNext = job.TraceEnd();
    json::array values;
    for (const float fValue : trace.vecfValue)
        values.push_back(JsonNumberOrNull(fValue));
    return {{"job", p_view.model.vecJob[p_iJob].nId},
            {"begin_ms", trace.nBegin_ms},
            {"step_ms", job.TraceStep_ms()},
            {"values", std::move(values)}};
}
} // namespace

json::value JsonNumberOrNull(double p_fValue)
{
    return std::isfinite(p_fValue) ? json::value(Rounded(p_fValue)) : json::value();
}

json::value JsonTimeOrNull(std::int64_t p_nMs)
{
    return p_nMs == 0 ? json::value() : json::value(p_nMs);
}

json::object JobsJson(const SViewModel& p_model)
{
    json::array jobs;
    for (const SViewJob& job : p_model.vecJob)
    {
        json::array modes;
        for (const SViewMode& mode : job.vecMode)
            modes.push_back(json::object{{"mode", mode.nId},
                                         {"name", mode.strName},
                                         {"freq_min_Hz", mode.fMin_Hz},
                                         {"freq_max_Hz", mode.fMax_Hz}});
        jobs.push_back(json::object{{"job", job.nId},
                                    {"name", job.strName},
                                    {"instance", job.strInstance},
                                    {"active", job.bActive},
                                    {"signal", job.bPower ? "active-power" : "vpad"},
                                    {"unit", job.Unit()},
                                    {"rate_Hz", job.fRate_Hz},
                                    {"pass_s", job.fPass_s},
                                    {"windows_s", json::array(job.vecfWindow_s.begin(), job.vecfWindow_s.end())},
                                    // Nothing below 0.4 of the warning limit is reported.
                                    {"limits",
                                     {{"magnitude_floor", 0.4 * job.fMagnWarn},
                                      {"magnitude_warning", job.fMagnWarn},
                                      {"magnitude_alarm", job.fMagnAlarm},
                                      {"damping_warning", job.fDampWarn},
                                      {"damping_alarm", job.fDampAlarm}}},
                                    {"level_min", job.nMinLevel},
                                    {"modes", std::move(modes)}});
    }
    return {{"jobs", std::move(jobs)}};
}

json::object EventJson(const SViewModel& p_model, const SViewEvent& p_event)
{
    constexpr const char* ppKind[] = {"swing", "grid", "system"};
    const auto itJob = p_event.bMode ? p_model.mapJob.find(p_event.nJob) : p_model.mapJob.end();
    const SViewJob* pJob = itJob == p_model.mapJob.end() ? nullptr : &p_model.vecJob[itJob->second];
    std::string strMode;
    for (const SViewMode& mode : pJob ? pJob->vecMode : std::vector<SViewMode>())
        strMode = mode.nId == p_event.nMode ? mode.strName : strMode;
    json::value acknowledged;
    if (!p_event.strAckBy.empty())
        acknowledged = {{"by", p_event.strAckBy}, {"time_ms", p_event.nAck_ms}};
    return {{"id", p_event.nId},
            {"kind", ppKind[static_cast<int>(p_event.eKind)]},
            {"job", p_event.bMode ? json::value(p_event.nJob) : json::value()},
            {"job_name", pJob ? pJob->strName : std::string()},
            {"mode", p_event.bMode ? json::value(p_event.nMode) : json::value()},
            {"mode_name", strMode},
            {"unit", pJob ? pJob->Unit() : ""},
            {"text", p_event.strText},
            {"level", p_event.nLevel},
            {"level_worst", p_event.nWorst},
            {"begin_ms", p_event.nBegin_ms},
            {"end_ms", p_event.Stands() ? json::value() : json::value(p_event.nEnd_ms)},
            {"end_known", p_event.bEndKnown},
            {"frequency_Hz", JsonNumberOrNull(p_event.fFreq_Hz)},
            {"magnitude_max", JsonNumberOrNull(p_event.fMagnMax)},
            {"damping_ratio_max", JsonNumberOrNull(p_event.fDampMax)},
            {"exposure_max", JsonNumberOrNull(p_event.fDOEMax)},
            {"acknowledged", std::move(acknowledged)},
            {"notes", p_event.nNotes}};
}

json::object StatusJson(const SViewStatus& p_status)
{
    constexpr const char* ppLevel[] = {"ok", "waiting", "fault"};
    return {{"level", ppLevel[p_status.eLevel]},
            {"text", p_status.strText},
            {"since_ms", JsonTimeOrNull(p_status.nSince_ms)}};
}

json::object StateJson(const CViewState::SView& p_view)
{
    json::array jobs;
    for (std::size_t i = 0; i < p_view.vecJob.size(); ++i)
        jobs.push_back(JobJson(p_view, i));
    std::vector<const SViewEvent*> vecpEvent;
    for (const SViewEvent& event : p_view.book.Records())
        if (event.Stands())
            vecpEvent.push_back(&event);
    std::stable_sort(vecpEvent.begin(), vecpEvent.end(),
                     [](const SViewEvent* p_pOne, const SViewEvent* p_pTwo)
                     { return p_pOne->nLevel > p_pTwo->nLevel; });
    json::array events;
    for (const SViewEvent* pEvent : vecpEvent)
        events.push_back(EventJson(p_view.model, *pEvent));
    return {{"revision", p_view.nRevision}, {"now_ms", JsonTimeOrNull(p_view.nNow_ms)},
            {"wall_ms", WallMs()},          {"status", StatusJson(p_view.status)},
            {"jobs", std::move(jobs)},      {"events", std::move(events)}};
}

json::object ChangeJson(const CViewState::SView& p_view, SLiveCursor& r_cursor)
{
    // Marks run one ahead of the publications: what has just changed comes now, and perhaps once more.
    const auto fnChanged = [&](std::uint64_t p_nRevision) { return p_nRevision > r_cursor.nRevision; };
    json::array jobs;
    for (std::size_t i = 0; i < p_view.vecJob.size(); ++i)
        if (fnChanged(p_view.vecJob[i].m_nRevision))
            jobs.push_back(JobJson(p_view, i));
    json::array events;
    for (const SViewEvent& event : p_view.book.Records())
        if (fnChanged(event.nRevision))
            events.push_back(EventJson(p_view.model, event));
    json::array values;
    if (p_view.nRevision - r_cursor.nValues >= g_nRevisionsOfValues)
    {
        values = ValuesJson(p_view);
        r_cursor.nValues = p_view.nRevision;
    }
    json::array traces;
    std::size_t nValues = 0;
    for (auto& [iJob, nNext] : r_cursor.mapTrace)
    {
        if (nNext >= p_view.vecJob[iJob].TraceEnd() || nValues > g_nMaxTraceValues)
            continue;
        traces.push_back(TraceJson(p_view, iJob, nNext));
        nValues += traces.back().as_object()["values"].as_array().size();
    }
    r_cursor.nRevision = p_view.nRevision;
    return {{"revision", p_view.nRevision}, {"now_ms", JsonTimeOrNull(p_view.nNow_ms)},
            {"wall_ms", WallMs()},          {"status", StatusJson(p_view.status)},
            {"jobs", std::move(jobs)},      {"values", std::move(values)},
            {"traces", std::move(traces)},  {"events", std::move(events)}};
}

namespace
{
json::array StreamsJson(const CViewState::SView& p_view)
{
    json::array streams;
    for (std::size_t i = 0; p_view.health && i < p_view.health->vecStream.size(); ++i)
    {
        const Runtime::SFeedHealth::SStream& stream = p_view.health->vecStream[i];
        const double fFrames_perS = i < p_view.vecfFrames_perS.size() ? p_view.vecfFrames_perS[i] : 0.0;
        streams.push_back(json::object{
            {"name", CleanText(stream.strName)},
            {"connected", stream.bConnected},
            {"samples_per_s", Rounded(fFrames_perS)},
            {"frames", stream.nFrames},
            {"gaps", stream.nGaps},
            {"invalid", stream.nErrors + stream.nBadClock},
            {"late", stream.nLate},
            {"clock", stream.nBadClock == 0
                          ? std::string("good")
                          : std::to_string(stream.nBadClock) + " frames with a time that cannot be used"}});
    }
    return streams;
}

/// Connections of one process are one client.
json::array ApplicationsJson(const CViewState::SView& p_view)
{
    struct SApplication
    {
        std::string strName;
        bool bReads = false;
        bool bWrites = false;
        std::int64_t nSince = 0;
        unsigned nSets = 0;
    };
    std::map<std::uint64_t, SApplication> mapApplication;
    for (const Runtime::SFeedHealth::SClient& client :
         p_view.health ? p_view.health->vecClient : std::vector<Runtime::SFeedHealth::SClient>())
    {
        SApplication& application = mapApplication[client.nClient];
        application.strName += (application.strName.empty() ? "" : ", ") + CleanText(client.strName);
        application.bReads |= client.nReadSets != 0;
        application.bWrites |= client.bDataPort;
        application.nSince = application.nSince == 0 ? client.nSince : std::min(application.nSince, client.nSince);
        application.nSets += client.nReadSets;
    }
    json::array applications;
    for (const auto& [nClient, application] : mapApplication)
        applications.push_back(
            json::object{{"name", application.strName},
                         {"role", application.bReads    ? "reads"
                                  : application.bWrites ? "writes"
                                                        : "other"},
                         {"since_ms", MsFromTicks(application.nSince)},
                         {"read_sets", application.nSets},
                         {"output_channels", application.bWrites ? p_view.health->nOutputChannels : 0}});
    return applications;
}
} // namespace

json::object HealthJson(const CViewState::SView& p_view)
{
    const Runtime::SFeedHealth health = p_view.health.value_or(Runtime::SFeedHealth());
    const double fCount = static_cast<double>(std::max<std::uint64_t>(health.nDeliveries, 1));
    return {{"wall_ms", WallMs()},
            {"status", StatusJson(p_view.status)},
            {"server",
             {{"address", p_view.model.strAddr + ":" + std::to_string(p_view.model.nPort)},
              {"connected", p_view.bLinked},
              {"since_ms", JsonTimeOrNull(p_view.nLinkSince_ms)},
              {"version", CleanText(health.strVersion)},
              {"live", health.bLive},
              {"rate_Hz", health.nRate < 0 ? -1.0 / health.nRate : health.nRate},
              {"now_ms", JsonTimeOrNull(p_view.nNow_ms)},
              {"samples_per_s", Rounded(p_view.fSamples_perS)},
              {"cycles", health.nCycles},
              {"gaps", health.nGaps},
              {"invalid", health.nInvalid},
              {"values_lost", p_view.nLost},
              {"pass",
               {{"count", health.nDeliveries},
                {"mean_s", Rounded(health.fDeliverySum_s / fCount)},
                {"p99_s", Rounded(health.fDelivery99_s)},
                {"max_s", Rounded(health.fDeliveryMax_s)}}}}},
            {"streams", StreamsJson(p_view)},
            {"applications", ApplicationsJson(p_view)}};
}
