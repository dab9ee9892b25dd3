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

    bool Process(Dli::ETransition p_eTrans, int p_eElem, unsigned long p_nElemId, int p_eKey,
                 const std::string& p_strText = "", unsigned long p_nReq = 0)
    {
        Dli::CEvent event(p_eTrans, static_cast<EElementType>(p_eElem), p_nElemId,
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
    enum EEffect
    {
        eNothing,
        eRestarts,
        eSuspends,
        eClears
    };
    struct SCase
    {
        Dli::ETransition eTrans;
        int eElem;
        int eKey;
        unsigned long nReq;
        EEffect eEffect;
        std::string strLine;
    };
    const SCase vecCase[] = {
        {Dli::eAPP, 0, 7, 0, eRestarts, "CEventReadCb::OnRestart():Init. app. restart."},
        {Dli::eAPP, 3, 7, 0, eRestarts, "CEventReadCb::OnRestart():Init. app. restart."},
        {Dli::eDIS, 3, 7, 0, eNothing, ""},
        {Dli::eAPP, 2, 7, 0, eNothing, ""},
        {Dli::eAPP, 1, 7, 0, eNothing, ""},
        {Dli::eAPP, 99, 4203, 7, eNothing, ""},
        {Dli::eAPP, 3, 4201, 0, eSuspends, "CEventReadCb::OnSuspend():Init. application service stop."},
        {Dli::eAPP, 0, 4201, 0, eNothing, ""},
        {Dli::eDIS, 3, 4201, 0, eNothing, ""},
        {Dli::eAPP, 3, 4202, 0, eNothing, "CEventReadCbOMA::ProcessEvent():Event received indicating OMA spec. error."},
        {Dli::eDIS, 3, 4202, 0, eNothing, ""},
        {Dli::eAPP, 3, 4203, 7, eClears, ""},
        {Dli::eAPP, 3, 4206, 7, eClears, ""},
        {Dli::eAPP, 3, 4203, 0, eNothing, ""},
        {Dli::eAPP, 2, 4203, 7, eNothing, ""},
        {Dli::eAPP, 2, 4007, 0, eNothing, ""},
        {Dli::eDIS, 3, 4207, 0, eNothing, "CEventReadCbOMA::OnUnknownData():Unknown DIS event!"},
        {Dli::eAPP, 0, 4207, 0, eNothing, "CEventReadCbOMA::OnUnknownData():Unknown APP event!"}};
    for (const SCase& c : vecCase)
    {
        SCOPED_TRACE(std::to_string(c.eElem) + " " + std::to_string(c.eKey) + " " + std::to_string(c.eTrans));
        FakeDli::Reset();
        m_capture.Clear();
        m_pCb->m_eCommand = 99;
        EXPECT_TRUE(Process(c.eTrans, c.eElem, 500, c.eKey, "#text", c.nReq));
        EXPECT_EQ(IsSignalled(m_pCb->m_hReceive), c.eEffect == eRestarts || c.eEffect == eSuspends);
        EXPECT_EQ(m_pCb->m_eCommand, c.eEffect == eRestarts ? 0 : c.eEffect == eSuspends ? 1 : 99);
        EXPECT_EQ(FakeDli::Posts().size(), c.eEffect == eClears ? 1U : 0U);
        EXPECT_EQ(FakeDli::CountCalls("Event.Post " + std::to_string(c.eKey) + " DIS 3 500 #text"),
                  c.eEffect == eClears ? 1U : 0U);
        EXPECT_EQ(m_capture.Lines(), c.strLine.empty() ? std::vector<std::string>() : std::vector{c.strLine});
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

TEST_F(CEventReadCbOMA_Event, TransitionThatIsNoneIsRefused)
{
    EXPECT_FALSE(Process(static_cast<Dli::ETransition>(2), 3, 902, 4999));
    EXPECT_TRUE(IsSuspendedWith("CEventReadCbOMA::OnUnknownData(): Invalid event transition type"));
    EXPECT_FALSE(Process(static_cast<Dli::ETransition>(2), 2, 0, 4003, "#ZONE_DATA#~ZONE=1 x ID=1011 END"));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::NewIsland():Invalid #p_eTrans# value!"));
    EXPECT_FALSE(m_pCb->ProcessEvent(nullptr, 0));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::ProcessEvent():Invalid Pointer: p_pEvent!"));
}

TEST_F(CEventReadCbOMA_Event, CommandThatWakesNobodySaysSo)
{
    CloseHandle(m_pCb->m_hReceive);
    EXPECT_FALSE(Process(Dli::eAPP, 3, 0, 7));
    EXPECT_FALSE(Process(Dli::eAPP, 3, 0, 4201));
    EXPECT_TRUE(m_capture.Has("CEventReadCb::OnRestart():SetEvent() failed!"));
    EXPECT_TRUE(m_capture.Has("CEventReadCb::OnSuspend():SetEvent() failed!"));
    CloseHandle(m_pCb->m_hStatus);
    m_pCb->Status(Dli::eStatus2, 0, 0);
    EXPECT_TRUE(m_capture.Has("CEventReadCb::Status():Event cannot be set!"));
}

TEST_F(CEventReadCbOMA_Event, EachStatusHasItsEffect)
{
    for (unsigned long eStatus = 0; eStatus <= 12; ++eStatus)
    {
        for (const bool bBefore : {false, true})
        {
            m_capture.Clear();
            g_bConnected = bBefore;
            m_pCb->m_bUpcFinished = false;
            m_pCb->Status(eStatus, 7, 5);
            EXPECT_EQ(g_bConnected, eStatus == 1 || (bBefore && eStatus != 3));
            EXPECT_EQ(m_pCb->m_bUpcFinished, eStatus == 5);
            EXPECT_EQ(m_pCb->m_eStatus, eStatus);
            EXPECT_TRUE(IsSignalled(m_pCb->m_hStatus));
            const std::string strStatus = std::to_string(eStatus) + "  lReqNum=7  lAddInfo=5.";
            EXPECT_TRUE(m_capture.Has("CEventReadCb::Status():Unknown Status Message: eStatus=" + strStatus));
            EXPECT_EQ(m_capture.Has("OnUnknownStatus():(): Unknown Status Message: eStatus = " + strStatus),
                      eStatus == 6 || eStatus > 9);
        }
    }
    m_pCb->m_bUpcFinished = false;
    m_pCb->Status(Dli::eReqFinished, 8, 0);
    EXPECT_FALSE(m_pCb->m_bUpcFinished);
}

// ---- UPC reply ----

TEST_F(CEventReadCbOMA_Event, UpcReplyReleasesTheReadChannelsAlsoWhenItIsEmpty)
{
    OMA(1).m_bActive = false; // has no thread: passed over
    StartWorker(OMA());
    StartSession(OMA());
    std::vector<Dli::CEvent*> vecpEvent;
    m_pCb->Receive(vecpEvent, 8);
    EXPECT_FALSE(m_pCb->m_bUpcFinished);
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(m_pCb->m_bUpcFinished);
    for (const char* pszText : {"Empty event data buffer.", "Start processing event data from UPC request.",
                                "start post-processing event data from UPC request."})
        EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::Receive():" + std::string(pszText))) << pszText;
    // Released: the start comes without a wait.
    EventsUseFakeClock(true);
    FakeDli::ReadStatus(0, Dli::eConnected);
    EXPECT_EQ(FakeDli::ReadStarts().size(), 1U);
    EventsUseFakeClock(false);
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
    EXPECT_FALSE(m_pCb->m_bUpcFinished);
    OMA(1).m_bActive = false;
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(IsSuspendedWith("OMA inst. declared as inactive despite thread being assigned"));
    m_vecpOMA[0].reset();
    m_pCb->Receive(vecpEvent, 7);
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::Receive():Invalid Pointer: pOMA!"));
}

// ---- zones ----

TEST_F(CEventReadCbOMA_Zone, ZoneTextReachesThePmusOfAllInstances)
{
    struct SCase
    {
        std::string strText;
        bool bOk;
        unsigned vecnIsland[3]; ///< of PMUs 101, 102, 103; 77: untouched
        std::string strError;
    };
    const std::string strHead = "CEventReadCbOMA::";
    const SCase vecCase[] = {
        {"#ZONE_DATA#~ZONE=1 x ID=1011 ZONE=2 x ID=1021 END", true, {0, 1, 77}, ""},
        {"#ZONE_DATA#~ZONE=1 x ID=1011 ID=1031 ZONE=2 x ID=1021 ZONE=3 x ID=1031 END", true, {0, 1, 2}, ""},
        {" \t#ZONE_DATA#~ZONE=1\nx\r\nID=1012\tEND ZONE=2 x ID=1021", true, {0, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=2 x ID=1011 END",
         false,
         {77, 77, 77},
         "ProcessZoneData():Invalid zone index: 2[target: 1]!"},
        {"#ZONE_DATA#~ZONE=1 x ID=1011 ZONE=3 x ID=1021 END",
         false,
         {0, 77, 77},
         "ProcessZoneData():Invalid zone index: 3[target: 2]!"},
        {"#ZONE_DATA#~ZONE=abc x", false, {77, 77, 77}, "ProcessZoneData():Invalid zone index: 0[target: 1]!"},
        {"#ZONE_DATA#~ZONE=99999999999999999999 x",
         false,
         {77, 77, 77},
         "ProcessZoneData():Invalid zone index: 2147483647[target: 1]!"},
        {"#ZONE_DATA#~ZONE=-99999999999 x",
         false,
         {77, 77, 77},
         "ProcessZoneData():Invalid zone index: -2147483648[target: 1]!"},
        // The skipped token may be anything.
        {"#ZONE_DATA#~ZONE=1 ID=1011 ID=1021 END", true, {77, 0, 77}, ""},
        // Ends anywhere.
        {"#ZONE_DATA#~ZONE=1 x ID=1011", true, {0, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=1 x", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=1", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~ ZONE=1 x ID=1011 END", true, {77, 77, 77}, ""},
        // Unknown data points are told; the rest of the text counts.
        {"#ZONE_DATA#~ZONE=1 x ID=5000 ID=99999999999999999999 ID=-1 ID= ID=1011abc END",
         true,
         {0, 77, 77},
         "UpdatePmuIslandData():Invalid or undefined PMU in KESTREL config.file!"},
        {"#ZONE_DATA#ZONE=1 x ID=1011 END", false, {77, 77, 77}, ""},
        {"x #ZONE_DATA#~ZONE=1 x ID=1011 END", false, {77, 77, 77}, ""},
        {"", false, {77, 77, 77}, ""},
        {"   ", false, {77, 77, 77}, ""}};
    for (const SCase& c : vecCase)
    {
        SCOPED_TRACE(c.strText);
        ResetPmus();
        m_capture.Clear();
        EXPECT_EQ(Process(Dli::eAPP, 2, 0, Dli::eIkZoneValid, c.strText), c.bOk);
        for (unsigned nPmu = 0; nPmu < 3; ++nPmu)
            for (const std::size_t nOMA : {0U, 1U})
                EXPECT_EQ(Pmu(101 + nPmu, nOMA).m_nIsland, c.vecnIsland[nPmu]);
        EXPECT_EQ(m_capture.Lines().empty(), c.strError.empty());
        EXPECT_TRUE(c.strError.empty() || m_capture.Has(strHead + c.strError));
    }
}

TEST_F(CEventReadCbOMA_Zone, SubzonesCountAnewInEachZone)
{
    struct SCase
    {
        std::string strText;
        bool bOk;
        unsigned vecnZone[3];
        std::string strError;
    };
    const SCase vecCase[] = {
        {"#ZONE_DATA#~ZONE=3 SUBZONE=1 x ID=1011 SUBZONE=2 x ID=1021 ZONE=1 SUBZONE=1 x SUBZONE=2 x ID=1031 END",
         true,
         {0, 1, 1},
         ""},
        {"#ZONE_DATA#~ZONE=3 ZONE=4 SUBZONE=1 x ID=1011", true, {0, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=0 SUBZONE=1 x ID=1011", false, {77, 77, 77}, "Invalid zone index: 0!"},
        {"#ZONE_DATA#~ZONE=1 SUBZONE=2 x ID=1011", false, {77, 77, 77}, "Invalid subz. index: 2[target: 1]!"},
        {"#ZONE_DATA#~ZONE=1 SUBZONE=1 x ID=1011 SUBZONE=1 x ID=1021",
         false,
         {0, 77, 77},
         "Invalid subz. index: 1[target: 2]!"},
        {"#ZONE_DATA#~ZONE=1 x SUBZONE=1 x ID=1011", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=1 SUBZONE=1 x END ZONE=2 SUBZONE=1 x ID=1011", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=1 SUBZONE=1", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~ZONE=1", true, {77, 77, 77}, ""},
        {"#ZONE_DATA#~SUBZONE=1 x ID=1011", true, {77, 77, 77}, ""},
        {"ZONE=1", false, {77, 77, 77}, ""}};
    for (const SCase& c : vecCase)
    {
        SCOPED_TRACE(c.strText);
        ResetPmus();
        m_capture.Clear();
        EXPECT_EQ(Process(Dli::eAPP, 2, 0, Dli::eIkSubzone, c.strText), c.bOk);
        for (unsigned nPmu = 0; nPmu < 3; ++nPmu)
            EXPECT_EQ(Pmu(101 + nPmu).m_nZone, c.vecnZone[nPmu]);
        EXPECT_EQ(m_capture.Lines().empty(), c.strError.empty());
        EXPECT_TRUE(c.strError.empty() || m_capture.Has("CEventReadCbOMA::ProcessSubzData():" + c.strError));
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
    EXPECT_FALSE(m_pCb->SetPmuIslandData(&Pmu(101), 1, 4007));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::SetPmuIslandData():No 'case'!"));
    EXPECT_FALSE(m_pCb->SetPmuIslandData(nullptr, 1, 4003));
    EXPECT_TRUE(m_capture.Has("CEventReadCbOMA::SetPmuIslandData():Invalid Pointer: p_pPmu!"));
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
