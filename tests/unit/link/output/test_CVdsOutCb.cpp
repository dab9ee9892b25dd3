#include "OutputTest.h"
#include "link/output/CVdsOutMeas.h"
#include <thread>

namespace
{
constexpr std::uint32_t g_nPmu = 7;

class CVdsOutCbTest : public OutputTest
{
  protected:
    CVdsOutMeas m_meas{1, g_nPmu, {71}, 50, &m_trace};
    CVdsOutCb& m_cb = *m_meas.GetCB();

    void ExpectState(bool p_bDisconnected, bool p_bStartInit, bool p_bStarted) const
    {
        EXPECT_EQ(m_cb.IsDisconnected(), p_bDisconnected);
        EXPECT_EQ(m_cb.m_bStartInit, p_bStartInit);
        EXPECT_EQ(m_cb.IsStarted(), p_bStarted);
    }
};
} // namespace

TEST_F(CVdsOutCbTest, LibraryThatThrowsOnStartSuspendsAndOnStopIsReported)
{
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowWriteNew = behaviour.strThrowWriteStart = behaviour.strThrowWriteStop = "no";
    FakeDli::SetBehaviour(behaviour);
    EXPECT_THROW(CVdsOutMeas(0, 9, {91}, 50, &m_trace), FakeDli::Dli::CDliError);
    EXPECT_FALSE(m_cb.DoStart(nullptr));
    EXPECT_EQ(GetAppState(), eAppSuspend);
    EXPECT_FALSE(m_cb.DoStop(nullptr));
    ExpectState(true, true, false);
    ExpectErrors({"Cannot start DLI writing channel", "DoStop():Cannot stop DLI writing channel!"});
}

TEST_F(CVdsOutCbTest, SilentServerCostsFourHundredMilliseconds)
{
    FakeClock(1);
    Answer(FakeDli::EAnswer::eNone);
    const std::int64_t nBegin_ms = EventsNow_ms();
    EXPECT_FALSE(m_cb.DoStart(nullptr));
    EXPECT_EQ(EventsNow_ms() - nBegin_ms, 400);
    EXPECT_EQ(m_cb.m_nWaited_ms, 400U);
    ExpectErrors({"DoStart():Timeout [400 ms] for PS 'write' Start() response exceeded for                           "
                  "       PMU ID=7!"});
    ExpectState(true, true, false);
    m_cb.Status(10, g_nPmu, 0); // the late answer
    EXPECT_TRUE(m_cb.IsStarted());
    EXPECT_FALSE(m_cb.DoStart(nullptr)) << "an answer of before does not count";
}

TEST_F(CVdsOutCbTest, AnswerWithErrorOrForeignIdIsNoStart)
{
    FakeClock(1);
    FakeDli::SBehaviour behaviour;
    behaviour.nWriteAnswerError = 5;
    FakeDli::SetBehaviour(behaviour);
    EXPECT_FALSE(m_cb.DoStart(nullptr));
    ExpectErrors({"OnChannelDataWriteResponse():Channel data response showing errors!"});
    behaviour.nWriteAnswerError = 0;
    behaviour.nWriteAnswerId = 9;
    FakeDli::SetBehaviour(behaviour);
    EXPECT_FALSE(m_cb.DoStart(nullptr));
    ExpectErrors({"OnChannelDataWriteResponse():'Virtual PMU' ID received from VDS server does not match!"});
}

TEST_F(CVdsOutCbTest, MeasurementChannelStartsAgainByItselfWhenTheLinkReturns)
{
    m_cb.Status(1, 0, 0);
    m_cb.Status(1, 0, 0);
    ExpectState(false, true, true);
    EXPECT_EQ(FakeDli::WriteStarts().size(), 1U);
    EXPECT_FALSE(m_capture.Has("RESOVLED"));
    for (const unsigned long eLoss : {0UL, 3UL, 4UL})
    {
        m_cb.Status(eLoss, 0, 0);
        m_cb.Status(eLoss, 0, 0);
        EXPECT_EQ(m_capture.Count("Connection to VDS server lost"), 1U);
        ExpectState(true, false, false);
        m_cb.Status(1, 0, 0);
        ExpectState(false, true, true);
        ExpectErrors({"CVdsOutCbMeas::OnDisconnected():Connection to VDS server lost!",
                      "CVdsOutCbMeas::OnConnected():RESOVLED - re-connected to VDS server!"});
    }
    EXPECT_EQ(FakeDli::WriteStops().size(), 3U);
}

TEST_F(CVdsOutCbTest, WriterMayGoWhileItsStartStillWaits)
{
    FakeDli::SBehaviour behaviour;
    behaviour.bWriteConnected = true;
    behaviour.eWriteAnswer = FakeDli::EAnswer::eNone;
    FakeDli::SetBehaviour(behaviour);
    FakeClock(1);
    const int nLive = FakeDli::LiveWriteChannels();
    {
        const CVdsOutMeas meas(1, 20, {201}, 50, &m_trace);
    }
    EXPECT_EQ(FakeDli::LiveWriteChannels(), nLive);
    EXPECT_EQ(FakeDli::WriteCallBack(20), nullptr);
}

TEST_F(CVdsOutCbTest, LinkAndJobMayStartAndStopAtOnce)
{
    Answer(FakeDli::EAnswer::eOtherThread);
    FakeClock(1);
    std::thread thrLink(
        [this]
        {
            for (int i = 0; i < 100; ++i)
                m_cb.Status(i % 2 ? 0 : 1, 0, 0);
        });
    for (int i = 0; i < 100; ++i)
    {
        m_cb.DoStart(nullptr);
        m_cb.DoStop(nullptr);
    }
    thrLink.join();
    EXPECT_EQ(FakeDli::WriteStarts().size(), 150U);
    EXPECT_TRUE(m_cb.IsDisconnected());
}
