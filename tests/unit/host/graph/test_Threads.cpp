#include "GraphTest.h"

// The threads of a pass and its clean-up.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::IsEmpty;

namespace
{
class Threads : public GraphTest
{
  protected:
    /// Stops the sessions as the event thread does at the end of a pass.
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
        EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept);
    }
    EXPECT_EQ(FakeDli::Inits().size(), 2U);
    EXPECT_FALSE(m_capture.Has("cannot be removed"));
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
    EventsAutoAdvance(2); // waits of the worker that does not end, and of the clean-up
    Clean();
    EventsAutoAdvance(0);
    EXPECT_TRUE(m_capture.Has("CleanOMA():Threads of OMA instance do not end, its objects are kept: ID=901!"));
    EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept + 1);
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
