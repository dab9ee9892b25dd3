#include "LinkBench.h"

namespace
{
/// A write channel with its callback.
class CWriter
{
  public:
    CWriter(unsigned long p_hConn, unsigned long p_nPmu, std::vector<unsigned long> p_vecnId)
        : m_data(p_hConn), m_nPmu(p_nPmu), m_vecnId(std::move(p_vecnId))
    {
        for (const unsigned long nId : m_vecnId)
            m_vecpOwned.push_back(std::make_unique<CChannelAnalog>(nId, 0, 0.0F, 0));
        for (const auto& pChannel : m_vecpOwned)
            m_vecpChannel.push_back(pChannel.get());
    }
    ~CWriter() { m_data.SetCallBack(nullptr); }
    void Write(std::int64_t p_nTicks, float p_fValue, std::int64_t p_nState)
    {
        for (const auto& pChannel : m_vecpOwned)
        {
            CChannel::vdsData data{2, p_fValue, 0.0F};
            pChannel->SetValue(data, CChannel::eValuePhasor);
            pChannel->SetTime(p_nTicks);
            pChannel->SetStatus(p_nState);
            p_fValue += 0.5F;
        }
        m_data.Write(m_nPmu, m_vecpChannel);
    }
    bool StartAndWait()
    {
        const std::size_t nAnswers = m_log.Count(eWriteResponse);
        m_data.Start(m_nPmu, m_vecnId, 1);
        return Eventually([&] { return m_log.Count(eWriteResponse) > nAnswers; });
    }

    CWriteLog m_log;
    CChanneldataWrite m_data;
    unsigned long m_nPmu;
    std::vector<unsigned long> m_vecnId;
    std::vector<std::unique_ptr<CChannelAnalog>> m_vecpOwned;
    std::vector<CChannel*> m_vecpChannel;
};

class WriteChannel : public CLinkBench
{
};

TEST_F(WriteChannel, AnswerToTheStartArrivesInsideTheStatusThatStarts)
{
    StartServer();
    CWriter writer(ConnectData(), 801, {700});
    std::atomic<bool> bAnswered{false};
    std::atomic<bool> bDone{false};
    writer.m_log.OnStatus(
        [&](unsigned long p_eStatus)
        {
            if (p_eStatus != eConnected)
                return;
            bAnswered = writer.StartAndWait();
            bDone = true;
        });
    writer.m_data.SetCallBack(&writer.m_log);
    ASSERT_TRUE(Eventually([&] { return bDone.load(); }));
    EXPECT_TRUE(bAnswered);
    EXPECT_EQ(writer.m_log.StatusCalls()[1], TStatus(10, 801, 0));
}

TEST_F(WriteChannel, VirtualPmuOfAnotherConnectionIsRefusedUntilThatHasGone)
{
    StartServer();
    const unsigned long hOther = ConnectData();
    CWriter owner(ConnectData(), 801, {700});
    CWriter other(hOther, 801, {701});
    CWriter empty(hOther, 803, {});
    for (CWriter* pWriter : {&owner, &other, &empty})
        pWriter->m_data.SetCallBack(&pWriter->m_log);
    ASSERT_TRUE(owner.StartAndWait());
    ASSERT_TRUE(other.StartAndWait());
    ASSERT_TRUE(empty.StartAndWait());
    EXPECT_EQ(std::get<2>(owner.m_log.StatusCalls().back()), 0U);
    EXPECT_NE(std::get<2>(other.m_log.StatusCalls().back()), 0U);
    EXPECT_NE(std::get<2>(empty.m_log.StatusCalls().back()), 0U);
    ASSERT_TRUE(owner.StartAndWait()) << "a start may be repeated";
    EXPECT_EQ(std::get<2>(owner.m_log.StatusCalls().back()), 0U);
    owner.m_data.Stop(801);
    ASSERT_TRUE(Eventually([&] { return std::get<2>(other.m_log.StatusCalls().back()) == 0U; }))
        << "a refused start is repeated";
    EXPECT_EQ(other.m_log.Count(eWriteResponse), 2U) << "only the first refusal is reported";
    EXPECT_EQ(std::get<2>(empty.m_log.StatusCalls().back()), 2U);
}

TEST_F(WriteChannel, LossOfTheConnectionStopsTheOutputAndDropsWritesUntilANewStart)
{
    StartServer();
    CWriter writer(ConnectData(), 802, {9010});
    writer.m_data.SetCallBack(&writer.m_log);
    ASSERT_TRUE(writer.StartAndWait());
    m_pServer.reset();
    EXPECT_EQ(FileLines("channels.jsonl").back(), R"({"op":"stop","pmu":802})");
    ASSERT_TRUE(Eventually([&] { return writer.m_log.Count(eNotConnected) == 1; }));
    for (int i = 0; i < 1000; ++i)
        writer.Write(i, 1.0F, 0);
    EXPECT_NO_THROW(writer.m_data.Start(802, writer.m_vecnId, 1)) << "without a connection it is discarded";

    StartServer();
    ASSERT_TRUE(Eventually([&] { return writer.m_log.Count(eConnected) == 2; }));
    writer.Write(1, 1.0F, 0);
    EXPECT_EQ(writer.m_log.Count(eWriteResponse), 1U);
    ASSERT_TRUE(writer.StartAndWait());
    writer.Write(2, 2.0F, 0);
    ASSERT_TRUE(Eventually([&] { return FileLines("channels.jsonl").size() == 4; }));
    EXPECT_EQ(FileLines("channels.jsonl").back(), R"({"op":"write","pmu":802,"time":2,"values":[2],"quality":0})");
}
} // namespace
