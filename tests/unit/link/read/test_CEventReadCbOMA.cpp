#include "CXMLConfiguration.h"
#include "SessionBench.h"

using namespace Norvik::Energy::Kestrel;

/// Two sessions with PMUs 101, 102 and 103 each. Data points 1011 to 1013, 1021 and 1031 belong to them, 5000 to none.
class CEventReadCbOMA_Test : public SessionBench
{
  protected:
    CEventReadCbOMA_Test()
    {
        EXPECT_EQ(m_xml.Read(OMA_TEST_DATA "/config/base.xml", ""), 0);
        m_pConfig = Dli::CConfiguration::CreateInstance(&m_xml);
        m_vecpOMA.push_back(MakeSession("VDS2", 902));
        for (const auto& pOMA : m_vecpOMA)
            pOMA->AddPmu(MakePmu(103, {31}));
        m_pCb = std::make_unique<CEventReadCbOMA>(m_pConfig, &m_vecpOMA, &m_trace);
        m_pCb->m_nUpcReq = 7;
        m_capture.Clear();
    }
    ~CEventReadCbOMA_Test() override { Dli::CConfiguration::DeleteInstance(); }

    bool Process(Dli::ETransition p_eTrans, int p_eKey, const std::string& p_strText)
    {
        Dli::CEvent event(p_eTrans, static_cast<EElementType>(2), 0, static_cast<Dli::EIncidenceKey>(p_eKey),
                          p_strText);
        return m_pCb->ProcessEvent(&event, 0);
    }
    CPmu& Pmu(std::uint32_t p_nId, std::size_t p_nOMA = 0) { return *OMA(p_nOMA).m_vecpPmu[p_nId - 101]; }
    void ResetPmus()
    {
        for (const auto& pOMA : m_vecpOMA)
            for (const auto& pPmu : pOMA->m_vecpPmu)
            {
                pPmu->m_nIsland = pPmu->m_nZone = pPmu->m_nIsland2 = 77U;
                pPmu->m_eZoneQual = pPmu->m_eIslandQual2 = 77;
            }
    }

    Dli::CXMLConfiguration m_xml;
    Dli::CConfiguration* m_pConfig = nullptr;
    CTraceOMA m_trace{"EVENT"};
    std::unique_ptr<CEventReadCbOMA> m_pCb;
};

TEST_F(CEventReadCbOMA_Test, SessionThatDoesNotComeUpInTimeSuspends)
{
    JumpOverSleeps();
    OMA(1).m_pThread = std::make_unique<boost::thread>();
    OMA(1).m_nTimeout_ms = 1500;
    std::vector<Dli::CEvent*> vecpEvent = {nullptr};
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(IsSuspendedWith("CEventReadCbOMA::Receive(): Timeout exceeded for creating OMA CB object"));
    EXPECT_EQ(EventsNow_ms(), 1500);
    OMA(1).m_bActive = false;
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(IsSuspendedWith("OMA inst. declared as inactive despite thread being assigned"));
    EXPECT_FALSE(m_pCb->m_bUpcFinished);
}

