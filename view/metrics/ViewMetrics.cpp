#include "view/metrics/ViewMetrics.h"
#include "Version.h"
#include <array>
#include <charconv>
#include <cmath>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
std::string Number(double p_fValue)
{
    if (std::isnan(p_fValue))
        return "NaN";
    if (std::isinf(p_fValue))
        return p_fValue > 0 ? "+Inf" : "-Inf";
    char pText[40];
    return {pText, std::to_chars(pText, pText + sizeof pText, p_fValue).ptr};
}

std::string Escaped(const std::string& p_strText)
{
    std::string strText;
    for (const char nChar : p_strText)
    {
        if (nChar == '\\' || nChar == '"')
            strText += '\\';
        strText += nChar == '\n' ? std::string("\\n") : std::string(1, nChar);
    }
    return strText;
}
} // namespace

void CMetricText::Family(std::string_view p_strName, std::string_view p_strType, std::string_view p_strHelp)
{
    m_strName = p_strName;
    m_strText += "# HELP " + m_strName + " " + std::string(p_strHelp) + "\n# TYPE " + m_strName + " " +
                 std::string(p_strType) + "\n";
}

void CMetricText::Sample(double p_fValue, const TLabels& p_vecLabel, std::string_view p_strSuffix)
{
    m_strText += m_strName + std::string(p_strSuffix);
    for (std::size_t i = 0; i < p_vecLabel.size(); ++i)
        m_strText += (i == 0 ? "{" : ",") + p_vecLabel[i].first + "=\"" + Escaped(p_vecLabel[i].second) + "\"";
    m_strText += (p_vecLabel.empty() ? " " : "} ") + Number(p_fValue) + "\n";
}

void CMetricText::Single(std::string_view p_strName, std::string_view p_strType, std::string_view p_strHelp,
                         double p_fValue)
{
    Family(p_strName, p_strType, p_strHelp);
    Sample(p_fValue);
}

namespace
{
void StreamMetrics(const Runtime::SFeedHealth& p_health, CMetricText& r_text)
{
    if (p_health.vecStream.empty())
        return;
    struct SFamily
    {
        const char* pName;
        const char* pHelp;
        std::uint64_t Runtime::SFeedHealth::SStream::*pnValue;
    };
    using SStream = Runtime::SFeedHealth::SStream;
    constexpr std::array vecFamily = {
        SFamily{"oma_stream_frames_total", "Data frames of a stream of synchrophasors.", &SStream::nFrames},
        SFamily{"oma_stream_gaps_total", "Places where frames of a stream are missing.", &SStream::nGaps},
        SFamily{"oma_stream_late_total", "Frames of a stream that came after their cycle.", &SStream::nLate},
        SFamily{"oma_stream_bad_clock_total", "Frames of a stream whose time cannot be used.", &SStream::nBadClock},
        SFamily{"oma_stream_errors_total", "Frames of a stream that could not be read.", &SStream::nErrors}};
    for (const SFamily& family : vecFamily)
    {
        r_text.Family(family.pName, "counter", family.pHelp);
        for (const SStream& stream : p_health.vecStream)
            r_text.Sample(static_cast<double>(stream.*family.pnValue), {{"stream", CleanText(stream.strName)}});
    }
    r_text.Family("oma_stream_connected", "gauge", "Whether a stream of synchrophasors is connected.");
    for (const SStream& stream : p_health.vecStream)
        r_text.Sample(stream.bConnected ? 1 : 0, {{"stream", CleanText(stream.strName)}});
}

void ServerMetrics(const Runtime::SFeedHealth& p_health, CMetricText& r_text)
{
    r_text.Family("oma_server_info", "gauge", "Version of the phasor data server.");
    r_text.Sample(1, {{"version", CleanText(p_health.strVersion)}});
    r_text.Single("oma_server_cycles_total", "counter", "Cycles that the server has sent.",
                  static_cast<double>(p_health.nCycles));
    r_text.Single("oma_server_samples_total", "counter", "Samples of the server's source.",
                  static_cast<double>(p_health.nSamples));
    r_text.Single("oma_server_samples_invalid_total", "counter", "Samples that were missing or invalid.",
                  static_cast<double>(p_health.nInvalid));
    r_text.Single("oma_server_gaps_total", "counter", "Places where cycles of the source are missing.",
                  static_cast<double>(p_health.nGaps));
    r_text.Single("oma_server_clients", "gauge", "Connections of clients.",
                  static_cast<double>(p_health.vecClient.size()));
    r_text.Single("oma_server_output_channels", "gauge", "Output channels that are running.",
                  static_cast<double>(p_health.nOutputChannels));
    r_text.Family("oma_cycle_seconds", "histogram",
                  "Time from the moment a cycle is handed to the link until an application has taken it; those with a "
                  "pass of the analysis are the longest.");
    for (const Runtime::SFeedHealth::SClass& one : p_health.vecDelivery)
        r_text.Sample(static_cast<double>(one.nCount), {{"le", Number(one.fBound_s)}}, "_bucket");
    r_text.Sample(static_cast<double>(p_health.nDeliveries), {{"le", "+Inf"}}, "_bucket");
    r_text.Sample(p_health.fDeliverySum_s, {}, "_sum");
    r_text.Sample(static_cast<double>(p_health.nDeliveries), {}, "_count");
    StreamMetrics(p_health, r_text);
}
} // namespace

std::string StateMetrics(const CViewState::SView& p_view)
{
    std::string strText;
    CMetricText text(strText);
    text.Family("oma_view_info", "gauge", "Version of this program.");
    text.Sample(1, {{"version", g_pVersion}});
    text.Single("oma_link_up", "gauge", "Whether the server is connected.", p_view.bLinked ? 1 : 0);
    text.Single("oma_status", "gauge", "How things are: 0 ok, 1 waiting, 2 fault.", p_view.status.eLevel);
    text.Single("oma_values_lost_total", "counter", "Output values that this program was too slow for.",
                static_cast<double>(p_view.nLost));
    text.Single("oma_passes_total", "counter", "Results of modes that were received.",
                static_cast<double>(p_view.nPasses));
    text.Single("oma_events_total", "counter", "Events that were received.", static_cast<double>(p_view.book.Taken()));
    std::array<int, 5> vecnStanding{};
    for (const SViewEvent& event : p_view.book.Records())
        if (event.Stands())
            ++vecnStanding[static_cast<std::size_t>(event.nLevel)];
    text.Family("oma_standing_events", "gauge", "Events that stand, by level; 0 is no swing: grid and system.");
    for (std::size_t i = 0; i < vecnStanding.size(); ++i)
        text.Sample(vecnStanding[i], {{"level", std::to_string(i)}});
    std::size_t nRuns = 0;
    std::size_t nFull = 0;
    for (std::size_t i = 0; i < p_view.vecJob.size(); ++i)
    {
        nRuns += p_view.vecJob[i].Runs() ? 1U : 0U;
        nFull += p_view.vecJob[i].Runs() && p_view.vecJob[i].Filled_s() + 1.0 / p_view.model.vecJob[i].fRate_Hz >=
                                                p_view.model.vecJob[i].Window_s()
                     ? 1U
                     : 0U;
    }
    text.Single("oma_jobs", "gauge", "Jobs of the configuration.", static_cast<double>(p_view.vecJob.size()));
    text.Single("oma_jobs_running", "gauge", "Jobs that write their actual value.", static_cast<double>(nRuns));
    text.Single("oma_jobs_full", "gauge", "Jobs whose longest window is full.", static_cast<double>(nFull));
    if (p_view.health)
        ServerMetrics(*p_view.health, text);
    return strText;
}
