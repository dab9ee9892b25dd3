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
    CVdsOutPS m_swing{1, 8, {81, 82, 83, 84}, 1, &m_trace};
    CVdsOutCb& m_cb = *m_meas.GetCB();

    bool IsState(bool p_bDisconnected, bool p_bStartInit, bool p_bStarted) const
    {
        return m_cb.IsDisconnected() == p_bDisconnected && m_cb.m_bStartInit == p_bStartInit &&
               m_cb.IsStarted() == p_bStarted;
    }
};
} // namespace

TEST_F(CVdsOutCbTest, StartDeclaresTheVirtualPmuAndStopEndsIt)
{
    EXPECT_TRUE(IsState(true, false, false));
    EXPECT_TRUE(m_cb.DoStart(nullptr));
    EXPECT_TRUE(IsState(true, true, true));
    ASSERT_EQ(FakeDli::WriteStarts(g_nPmu).size(), 1U);
    EXPECT_EQ(FakeDli::WriteStarts(g_nPmu)[0].vecId, std::vector<unsigned long>{71});
    EXPECT_EQ(FakeDli::WriteStarts(g_nPmu)[0].nRate, 50);
    EXPECT_EQ(m_cb.m_nWaited_ms, 0U);

    EXPECT_TRUE(m_cb.DoStop(nullptr));
    EXPECT_TRUE(IsState(true, false, false));
    EXPECT_EQ(FakeDli::WriteStops(), std::vector<unsigned long>{g_nPmu});
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "") + m_capture.Count(ETraceLevel::eWarning, ""), 0U);
}

TEST_F(CVdsOutCbTest, StopWithoutStartWarnsTwiceAndStillStops)
{
    EXPECT_TRUE(m_cb.DoStop(nullptr));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eWarning, "CVdsOutCbMeas::DoStop():STOP cmd. received although NOT started "
                                                     "for vector with 1st ID=71!"));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eWarning, "CVdsOutCbMeas::DoStop():STOP cmd. received although NO start is "
                                                     "initialized for vector with 1st ID=71!"));
    EXPECT_EQ(FakeDli::WriteStops().size(), 1U);
}

TEST_F(CVdsOutCbTest, SecondStartReportsBothFlagsAndGoesToTheLibrary)
{
    EXPECT_TRUE(m_cb.DoStart(nullptr));
    EXPECT_TRUE(m_cb.DoStart(nullptr));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "START cmd. received although already started for vector with 1st "
                                                   "ID=71!"));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "START cmd. received although start already initialized for vector "
                                                   "with 1st ID=71!"));
    EXPECT_EQ(FakeDli::WriteStarts().size(), 2U);
}

TEST_F(CVdsOutCbTest, LibraryThatThrowsOnStartSuspendsAndOnStopIsReported)
{
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowWriteStart = "no";
    behaviour.strThrowWriteStop = "no";
    FakeDli::SetBehaviour(behaviour);
    EXPECT_FALSE(m_cb.DoStart(nullptr));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "Cannot start DLI writing channel"));
    EXPECT_EQ(GetAppState(), eAppSuspend);
    EXPECT_TRUE(IsState(true, true, false));
    EXPECT_FALSE(m_cb.DoStop(nullptr));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "DoStop():Cannot stop DLI writing channel!"));
    EXPECT_TRUE(IsState(true, true, false));
}

TEST_F(CVdsOutCbTest, SilentServerCostsFourHundredMilliseconds)
{
    FakeClock(1);
    Answer(FakeDli::EAnswer::eNone);
    const std::int64_t nBegin_ms = EventsNow_ms();
    EXPECT_FALSE(m_cb.DoStart(nullptr));
    EXPECT_EQ(EventsNow_ms() - nBegin_ms, 400);
    EXPECT_EQ(m_cb.m_nWaited_ms, 400U);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError,
                              "DoStart():Timeout [400 ms] for PS 'write' Start() response exceeded for                "
                              "                  PMU ID=7!"));
    EXPECT_TRUE(IsState(true, true, false));

    m_cb.Status(10, g_nPmu, 0); // the answer after all
    EXPECT_TRUE(m_cb.IsStarted());
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
    struct SCase
    {
        unsigned long nId;
        unsigned long nError;
        const char* pText;
    };
    for (const SCase& test :
         {SCase{g_nPmu, 5, "OnChannelDataWriteResponse():Channel data response showing errors!"},
          SCase{9, 0, "OnChannelDataWriteResponse():'Virtual PMU' ID received from VDS server does not match!"}})
    {
        FakeDli::SBehaviour behaviour;
        behaviour.nWriteAnswerId = test.nId;
        behaviour.nWriteAnswerError = test.nError;
        FakeDli::SetBehaviour(behaviour);
        EXPECT_FALSE(m_cb.DoStart(nullptr));
        EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, test.pText));
    }
}

