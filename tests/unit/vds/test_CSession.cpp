#include "vds/core/CServerCore.h"
#include <gtest/gtest.h>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
class CNoSource final : public ISource
{
  public:
    const std::vector<unsigned long>& Ids() const override { return m_vecnId; }
    std::int32_t Rate() const override { return 50; }
    bool Next(SSourceCycle&) override { return false; }
    bool Rewind() override { return false; }

  private:
    const std::vector<unsigned long> m_vecnId{1};
};

Link::Message Start(unsigned p_nSet, int p_nIds)
{
    Link::Message message;
    message.mutable_start_set()->set_set(p_nSet);
    message.mutable_start_set()->set_rate(50);
    for (int n = 0; n < p_nIds; ++n)
        message.mutable_start_set()->add_ids(static_cast<std::uint64_t>(n));
    return message;
}

/// A connection whose client has greeted.
class Session : public testing::Test
{
  protected:
    std::shared_ptr<CSession> Greeted(std::uint64_t p_nId)
    {
        auto pSession = std::make_shared<CSession>(
            m_core, p_nId, false, std::make_shared<Link::CLinkStream>(boost::asio::ip::tcp::socket(m_core.Io())),
            "127.0.0.1", 4000);
        Link::Message hello;
        hello.mutable_hello()->set_version(Link::g_nLinkVersion);
        hello.mutable_hello()->set_name("client");
        pSession->OnLinkMessage(hello);
        return pSession;
    }
    CServerCore m_core{{}, std::make_unique<CNoSource>(), {}};
    const std::shared_ptr<CSession> m_pSession = Greeted(1);
};
} // namespace

TEST_F(Session, ChannelsAndReadSetsAreBounded)
{
    m_pSession->OnLinkMessage(Start(1, 60000));
    EXPECT_THROW(m_pSession->OnLinkMessage(Start(2, 40001)), std::runtime_error)
        << "the limit is for all sets together";
    m_pSession->OnLinkMessage(Start(1, 100000)); // replaces the previous one
    EXPECT_THROW(m_pSession->OnLinkMessage(Start(1, 100001)), std::runtime_error);
    m_pSession->OnLinkMessage(Start(1, 1));
    for (unsigned nSet = 2; nSet <= 1000; ++nSet)
        m_pSession->OnLinkMessage(Start(nSet, 1));
    EXPECT_THROW(m_pSession->OnLinkMessage(Start(1001, 1)), std::runtime_error);
    EXPECT_EQ(m_pSession->Sets().size(), 1000U);
}

TEST_F(Session, ChannelsOfAllConnectionsAreBounded)
{
    std::vector<std::shared_ptr<CSession>> vecpPeer;
    for (std::uint64_t nId = 2; nId <= 4; ++nId)
        vecpPeer.push_back(Greeted(nId));
    vecpPeer[0]->OnLinkMessage(Start(1, 99900));
    vecpPeer[1]->OnLinkMessage(Start(1, 99900));
    EXPECT_EQ(m_core.ReadCost(), 200000U);
    vecpPeer[2]->OnLinkMessage(Start(1, 900)); // the share that is always allowed
    EXPECT_THROW(vecpPeer[2]->OnLinkMessage(Start(2, 900)), std::runtime_error);
    vecpPeer[0]->OnLinkMessage(Start(1, 50000));
    vecpPeer[2]->OnLinkMessage(Start(2, 900));
    EXPECT_EQ(m_core.ReadCost(), 50100U + 100000U + 2000U);
}

TEST_F(Session, OutputChannelsAreBounded)
{
    COutputs& outputs = m_core.Outputs();
    EXPECT_EQ(outputs.Start(1, 0, 1, std::vector<std::uint64_t>(100001, 7), 1), COutputs::eTooMany);
    unsigned nStarted = 0;
    while (nStarted < 100000 && outputs.Start(1, nStarted, nStarted, {7}, 1) == COutputs::eAccepted)
        ++nStarted;
    EXPECT_EQ(nStarted, 20000U);
    EXPECT_EQ(outputs.Start(1, 0, 0, {7}, 1), COutputs::eAccepted) << "a started writer may start again";
    outputs.Stop(1, 0);
    EXPECT_EQ(outputs.Start(1, nStarted, nStarted, {7}, 1), COutputs::eAccepted);
    outputs.StopAll(1);
    const std::vector<std::uint64_t> vecnSame(40000, 7);
    EXPECT_EQ(outputs.Start(1, 0, 1, vecnSame, 1), COutputs::eAccepted);
    EXPECT_EQ(outputs.Start(1, 1, 1, vecnSame, 1), COutputs::eAccepted);
    EXPECT_EQ(outputs.Start(1, 2, 1, vecnSame, 1), COutputs::eTooMany) << "repeated channels count each time";
    outputs.StopAll(1);
    EXPECT_EQ(outputs.Start(1, 2, 1, vecnSame, 1), COutputs::eAccepted);
}
