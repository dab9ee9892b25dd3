#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/base/AppState.h"
#include "host/base/ApplicationControl.h"
#include "host/base/CMethodTrace.h"
#include "link/post/SuspensionPost.h"
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
