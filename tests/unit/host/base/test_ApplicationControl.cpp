#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/AppState.h"
#include "host/ApplicationControl.h"
#include "host/CMethodTrace.h"
#include <gmock/gmock.h>

using Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel;
using testing::ElementsAre;

namespace
{
struct ApplicationControlTest : testing::Test
{
    ApplicationControlTest()
    {
        FakeDli::Reset();
        hSocket = Norvik::Energy::Kestrel::VDS::Runtime::Init(Norvik::Energy::Kestrel::eElemOMA, "OMA_1st_Socket",
                                                              "127.0.0.1", 4000);
        SetAppState(eAppRun);
    }
    ~ApplicationControlTest() override
    {
        SetAppState(eAppRun);
        SetEventContext(0);
    }
    CaptureTrace capture;
    unsigned long hSocket = 0;
};
} // namespace

TEST_F(ApplicationControlTest, SuspensionWritesTheLineMovesTheStateAndTellsTheServer)
{
    SetEventContext(3, hSocket, 77);
    SuspendApp("CClass", "Method", "Cause");
    EXPECT_THAT(capture.Lines(), ElementsAre("CClass::Method(): Cause! -> Suspend Application."));
    EXPECT_EQ(capture.Entries()[0].eLevel, ETraceLevel::eError);
    EXPECT_EQ(capture.Entries()[0].strArea, "");
    EXPECT_EQ(GetAppState(), eAppSuspend);
    const auto vecPost = FakeDli::Posts();
    ASSERT_EQ(vecPost.size(), 1U);
    EXPECT_FALSE(vecPost[0].bWithTime);
    EXPECT_EQ(vecPost[0].eKey, 4201);
    EXPECT_EQ(vecPost[0].eTrans, 1);
    EXPECT_EQ(vecPost[0].eElem, 3);
    EXPECT_EQ(vecPost[0].nElemId, 77U);
    EXPECT_EQ(vecPost[0].strText, "Cause!");
}

TEST_F(ApplicationControlTest, EachCallGivesAnEventAlsoAfterAStop)
{
    SetEventContext(2, hSocket);
    SuspendApp("Method", "First");
    SetAppState(eAppStop);
    SuspendApp("Method", "Second");
    EXPECT_EQ(GetAppState(), eAppStop);
    EXPECT_EQ(capture.Lines().back(), "Method(): Second! -> Suspend Application.");
    const auto vecPost = FakeDli::Posts();
    ASSERT_EQ(vecPost.size(), 2U);
    EXPECT_EQ(vecPost[0].eKey, 4001) << "element type 2";
    EXPECT_EQ(vecPost[0].nElemId, 0U);
}

TEST_F(ApplicationControlTest, WithoutAConnectionOrTypeOnlyTheLineRemains)
{
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowGetInstance = "unknown handle";
    FakeDli::SetBehaviour(behaviour);
    SetEventContext(3);
    SuspendApp("Method", "Early");
    FakeDli::SetBehaviour({});
    SetEventContext(1, hSocket);
    SuspendApp("Method", "Unknown type");
    EXPECT_EQ(capture.Lines().size(), 2U);
    EXPECT_TRUE(FakeDli::Posts().empty());
}

TEST_F(ApplicationControlTest, OtherControlsHaveTheirLevelsAndPostNothing)
{
    SetEventContext(3, hSocket);
    RestartApp("CClass", "Method", "Again");
    RestartApp("Method", "Again");
    EXPECT_EQ(GetAppState(), eAppRun);
    ApplicationControl(5, "full", "short");
    EXPECT_EQ(GetAppState(), eAppRun);
    ApplicationControl(2, "full", "short");
    EXPECT_EQ(GetAppState(), eAppStop);
    EXPECT_THAT(capture.Lines(), ElementsAre("CClass::Method(): Again!", "Method(): Again!", "full", "full"));
    EXPECT_EQ(capture.Count(ETraceLevel::eWarning, "Again"), 2U);
    EXPECT_EQ(capture.Entries()[2].eLevel, ETraceLevel::eError);
    EXPECT_EQ(capture.Entries()[3].eLevel, ETraceLevel::eInfo);
    EXPECT_TRUE(FakeDli::Posts().empty());
}

TEST_F(ApplicationControlTest, MethodTraceSuspendsEvenWithoutATrace)
{
    EXPECT_FALSE(CMethodTrace(nullptr, "CClass", "Method").Suspend("No ", 7));
    EXPECT_THAT(capture.Lines(), ElementsAre("CClass::Method(): No 7! -> Suspend Application."));
    EXPECT_EQ(GetAppState(), eAppSuspend);
}
