#include "OutputTest.h"
#include "link/output/CEventDataOMA.h"
#include "link/post/CEventWriteOMA.h"
#include <limits>

using namespace Norvik::Energy::Kestrel;
using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr double g_fNaN = std::numeric_limits<double>::quiet_NaN();
const std::string g_strHead = "#FREQUENCY#|#MAGNITUDE#|#DAMPING_RATIO#|#DEGREE_OF_EXPOSURE#~";

class CEventDataOMATest : public OutputTest
{
  protected:
    CEventDataOMATest() { g_pEventWrite = std::make_unique<CEventWriteOMA>(1, &m_trace); }
    ~CEventDataOMATest() override { g_pEventWrite.reset(); }

    CDOE m_doe{std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{100.0, 200.0}),
               std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.1, -0.05})};
    STestTime m_time{};
};
} // namespace

TEST_F(CEventDataOMATest, OneEventStandsAtATimeAndAChangeEndsTheOldOneFirst)
{
    CEventDataOMA event(true, 11, &m_doe, 1, &m_trace);
    for (const auto& [fDOE, eLast, nPosts] :
         {std::tuple{0.5, 0, 0U}, {4.5, 2, 1U}, {4.9, 2, 1U}, {8.5, 3, 3U}, {0.5, 0, 4U}})
    {
        EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, fDOE));
        EXPECT_EQ(event.GetLastEvent(), eLast);
        EXPECT_EQ(FakeDli::Posts().size(), nPosts);
    }
    const std::vector<FakeDli::SPost> vecPost = FakeDli::Posts();
    ASSERT_EQ(vecPost.size(), 4U);
    EXPECT_TRUE(vecPost[0].eKey == 4205 && vecPost[0].eTrans == eAPP && vecPost[1].eTrans == eDIS);
    EXPECT_TRUE(vecPost[2].eKey == 4204 && vecPost[2].eTrans == eAPP && vecPost[3].eTrans == eDIS);
    EXPECT_EQ(vecPost[0].nTicks, STestTime::Ticks(0));
    EXPECT_EQ(vecPost[0].eElem, eElemOMA);
    EXPECT_EQ(vecPost[0].nElemId, 11U);
    EXPECT_EQ(vecPost[0].strText, g_strHead + "00.50|00000000150|-0.070|04.50");
    EXPECT_EQ(vecPost[1].strText, vecPost[0].strText) << "the end repeats the values of the beginning";
}

TEST_F(CEventDataOMATest, DegreeOfExposureThatIsNoneLeavesTheEventStanding)
{
    CEventDataOMA event(true, 11, &m_doe, 1, &m_trace);
    event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 4.5);
    for (const double fDOE : {12.0, -1.0, 1.0e308, g_fNaN})
        EXPECT_FALSE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, fDOE)) << fDOE;
    EXPECT_EQ(event.GetLastEvent(), 2);
    EXPECT_EQ(FakeDli::Posts().size(), 1U);
}

TEST_F(CEventDataOMATest, PostThatCannotBeMadeChangesTheStateAllTheSame)
{
    CEventDataOMA event(true, 11, &m_doe, 1, &m_trace);
    const CTime timeNone(0);
    EXPECT_TRUE(event.ProcessAPP(&timeNone, 0.5, 150.0, -0.07, 4.5));
    EXPECT_EQ(event.GetLastEvent(), 2);
    ExpectErrors({"Invalid TS!"});
    g_pEventWrite.reset();
    EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 8.5));
    EXPECT_TRUE(FakeDli::Posts().empty());
}
