#include "CXMLConfiguration.h"
#include "SessionBench.h"

using namespace Norvik::Energy::Kestrel;

/// Two sessions with PMUs 101, 102 and 103 each; data points 1011 to 1013, 1021 and 1031 lead to them, 5000 to none.
class EventBench : public SessionBench
{
  protected:
    EventBench()
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
    ~EventBench() override { Dli::CConfiguration::DeleteInstance(); }

    bool Process(int p_eTrans, int p_eElem, unsigned long p_nElemId, int p_eKey, const std::string& p_strText = "",
                 unsigned long p_nReq = 0)
    {
        Dli::CEvent event(static_cast<Dli::ETransition>(p_eTrans), static_cast<EElementType>(p_eElem), p_nElemId,
                          static_cast<Dli::EIncidenceKey>(p_eKey), p_strText);
        return m_pCb->ProcessEvent(&event, p_nReq);
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

using CEventReadCbOMA_Event = EventBench;
using CEventReadCbOMA_Zone = EventBench;

TEST_F(CEventReadCbOMA_Event, EachEventHasItsEffect)
{
    struct SCase
    {
        int eElem;
        int eKey;
        int eTrans;
        bool bUpc;
        int eCommand; ///< 99: none
        std::string strLine;
    };
    const std::string strRestart = "CEventReadCb::OnRestart():Init. app. restart.";
    const std::string strStop = "CEventReadCb::OnSuspend():Init. application service stop.";
    const std::string strUnknown = "CEventReadCbOMA::OnUnknownData():Unknown ";
    const std::string strClear = "clear";
    const SCase vecCase[] = {
        {0, 7, 1, false, 0, strRestart},
        {3, 7, 1, false, 0, strRestart},
        {3, 7, 0, false, 99, ""},
        {2, 7, 1, false, 99, ""},
        {1, 7, 1, false, 99, ""},
        {3, 4201, 1, false, 1, strStop},
        {0, 4201, 1, false, 99, ""},
        {3, 4201, 0, false, 99, ""},
        {3, 4202, 1, false, 99, "CEventReadCbOMA::ProcessEvent():Event received indicating OMA spec. error."},
        {3, 4202, 0, false, 99, ""},
        {3, 4203, 1, true, 99, strClear},
        {0, 4206, 1, true, 99, strClear},
        {3, 4203, 1, false, 99, ""},
        {2, 4203, 1, true, 99, ""},
        {99, 4203, 1, true, 99, ""},
        {2, 4007, 1, false, 99, ""},
        {3, 4207, 0, false, 99, strUnknown + "DIS event!"},
        {0, 4207, 1, false, 99, strUnknown + "APP event!"}};
    for (const SCase& c : vecCase)
    {
        SCOPED_TRACE(std::to_string(c.eElem) + " " + std::to_string(c.eKey) + " " + std::to_string(c.eTrans));
        FakeDli::Reset();
        m_capture.Clear();
        m_pCb->m_eCommand = 99;
        EXPECT_TRUE(Process(c.eTrans, c.eElem, 500, c.eKey, "#text", c.bUpc ? 7 : 0));
        EXPECT_EQ(m_pCb->m_eCommand, c.eCommand);
        EXPECT_EQ(IsSignalled(m_pCb->m_hReceive), c.eCommand != 99);
        const bool bClear = c.strLine == strClear;
        EXPECT_EQ(FakeDli::Posts().size(), bClear ? 1U : 0U);
        EXPECT_EQ(FakeDli::CountCalls("Event.Post " + std::to_string(c.eKey) + " DIS 3 500 #text"), bClear ? 1U : 0U);
        EXPECT_EQ(m_capture.Lines("CEventReadCb"),
                  c.strLine.empty() || bClear ? std::vector<std::string>() : std::vector{c.strLine});
    }
}

TEST_F(CEventReadCbOMA_Event, UnknownEventAtAnInstanceIsAcknowledged)
{
    EXPECT_TRUE(Process(Dli::eAPP, 3, 902, 4999, "what"));
    EXPECT_EQ(FakeDli::CountCalls("Event.Post 4999 DIS 3 902 what"), 1U);
    EXPECT_EQ(FakeDli::Posts().size(), 1U);
    CloseHandle(OMA(1).m_hEventDLI);
    OMA(1).m_hEventDLI = nullptr;
    EXPECT_FALSE(Process(Dli::eAPP, 3, 902, 4999, "what"));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::OnUnknownData():No handle defined for DLI events!"));
    EXPECT_EQ(FakeDli::Posts().size(), 1U);
}

TEST_F(CEventReadCbOMA_Event, WhatCannotBeDoneIsTold)
{
    EXPECT_FALSE(Process(2, 3, 902, 4999));
    EXPECT_TRUE(IsSuspendedWith("CEventReadCbOMA::OnUnknownData(): Invalid event transition type"));
    EXPECT_FALSE(Process(2, 2, 0, 4003, "#ZONE_DATA#~ZONE=1 x ID=1011 END"));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::NewIsland():Invalid #p_eTrans# value!"));
    EXPECT_FALSE(m_pCb->ProcessEvent(nullptr, 0));
    EXPECT_TRUE(HasBadPointer("CEventReadCbOMA::ProcessEvent", "p_pEvent"));
    EXPECT_FALSE(m_pCb->SetPmuIslandData(&Pmu(101), 1, 4007));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::SetPmuIslandData():No 'case'!"));
    EXPECT_FALSE(m_pCb->SetPmuIslandData(nullptr, 1, 4003));
    EXPECT_TRUE(HasBadPointer("CEventReadCbOMA::SetPmuIslandData", "p_pPmu"));
    CloseHandle(m_pCb->m_hReceive);
    CloseHandle(m_pCb->m_hStatus);
    EXPECT_FALSE(Process(Dli::eAPP, 3, 0, 7) || Process(Dli::eAPP, 3, 0, 4201));
    m_pCb->Status(Dli::eStatus2, 0, 0);
    for (const char* pszText :
         {"OnRestart():SetEvent() failed!", "OnSuspend():SetEvent() failed!", "Status():Event cannot be set!"})
        EXPECT_TRUE(m_capture.Has("CEventReadCb::" + std::string(pszText)));
}

TEST_F(CEventReadCbOMA_Event, EachStatusHasItsEffect)
{
    for (unsigned long eStatus = 0; eStatus <= 12; ++eStatus)
        for (const bool bBefore : {false, true})
        {
            g_bConnected = bBefore;
            m_pCb->m_bUpcFinished = false;
            m_pCb->Status(eStatus, bBefore ? 7 : 8, 5);
            EXPECT_EQ(g_bConnected, eStatus == 1 || (bBefore && eStatus != 3));
            EXPECT_EQ(m_pCb->m_bUpcFinished, eStatus == 5 && bBefore);
            EXPECT_EQ(m_pCb->m_eStatus, eStatus);
            EXPECT_TRUE(IsSignalled(m_pCb->m_hStatus));
            const std::string strStatus =
                std::to_string(eStatus) + "  lReqNum=" + (bBefore ? "7" : "8") + "  lAddInfo=5.";
            EXPECT_TRUE(m_capture.Has("CEventReadCb::Status():Unknown Status Message: eStatus=" + strStatus));
            EXPECT_EQ(m_capture.Has("OnUnknownStatus():(): Unknown Status Message: eStatus = " + strStatus),
                      eStatus == 6 || eStatus > 9);
        }
}

TEST_F(CEventReadCbOMA_Event, UpcReplyReleasesTheReadChannelsAlsoWhenItIsEmpty)
{
    StartWorker(OMA());
    StartSession(OMA());
    std::vector<Dli::CEvent*> vecpEvent;
    m_pCb->Receive(vecpEvent, 8);
    EXPECT_FALSE(m_pCb->m_bUpcFinished);
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(m_pCb->m_bUpcFinished);
    for (const char* pszText : {"Empty event data buffer.", "Start processing event data from UPC request.",
                                "start post-processing event data from UPC request."})
        EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::Receive():" + std::string(pszText)));
    FakeDli::ReadStatus(0, Dli::eConnected);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 1U);
    EXPECT_FALSE(m_capture.Has("Missing 'request finished'"));
}

TEST_F(CEventReadCbOMA_Event, SessionThatDoesNotComeUpInTimeSuspends)
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
    m_vecpOMA[0].reset();
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(HasBadPointer("CEventReadCbOMA::Receive", "pOMA"));
    EXPECT_FALSE(m_pCb->m_bUpcFinished);
}

