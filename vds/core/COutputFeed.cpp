#include "vds/core/COutputFeed.h"
#include "vds/base/IsoTime.h"
#include "vds/core/COutputs.h"
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
constexpr auto g_tTick = std::chrono::milliseconds(50);
constexpr unsigned g_nTicksOfHealth = 20;
/// Batches on their way to a reader.
constexpr std::uint64_t g_nWindow = 8;
constexpr std::size_t g_nBatchSteps = 4096;
constexpr std::size_t g_nBatchBytes = 1U << 20U; ///< of the texts of events
constexpr std::size_t g_nMaxEvents = 10000;
constexpr std::size_t g_nMaxReaders = 16;
/// Health is worth nothing later.
constexpr std::size_t g_nMaxWaiting = 1U << 20U;
} // namespace

COutputFeed::COutputFeed(boost::asio::io_context& p_io, std::size_t p_nSteps) : m_nSteps(p_nSteps), m_timer(p_io) {}

bool COutputFeed::OnMessage(std::uint64_t p_nSession, const TStreamPtr& p_pStream, const Link::Message& p_message)
{
    if (p_message.has_start_feed())
        StartReader(p_nSession, p_pStream, p_message.start_feed());
    else if (p_message.has_feed_ack())
    {
        const auto it = m_mapReader.find(p_nSession);
        if (it == m_mapReader.end() || it->second.nStart != p_message.feed_ack().start())
            return true;
        SReader& reader = it->second;
        reader.nAck = std::clamp(p_message.feed_ack().seq(), reader.nAck, reader.nSeq);
        // A small rest can wait for the next tick.
        if (m_nNext - reader.nStep >= g_nBatchSteps || !reader.queHistory.empty())
            SendBatches(reader);
    }
    else
        return false;
    return true;
}

void COutputFeed::StartReader(std::uint64_t p_nSession, const TStreamPtr& p_pStream, const Link::StartFeed& p_start)
{
    if (m_mapReader.size() >= g_nMaxReaders && !m_mapReader.contains(p_nSession))
        throw std::runtime_error("more than " + std::to_string(g_nMaxReaders) + " readers of results");
    const bool bFirst = m_mapReader.empty();
    SReader reader;
    reader.pStream = p_pStream;
    reader.nStart = p_start.start();
    reader.nEvent = m_nNextEvent;
    for (SEvent& event : m_fnStanding())
        reader.queStanding.push_back(std::move(event));
    if (p_start.events_since() != 0)
    {
        for (SEvent& event : m_fnSince(p_start.events_since()))
            reader.queHistory.push_back(std::move(event));
    }
    if (bFirst)
        m_vecStep.resize(m_nSteps);
    m_mapReader[p_nSession] = {};
    // Other readers see twice what is running. That does them no harm, and it is rare.
    reader.nStep = m_nNext;
    m_fnRunning();
    m_mapReader[p_nSession] = std::move(reader);
    if (bFirst)
        Tick();
}

void COutputFeed::Remove(std::uint64_t p_nSession)
{
    if (m_mapReader.erase(p_nSession) == 0 || !m_mapReader.empty())
        return;
    m_timer.cancel();
    m_vecStep = {};
    m_queEvent.clear();
    m_nNext = 0;
}

void COutputFeed::End()
{
    m_timer.cancel();
    m_mapReader.clear();
}

// ---- what happens ----

void COutputFeed::OnCycle(const SSourceCycle& p_cycle, std::int32_t p_nRate)
{
    const std::int64_t nPeriod = p_nRate > 0 ? g_nTicksPerSec / p_nRate : -p_nRate * g_nTicksPerSec;
    if (m_counts.nLast != 0 && 2 * (p_cycle.nTicks - m_counts.nLast) > 3 * nPeriod)
        ++m_counts.nGaps;
    m_counts.nLast = p_cycle.nTicks;
    m_counts.nSamples += p_cycle.vecSample.size();
    m_counts.nInvalid +=
        static_cast<std::uint64_t>(std::count_if(p_cycle.vecSample.begin(), p_cycle.vecSample.end(),
                                                 [](const SSourceSample& p_sample) { return p_sample.IsInvalid(); }));
}

void COutputFeed::OnEvent(const SEvent& p_event)
{
    if (m_mapReader.empty())
        return;
    m_queEvent.push_back(p_event);
    ++m_nNextEvent;
    if (m_queEvent.size() <= g_nMaxEvents)
        return;
    m_queEvent.pop_front();
    const std::uint64_t nFirst = m_nNextEvent - m_queEvent.size();
    for (const auto& [nSession, reader] : m_mapReader)
    {
        if (reader.nEvent < nFirst)
            reader.pStream->Close("does not take its events");
    }
}

void COutputFeed::OnStart(std::uint64_t p_nPmu, std::span<const std::uint64_t> p_vecnId)
{
    Push(Link::FeedBatch::START, p_nPmu, 0, p_vecnId, {}, {});
}

void COutputFeed::OnStop(std::uint64_t p_nPmu, std::span<const std::uint64_t> p_vecnId)
{
    Push(Link::FeedBatch::STOP, p_nPmu, m_counts.nLast, p_vecnId, {}, {});
}

void COutputFeed::OnValues(std::uint64_t p_nPmu, std::int64_t p_nTicks, std::span<const std::uint64_t> p_vecnId,
                           std::span<const float> p_vecfValue, std::span<const std::uint64_t> p_vecnState)
{
    Push(Link::FeedBatch::WRITE, p_nPmu, p_nTicks, p_vecnId, p_vecfValue, p_vecnState);
}

