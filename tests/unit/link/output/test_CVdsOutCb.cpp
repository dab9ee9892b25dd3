#include "OutputTest.h"
#include "link/CVdsOutMeas.h"
#include "link/CVdsOutPS.h"
#include <thread>

using ETraceLevel = CaptureTrace::ETraceLevel;

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

TEST_F(CVdsOutCbTest, StartAndStopReachTheLibraryAlsoWhereTheyDoNotFit)
{
    EXPECT_TRUE(m_cb.DoStop(nullptr));
    const std::string strStop = "CVdsOutCbMeas::DoStop():STOP cmd. received although N";
    ExpectLines(ETraceLevel::eWarning, {strStop + "OT started for vector with 1st ID=71!",
                                        strStop + "O start is initialized for vector with 1st ID=71!"});
    EXPECT_TRUE(m_cb.DoStart(nullptr));
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, ""), 0U);
    ExpectState(true, true, true);
    EXPECT_EQ(FakeDli::Calls().back().strText, "Write.Start 7 [71] 50");
    EXPECT_TRUE(m_cb.DoStart(nullptr));
    const std::string strStart = "CVdsOutCbMeas::DoStart():START cmd. received although ";
    ExpectErrors({strStart + "already started for vector with 1st ID=71!",
                  strStart + "start already initialized for vector with 1st ID=71!"});
    EXPECT_EQ(FakeDli::WriteStarts().size(), 2U);
    EXPECT_TRUE(m_cb.DoStop(nullptr));
    ExpectState(true, false, false);
    EXPECT_EQ(FakeDli::WriteStops(), (std::vector<unsigned long>{7, 7}));
}

TEST_F(CVdsOutCbTest, LibraryThatThrowsOnStartSuspendsAndOnStopIsReported)
{
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowWriteStart = behaviour.strThrowWriteStop = "no";
    FakeDli::SetBehaviour(behaviour);
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
    m_cb.Status(10, g_nPmu, 0); // the answer after all
    EXPECT_TRUE(m_cb.IsStarted());
    EXPECT_FALSE(m_cb.DoStart(nullptr)) << "an answer of before does not count";
}

TEST_F(CVdsOutCbTest, WaitEndsWithinOneStepOfTheAnswer)
{
    FakeClock(0);
    Answer(FakeDli::EAnswer::eNone);
    bool bStarted = false;
    std::thread thrJob([&] { bStarted = m_cb.DoStart(nullptr); });
    EXPECT_TRUE(EventsAwaitParked(1, 10000));
    EXPECT_TRUE(FakeDli::WriteStatus(g_nPmu, 10, g_nPmu, 0));
    EventsAdvance(10);
    thrJob.join();
    EXPECT_TRUE(bStarted);
    EXPECT_EQ(m_cb.m_nWaited_ms, 10U);
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

TEST_F(CVdsOutCbTest, StatusIsNamedKeptAndUnknownOnesAreOnlyReported)
{
    for (const unsigned long eStatus : {2UL, 7UL, 8UL, 5UL, 9UL, 6UL, 11UL})
    {
        const std::string strStatus = std::to_string(eStatus);
        const bool bKnown = eStatus == 2 || eStatus == 7 || eStatus == 8;
        m_cb.Status(eStatus, 1, 20);
        EXPECT_EQ(m_cb.m_eStatus, eStatus);
        EXPECT_EQ(
            m_capture.Has(ETraceLevel::eWarning, "OnUnknownStatus():Unknown Status Message: eStatus=" + strStatus +
                                                     "Unknown Status Message: lReqNum=1Unknown Status Message: "
                                                     "lAddInfo=20!"),
            !bKnown);
        ExpectLines(ETraceLevel::eInfo, {"CVdsOutCbMeas::Status():DLI connect.state: " + strStatus +
                                         "  Req.no.: 1  Actual VDS cycle time: 20."});
    }
    EXPECT_TRUE(FakeDli::WriteStarts().empty() && FakeDli::WriteStops().empty());
}

TEST_F(CVdsOutCbTest, MeasurementChannelStartsAgainByItselfWhenTheLinkReturns)
{
    m_cb.Status(1, 0, 0);
    m_cb.Status(1, 0, 0);
    ExpectState(false, true, true);
    EXPECT_EQ(FakeDli::WriteStarts().size(), 1U);
    EXPECT_FALSE(m_capture.Has("RESOVLED"));
    ExpectLines(ETraceLevel::eInfo, {"CVdsOutCbMeas::OnConnected():CONNECT cmd received from DLI."});
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

TEST_F(CVdsOutCbTest, SwingChannelsWaitForTheirMode)
{
    CVdsOutPS swing(1, 8, {81, 82, 83, 84}, 1, &m_trace);
    CVdsOutCb& cb = *swing.GetCB();
    const STestTime time;
    cb.Status(1, 0, 0);
    EXPECT_TRUE(FakeDli::WriteStarts().empty());
    ExpectLines(ETraceLevel::eInfo, {"CVdsOutCbPS::OnConnected():CONNECT cmd received from DLI.",
                                     "CVdsOutCbPS::OnConnected():processing CONNECT cmd from DLI."});
    EXPECT_TRUE(cb.DoStart(&time));
    EXPECT_NE(cb.m_tsLast, 0);
    cb.Status(4, 0, 0);
    EXPECT_FALSE(cb.IsStarted());
    EXPECT_EQ(cb.m_tsLast, 0);
    cb.Status(1, 0, 0);
    EXPECT_EQ(FakeDli::WriteStarts().size(), 1U);
    EXPECT_FALSE(m_capture.Has("RESOVLED"));
    ExpectErrors({"CVdsOutCbPS::OnDisconnected():Connection to VDS server lost!"});
}

TEST_F(CVdsOutCbTest, DetailLinesFollowTheirSwitches)
{
    const STestTime time(20);
    for (const std::int32_t nFilter : {5, 71, g_nTraceFilterAll})
    {
        g_nTraceFilterId = nFilter;
        m_cb.DoStart(&time);
        m_cb.DoStop(&time);
        EXPECT_EQ(m_capture.Has(ETraceLevel::eError, ""), nFilter != 5);
        if (nFilter != 5)
            ExpectErrors({"START         for ID=71 at TS=" + ActTimeAsText(time) + "!",
                          " STOP       for ID=71 at TS=" + ActTimeAsText(time) + "!"});
    }
    g_vecbTraceData[0] = true;
    m_cb.DoStart(nullptr);
    m_cb.DoStop(nullptr);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "START         for ID=71!"));
    ExpectLines(ETraceLevel::eData, {"START chan.data write", "STOP chan.data write"});
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
