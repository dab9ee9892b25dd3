#include "SessionBench.h"

using CVds_Set = ReadBench;
using CVdsOMA_Thread = SessionBench;

TEST_F(CVds_Set, RequiredRateFollowsFromThePmusByTheInputMode)
{
    struct SCase
    {
        std::int32_t eMode;
        std::vector<std::int32_t> vecnRate;
        std::uint32_t nRate; ///< 0: refused
        std::string strError;
    };
    const std::string strNoCase = "CVds::CheckForBasicCycleRates():No 'case'!";
    const std::string strZero = "CVds::CheckForBasicCycleRates():Invalid cycle rate: 0!";
    const SCase vecCase[] = {{0, {50, 40}, 50, ""},
                             {1, {50, 40}, 0, strNoCase},
                             {2, {50, 40}, 10, ""},
                             {0, {7}, 0, strNoCase},
                             {1, {7}, 7, ""},
                             {2, {7}, 7, ""},
                             {1, {60, 12, 20}, 12, ""},
                             {2, {60, 12, 20, 12}, 4, ""},
                             {2, {25, 12}, 1, ""},
                             {0, {}, 0, strZero},
                             {1, {}, 0, ""},
                             {2, {}, 0, ""},
                             {0, {-2, -5}, 0, strNoCase},
                             {1, {0, 50}, 0, strZero},
                             {2, {0, 50}, 50, ""},
                             {2, {0, 0}, 0, ""},
                             {3, {50}, 0, "CVds::CalcVdsReqCycleRate(): Invalid 'case'! -> Suspend Application."}};
    for (const SCase& c : vecCase)
    {
        CVdsOMA vds(1, 2, 901, true, c.eMode, 5000, false, std::make_unique<CTraceOMA>("VDS"));
        for (const std::int32_t nRate : c.vecnRate)
            vds.AddPmu(MakePmu(1, {1}, nRate));
        m_capture.Clear();
        EXPECT_EQ(vds.CalcVdsReqCycleRate(c.eMode), c.nRate != 0);
        EXPECT_EQ(vds.m_nReqCycleRate, c.nRate);
        EXPECT_EQ(m_capture.Lines(), c.strError.empty() ? std::vector<std::string>() : std::vector{c.strError});
    }
}

TEST_F(CVds_Set, PmuIsSharedByItsPhasorsAndPartialMatchesAddUp)
{
    CVdsOMA vds(1, 2, 901, true, 0, 5000, false, std::make_unique<CTraceOMA>("VDS"));
    vds.AddPmu(MakePmu(1, {1, 2, 3}));
    vds.AddPmu(MakePmu(2, {4, 5, 6}));
    vds.AddPmu(MakePmu(3, {9}));
    const std::pair<std::vector<std::uint32_t>, std::uint32_t> vecCase[] = {
        {{3, 2, 1}, 1}, {{4, 5, 6}, 2}, {{9}, 3}, {{1}, 0}, {{7, 8, 10}, 0}, {{1, 2, 4}, 2}, {{1, 5, 8}, 0}};
    for (const auto& [vecnId, nFound] : vecCase)
    {
        const CPmu* const pFound = vds.FindMatchingPmu(MakePmu(0, vecnId).get());
        EXPECT_EQ(pFound ? pFound->m_nId : 0, nFound) << ::testing::PrintToString(vecnId);
    }
    const auto pPmu = MakePmu(0, {9});
    EXPECT_EQ(vds.FindMatchingPmu(nullptr), nullptr);
    vds.m_vecpPmu[1]->DeletePhasors();
    EXPECT_EQ(vds.FindMatchingPmu(pPmu.get()), nullptr);
    vds.m_vecpPmu[0].reset();
    EXPECT_EQ(vds.FindMatchingPmu(pPmu.get()), nullptr);
    pPmu->DeletePhasors();
    EXPECT_EQ(vds.FindMatchingPmu(pPmu.get()), nullptr);
    for (const char* pszName : {"p_pPMU", "pvecPhasorIN", "pvecPhasor", "pPmu"})
        EXPECT_TRUE(HasBadPointer("CVds::FindMatchingPmu", pszName));
    EXPECT_EQ(vds.m_nPmuCount, 3U);
    vds.DeletePmus();
    EXPECT_EQ(vds.m_nPmuCount, 0U);
}

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
    for (const char* pszText :
         {"Exiting while loop.", "Job thread terminated successfully.", "Terminating OMA thread."})
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():" + std::string(pszText)));
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
    // Nobody but StopThread is left to end the workers.
    OMA().StopThread();
    EXPECT_TRUE(IsSignalled((*Job(OMA()).m_pvechOMA)[eJobEventTerminate]));
    EXPECT_TRUE(Job(OMA()).m_bTerminateRequest);
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
    const std::pair<std::string, std::function<void(CJobOMA&)>> vecCase[] = {
        {"", [](CJobOMA&) {}},
        {"No event handle vector being defined!", [](CJobOMA& r_job) { r_job.m_pvechOMA.reset(); }},
        {"Undefined event handle for 'eStatusStopApp'!",
         [](CJobOMA& r_job) { (*r_job.m_pvechOMA)[eJobEventTerminate] = nullptr; }}};
    for (const auto& [strError, fnBreak] : vecCase)
    {
        JumpOverSleeps();
        const auto pOMA = MakeSession("SLOW", 902);
        StartIdleWorker(*pOMA);
        fnBreak(Job(*pOMA));
        FakeDli::SetBehaviour({.strThrowReadStop = "no"});
        pOMA->StopThread();
        m_capture.Clear();
        EXPECT_EQ(pOMA->ThreadCB({Job(*pOMA).m_pThread.get()}), 0);
        EXPECT_EQ(EventsNow_ms(), 30000);
        for (const std::string& strText :
             {strError, std::string("Cannot terminate thread of data proc. job: JOB_SLOW!"),
              std::string("Cannot stop DLI data channel!"), std::string("Job thread NOT terminated!")})
            EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():" + strText));
        EXPECT_TRUE(pOMA->m_bThreadDone);
    }
    boost::thread thread;
    for (const bool bVector : {true, false})
    {
        const auto pOMA = MakeSession("NULL", 902);
        bVector ? (*pOMA->m_pvecpJob)[0].reset() : pOMA->m_pvecpJob.reset();
        pOMA->StopThread();
        EXPECT_EQ(pOMA->ThreadCB({&thread}), -1);
        EXPECT_TRUE(HasBadPointer("CVdsOMA::ThreadCB", bVector ? "pJob" : "m_pvecpJob"));
        EXPECT_TRUE(pOMA->m_bThreadDone);
    }
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
