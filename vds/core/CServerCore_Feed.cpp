// What the server shows of itself to those who watch.
#include "Version.h"
#include "vds/core/CServerCore.h"
#include <array>

namespace Link = Norvik::Energy::Kestrel::Link;

void EventToLink(const SEvent& p_event, Link::Event& r_event)
{
    r_event.set_time(p_event.nTicks);
    r_event.set_key(p_event.eKey);
    r_event.set_transition(p_event.eTrans);
    r_event.set_element_type(p_event.eElemType);
    r_event.set_element_id(p_event.nElemId);
    r_event.set_text(p_event.strText);
    r_event.set_source(p_event.strFrom);
    r_event.set_seq(p_event.nSeq);
}

void CServerCore::ConnectFeed()
{
    m_feed.m_fnHealth = [this](Link::FeedHealth& r_health) { FillHealth(r_health); };
    m_feed.m_fnStanding = [this] { return m_events.Standing(); };
    m_feed.m_fnSince = [this](std::int64_t p_nTicks) { return m_events.Since(p_nTicks); };
    m_feed.m_fnRunning = [this] { m_outputs.TellRunning(m_feed); };
    m_outputs.m_pFeed = &m_feed;
}

void CServerCore::FillHealth(Link::FeedHealth& r_health) const
{
    r_health.set_version(g_pVersion);
    r_health.set_live(m_options.bLive);
    r_health.set_rate(m_pSource->Rate());
    r_health.set_now(m_nNow);
    r_health.set_cycles(m_nCycles);
    const COutputFeed::SCounts& counts = m_feed.Counts();
    r_health.set_gaps(counts.nGaps);
    r_health.set_samples(counts.nSamples);
    r_health.set_invalid(counts.nInvalid);
    r_health.set_output_channels(m_outputs.Running());
    r_health.set_deliveries(m_times.Count());
    r_health.set_delivery_sum_s(m_times.Sum_ms() / 1000.0);
    r_health.set_delivery_p99_s(m_times.Count() == 0 ? 0.0 : m_times.Percent99_ms() / 1000.0);
    r_health.set_delivery_max_s(m_times.Worst_ms() / 1000.0);
    constexpr std::array vecfBound_s = {0.0005, 0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0};
    for (const double fBound_s : vecfBound_s)
    {
        r_health.add_delivery_bounds_s(fBound_s);
        r_health.add_delivery_counts(m_times.CountWithin(fBound_s * 1000.0));
    }
    for (const SStreamHealth& stream : m_pSource->Streams())
    {
        Link::FeedHealth::Stream& out = *r_health.add_streams();
        out.set_name(stream.strName);
        out.set_connected(stream.bConnected);
        out.set_frames(stream.nFrames);
        out.set_gaps(stream.nGaps);
        out.set_lost(stream.nLost);
        out.set_late(stream.nLate);
        out.set_bad_clock(stream.nBadClock);
        out.set_errors(stream.nErrors);
    }
    for (const auto& [nId, pSession] : m_mapSession)
    {
        if (!pSession->IsClient())
            continue;
        Link::FeedHealth::Client& client = *r_health.add_clients();
        client.set_name(pSession->Name());
        client.set_client(pSession->Client());
        client.set_data_port(pSession->IsDataPort());
        client.set_since(pSession->Since());
        client.set_read_sets(static_cast<std::uint32_t>(pSession->ReadSets()));
    }
}
