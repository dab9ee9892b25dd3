#include "GraphTest.h"

// The threads of a pass and its clean-up.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::IsEmpty;

namespace
{
class Threads : public GraphTest
{
  protected:
    /// As the event thread does at the end of a pass.
    void StopSessions()
    {
        for (const auto& pOMA : *m_pvecOMA)
        {
            if (!pOMA->m_pThread)
                continue;
            EXPECT_TRUE(Eventually([&] { return pOMA->HasCb(); }));
            pOMA->StopThread();
            EXPECT_TRUE(Eventually([&] { return pOMA->m_bThreadDone.load(); }));
        }
    }
};
} // namespace

TEST_F(Threads, EachActiveJobAndInstanceHasOneAndAllEnd)
{
    ASSERT_TRUE(Create(Changed(TwoJobs(BaseText()), R"(IsActive="true")", R"(IsActive="false")", "SECOND")));
    ASSERT_TRUE(CreateThreads());
    EXPECT_EQ(m_pThreadGroup->size(), 1U);
    EXPECT_TRUE(Instance().m_hEventDLI);
    EXPECT_TRUE(Job(0).HasThread());
    ASSERT_TRUE(Job(0).m_pvechOMA);
    EXPECT_EQ(Job(0).m_pvechOMA->size(), 6U);
    EXPECT_FALSE(Job(1).HasThread());
    EXPECT_FALSE(Job(1).m_pvechOMA);
    StopSessions();
    EXPECT_TRUE(Job(0).m_bThreadDone);
    m_capture.Clear();
    Clean();
    EXPECT_EQ(m_capture.Count(CaptureTrace::ETraceLevel::eError, ""), 0U);
    EXPECT_THAT(Suspensions(), IsEmpty());
}

TEST_F(Threads, CleanUpEndsThreadsThatNobodyHasStopped)
{
    ASSERT_TRUE(Create(TwoJobs(BaseText())));
    ASSERT_TRUE(CreateThreads());
    EXPECT_TRUE(Eventually([&] { return Instance().HasCb(); }));
    Clean();
    EXPECT_FALSE(m_capture.Has("cannot be removed"));
}

TEST_F(Threads, WorkersOfASessionThatCannotBeSetUpEndAsWell)
{
    FakeDli::SetBehaviour({.strThrowAdd = "refused"});
    ASSERT_TRUE(Create(TwoJobs(BaseText())));
    ASSERT_TRUE(CreateThreads());
    EXPECT_TRUE(Eventually([&] { return m_capture.Has("Call of DLI Add() method failed"); }));
    Clean();
    EXPECT_FALSE(m_capture.Has("do not end"));
}

TEST_F(Threads, PassAfterPassNothingIsLeft)
{
    for (int nPass = 0; nPass < 20; ++nPass)
    {
        ASSERT_TRUE(Create(TwoJobs(BaseText())));
        ASSERT_TRUE(CreateThreads());
        if (nPass % 2 == 0)
            StopSessions();
        Clean();
        EXPECT_EQ(CPSM::GetNoOfPSM(), 0);
    }
    EXPECT_EQ(FakeDli::Inits().size(), 2U);
    EXPECT_FALSE(m_capture.Has("cannot be removed"));
}

TEST_F(Threads, AnInstanceWithoutActiveJobsBecomesInactive)
{
    const std::string strWarning =
        "CreateThreadsOMA():OMA instance [GRID] declared as active in SCF but no jobs running!";
    const std::string strNone = "CreateThreadsOMA():No OMA instances being active and running!";
    ASSERT_TRUE(Create(Changed(BaseText(), R"(IsActive="true")", R"(IsActive="false")", "<Job ")));
    ASSERT_TRUE(CreateThreads());
    EXPECT_TRUE(m_capture.Has(CaptureTrace::ETraceLevel::eWarning, strWarning));
    EXPECT_TRUE(m_capture.Has(CaptureTrace::ETraceLevel::eWarning, strNone));
    EXPECT_FALSE(Instance().m_bActive);
    EXPECT_EQ(m_pThreadGroup->size(), 0U);
    Clean();
    EXPECT_EQ(m_capture.Count(CaptureTrace::ETraceLevel::eError, ""), 0U);

    m_capture.Clear();
    ASSERT_TRUE(Create(Changed(BaseText(), R"(IsActive="true")", R"(IsActive="false")", "<OMA ")));
    ASSERT_TRUE(CreateThreads());
    EXPECT_FALSE(m_capture.Has(strWarning));
    EXPECT_TRUE(m_capture.Has(strNone));
    EXPECT_THAT(Suspensions(), IsEmpty());
}