// ---- zones ----

TEST_F(CEventReadCbOMA_Zone, TextReachesThePmusOfAllInstances)
{
    struct SCase
    {
        std::string strText;   ///< behind the marker
        std::string strFields; ///< island or zone of PMUs 101, 102, 103; "-": untouched
        std::string strError;  ///< empty: none
    };
    const SCase vecZone[] = {{"ZONE=1 x ID=1011 ZONE=2 x ID=1021 END", "0 1 -", ""},
                             {"ZONE=1 x ID=1011 ID=1031 ZONE=2 x ID=1021 ZONE=3 x ID=1031 END", "0 1 2", ""},
                             {"ZONE=1\nx\r\nID=1012\tEND ZONE=2 x ID=1021", "0 - -", ""},
                             {"ZONE=2 x ID=1011 END", "- - -", "Invalid zone index: 2[target: 1]!"},
                             {"ZONE=1 x ID=1011 ZONE=3 x ID=1021 END", "0 - -", "Invalid zone index: 3[target: 2]!"},
                             {"ZONE=abc x", "- - -", "Invalid zone index: 0[target: 1]!"},
                             {"ZONE=99999999999999999999 x", "- - -", "Invalid zone index: 2147483647[target: 1]!"},
                             {"ZONE=-99999999999 x", "- - -", "Invalid zone index: -2147483648[target: 1]!"},
                             // The skipped token may be anything.
                             {"ZONE=1 ID=1011 ID=1021 END", "- 0 -", ""},
                             // Ends anywhere.
                             {"ZONE=1 x ID=1011", "0 - -", ""},
                             {"ZONE=1 x", "- - -", ""},
                             {"ZONE=1", "- - -", ""},
                             {"", "- - -", ""},
                             {" ZONE=1 x ID=1011 END", "- - -", ""},
                             // Unknown data points are told; the rest of the text counts.
                             {"ZONE=1 x ID=5000 ID=99999999999999999999 ID=-1 ID= ID=1011abc END", "0 - -",
                              "Invalid or undefined PMU in KESTREL config.file!"}};
    const SCase vecSubzone[] = {
        {"ZONE=3 SUBZONE=1 x ID=1011 SUBZONE=2 x ID=1021 ZONE=1 SUBZONE=1 x SUBZONE=2 x ID=1031 END", "0 1 1", ""},
        {"ZONE=3 ZONE=4 SUBZONE=1 x ID=1011", "0 - -", ""},
        {"ZONE=0 SUBZONE=1 x ID=1011", "- - -", "Invalid zone index: 0!"},
        {"ZONE=1 SUBZONE=2 x ID=1011", "- - -", "Invalid subz. index: 2[target: 1]!"},
        {"ZONE=1 SUBZONE=1 x ID=1011 SUBZONE=1 x ID=1021", "0 - -", "Invalid subz. index: 1[target: 2]!"},
        {"ZONE=1 x SUBZONE=1 x ID=1011", "- - -", ""},
        {"ZONE=1 SUBZONE=1 x END ZONE=2 SUBZONE=1 x ID=1011", "- - -", ""},
        {"ZONE=1 SUBZONE=1", "- - -", ""},
        {"ZONE=1", "- - -", ""},
        {"SUBZONE=1 x ID=1011", "- - -", ""}};
    const auto fnCheck = [this](const SCase& p_case, int p_eKey, TShared<std::uint32_t> CPmu::*p_pField)
    {
        SCOPED_TRACE(p_case.strText);
        ResetPmus();
        m_capture.Clear();
        const bool bOk = Process(Dli::eAPP, 2, 0, p_eKey, " \n#ZONE_DATA#~" + p_case.strText);
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
        EXPECT_FALSE(Process(Dli::eAPP, 2, 0, Dli::eIkZoneValid, pszText));
        EXPECT_FALSE(Process(Dli::eAPP, 2, 0, Dli::eIkSubzone, pszText));
    }
}

TEST_F(CEventReadCbOMA_Zone, KeyChoosesTheFieldsAndDisTheCommonIsland)
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
        EXPECT_TRUE(Process(Dli::eAPP, 2, 0, c.eKey, c.strText));
        EXPECT_EQ(Pmu(101).*c.pIsland, 1U);
        EXPECT_EQ(Pmu(101).*c.pQual, c.eQual);
        // Two fields of five are touched.
        EXPECT_EQ((Pmu(101).m_nIsland == 77U) + (Pmu(101).m_nZone == 77U) + (Pmu(101).m_nIsland2 == 77U) +
                      (Pmu(101).m_eZoneQual == 77) + (Pmu(101).m_eIslandQual2 == 77),
                  3);
        EXPECT_TRUE(Process(Dli::eDIS, 2, 0, c.eKey, c.strText));
        EXPECT_EQ(Pmu(101).*c.pIsland, 0U);
        EXPECT_EQ(Pmu(101).*c.pQual, c.eQual);
    }
}

TEST_F(CEventReadCbOMA_Zone, GarbageNeverHangs)
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
