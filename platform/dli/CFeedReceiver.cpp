#include "platform/dli/CFeedReceiver.h"
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
/// Above what a server has on its way, with its health once a second.
constexpr std::size_t g_nMaxDeliveries = 64;

void TakeEvents(const google::protobuf::RepeatedPtrField<Link::Event>& p_events, std::vector<SFeedEvent>& r_vecEvent)
{
    r_vecEvent.clear();
    for (const Link::Event& event : p_events)
        r_vecEvent.push_back({event.time(), event.key(), event.transition(), event.element_type(), event.element_id(),
                              event.text(), event.source()});
}

/// The columns of a batch must have the lengths that its steps say.
void CheckBatch(const Link::FeedBatch& p_batch)
{
    std::uint64_t nIds = 0;
    std::uint64_t nValues = 0;
    const int nSteps = p_batch.kinds_size();
    if (p_batch.counts_size() != nSteps || p_batch.pmus_size() != nSteps || p_batch.times_size() != nSteps)
        throw std::runtime_error("results with columns of different lengths");
    for (int i = 0; i < nSteps; ++i)
    {
        nIds += p_batch.counts(i);
        nValues += p_batch.kinds(i) == Link::FeedBatch::WRITE ? p_batch.counts(i) : 0;
    }
    if (static_cast<std::uint64_t>(p_batch.ids_size()) != nIds ||
        static_cast<std::uint64_t>(p_batch.values_size()) != nValues ||
        p_batch.qualities_size() != p_batch.values_size())
        throw std::runtime_error("results with columns of different lengths");
}

void TakeBatch(const Link::FeedBatch& p_batch, SFeedBatch& r_batch)
{
    r_batch.nLost = p_batch.lost();
    r_batch.vecStep.clear();
    std::size_t nId = 0;
    std::size_t nValue = 0;
    for (int i = 0; i < p_batch.kinds_size(); ++i)
    {
        const std::size_t nCount = p_batch.counts(i);
        SFeedStep step;
        step.eKind = static_cast<SFeedStep::EKind>(std::clamp<int>(p_batch.kinds(i), 0, 2));
        step.nPmu = p_batch.pmus(i);
        step.nTicks = p_batch.times(i);
        step.vecnId = {p_batch.ids().data() + nId, nCount};
        nId += nCount;
        if (p_batch.kinds(i) == Link::FeedBatch::WRITE)
        {
            step.vecfValue = {p_batch.values().data() + nValue, nCount};
            step.vecnQual = {p_batch.qualities().data() + nValue, nCount};
            nValue += nCount;
        }
        r_batch.vecStep.push_back(step);
    }
    TakeEvents(p_batch.events(), r_batch.vecEvent);
    TakeEvents(p_batch.standing(), r_batch.vecStanding);
    r_batch.bStandingDone = p_batch.standing_done();
}

SFeedHealth TakeHealth(const Link::FeedHealth& p_health)
{
    SFeedHealth health;
    health.strVersion = p_health.version();
    health.bLive = p_health.live();
    health.nRate = p_health.rate();
    health.nTicks = p_health.now();
    health.nCycles = p_health.cycles();
    health.nGaps = p_health.gaps();
    health.nSamples = p_health.samples();
    health.nInvalid = p_health.invalid();
    health.nOutputChannels = p_health.output_channels();
    health.nDeliveries = p_health.deliveries();
    health.fDeliverySum_s = p_health.delivery_sum_s();
    health.fDelivery99_s = p_health.delivery_p99_s();
    health.fDeliveryMax_s = p_health.delivery_max_s();
    for (int i = 0; i < std::min(p_health.delivery_bounds_s_size(), p_health.delivery_counts_size()); ++i)
        health.vecDelivery.push_back({p_health.delivery_bounds_s(i), p_health.delivery_counts(i)});
    for (const Link::FeedHealth::Stream& stream : p_health.streams())
        health.vecStream.push_back({stream.name(), stream.connected(), stream.frames(), stream.gaps(), stream.lost(),
                                    stream.late(), stream.bad_clock(), stream.errors()});
    for (const Link::FeedHealth::Client& client : p_health.clients())
        health.vecClient.push_back(
            {client.name(), client.client(), client.data_port(), client.since(), client.read_sets()});
    return health;
}
} // namespace

std::uint32_t CFeedReceiver::Begin()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_queDelivery.clear();
    return ++m_nStart;
}

void CFeedReceiver::OnLost()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_queDelivery.clear();
    ++m_nStart;
}

void CFeedReceiver::PushBatch(const Link::FeedBatch& p_batch)
{
    CheckBatch(p_batch);
    Push({std::make_unique<Link::FeedBatch>(p_batch), nullptr});
}

void CFeedReceiver::PushHealth(const Link::FeedHealth& p_health)
{
    Push({nullptr, std::make_unique<SFeedHealth>(TakeHealth(p_health))});
}

void CFeedReceiver::Push(SDelivery p_delivery)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (p_delivery.pBatch && p_delivery.pBatch->start() != m_nStart)
        return;
    if (m_queDelivery.size() >= g_nMaxDeliveries)
    {
        if (p_delivery.pBatch)
            throw std::runtime_error("results ahead of the acknowledgement of others");
        return; // the health of this second is not missed
    }
    m_queDelivery.push_back(std::move(p_delivery));
    if (m_bReceiveRuns)
        return;
    m_bReceiveRuns = true;
    m_pool.Submit(shared_from_this(), eLaneReceive);
}

void CFeedReceiver::CallStatus(const SStatus& p_status)
{
    m_pCallBack->Status(p_status.eStatus, p_status.lReqNum, p_status.lAddInfo);
}

bool CFeedReceiver::ReceiveNext()
{
    SDelivery delivery;
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (m_queDelivery.empty())
        {
            m_bReceiveRuns = false;
            return false;
        }
        delivery = std::move(m_queDelivery.front());
        m_queDelivery.pop_front();
    }
    if (delivery.pHealth)
        Call([&] { m_pCallBack->Health(*delivery.pHealth); });
    if (!delivery.pBatch)
        return true;
    TakeBatch(*delivery.pBatch, m_batch);
    Call([&] { m_pCallBack->Receive(m_batch); });
    m_fnTaken(delivery.pBatch->start(), delivery.pBatch->seq());
    return true;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
