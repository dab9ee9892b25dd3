#include "LinkBench.h"
#include "link/dli/CResultFeed.h"
#include <condition_variable>
#include <map>

namespace
{
/// What a reader of results has been told. It can be held inside its next call.
class CFeedLog : public TLog<CResultFeedCallBack>
{
  public:
    void Receive(const SFeedBatch& p_batch) override
    {
        std::unique_lock<std::mutex> lock(m_mtx);
        m_cv.wait(lock, [this] { return !m_bHeld; });
        m_nLost += p_batch.nLost;
        m_nSteps += p_batch.vecStep.size();
        for (const SFeedStep& step : p_batch.vecStep)
        {
            m_mapKinds[step.nPmu].push_back(step.eKind);
            if (step.eKind == SFeedStep::eWrite)
                m_mapLast[step.nPmu] = {step.nTicks, {step.vecfValue.begin(), step.vecfValue.end()}, step.vecnQual[0]};
        }
        m_vecEvent.insert(m_vecEvent.end(), p_batch.vecEvent.begin(), p_batch.vecEvent.end());
        m_vecStanding.insert(m_vecStanding.end(), p_batch.vecStanding.begin(), p_batch.vecStanding.end());
        m_bStandingDone |= p_batch.bStandingDone;
    }
    void Health(const SFeedHealth& p_health) override
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_health = p_health;
    }
    void Hold(bool p_bHeld)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bHeld = p_bHeld;
        m_cv.notify_all();
    }
    template <class TTest>
    bool Sees(TTest p_fnTest)
    {
        return Eventually(
            [&]
            {
                const std::lock_guard<std::mutex> lock(m_mtx);
                return p_fnTest();
            });
    }

    struct SLast
    {
        std::int64_t nTicks = 0;
        std::vector<float> vecfValue;
        std::uint32_t nQual = 0;
    };
    // ---- under m_mtx ----
    std::condition_variable m_cv;
    bool m_bHeld = false;
    std::uint64_t m_nLost = 0;
    std::uint64_t m_nSteps = 0;
    std::map<std::uint64_t, std::vector<SFeedStep::EKind>> m_mapKinds;
    std::map<std::uint64_t, SLast> m_mapLast;
    std::vector<SFeedEvent> m_vecEvent;
    std::vector<SFeedEvent> m_vecStanding;
    bool m_bStandingDone = false;
    SFeedHealth m_health;
};

class CFeedReader
{
  public:
    CFeedReader(unsigned long p_hConn, std::int64_t p_nSince) : m_feed(p_hConn)
    {
        m_log.OnStatus(
            [this, p_nSince](unsigned long p_eStatus)
            {
                if (p_eStatus == eConnected)
                    m_feed.Start(p_nSince);
            });
        m_feed.SetCallBack(&m_log);
    }
    ~CFeedReader()
    {
        m_log.Hold(false);
        m_feed.SetCallBack(nullptr);
    }

    CFeedLog m_log;
    CResultFeed m_feed;
};

class ResultFeed : public CLinkBench
{
  protected:
    ResultFeed() { m_options.bLive = true; }
    /// Starts a virtual PMU and writes p_nWrites values to each of its channels: the number of the write.
    void Write(unsigned long p_nPmu, std::size_t p_nChannels, int p_nWrites, std::int64_t p_nState = 0)
    {
        std::vector<unsigned long> vecnId;
        std::vector<std::unique_ptr<CChannelAnalog>> vecpOwned;
        std::vector<CChannel*> vecpChannel;
        for (std::size_t i = 0; i < p_nChannels; ++i)
        {
            vecnId.push_back(p_nPmu * 1000 + i);
            vecpOwned.push_back(std::make_unique<CChannelAnalog>(vecnId.back(), 0, 0.0F, p_nState));
            vecpChannel.push_back(vecpOwned.back().get());
        }
        CChanneldataWrite data(m_hData);
        CWriteLog log;
        data.SetCallBack(&log);
        data.Start(p_nPmu, vecnId, 1);
        ASSERT_TRUE(Eventually([&] { return log.Count(eWriteResponse) == 1; }));
        for (int n = 1; n <= p_nWrites; ++n)
        {
            for (const auto& pChannel : vecpOwned)
            {
                CChannel::vdsData value{2, static_cast<float>(n), 0.0F};
                pChannel->SetValue(value, CChannel::eValuePhasor);
                pChannel->SetTime(g_nT0 + n);
                pChannel->SetStatus(p_nState);
            }
            data.Write(p_nPmu, vecpChannel);
            if (n % 50 == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(2)); // what waits here beyond 8 MB is dropped
        }
        data.Stop(p_nPmu);
        data.SetCallBack(nullptr);
    }
    unsigned long m_hData = 0;
};