TEST_F(CEventReadCbOMA_Test, TextReachesThePmusOfAllInstances)
{
    struct SCase
    {
        std::string strText;   ///< after the marker
        std::string strFields; ///< island or zone of PMUs 101, 102, 103; "-": unchanged
        std::string strError;  ///< empty: no error
    };
    const SCase vecZone[] = {{"ZONE=1 x ID=1011 ZONE=2 x ID=1021 END", "0 1 -", ""},
                             {"ZONE=1 x ID=1011 ID=1031 ZONE=2 x ID=1021 ZONE=3 x ID=1031 END", "0 1 2", ""},
                             {"ZONE=1 x ID=1011 ZONE=3 x ID=1021 END", "0 - -", "Invalid zone index: 3[target: 2]!"},
                             {"ZONE=99999999999999999999 x", "- - -", "Invalid zone index: 2147483647[target: 1]!"},
                             {"ZONE=-99999999999 x", "- - -", "Invalid zone index: -2147483648[target: 1]!"},
                             // The ignored token may be anything.
                             {"ZONE=1 ID=1011 ID=1021 END", "- 0 -", ""},
                             // The text may end anywhere.
                             {"ZONE=1 x ID=1011", "0 - -", ""},
                             {"ZONE=1", "- - -", ""},
                             {"", "- - -", ""},
                             // Unknown data points are reported; the rest of the text is still applied.
                             {"ZONE=1 x ID=5000 ID=99999999999999999999 ID=-1 ID= ID=1011abc END", "0 - -",
                              "Invalid or undefined PMU in KESTREL config.file!"}};
    const SCase vecSubzone[] = {
        {"ZONE=3 SUBZONE=1 x ID=1011 SUBZONE=2 x ID=1021 ZONE=1 SUBZONE=1 x SUBZONE=2 x ID=1031 END", "0 1 1", ""},
        {"ZONE=3 ZONE=4 SUBZONE=1 x ID=1011", "0 - -", ""},
        {"ZONE=0 SUBZONE=1 x ID=1011", "- - -", "Invalid zone index: 0!"},
        {"ZONE=1 SUBZONE=1 x ID=1011 SUBZONE=1 x ID=1021", "0 - -", "Invalid subz. index: 1[target: 2]!"},
        {"ZONE=1 SUBZONE=1 x END ZONE=2 SUBZONE=1 x ID=1011", "- - -", ""},
        {"ZONE=1", "- - -", ""}};
    const auto fnCheck = [this](const SCase& p_case, int p_eKey, TShared<std::uint32_t> CPmu::*p_pField)
    {
        SCOPED_TRACE(p_case.strText);
        ResetPmus();
        m_capture.Clear();
        const bool bOk = Process(Dli::eAPP, p_eKey, " \n#ZONE_DATA#~" + p_case.strText);
        EXPECT_EQ(bOk, p_case.strError.find("index") == std::string::npos);
        for (const std::size_t nOMA : {0U, 1U})
        {
            std::string strFields;
            for (const std::uint32_t nPmu : {101U, 102U, 103U})
            {
                const std::uint32_t nField = Pmu(nPmu, nOMA).*p_pField;
                strFields += (strFields.empty() ? "" : " ") + (nField == 77U ? "-" : std::to_string(nField));
            }
            EXPECT_EQ(strFields, p_case.strFields);
        }
        EXPECT_EQ(m_capture.Lines("CEventReadCb").empty(), p_case.strError.empty());
        EXPECT_TRUE(p_case.strError.empty() || m_capture.Has("():" + p_case.strError));
    };
    for (const SCase& c : vecZone)
        fnCheck(c, Dli::eIkZoneValid, &CPmu::m_nIsland);
    for (const SCase& c : vecSubzone)
        fnCheck(c, Dli::eIkSubzone, &CPmu::m_nZone);
    for (const char* pszText : {"", "  ", "#ZONE_DATA#ZONE=1 x ID=1011 END", "x #ZONE_DATA#~ZONE=1 x ID=1011 END"})
    {
        EXPECT_FALSE(Process(Dli::eAPP, Dli::eIkZoneValid, pszText));
        EXPECT_FALSE(Process(Dli::eAPP, Dli::eIkSubzone, pszText));
    }
}

TEST_F(CEventReadCbOMA_Test, KeyChoosesTheFieldsAndDisTheCommonIsland)
{
    struct SCase
    {
        Dli::EIncidenceKey eKey;
        std::string strText;
        TShared<std::uint32_t> CPmu::*pIsland;
        TShared<std::int32_t> CPmu::*pQual;
        int eQual;
    };
    const std::string strZones = "#ZONE_DATA#~ZONE=1 x ZONE=2 x ID=1011 END";
    const SCase vecCase[] = {{Dli::eIkZoneValid, strZones, &CPmu::m_nIsland, &CPmu::m_eZoneQual, eQualValid},
                             {Dli::eIkZoneSuspect, strZones, &CPmu::m_nIsland, &CPmu::m_eZoneQual, eQualSuspect},
                             {Dli::eIkZoneSecond, strZones, &CPmu::m_nIsland2, &CPmu::m_eIslandQual2, eQualValid},
                             {Dli::eIkSubzone, "#ZONE_DATA#~ZONE=1 SUBZONE=1 x SUBZONE=2 x ID=1011 END", &CPmu::m_nZone,
                              &CPmu::m_eZoneQual, eQualValid}};
    for (const SCase& c : vecCase)
    {
        ResetPmus();
        EXPECT_TRUE(Process(Dli::eAPP, c.eKey, c.strText));
        EXPECT_EQ(Pmu(101).*c.pIsland, 1U);
        EXPECT_EQ(Pmu(101).*c.pQual, c.eQual);
        EXPECT_TRUE(Process(Dli::eDIS, c.eKey, c.strText));
        EXPECT_EQ(Pmu(101).*c.pIsland, 0U);
        EXPECT_EQ(Pmu(101).*c.pQual, c.eQual);
    }
}

TEST_F(CEventReadCbOMA_Test, GarbageNeverHangs)
{
    const std::string vecPiece[] = {"#ZONE_DATA#~", "ZONE=", "SUBZONE=", "ID=", "1", " ", "x", "1011", "-", "\t", "2"};
    unsigned nSeed = 1;
    for (int i = 0; i < 2000; ++i)
    {
        std::string strText = i % 2 ? "#ZONE_DATA#~ZONE=1 x " : "";
        for (int n = 0; n < i % 23; ++n)
        {
            nSeed = nSeed * 1664525U + 1013904223U;
            strText += vecPiece[(nSeed >> 16) % std::size(vecPiece)];
        }
        m_pCb->ProcessZoneData(strText, Dli::eAPP, Dli::eIkZoneValid);
        m_pCb->ProcessSubzData(strText, Dli::eAPP, Dli::eIkSubzone);
    }
}
