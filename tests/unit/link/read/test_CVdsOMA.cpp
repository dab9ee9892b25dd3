#include "SessionBench.h"

// ---- rates and shared PMUs ----

using CVds_Set = ReadBench;

TEST_F(CVds_Set, RequiredRateFollowsFromThePmusByTheInputMode)
{
    struct SCase
    {
        std::int32_t eMode;
        std::vector<std::int32_t> vecnRate;
        std::uint32_t nRate; ///< 0: refused
        std::string strError;
    };
    const std::string strBasic = "CVds::CheckForBasicCycleRates():";
    const SCase vecCase[] = {{0, {50, 40}, 50, ""},
                             {1, {50, 40}, 0, strBasic + "No 'case'!"},
                             {2, {50, 40}, 10, ""},
                             {0, {7}, 0, strBasic + "No 'case'!"},
                             {1, {7}, 7, ""},
                             {2, {7}, 7, ""},
                             {1, {60, 12, 20}, 12, ""},
                             {2, {60, 12, 20, 12}, 4, ""},
                             {2, {25, 12}, 1, ""},
                             {0, {}, 0, strBasic + "Invalid cycle rate: 0!"},
                             {1, {}, 0, ""},
                             {2, {}, 0, ""},
                             {0, {-2, -5}, 0, strBasic + "No 'case'!"},
                             {1, {0, 50}, 0, strBasic + "Invalid cycle rate: 0!"},
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

TEST_F(CVds_Set, BasicRatesAreTheThirteen)
{
    const CVdsOMA vds(1, 2, 901, true, 0, 5000, false, nullptr);
    std::vector<int> vecnRate;
    for (int nRate = -60; nRate <= 100; ++nRate)
        if (vds.CheckForBasicCycleRates(nRate))
            vecnRate.push_back(nRate);
    EXPECT_EQ(vecnRate, (std::vector{1, 3, 4, 5, 6, 10, 12, 15, 20, 25, 30, 50, 60}));
}

TEST_F(CVds_Set, PmuIsSharedByItsPhasorsAndPartialMatchesAddUp)
{
    CVdsOMA vds(1, 2, 901, true, 0, 5000, false, std::make_unique<CTraceOMA>("VDS"));
    vds.AddPmu(MakePmu(1, {1, 2, 3}));
    vds.AddPmu(MakePmu(2, {4, 5, 6}));
    vds.AddPmu(MakePmu(3, {9}));
    EXPECT_EQ(vds.m_nPmuCount, 3U);
    const std::pair<std::vector<std::uint32_t>, int> vecCase[] = {
        {{3, 2, 1}, 1}, {{4, 5, 6}, 2}, {{9}, 3}, {{1}, 0}, {{7, 8, 10}, 0}, {{1, 2, 4}, 2}, {{1, 5, 8}, 0}};
    for (const auto& [vecnId, nFound] : vecCase)
    {
        const CPmu* const pFound = vds.FindMatchingPmu(MakePmu(0, vecnId).get());
        EXPECT_EQ(pFound ? static_cast<int>(pFound->m_nId) : 0, nFound) << ::testing::PrintToString(vecnId);
    }
    EXPECT_EQ(vds.FindMatchingPmu(nullptr), nullptr);
    CPmu pmuEmpty;
    pmuEmpty.DeletePhasors();
    EXPECT_EQ(vds.FindMatchingPmu(&pmuEmpty), nullptr);
    vds.m_vecpPmu[1]->DeletePhasors();
    EXPECT_EQ(vds.FindMatchingPmu(MakePmu(0, {9}).get()), nullptr);
    vds.m_vecpPmu[0].reset();
    EXPECT_EQ(vds.FindMatchingPmu(MakePmu(0, {9}).get()), nullptr);
    for (const char* pszName : {"p_pPMU", "pvecPhasorIN", "pvecPhasor", "pPmu"})
        EXPECT_TRUE(m_capture.Has("CVds::FindMatchingPmu():Invalid Pointer: " + std::string(pszName) + "!"));
    vds.DeletePmus();
    EXPECT_EQ(vds.m_nPmuCount, 0U);
}

// ---- session thread ----

using CVdsOMA_Thread = SessionBench;

TEST_F(CVdsOMA_Thread, SessionLivesFromSetUpToStop)
{
    StartWorker(OMA());
    StartSession(OMA());
    ASSERT_TRUE(Await([this] { return OMA().HasCb(); }));
    const auto vecSet = FakeDli::ReadSets();
    ASSERT_EQ(vecSet.size(), 1U);
    EXPECT_EQ(vecSet[0].vecId, (std::vector<unsigned long>{11, 12, 13, 21, 22, 23}));
    EXPECT_EQ(vecSet[0].vecType, std::vector<int>(6, 8));
    EXPECT_TRUE(OMA().SetCbUpcDone());
    EXPECT_TRUE(FakeDli::ReadStatus(0, Dli::eConnected));
    EXPECT_TRUE(FakeDli::ReadStatus(0, Dli::eReqCycle, 0, 20));
    Deliver(0, 1, 60);
    EXPECT_FALSE(OMA().m_bThreadDone);

    OMA().StopThread();
    OMA().m_pThread->join();
    EXPECT_EQ(m_nResult, 0);
    EXPECT_TRUE(OMA().m_bThreadDone);
    EXPECT_FALSE(OMA().HasCb() || OMA().SetCbStop() || OMA().SetCbUpcDone());
    EXPECT_EQ(OMA().m_hData.load(), nullptr);
    // The channel is left to its connection, stopped and without a callback.
    EXPECT_EQ(FakeDli::CountCalls("Read.Delete"), 0U);
    std::vector<std::string> vecCall;
    for (const FakeDli::SCall& call : FakeDli::Calls())
        if (call.strText.starts_with("Read."))
            vecCall.push_back(call.strText);
    EXPECT_EQ(vecCall, (std::vector<std::string>{"Read.New 1", "Read.SetCallBack", "Read.Add [11,12,13,21,22,23]",
                                                 "Read.Start rate 50", "Read.SetCallBack null", "Read.Stop"}));
    EXPECT_FALSE(FakeDli::ReadStatus(0, Dli::eConnected));
    for (const char* pszText :
         {"Exiting while loop.", "Job thread terminated successfully.", "Terminating OMA thread."})
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():" + std::string(pszText)));
    EXPECT_FALSE(m_capture.Has(CaptureTrace::ETraceLevel::eError, "CVdsOMA::"));
    EXPECT_FALSE(m_capture.Has(CaptureTrace::ETraceLevel::eError, "CVdsCbOMA::"));
}

TEST_F(CVdsOMA_Thread, FailedSetUpEndsTheThreadAndLeavesNoChannel)
{
    struct SCase
    {
        std::string strText;
        std::function<void()> fnBreak;
    };
    const SCase vecCase[] = {
        {"Call of DLI Add() method failed", [] { FakeDli::SetBehaviour({.strThrowAdd = "no"}); }},
        {"Cannot create DLI data channel: no", [] { FakeDli::SetBehaviour({.strThrowReadNew = "no"}); }},
        {"Invalid no.of phasor meas.channels", [this] {
             OMA().AddPmu(MakePmu(103, {31, 32}));
         }}};
    StartIdleWorker(OMA());
    const int nLive = FakeDli::LiveReadChannels();
    for (const SCase& c : vecCase)
    {
        FakeDli::Reset();
        c.fnBreak();
        EXPECT_EQ(OMA().ThreadCB({Job(OMA()).m_pThread.get()}), -1);
        EXPECT_TRUE(IsSuspendedWith("CVdsOMA::ThreadCB(): " + c.strText)) << c.strText;
        EXPECT_EQ(FakeDli::LiveReadChannels(), nLive);
        EXPECT_TRUE(FakeDli::ReadStarts().empty());
        EXPECT_FALSE(OMA().HasCb());
        EXPECT_FALSE(OMA().m_bThreadDone);
        EXPECT_EQ(OMA().m_hData.load(), nullptr);
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
    EXPECT_TRUE(OMA().m_bThreadDone);
    EXPECT_TRUE(Job(OMA()).m_bThreadDone);
}

TEST_F(CVdsOMA_Thread, TearDownGoesOnOverEveryFailure)
{
    JumpOverSleeps();
    struct SCase
    {
        std::function<void(CJobOMA&)> fnBreak;
        std::string strError;
    };
    const SCase vecCase[] = {
        {[](CJobOMA&) {}, ""},
        {[](CJobOMA& r_job) { r_job.m_pvechOMA.reset(); }, "No event handle vector being defined!"},
        {[](CJobOMA& r_job) { (*r_job.m_pvechOMA)[eJobEventTerminate] = nullptr; },
         "Undefined event handle for 'eStatusStopApp'!"}};
    for (const SCase& c : vecCase)
    {
        const auto pOMA = MakeSession("SLOW", 902);
        StartIdleWorker(*pOMA);
        c.fnBreak(Job(*pOMA));
        FakeDli::SetBehaviour({.strThrowReadStop = "no"});
        pOMA->StopThread();
        m_capture.Clear();
        const std::int64_t nBegin_ms = EventsNow_ms();
        EXPECT_EQ(pOMA->ThreadCB({Job(*pOMA).m_pThread.get()}), 0);
        EXPECT_EQ(EventsNow_ms() - nBegin_ms, 30000);
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():" + c.strError));
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():Cannot terminate thread of data proc. job: JOB_SLOW!"));
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():Cannot stop DLI data channel!"));
        EXPECT_TRUE(m_capture.Has("CVdsOMA::ThreadCB():Job thread NOT terminated!"));
        EXPECT_TRUE(pOMA->m_bThreadDone);
        CloseHandle(pOMA->m_hEventDLI);
    }
}

TEST_F(CVdsOMA_Thread, NullJobSpoilsTheResultOnly)
{
    for (const bool bVector : {true, false})
    {
        const auto pOMA = MakeSession("NULL", 902);
        boost::thread thread;
        if (bVector)
            (*pOMA->m_pvecpJob)[0].reset();
        else
            pOMA->m_pvecpJob.reset();
        pOMA->StopThread();
        EXPECT_EQ(pOMA->ThreadCB({&thread}), -1);
        EXPECT_TRUE(m_capture.Has(bVector ? "CVdsOMA::ThreadCB():Invalid Pointer: pJob!"
                                          : "CVdsOMA::ThreadCB():Invalid Pointer: m_pvecpJob!"));
        EXPECT_TRUE(pOMA->m_bThreadDone);
        CloseHandle(pOMA->m_hEventDLI);
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
        std::thread library(
            []
            {
                FakeDli::ReadStatus(0, Dli::eConnected);
                FakeDli::ReadStatus(0, Dli::eReqCycle, 0, 20);
                Deliver(0, 30, 25);
            });
        pOMA->SetCbUpcDone();
        pOMA->SetCbStop();
        JoinSession(*pOMA);
        library.join();
        EXPECT_TRUE(pOMA->m_bThreadDone);
        CloseHandle(pOMA->m_hEventDLI);
    }
}

TEST_F(CVdsOMA_Thread, EventOfTheInstanceIsAcknowledgedByItsDis)
{
    OMA().m_nIncidenceKey = 4711;
    OMA().m_strAddition = "text";
    EXPECT_TRUE(OMA().AcknowledgeEvent());
    ASSERT_EQ(FakeDli::Posts().size(), 1U);
    EXPECT_EQ(FakeDli::CountCalls("Event.Post 4711 DIS 3 901 text"), 1U);
    g_pEventWrite.reset();
    EXPECT_TRUE(OMA().AcknowledgeEvent());
    EXPECT_EQ(FakeDli::Posts().size(), 1U);
}