TEST_F(Threads, MissingObjectsSuspend)
{
    std::unique_ptr<boost::thread_group> pThreadGroup;
    EXPECT_FALSE(CreateThreadsOMA(nullptr, m_pvecOMA.get(), &m_trace, &pThreadGroup));
    EXPECT_TRUE(m_capture.Has("CreateThreadsOMA():Invalid pointer: #p_pConfig#!"));
    ASSERT_TRUE(Create(TwoJobs(BaseText())));
    EXPECT_FALSE(CreateThreadsOMA(m_pConfig, nullptr, &m_trace, &pThreadGroup));
    EXPECT_TRUE(m_capture.Has("CreateThreadsOMA():Invalid pointer: #p_pvecOMA#!"));

    Instance().m_pvecpJob->at(1).reset();
    EXPECT_TRUE(CreateThreads());
    EXPECT_TRUE(m_capture.Has("CreateThreadsOMA(): Invalid pointer: #pJob#! -> Suspend Application."));
    Job(0).m_bActive = false; // the search meets the missing one
    EXPECT_TRUE(CreateThreadsOMA(m_pConfig, m_pvecOMA.get(), &m_trace, &pThreadGroup));
    EXPECT_TRUE(m_capture.Has("CreateThreadsOMA(): Invalid Pointer: #pJob#! -> Suspend Application."));
    Job(0).m_bActive = true;
    m_pvecOMA->insert(m_pvecOMA->begin(), nullptr);
    EXPECT_TRUE(CreateThreadsOMA(m_pConfig, m_pvecOMA.get(), &m_trace, &pThreadGroup));
    EXPECT_TRUE(m_capture.Has("CreateThreadsOMA(): Invalid Pointer: #pOMA#! -> Suspend Application."));
    Clean();
    EXPECT_TRUE(m_capture.Has("CleanOMA():Invalid pointer: #pOMA#!"));
    EXPECT_TRUE(m_capture.Has("CleanOMA():Invalid pointer: #pJob#!"));
}

TEST_F(Threads, CleanUpOfAHalfBuiltPassTellsWhatIsMissing)
{
    ASSERT_TRUE(Create(BaseText()));
    Clean();
    EXPECT_TRUE(m_capture.Has("CleanOMA():Active OMA app. handle does not exist!"));
    EXPECT_TRUE(m_capture.Has("CleanOMA():Active OMA app. thread does not exist!"));
    EXPECT_TRUE(m_capture.Has("CleanOMA():OMA app.instances thread group cannot be removed!"));

    m_capture.Clear();
    Clean(); // with nothing at all
    EXPECT_EQ(m_capture.Count(CaptureTrace::ETraceLevel::eError, ""), 1U);
    EXPECT_TRUE(m_capture.Has("thread group cannot be removed"));
}

TEST_F(Threads, CleanUpFreesTheEventReader)
{
    ASSERT_TRUE(Create(BaseText()));
    {
        const std::lock_guard lock(g_mtxEventRead);
        g_pEventRead = std::make_unique<CEventReadOMA>(g_hSockEvent, m_pConfig, &m_trace, m_pvecOMA.get());
    }
    Clean();
    EXPECT_FALSE(g_pEventRead);
    EXPECT_EQ(FakeDli::RegisteredEventCallBacks(), 0);
}

TEST_F(Threads, HandlesAreNewAndAutomatic)
{
    EXPECT_FALSE(CreateHandlesOMA(nullptr, &m_trace));
    EXPECT_TRUE(m_capture.Has("CreateHandlesOMA():Invalid pointer: #p_pvechOMA#!"));
    std::vector<HANDLE> vech(6);
    ASSERT_TRUE(CreateHandlesOMA(&vech, &m_trace));
    for (const HANDLE hEvent : vech)
    {
        EXPECT_EQ(WaitForSingleObject(hEvent, 0), WAIT_TIMEOUT);
        SetEvent(hEvent);
        EXPECT_EQ(WaitForSingleObject(hEvent, 0), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(hEvent, 0), WAIT_TIMEOUT);
        CloseHandle(hEvent);
    }
}

