#pragma once
#include "CLinkStream.h"
#include "link.pb.h"
#include "vds/base/ISource.h"
#include "vds/core/CEventStore.h"
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

/// As it goes over the link.
void EventToLink(const SEvent& p_event, Norvik::Energy::Kestrel::Link::Event& r_event);

/// Output values and events for those who watch, and once a second how things are.
///
/// All readers share one ring of the newest steps; each has its own place in it. A reader that is too slow finds that
/// the ring has gone past it and is told how many steps it has missed. So neither the samples nor the memory of the
/// server depend on a reader. Events are not dropped: a reader that is 10,000 behind loses its connection, and asks for
/// the history when it returns.
///
/// Owner    CServerCore. Threads: the server's only one.
class COutputFeed
{
  public:
    using TStreamPtr = std::shared_ptr<Norvik::Energy::Kestrel::Link::CLinkStream>;

    /// @param p_nSteps size of the ring, which is there while somebody reads.
    explicit COutputFeed(boost::asio::io_context& p_io, std::size_t p_nSteps = 1U << 18U);

    // ---- what the server has, set ahead of the first reader ----
    std::function<void(Norvik::Energy::Kestrel::Link::FeedHealth&)> m_fnHealth;
    /// Calls OnStart and OnValues for what is running.
    std::function<void()> m_fnRunning;
    std::function<std::vector<SEvent>()> m_fnStanding;
    std::function<std::vector<SEvent>(std::int64_t)> m_fnSince;

    // ---- messages of a session ----
    /// @return false if the message is not for the feed.
    bool OnMessage(std::uint64_t p_nSession, const TStreamPtr& p_pStream,
                   const Norvik::Energy::Kestrel::Link::Message& p_message);
    void Remove(std::uint64_t p_nSession);
    void End();

    // ---- what happens ----
    void OnCycle(const SSourceCycle& p_cycle, std::int32_t p_nRate);
    void OnEvent(const SEvent& p_event);
    void OnStart(std::uint64_t p_nPmu, std::span<const std::uint64_t> p_vecnId);
    void OnStop(std::uint64_t p_nPmu, std::span<const std::uint64_t> p_vecnId);
    void OnValues(std::uint64_t p_nPmu, std::int64_t p_nTicks, std::span<const std::uint64_t> p_vecnId,
                  std::span<const float> p_vecfValue, std::span<const std::uint64_t> p_vecnState);
    /// Of the source since the start of the process.
    struct SCounts
    {
        std::uint64_t nGaps = 0;
        std::uint64_t nSamples = 0;
        std::uint64_t nInvalid = 0; ///< missing ones included
        std::int64_t nLast = 0;     ///< ticks of the newest cycle
    };
    const SCounts& Counts() const { return m_counts; }

  private:
    static constexpr std::size_t g_nChannels = 4; ///< a mode's; longer writes take several steps
    struct SStep
    {
        std::uint8_t eKind = 0;
        std::uint8_t nCount = 0;
        std::uint8_t vecnQual[g_nChannels] = {};
        std::uint64_t nPmu = 0;
        std::int64_t nTicks = 0;
        std::uint64_t vecnId[g_nChannels] = {};
        float vecfValue[g_nChannels] = {};
    };
    struct SReader
    {
        TStreamPtr pStream;
        std::uint32_t nStart = 0;
        std::uint64_t nSeq = 0; ///< of the batch sent last
        std::uint64_t nAck = 0;
        std::uint64_t nStep = 0;        ///< next one to send
        std::uint64_t nEvent = 0;       ///< next one to send
        std::deque<SEvent> queHistory;  ///< of the start
        std::deque<SEvent> queStanding; ///< of the start
        bool bStandingSent = false;
    };

    void StartReader(std::uint64_t p_nSession, const TStreamPtr& p_pStream,
                     const Norvik::Energy::Kestrel::Link::StartFeed& p_start);
    void Push(std::uint8_t p_eKind, std::uint64_t p_nPmu, std::int64_t p_nTicks,
              std::span<const std::uint64_t> p_vecnId, std::span<const float> p_vecfValue,
              std::span<const std::uint64_t> p_vecnState);
    void Tick();
    void SendHealth();
    bool HasWork(const SReader& p_reader) const;
    void SendBatches(SReader& r_reader);
    void Fill(SReader& r_reader, Norvik::Energy::Kestrel::Link::FeedBatch& r_batch);
    void FillEvents(SReader& r_reader, Norvik::Energy::Kestrel::Link::FeedBatch& r_batch);

    const std::size_t m_nSteps;
    boost::asio::steady_timer m_timer;
    unsigned m_nTicks = 0;
    std::map<std::uint64_t, SReader> m_mapReader; ///< by session
    std::vector<SStep> m_vecStep;                 ///< step n lies at n % size
    std::uint64_t m_nNext = 0;                    ///< number of the next step
    std::deque<SEvent> m_queEvent;
    std::uint64_t m_nNextEvent = 0;
    SCounts m_counts;
};
