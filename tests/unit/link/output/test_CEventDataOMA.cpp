#include "OutputTest.h"
#include "link/CEventDataOMA.h"
#include "link/CEventWriteOMA.h"
#include <limits>

using ETraceLevel = CaptureTrace::ETraceLevel;
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

    CEventDataOMA Make(std::int32_t p_eMinEvent = 1) { return {true, 11, &m_doe, p_eMinEvent, &m_trace}; }
    /// Posts so far as "key transition".
    static std::vector<std::pair<int, int>> Posted()
    {
        std::vector<std::pair<int, int>> vecPost;
        for (const FakeDli::SPost& post : FakeDli::Posts())
            vecPost.emplace_back(post.eKey, post.eTrans);
        return vecPost;
    }

    CDOE m_doe{std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{100.0, 200.0}),
               std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.1, -0.05})};
    STestTime m_time{};
};
using Posts = std::vector<std::pair<int, int>>;
} // namespace

TEST_F(CEventDataOMATest, OneEventStandsAtATimeAndAChangeEndsTheOldOneFirst)
{
    CEventDataOMA event = Make();
    for (const auto& [fDOE, eLast, nPosts] :
         {std::tuple{0.5, 0, 0U}, {4.5, 2, 1U}, {4.9, 2, 1U}, {8.5, 3, 3U}, {0.5, 0, 4U}})
    {
        EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, fDOE));
        EXPECT_EQ(event.GetLastEvent(), eLast);
        EXPECT_EQ(FakeDli::Posts().size(), nPosts);
    }
    EXPECT_EQ(Posted(), (Posts{{4205, 1}, {4205, 0}, {4204, 1}, {4204, 0}}));
    EXPECT_EQ(event.GetTrans(), 0);
    const std::vector<FakeDli::SPost> vecPost = FakeDli::Posts();
    EXPECT_EQ(vecPost[0].nTicks, STestTime::Ticks(0));
    EXPECT_EQ(vecPost[0].eElem, eElemOMA);
    EXPECT_EQ(vecPost[0].nElemId, 11U);
    EXPECT_EQ(vecPost[0].strText, g_strHead + "00.50|00000000150|-0.070|04.50");
    EXPECT_EQ(vecPost[1].strText, vecPost[0].strText) << "the end repeats the values of the beginning";
}

TEST_F(CEventDataOMATest, EachLevelHasItsType)
{
    const std::int32_t vecType[12] = {0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4};
    const CEventDataOMA event = Make();
    for (int nLevel = 0; nLevel < 12; ++nLevel)
        for (const double fPart : {0.0, 0.999})
        {
            std::int32_t eType = -1;
            EXPECT_TRUE(event.RetrieveEventTypeFromDOE(nLevel + fPart, eType));
            EXPECT_EQ(eType, vecType[nLevel]) << nLevel + fPart;
        }
}

TEST_F(CEventDataOMATest, BelowTheMinimumNothingStands)
{
    CEventDataOMA event = Make(2);
    for (const double fDOE : {1.5, 3.5, 1.5})
        EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, fDOE));
    EXPECT_EQ(Posted(), (Posts{{4205, 1}, {4205, 0}}));
    EXPECT_EQ(event.GetLastEvent(), 0);
}

TEST_F(CEventDataOMATest, NumbersOfTheTextHaveFixedForms)
{
    struct SCase
    {
        bool bPower;
        double fFreq, fMagn, fDamp, fDOE;
        const char* pText;
    };
    for (const SCase& test : {SCase{true, 0.35, 1500.0, 0.05, 3.5, "00.35|00000001500|00.050|03.50"},
                              {false, 0.35, 12.5, -0.05, 11.25, "00.35|0012.50|-0.050|11.25"},
                              {true, 123.4, 123456789012.0, -1.5, 0.25, "123.40|123456789012|-1.500|00.25"}})
    {
        const CEventDataOMA event(test.bPower, 1, &m_doe, 1, &m_trace);
        EXPECT_EQ(event.CreateAddition(test.fFreq, test.fMagn, test.fDamp, test.fDOE), g_strHead + test.pText);
    }
}

TEST_F(CEventDataOMATest, UndampedEventWithDecayingSwingWarnsAndGoesOut)
{
    for (const double fDamp : {-0.01, 0.01})
    {
        CEventDataOMA event = Make();
        EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 400.0, fDamp, 11.5));
        EXPECT_EQ(FakeDli::Posts().back().eKey, eIkPsUndampedCritical);
    }
    EXPECT_EQ(m_capture.Count(ETraceLevel::eWarning, "does not fit to damp.ratio: "), 1U);
    ExpectLines(ETraceLevel::eWarning,
                {"ProcessAPP():Event type UNDAMPED CRITICAL does not fit to damp.ratio: -0.010000!"});
}

TEST_F(CEventDataOMATest, DegreeOfExposureThatIsNoneLeavesTheEventStanding)
{
    CEventDataOMA event = Make();
    event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 4.5);
    for (const double fDOE : {12.0, -1.0, 1.0e308, g_fNaN})
        EXPECT_FALSE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, fDOE)) << fDOE;
    EXPECT_EQ(event.GetLastEvent(), 2);
    EXPECT_EQ(FakeDli::Posts().size(), 1U);
}

TEST_F(CEventDataOMATest, PostThatCannotBeMadeChangesTheStateAllTheSame)
{
    CEventDataOMA event = Make();
    const CTime timeNone(0);
    EXPECT_TRUE(event.ProcessAPP(&timeNone, 0.5, 150.0, -0.07, 4.5));
    EXPECT_EQ(event.GetLastEvent(), 2);
    ExpectErrors({"Invalid TS!"});
    g_pEventWrite.reset();
    g_vecbTraceData[0] = true;
    EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 8.5));
    EXPECT_TRUE(FakeDli::Posts().empty());
    ExpectLines(ETraceLevel::eData, {"DIS - Distinct Power Swing: " + g_strHead + "00.50|",
                                     "APP - Critical Power Swing: " + g_strHead + "00.50|"});
}

TEST_F(CEventDataOMATest, ValuesWithoutACaseAndMissingPartsAreReported)
{
    CEventDataOMA event(true, 11, nullptr, 1, &m_trace);
    EIncidenceKey eKey = eIkNone;
    std::string strText;
    for (const std::int32_t eType : {5, -1})
        EXPECT_FALSE(event.RetrveIncKeyFromEventTypePS(eType, eKey));
    EXPECT_FALSE(event.CreateTextFromIncKeyPS(eIkRestart, strText));
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "No matching 'case'! -> Suspend Application."), 3U);
    EXPECT_EQ(GetAppState(), eAppRun);
    EXPECT_TRUE(event.CreateTextFromIncKeyPS(eIkNone, strText));
    EXPECT_EQ(strText, "No Power Swing");
    EXPECT_FALSE(event.ProcessAPP(nullptr, 0.5, 150.0, -0.07, 4.5));
    EXPECT_FALSE(event.ProcessDIS(nullptr));
    EXPECT_FALSE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 4.5));
    ExpectErrors({"ProcessAPP():Invalid Pointer: p_pActTime!", "ProcessDIS():Invalid Pointer: p_pActTime!",
                  "RetrieveEventTypeFromDOE():Invalid Pointer: m_pDOE!"});
}