TEST_F(Threads, NothingIsFreedUnderAThreadThatDoesNotEnd)
{
    ASSERT_TRUE(Create(BaseText()));
    const HANDLE hEnd = CreateEventW(nullptr, 0, 0, nullptr);
    std::atomic<std::uint32_t> nIdSeen{0};
    Job().m_pThread = std::make_unique<boost::thread>(
        [pJob = &Job(), hEnd, &nIdSeen]
        {
            WaitForSingleObject(hEnd, INFINITE);
            nIdSeen = pJob->m_nId;
        });
    EventsUseFakeClock(true);
    EventsAutoAdvance(2); // the worker that does not end, and the clean-up that waits for it
    Clean();
    EventsAutoAdvance(0);
    EXPECT_TRUE(m_capture.Has("CleanOMA():Threads of OMA instance do not end, its objects are kept: ID=901!"));
    EXPECT_EQ(CPSM::GetNoOfPSM(), 1);
    SetEvent(hEnd);
    EXPECT_TRUE(Eventually([&] { return nIdSeen == 500U; }));
    EventsUseFakeClock(false);
    m_nPSMKept = CPSM::GetNoOfPSM();
}

TEST_F(Threads, AJobIsOnStaticNTMWithTwoInputsOfItsPmus)
{
    const std::string strVpad = VpadText();
    const std::string strMark = "<NTMs>";
    struct
    {
        std::string strName, strText;
        bool bExpected;
    } const vecCase[] = {
        {"both PMUs", strVpad, true},
        {"power job", BaseText(), false},
        {"inactive application", Changed(strVpad, R"(<NTM IsActive="true")", R"(<NTM IsActive="false")"), false},
        {"inactive job", Changed(strVpad, R"("Static" IsActive="true")", R"("Static" IsActive="false")"), false},
        {"other spelling", Changed(strVpad, R"("Static")", R"("static")"), false},
        {"one PMU only", Without(strVpad, R"(<Input RefId="1031")", "/>"), false},
        {"one PMU twice", Changed(strVpad, R"(RefId="1031")", R"(RefId="1012")"), true},
        {"another PMU", Changed(strVpad, R"(RefId="1031")", R"(RefId="1021")"), false},
        {"data point without PMU", Changed(strVpad, R"(RefId="1031")", R"(RefId="5000")"), false},
        {"inputs of two jobs",
         Changed(strVpad, R"(<Input RefId="1031"/>)",
                 R"(</Inputs></Job><Job Name="Static" IsActive="true"><Inputs><Input RefId="1031"/>)", strMark),
         false},
        {"no application", Without(strVpad, "<NTM ", "</NTM>"), false},
    };
    for (const auto& c : vecCase)
    {
        ASSERT_TRUE(Create(c.strText)) << c.strName;
        EXPECT_EQ(IsJobOnStaticNTM(m_pConfig, &Job()), c.bExpected) << c.strName;
        Clean();
    }
    EXPECT_FALSE(IsJobOnStaticNTM(nullptr, nullptr));
}

TEST_F(Threads, UseOfNTMIsDecidedByInstanceJobAndApplication)
{
    for (const bool bEnabled : {false, true})
        for (const bool bUsing : {false, true})
            for (const bool bStatic : {false, true})
            {
                std::string strText = Changed(VpadText(), R"(IsEnabledNTM="false")",
                                              bEnabled ? R"(IsEnabledNTM="true")" : R"(IsEnabledNTM="0")");
                strText =
                    Changed(strText, R"(IsUsingNTM="false")", bUsing ? R"(IsUsingNTM="true")" : R"(IsUsingNTM="0")");
                ASSERT_TRUE(Create(bStatic ? strText : Changed(strText, R"("Static")", R"("Other")")));
                ASSERT_TRUE(CreateThreads());
                EXPECT_EQ(Job().m_bUsingNTM, bEnabled && bUsing && bStatic);
                Clean();
            }
}
