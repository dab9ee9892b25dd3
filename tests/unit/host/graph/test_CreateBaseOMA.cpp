#include "GraphTest.h"

// Configuration, connections and event writer of a pass: what is kept between passes, and the message and clean-up
// after each failure.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::ElementsAre;
using testing::IsEmpty;

using BaseOMA = GraphTest;

TEST_F(BaseOMA, ConnectsAnewOnlyForWhatHasChanged)
{
    struct
    {
        std::string strOld, strNew;
        std::vector<std::string> vecExpected;
    } const vecCase[] = {
        {"4712", "4712", {}},
        {"4713", "4799", {"OMA_2nd_Socket 127.0.0.1:4799"}},
        {"4712", "4798", {"OMA_1st_Socket 127.0.0.1:4798"}},
        // The address has been updated when the second connection is made, so only its port matters.
        {"127.0.0.1", "localhost", {"OMA_1st_Socket localhost:4712"}},
    };
    for (const auto& c : vecCase)
    {
        StartProcess();
        ASSERT_TRUE(CreateBase(BaseText()));
        const unsigned long hSockData = g_hSockData;
        const std::size_t nInits = FakeDli::Inits().size();
        Clean();
        EXPECT_FALSE(g_pEventWrite);
        ASSERT_TRUE(CreateBase(Changed(BaseText(), c.strOld, c.strNew)));
        EXPECT_TRUE(g_pEventWrite);
        std::vector<std::string> vecInit;
        const auto vecAll = FakeDli::Inits();
        for (std::size_t n = nInits; n < vecAll.size(); ++n)
            vecInit.push_back(vecAll[n].strName + " " + vecAll[n].strIPAddr + ":" + std::to_string(vecAll[n].nPort));
        EXPECT_EQ(vecInit, c.vecExpected) << c.strNew;
        EXPECT_EQ(g_hSockData == hSockData, c.strOld != "4713") << c.strNew;
        Clean();
    }
}

TEST_F(BaseOMA, EachFailureSaysSoAndLeavesNothing)
{
    struct
    {
        FakeDli::SBehaviour behaviour;
        std::string strExpected;
    } const vecCase[] = {
        {{.strInitName = "OMA_1st_Socket", .bInitZero = true},
         "No VDS server socket handle available for event handling and reading data"},
        {{.strInitName = "OMA_1st_Socket", .strThrowInit = "no route"},
         "DLI Init() for event handling and reading data returning with error: no route"},
        {{.strInitName = "OMA_2nd_Socket", .bInitZero = true},
         "No VDS server socket handle available for writing DLI chan.data"},
        {{.strInitName = "OMA_2nd_Socket", .strThrowInit = "no route"},
         "DLI Init() for writing data returning with error: no route"},
    };
    for (const auto& c : vecCase)
    {
        StartProcess();
        m_capture.Clear();
        FakeDli::SetBehaviour(c.behaviour);
        EXPECT_FALSE(CreateBase(BaseText()));
        EXPECT_THAT(Suspensions(), ElementsAre("CreateBaseOMA(): " + c.strExpected));
        EXPECT_EQ(GetAppState(), eAppSuspend);
        EXPECT_FALSE(g_pEventWrite);
        EXPECT_FALSE(m_pXml);
        Clean();
    }
}

TEST_F(BaseOMA, FileThatCannotBeReadSuspends)
{
    EXPECT_FALSE(CreateBase("<Configuration/>"));
    EXPECT_THAT(Suspensions(), ElementsAre("CreateBaseOMA(): Cannot read KESTREL config.file"));
    EXPECT_FALSE(CreateBaseOMA("/nowhere.xml", nullptr, &m_pXml, &m_pConfig, &g_hSockEvent, &g_hSockData));
    EXPECT_THAT(FakeDli::Inits(), IsEmpty());
    EXPECT_FALSE(m_pXml);
    EXPECT_FALSE(m_pConfig);
}

TEST_F(BaseOMA, EventWriterWithoutInstanceIsKept)
{
    FakeDli::SetBehaviour({.strThrowGetInstance = "none"});
    EXPECT_TRUE(CreateBase(BaseText()));
    ASSERT_TRUE(g_pEventWrite);
    EXPECT_TRUE(g_pEventWrite->IsError());
}