void COutputFeed::Push(std::uint8_t p_eKind, std::uint64_t p_nPmu, std::int64_t p_nTicks,
                       std::span<const std::uint64_t> p_vecnId, std::span<const float> p_vecfValue,
                       std::span<const std::uint64_t> p_vecnState)
{
    if (m_mapReader.empty())
        return;
    for (std::size_t iFirst = 0; iFirst < p_vecnId.size(); iFirst += g_nChannels)
    {
        SStep& step = m_vecStep[m_nNext++ % m_nSteps];
        step.eKind = p_eKind;
        step.nCount = static_cast<std::uint8_t>(std::min(g_nChannels, p_vecnId.size() - iFirst));
        step.nPmu = p_nPmu;
        step.nTicks = p_nTicks;
        for (std::size_t i = 0; i < step.nCount; ++i)
        {
            step.vecnId[i] = p_vecnId[iFirst + i];
            if (p_eKind != Link::FeedBatch::WRITE)
                continue;
            step.vecfValue[i] = p_vecfValue[iFirst + i];
            step.vecnQual[i] = static_cast<std::uint8_t>(QualityOfState(p_vecnState[iFirst + i]));
        }
    }
}

// ---- to the readers ----

void COutputFeed::Tick()
{
    for (auto& [nSession, reader] : m_mapReader)
        SendBatches(reader);
    if (m_nTicks++ % g_nTicksOfHealth == 0)
        SendHealth();
    m_timer.expires_after(g_tTick);
    m_timer.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            if (!p_ec && !m_mapReader.empty())
                Tick();
        });
}

void COutputFeed::SendHealth()
{
    if (m_mapReader.empty())
        return;
    Link::FeedHealth health;
    m_fnHealth(health);
    for (const auto& [nSession, reader] : m_mapReader)
        reader.pStream->Send([&](Link::Message& r_message) { *r_message.mutable_feed_health() = health; },
                             Link::CLinkStream::eAtOnce, g_nMaxWaiting);
}

bool COutputFeed::HasWork(const SReader& p_reader) const
{
    return !p_reader.bStandingSent || !p_reader.queHistory.empty() || p_reader.nEvent < m_nNextEvent ||
           p_reader.nStep < m_nNext;
}

void COutputFeed::SendBatches(SReader& r_reader)
{
    while (HasWork(r_reader) && r_reader.nSeq - r_reader.nAck < g_nWindow &&
           r_reader.pStream->Send([&](Link::Message& r_message) { Fill(r_reader, *r_message.mutable_feed_batch()); }))
        ;
}

void COutputFeed::Fill(SReader& r_reader, Link::FeedBatch& r_batch)
{
    r_batch.set_start(r_reader.nStart);
    r_batch.set_seq(++r_reader.nSeq);
    const std::uint64_t nOldest = m_nNext > m_nSteps ? m_nNext - m_nSteps : 0;
    if (r_reader.nStep < nOldest)
    {
        r_batch.set_lost(nOldest - r_reader.nStep);
        r_reader.nStep = nOldest;
    }
    const std::uint64_t nEnd = std::min<std::uint64_t>(m_nNext, r_reader.nStep + g_nBatchSteps);
    for (; r_reader.nStep < nEnd; ++r_reader.nStep)
    {
        const SStep& step = m_vecStep[r_reader.nStep % m_nSteps];
        r_batch.add_kinds(static_cast<Link::FeedBatch::Kind>(step.eKind));
        r_batch.add_counts(step.nCount);
        r_batch.add_pmus(step.nPmu);
        r_batch.add_times(step.nTicks);
        for (std::size_t i = 0; i < step.nCount; ++i)
        {
            r_batch.add_ids(step.vecnId[i]);
            if (step.eKind != Link::FeedBatch::WRITE)
                continue;
            r_batch.add_values(step.vecfValue[i]);
            r_batch.add_qualities(step.vecnQual[i]);
        }
    }
    FillEvents(r_reader, r_batch);
}

void COutputFeed::FillEvents(SReader& r_reader, Link::FeedBatch& r_batch)
{
    std::size_t nBytes = 0;
    const auto fnFrom = [&nBytes](std::deque<SEvent>& r_queEvent, auto* p_pEvents)
    {
        for (; !r_queEvent.empty() && nBytes < g_nBatchBytes; r_queEvent.pop_front())
        {
            EventToLink(r_queEvent.front(), *p_pEvents->Add());
            nBytes += r_queEvent.front().strText.size() + 100;
        }
        return r_queEvent.empty();
    };
    if (!fnFrom(r_reader.queHistory, r_batch.mutable_events()) ||
        !fnFrom(r_reader.queStanding, r_batch.mutable_standing()))
        return;
    // What has come since is for the next batch: what stands would contradict it.
    if (!std::exchange(r_reader.bStandingSent, true))
        return r_batch.set_standing_done(true);
    const std::uint64_t nFirst = m_nNextEvent - m_queEvent.size();
    r_reader.nEvent = std::max(r_reader.nEvent, nFirst);
    for (; r_reader.nEvent < m_nNextEvent && nBytes < g_nBatchBytes; ++r_reader.nEvent)
    {
        const SEvent& event = m_queEvent[r_reader.nEvent - nFirst];
        EventToLink(event, *r_batch.add_events());
        nBytes += event.strText.size() + 100;
    }
}
