#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "link/CEventWriteOMA.h"
#include <gmock/gmock.h>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using Norvik::Energy::Kestrel::eElemNTM;
using testing::ElementsAre;

namespace
{
struct EventWrite : testing::Test
{
    EventWrite()
    {
        FakeDli::Reset();
        hConn = Init(Norvik::Energy::Kestrel::eElemOMA, "OMA_1st_Socket", "127.0.0.1", 4000);
    }
    CaptureTrace capture;
    CTraceOMA trace{"Area"};
    unsigned long hConn = 0;
};
} // namespace

TEST_F(EventWrite, FormsFixTransitionAndElementType)
{
    CEventWriteOMA write(hConn, &trace);
    ASSERT_FALSE(write.IsError());
    EXPECT_TRUE(write.PostAPP(eIkRestart, eElemNTM, 1, "a", nullptr));
    EXPECT_TRUE(write.PostDIS(eIkRestart, eElemNTM, 2, "b", nullptr));
    EXPECT_TRUE(write.PostAppOMA(eIkPsCritical, 3, "c", nullptr));
    EXPECT_TRUE(write.PostDisOMA(eIkPsCritical, 4, "d", nullptr));
    EXPECT_TRUE(write.PostOMA(eIkPsNotified, eAPP, 5, "e", nullptr));
    std::vector<std::string> vecSeen;
    for (const auto& post : FakeDli::Posts())
        vecSeen.push_back(std::to_string(post.eKey) + " " + std::to_string(post.eTrans) + " " +
                          std::to_string(post.eElem) + " " + std::to_string(post.nElemId) + " " + post.strText);
    EXPECT_THAT(vecSeen, ElementsAre("7 1 2 1 a", "7 0 2 2 b", "4204 1 3 3 c", "4204 0 3 4 d", "4206 1 3 5 e"));
}

TEST_F(EventWrite, TimeGoesWithTheEventOrRefusesIt)
{
    CEventWriteOMA write(hConn, &trace);
    CTime time(50);
    time.SetTicks(638448195090200000);
    EXPECT_TRUE(write.PostAppOMA(eIkPsCritical, 3, "timed", &time));
    ASSERT_EQ(FakeDli::Posts().size(), 1U);
    EXPECT_TRUE(FakeDli::Posts()[0].bWithTime);
    EXPECT_EQ(FakeDli::Posts()[0].nTicks, 638448195090200000);
    const CTime none(0);
    EXPECT_FALSE(write.PostAppOMA(eIkPsCritical, 3, "refused", &none));
    EXPECT_EQ(FakeDli::Posts().size(), 1U);
    EXPECT_THAT(capture.Lines(), ElementsAre("CEventWriteOMA::PostEvent():Invalid TS!"));
}

TEST_F(EventWrite, AThrownTextIsTracedAndPostsAreDropped)
{
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowGetInstance = "no such handle";
    FakeDli::SetBehaviour(behaviour);
    CEventWriteOMA write(hConn, &trace);
    EXPECT_TRUE(write.IsError());
    EXPECT_FALSE(write.PostAppOMA(eIkPsCritical, 3, "", nullptr));
    EXPECT_TRUE(FakeDli::Posts().empty());
    EXPECT_EQ(capture.Lines().front(),
              "CEventWriteOMA::CEventWriteOMA():Error resulting from DLI GetInstance() call: no such handle!");
    const CEventWrite silent(hConn, nullptr);
    EXPECT_TRUE(silent.IsError());
}