TEST_F(ResultFeed, TellsOfValuesStartsAndStopsInTheirOrder)
{
    StartServer();
    m_hData = ConnectData();
    CFeedReader reader(ConnectEvent(), 0);
    ASSERT_TRUE(reader.m_log.Sees([&] { return reader.m_log.m_bStandingDone; }));
    Write(801, 6, 2, 0x0080000000000000);
    ASSERT_TRUE(reader.m_log.Sees([&] { return reader.m_log.m_mapKinds[801].size() == 8; }));
    using S = SFeedStep;
    // Six channels take two steps each.
    EXPECT_EQ(reader.m_log.m_mapKinds[801],
              (std::vector{S::eStart, S::eStart, S::eWrite, S::eWrite, S::eWrite, S::eWrite, S::eStop, S::eStop}));
    EXPECT_EQ(reader.m_log.m_mapLast[801].nTicks, g_nT0 + 2);
    EXPECT_EQ(reader.m_log.m_mapLast[801].vecfValue, std::vector<float>({2.0F, 2.0F}));
    EXPECT_EQ(reader.m_log.m_mapLast[801].nQual, 1U);
    EXPECT_EQ(reader.m_log.m_nLost, 0U);
}

TEST_F(ResultFeed, WhoComesLaterIsToldWhatStandsAndWhatWas)
{
    StartServer();
    unsigned long hEvent = ConnectEvent();
    CEventdata& events = CEventdata::GetInstance(hEvent);
    events.PostAt(g_nT0 + 1, eIkPsNotified, eAPP, eElemOMA, 601, "one");
    events.PostAt(g_nT0 + 2, eIkPsNotified, eDIS, eElemOMA, 601, "one");
    events.PostAt(g_nT0 + 3, eIkPsCritical, eAPP, eElemOMA, 602, "two");
    ASSERT_TRUE(Eventually([&] { return FileLines("events.jsonl").size() == 3; }));

    CFeedReader reader(ConnectEvent(), g_nT0 + 2);
    ASSERT_TRUE(reader.m_log.Sees([&] { return reader.m_log.m_bStandingDone; }));
    ASSERT_EQ(reader.m_log.m_vecEvent.size(), 2U);
    EXPECT_EQ(reader.m_log.m_vecEvent[0].eTrans, eDIS);
    ASSERT_EQ(reader.m_log.m_vecStanding.size(), 1U);
    EXPECT_EQ(reader.m_log.m_vecStanding[0].strText, "two");
    EXPECT_EQ(reader.m_log.m_vecStanding[0].strSource, "OMA_1st_Socket");

    events.PostAt(g_nT0 + 4, eIkPsCritical, eDIS, eElemOMA, 602, "two");
    ASSERT_TRUE(reader.m_log.Sees([&] { return reader.m_log.m_vecEvent.size() == 3; }));
    EXPECT_EQ(reader.m_log.m_vecEvent[2].nTicks, g_nT0 + 4);
}

TEST_F(ResultFeed, HealthCountsCyclesSamplesAndClients)
{
    StartServer(50, 100);
    const CReader application(ConnectEvent(), {1, 2, 3}, 50);
    CFeedReader reader(ConnectEvent(), 0);
    ASSERT_TRUE(reader.m_log.Sees([&] { return reader.m_log.m_health.nCycles == 100; }));
    const SFeedHealth& health = reader.m_log.m_health;
    EXPECT_EQ(health.nSamples, 300U);
    EXPECT_EQ(health.nInvalid, 50U); // id 3 comes in every second cycle
    EXPECT_EQ(health.nGaps, 0U);
    EXPECT_EQ(health.nRate, 50);
    EXPECT_EQ(health.vecClient.size(), 2U);
    EXPECT_EQ(health.vecClient[0].nReadSets + health.vecClient[1].nReadSets, 1U);
}

/// The values of a reader that stands still are dropped, oldest first, and counted; others do not notice.
TEST_F(ResultFeed, SlowReaderLosesTheOldestAndIsTold)
{
    StartServer();
    m_hData = ConnectData();
    CFeedReader slow(ConnectEvent(), 0);
    CFeedReader quick(ConnectEvent(), 0);
    ASSERT_TRUE(slow.m_log.Sees([&] { return slow.m_log.m_bStandingDone; }));
    ASSERT_TRUE(quick.m_log.Sees([&] { return quick.m_log.m_bStandingDone; }));
    slow.m_log.Hold(true);
    constexpr int nWrites = 3200;
    constexpr std::uint64_t nStepsOfWrite = 100;
    Write(801, 4 * nStepsOfWrite, nWrites);
    constexpr std::uint64_t nSteps = (nWrites + 2) * nStepsOfWrite;
    ASSERT_TRUE(quick.m_log.Sees([&] { return quick.m_log.m_nSteps + quick.m_log.m_nLost == nSteps; }));
    slow.m_log.Hold(false);
    ASSERT_TRUE(slow.m_log.Sees([&] { return slow.m_log.m_nSteps + slow.m_log.m_nLost == nSteps; }));
    EXPECT_GT(slow.m_log.m_nLost, 10000U);
    EXPECT_EQ(slow.m_log.m_mapLast[801].vecfValue[0], static_cast<float>(nWrites)); // the newest is there
    EXPECT_LT(quick.m_log.m_nLost, slow.m_log.m_nLost);
}
} // namespace
