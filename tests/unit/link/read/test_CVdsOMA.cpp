#include "SessionBench.h"

using CVdsOMA_Thread = SessionBench;

TEST_F(CVdsOMA_Thread, SessionLivesFromSetUpToStop)
{
    StartWorker(OMA());
    StartSession(OMA());
    ASSERT_TRUE(Await([this] { return OMA().HasCb(); }));
    EXPECT_EQ(FakeDli::ReadSets()[0].vecType, std::vector<int>(6, 8));
    EXPECT_TRUE(OMA().SetCbUpcDone());
    Deliver(0, 60);
    EXPECT_FALSE(OMA().m_bThreadDone);
    OMA().StopThread();
    OMA().m_pThread->join();
    EXPECT_EQ(m_nResult, 0);
    EXPECT_TRUE(OMA().m_bThreadDone);
    EXPECT_FALSE(OMA().HasCb() || OMA().SetCbStop() || OMA().SetCbUpcDone());
    EXPECT_EQ(OMA().m_hData.load(), nullptr);
    // The channel is left to its connection, stopped and without a callback.
    std::vector<std::string> vecCall;
    for (const FakeDli::SCall& call : FakeDli::Calls())
        if (call.strText.starts_with("Read."))
            vecCall.push_back(call.strText);
    EXPECT_EQ(vecCall, (std::vector<std::string>{"Read.New 1", "Read.SetCallBack", "Read.Add [11,12,13,21,22,23]",
                                                 "Read.Start rate 50", "Read.SetCallBack null", "Read.Stop"}));
    EXPECT_FALSE(m_capture.Has(CaptureTrace::ETraceLevel::eError, "CVds"));
}

TEST_F(CVdsOMA_Thread, FailedSetUpEndsTheThreadAndLeavesNoChannel)
{
    const std::pair<std::string, std::function<void()>> vecCase[] = {
        {"Call of DLI Add() method failed", [] { FakeDli::SetBehaviour({.strThrowAdd = "no"}); }},
        {"Cannot create DLI data channel: no", [] { FakeDli::SetBehaviour({.strThrowReadNew = "no"}); }},
        {"Invalid no.of phasor meas.channels", [this] {
             OMA().AddPmu(MakePmu(103, {31, 32}));
         }}};
    StartIdleWorker(OMA());
    const int nLive = FakeDli::LiveReadChannels();
    for (const auto& [strText, fnBreak] : vecCase)
    {
        FakeDli::Reset();
        fnBreak();
        EXPECT_EQ(OMA().ThreadCB({Job(OMA()).m_pThread.get()}), -1);
        EXPECT_TRUE(IsSuspendedWith("CVdsOMA::ThreadCB(): " + strText));
        EXPECT_EQ(FakeDli::LiveReadChannels(), nLive);
        EXPECT_TRUE(FakeDli::ReadStarts().empty());
        EXPECT_FALSE(OMA().HasCb() || OMA().m_bThreadDone);
    }
    EXPECT_EQ(OMA().ThreadCB({}), -1);
    EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():No worker thread is defined!"));
}

TEST_F(CVdsOMA_Thread, StopBeforeThereIsACallbackIsNotLost)
{
    StartWorker(OMA());
    OMA().StopThread();
    EXPECT_TRUE(m_capture.Has("CVdsOMA::StopThread():CB function does not exist!"));
    EXPECT_EQ(OMA().ThreadCB({Job(OMA()).m_pThread.get()}), 0);
    EXPECT_TRUE(OMA().m_bThreadDone && Job(OMA()).m_bThreadDone);
}

TEST_F(CVdsOMA_Thread, TearDownGoesOnOverEveryFailure)
{
    JumpOverSleeps();
    StartIdleWorker(OMA());
    (*Job(OMA()).m_pvechOMA)[eJobEventTerminate] = nullptr;
    FakeDli::SetBehaviour({.strThrowReadStop = "no"});
    OMA().StopThread();
    EXPECT_EQ(OMA().ThreadCB({Job(OMA()).m_pThread.get()}), 0);
    EXPECT_EQ(EventsNow_ms(), 30000);
    for (const std::string strText :
         {"Undefined event handle for 'eStatusStopApp'!", "Cannot terminate thread of data proc. job: JOB_VDS!",
          "Cannot stop DLI data channel!", "Job thread NOT terminated!"})
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():" + strText));
    EXPECT_TRUE(OMA().m_bThreadDone);
}

TEST_F(CVdsOMA_Thread, StopWorksAtAnyMoment)
{
    for (int i = 0; i < 20; ++i)
    {
        FakeDli::Reset();
        const auto pOMA = MakeSession("ANY", 902);
        StartWorker(*pOMA);
        StartSession(*pOMA);
        if (i % 2)
            Await([&pOMA] { return pOMA->HasCb(); });
        std::thread library([] { Deliver(0, 60); });
        pOMA->SetCbUpcDone();
        JoinSession(*pOMA);
        library.join();
        EXPECT_TRUE(pOMA->m_bThreadDone);
    }
}
