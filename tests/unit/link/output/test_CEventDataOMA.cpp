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
    std::size_t nPosts = 0;
    const auto Step = [&](double p_fDOE, std::int32_t p_eLast, std::size_t p_nNew)
    {
        EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, p_fDOE));
        EXPECT_EQ(event.GetLastEvent(), p_eLast);
        nPosts += p_nNew;
        EXPECT_EQ(FakeDli::Posts().size(), nPosts);
    };
    Step(0.5, 0, 0);
    Step(4.5, 2, 1);
    Step(4.9, 2, 0);
    Step(8.5, 3, 2);
    Step(0.5, 0, 1);
    EXPECT_EQ(Posted(), (Posts{{4205, 1}, {4205, 0}, {4204, 1}, {4204, 0}}));
    EXPECT_EQ(event.GetTrans(), 0);
    const FakeDli::SPost post = FakeDli::Posts()[0];
    EXPECT_TRUE(post.bWithTime);
    EXPECT_EQ(post.nTicks, STestTime::Ticks(0));
    EXPECT_EQ(post.eElem, eElemOMA);
    EXPECT_EQ(post.nElemId, 11U);
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
    event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 1.5);
    EXPECT_TRUE(FakeDli::Posts().empty());
    event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 3.5);
    event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 1.5);
    EXPECT_EQ(Posted(), (Posts{{4205, 1}, {4205, 0}}));
    EXPECT_EQ(event.GetLastEvent(), 0);
}

TEST_F(CEventDataOMATest, EndRepeatsTheValuesOfTheBeginning)
{
    CEventDataOMA event = Make();
    event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 4.5);
    event.ProcessAPP(&m_time, 0.6, 160.0, -0.06, 4.6);
    EXPECT_TRUE(event.ProcessDIS(&m_time));
    EXPECT_TRUE(event.ProcessDIS(&m_time));
    ASSERT_EQ(FakeDli::Posts().size(), 2U);
    EXPECT_EQ(FakeDli::Posts()[0].strText, g_strHead + "00.50|00000000150|0-0.070|04.50");
    EXPECT_EQ(FakeDli::Posts()[1].strText, FakeDli::Posts()[0].strText);
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
                              {false, 0.35, 12.5, -0.05, 11.25, "00.35|0012.50|0-0.050|11.25"},
                              {true, 123.4, 123456789012.0, -1.5, 0.25, "123.40|123456789012|0-1.500|00.25"},
                              {false, 0.0, 12345.678, 0.0, 0.0, "00.00|12345.68|00.000|00.00"}})
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
        FakeDli::Reset();
        m_capture.Clear();
        EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 400.0, fDamp, 11.5));
        EXPECT_EQ(m_capture.Has(ETraceLevel::eWarning, "ProcessAPP():Event type UNDAMPED CRITICAL does not fit to "
                                                       "damp.ratio: -0.010000!"),
                  fDamp < 0.0);
        EXPECT_EQ(Posted(), (Posts{{4203, 1}}));
    }
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
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, "Invalid TS!"));
    EXPECT_EQ(event.GetLastEvent(), 2);

    g_pEventWrite.reset();
    g_vecbTraceData[0] = true;
    EXPECT_TRUE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 8.5));
    EXPECT_TRUE(FakeDli::Posts().empty());
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eData, "DIS - Distinct Power Swing: " + g_strHead + "00.50|"));
    EXPECT_TRUE(m_capture.Has(ETraceLevel::eData, "APP - Critical Power Swing: " + g_strHead + "00.50|"));
}

TEST_F(CEventDataOMATest, ValuesWithoutACaseAreReportedAndSuspendNothing)
{
    const CEventDataOMA event = Make();
    EIncidenceKey eKey = eIkNone;
    std::string strText;
    for (const std::int32_t eType : {5, -1})
        EXPECT_FALSE(event.RetrveIncKeyFromEventTypePS(eType, eKey));
    EXPECT_FALSE(event.CreateTextFromIncKeyPS(eIkRestart, strText));
    EXPECT_EQ(m_capture.Count(ETraceLevel::eError, "No matching 'case'! -> Suspend Application."), 3U);
    EXPECT_EQ(GetAppState(), eAppRun);
    EXPECT_TRUE(event.CreateTextFromIncKeyPS(eIkNone, strText));
    EXPECT_EQ(strText, "No Power Swing");
}

TEST_F(CEventDataOMATest, MissingPartsAreNamed)
{
    CEventDataOMA event(true, 11, nullptr, 1, &m_trace);
    EXPECT_FALSE(event.ProcessAPP(nullptr, 0.5, 150.0, -0.07, 4.5));
    EXPECT_FALSE(event.ProcessDIS(nullptr));
    EXPECT_FALSE(event.ProcessAPP(&m_time, 0.5, 150.0, -0.07, 4.5));
    for (const char* pText : {"ProcessAPP():Invalid Pointer: p_pActTime!", "ProcessDIS():Invalid Pointer: p_pActTime!",
                              "RetrieveEventTypeFromDOE():Invalid Pointer: m_pDOE!"})
        EXPECT_TRUE(m_capture.Has(ETraceLevel::eError, pText)) << pText;
}