TEST_F(CVdsOutCbTest, StatusIsNamedKeptAndUnknownOnesAreOnlyReported)
{
    m_cb.Status(2, 3, 20);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eInfo, "CVdsOutCbMeas::Status():DLI connect.state: 2  Req.no.: 3  Actual "
                                                  "VDS cycle time: 20."));
    for (const unsigned long eStatus : {2UL, 7UL, 8UL, 5UL, 9UL, 6UL, 11UL})
    {
        m_capture.Clear();
        m_cb.Status(eStatus, 1, 2);
        EXPECT_EQ(m_cb.m_eStatus, eStatus);
        const bool bKnown = eStatus == 2 || eStatus == 7 || eStatus == 8;
        EXPECT_EQ(m_capture.Has(ETraceLevel::eWarning,
                                "OnUnknownStatus():Unknown Status Message: eStatus=" + std::to_string(eStatus) +
                                    "Unknown Status Message: lReqNum=1Unknown Status Message: "
                                    "lAddInfo=2!"),
                  !bKnown)
            << eStatus;
    }
    EXPECT_TRUE(FakeDli::WriteStarts().empty());
    EXPECT_TRUE(FakeDli::WriteStops().empty());
}

TEST_F(CVdsOutCbTest, MeasurementChannelStartsAgainByItselfWhenTheLinkReturns)
{
    m_cb.Status(1, 0, 0);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eInfo, "CVdsOutCbMeas::OnConnected():CONNECT cmd received from DLI."));
    EXPECT_TRUE(IsState(false, true, true));
    m_cb.Status(1, 0, 0);
    EXPECT_EQ(FakeDli::WriteStarts().size(), 1U);
    EXPECT_FALSE(m_capture.Has("RESOVLED"));

    for (const unsigned long eLoss : {0UL, 3UL, 4UL})
    {
        m_capture.Clear();
        m_cb.Status(eLoss, 0, 0);
        m_cb.Status(eLoss, 0, 0);
        EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "OnDisconnected():Connection to VDS server lost!"), 1U);
        EXPECT_TRUE(IsState(true, false, false));
        m_cb.Status(1, 0, 0);
        EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "OnConnected():RESOVLED - re-connected to VDS server!"), 1U);
        EXPECT_TRUE(IsState(false, true, true));
    }
    EXPECT_EQ(FakeDli::WriteStops().size(), 3U);
}

TEST_F(CVdsOutCbTest, SwingChannelsWaitForTheirMode)
{
    CVdsOutCb& cb = *m_swing.GetCB();
    cb.Status(1, 0, 0);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eInfo, "CVdsOutCbPS::OnConnected():processing CONNECT cmd from DLI."));
    EXPECT_TRUE(FakeDli::WriteStarts().empty());
    EXPECT_FALSE(cb.IsDisconnected());

    const STestTime time;
    EXPECT_TRUE(cb.DoStart(&time));
    EXPECT_NE(cb.m_tsLast, 0);
    cb.Status(4, 0, 0);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "CVdsOutCbPS::OnDisconnected():Connection to VDS server lost!"));
    EXPECT_FALSE(cb.IsStarted());
    EXPECT_EQ(cb.m_tsLast, 0);
    cb.Status(1, 0, 0);
    EXPECT_EQ(FakeDli::WriteStarts().size(), 1U);
    EXPECT_FALSE(m_capture.Has("RESOVLED"));
}

TEST_F(CVdsOutCbTest, TraceFilterShowsStartAndStop)
{
    const STestTime time(45296020); // 12:34:56.020 after the minute that the common start is
    const std::string strTime = ActTimeAsText(time);
    for (const std::int32_t nFilter : {5, 71, g_nTraceFilterAll})
    {
        m_capture.Clear();
        g_nTraceFilterId = nFilter;
        m_cb.DoStart(&time);
        m_cb.DoStop(&time);
        m_cb.DoStart(nullptr);
        EXPECT_EQ(m_capture.Has(ETraceLevel::eError, "START         for ID=71 at TS=" + strTime), nFilter != 5);
        EXPECT_EQ(m_capture.Has(ETraceLevel::eError, " STOP       for ID=71 at TS=" + strTime), nFilter != 5);
        EXPECT_EQ(m_capture.Has(ETraceLevel::eError, "START         for ID=71!"), nFilter != 5);
        m_cb.DoStop(nullptr);
    }
    EXPECT_FALSE(m_capture.Has("chan.data write"));
    g_vecbTraceData[0] = true;
    m_cb.DoStart(nullptr);
    m_cb.DoStop(nullptr);
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eData, "START chan.data write"));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eData, "STOP chan.data write"));
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
    m_cb.Status(3, 0, 0);
    EXPECT_TRUE(m_cb.IsDisconnected());
}
