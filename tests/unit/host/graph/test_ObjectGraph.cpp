#include "GraphTest.h"
#include "host/check/CConfigCheck.h"
#include <filesystem>

// Instances, jobs, bands, PMUs and modes from the configuration: the message of every rejection, and what is accepted.

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{
/// One replacement in the base configuration, after a mark; the expected error lines in order.
struct SRefusal
{
    std::string strName;
    std::string strText;
    std::vector<std::string> vecExpected;
};

const std::string g_strJob = "CreateDataJob(): ";
const std::string g_strPmu = "AddPmuToVds(): ";

std::string InBase(const std::string& p_strOld, const std::string& p_strNew, const std::string& p_strAfter = {})
{
    return Changed(BaseText(), p_strOld, p_strNew, p_strAfter);
}

/// The base configuration with attributes of the bands: multiplier, lower and upper limit of each.
std::string Bands(const std::vector<std::array<std::string, 3>>& p_vecBand)
{
    std::string strText = BaseText();
    for (const char* pOld : {R"("1" LowerCutOffFrequency="0.8" UpperCutOffFrequency="3.0")",
                             R"("4" LowerCutOffFrequency="0.2" UpperCutOffFrequency="0.8")",
                             R"("16" LowerCutOffFrequency="0.05" UpperCutOffFrequency="0.2")"})
        strText = Changed(strText, pOld, std::string("@") + pOld);
    for (const auto& band : p_vecBand)
    {
        const std::string strAfter = "SamplesMultiplier=@";
        const std::size_t nBegin = strText.find(strAfter) + strAfter.size() - 1;
        strText.replace(nBegin, strText.find("/>", nBegin) - nBegin,
                        '"' + band[0] + R"(" LowerCutOffFrequency=")" + band[1] + R"(" UpperCutOffFrequency=")" +
                            band[2] + '"');
    }
    return strText;
}

std::vector<SRefusal> Refusals()
{
    const std::string strNoUnit = "Invalid or undefined PMU in KESTREL config.file [ID=";
    const std::string strMultiplier =
        g_strJob + "Invalid freq.spec. multiplier for given OMA job in KESTREL config.file";
    const std::string strSets = g_strJob + "Invalid #SpectralDataSets# param.s specified in KESTREL config.file";
    const std::string strMode = g_strJob + "Invalid mode for given OMA job in KESTREL config.file";
    const std::string strWarn =
        g_strJob + "Invalid damp.ratio warn.limit for OMA job \"NORTH_POWER\" in KESTREL config.file";
    const std::string strAlarm =
        g_strJob + "Invalid damp.ratio alarm limit for OMA job \"NORTH_POWER\" in KESTREL config.file";
    const std::string strRates = "CreateDataOMA(): No valid PMU cycle rates";
    const std::string strPhasors = g_strPmu + "Invalid no.of phasors specified in config.file";
    const std::string strParams = g_strPmu + "Cannot retrieve PMU param.s";
    const std::string strAdd1 = g_strJob + "Cannot add 1st (internal) PMU object to OMA app.";
    const std::string strAdd2 = g_strJob + "Cannot add 2nd (internal) PMU object to OMA app.";
    const std::string strOne = g_strJob + "None or only 1 PMU have been assigned to job with elem ID 500";
    return {
        {"no instance", Without(BaseText(), "<OMA ", "</OMA>"), {"CreateDataOMA(): No OMA app. spec.d in config.file"}},
        {"instance without name",
         InBase(R"(Name="GRID")", R"(Name="")"),
         {"CreateDataOMA(): Zero length trace name for OMA inst. specified in KESTREL config.file"}},
        {"instance without job",
         Without(BaseText(), "<Job ", "</Job>"),
         {"CreateDataOMA(): No job for given OMA app. defined in KESTREL config.file"}},
        {"rate that is not basic",
         Changed(InBase(R"(voltage" ReportingRate="50")", R"(voltage" ReportingRate="70")"),
                 R"(current" ReportingRate="50")", R"(current" ReportingRate="70")"),
         {strRates}},
        {"rate 0",
         Changed(InBase(R"(voltage" ReportingRate="50")", R"(voltage" ReportingRate="0")"),
                 R"(current" ReportingRate="50")", R"(current" ReportingRate="0")"),
         {strRates}},
        {"unknown input mode",
         InBase(R"("maximum")", R"("5")"),
         {"CVds::CalcVdsReqCycleRate(): Invalid 'case'", strRates}},
        {"job without name", InBase(R"(Name="NORTH_POWER")", R"(Name="")"), {g_strJob + "Zero length trace name"}},
        {"job mode 7", InBase(R"("active-power")", R"("7")"), {strMode}},
        {"job mode -1", InBase(R"("active-power")", R"("-1")"), {strMode}},
        {"damping warning limit above 0", InBase(R"(Warning="-0.05")", R"(Warning="0.01")"), {strWarn}},
        {"damping alarm limit above 0", InBase(R"(Alarm="-0.03")", R"(Alarm="0.01")"), {strAlarm}},
        {"damping alarm below warning", InBase(R"(Alarm="-0.03")", R"(Alarm="-0.06")"), {strAlarm}},
        {"multiplier 0", InBase(R"(Multiplier="4")", R"(Multiplier="0")"), {strMultiplier}},
        {"multiplier 257", InBase(R"(Multiplier="16")", R"(Multiplier="257")"), {strMultiplier}},
        {"multiplier -1", InBase(R"(Multiplier="1")", R"(Multiplier="-1")"), {strMultiplier}},
        {"gap above the middle band",
         InBase(R"(UpperCutOffFrequency="0.8")", R"(UpperCutOffFrequency="0.799")"),
         {strSets}},
        {"gap below the middle band",
         InBase(R"(UpperCutOffFrequency="0.2")", R"(UpperCutOffFrequency="0.199")"),
         {strSets}},
        {"overlap", InBase(R"(UpperCutOffFrequency="0.2")", R"(UpperCutOffFrequency="0.3")"), {strSets}},
        {"output without PMU",
         InBase(R"(OutputRefId="700")", R"(OutputRefId="5000")"),
         {g_strJob + strNoUnit + "5000]"}},
        {"1st signal invalid",
         InBase(R"(SignalType="voltage")", R"(SignalType="2")"),
         {g_strJob + "Invalid 1st PMU signal type within job with elem ID 500"}},
        {"2nd signal invalid",
         InBase(R"(SignalType="current")", R"(SignalType="invalid")"),
         {g_strJob + "Invalid 2nd PMU signal type within job with elem ID 500"}},
        {"angle job with 1st current",
         Changed(VpadText(), R"(SignalType="voltage")", R"(SignalType="current")"),
         {g_strJob + "Invalid 1st PMU signal type (current) within dPhi job with elem ID 500"}},
        {"angle job with 2nd current",
         InBase(R"("active-power")", R"("vpad")"),
         {g_strJob + "Invalid 2nd PMU signal type (current) within dPhi job with elem ID 500"}},
        {"1st PMU with two phases",
         Without(BaseText(), R"(<Input PhaseType="1" RefID="1012")", "/>"),
         {strPhasors, strAdd1}},
        {"2nd PMU with no phase",
         Without(BaseText(), R"(<Input PhaseType="0" RefID="1021")", R"(RefID="1023"/>)"),
         {strPhasors, strAdd2}},
        {"phase marked absent", InBase(R"(RefID="1012")", R"(RefID="2147483647")"), {strPhasors, strAdd1}},
        {"data point without PMU",
         InBase(R"(RefID="1011")", R"(RefID="5000")"),
         {"PhasorMeasIdToPmuParams(): " + strNoUnit + "5000]", strParams, strAdd1}},
        {"data point that is not there",
         InBase(R"(RefID="1023")", R"(RefID="4711")"),
         {"PhasorMeasIdToPmuParams(): " + strNoUnit + "4711]", strParams, strAdd2}},
        {"phases of two PMUs",
         InBase(R"(RefID="1012")", R"(RefID="1031")"),
         {"PhasorMeasIdToPmuParams(): PMU ID not matching for all phasors", strParams, strAdd1}},
        {"phases of two rates",
         InBase(R"(Id="1013")", R"(Id="1013" ReportingRate="25")"),
         {"PhasorMeasIdToPmuParams(): Rep.rate not matching for all phasors", strParams, strAdd1}},
        {"two voltages for power", InBase(R"(SignalType="current")", R"(SignalType="voltage")"), {strOne}},
        {"two currents for power", InBase(R"(SignalType="voltage")", R"(SignalType="current")"), {strOne}},
        {"unknown 1st signal", InBase(R"(SignalType="voltage")", R"(SignalType="9")"), {strOne}},
        {"no mode",
         Without(BaseText(), "<PSMode ", "</PSMode>"),
         {g_strJob + "No PSM for given OMA job defined in KESTREL config.file"}},
        {"mode limits upside down",
         InBase(R"(MaxFrequency="0.8")", R"(MaxFrequency="0.1")"),
         {"AddPsmsToJob(): Invalid PSM freq. boundaries: Min.[Hz]=0.200000  Max.[Hz]=0.100000"}},
        {"mode output without PMU",
         InBase(R"(RefID="9010")", R"(RefID="5000")"),
         {"AddPsmsToJob(): " + strNoUnit + "5000]"}},
    };
}
} // namespace

using ObjectGraph = GraphTest;

TEST_F(ObjectGraph, EveryRefusalHasItsWordsAndLeavesNothing)
{
    for (const SRefusal& c : Refusals())
    {
        SCOPED_TRACE(c.strName);
        StartProcess();
        m_capture.Clear();
        ASSERT_TRUE(CreateBase(c.strText));
        EXPECT_FALSE(CreateData());
        EXPECT_THAT(Suspensions(), ElementsAreArray(c.vecExpected));
        EXPECT_EQ(GetAppState(), eAppSuspend);
        EXPECT_TRUE(!m_pvecOMA || m_pvecOMA->empty());
        EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept);
        EXPECT_EQ(FakeDli::LiveWriteChannels(), m_nPSMKept);
        Clean();
    }
}

TEST_F(ObjectGraph, TheCheckRefusesWhatAPassRefuses)
{
    for (const SRefusal& c : Refusals())
    {
        SCOPED_TRACE(c.strName);
        const TempFile file(c.strText);
        CConfigCheck check(file.Path());
        EXPECT_FALSE(check.Run());
        for (const std::string& strExpected : c.vecExpected)
            EXPECT_THAT(check.Findings(), testing::HasSubstr(strExpected.substr(strExpected.find("(): ") + 4)));
        EXPECT_THAT(check.Findings(), testing::ContainsRegex("grid.xml:[1-9][0-9]*: element .*, expected "));
    }
}

TEST_F(ObjectGraph, ASecondJobOrModeThatIsRefusedTakesTheFirstWithIt)
{
    EXPECT_FALSE(Create(Changed(TwoJobs(BaseText()), R"(JobMode="active-power")", R"(JobMode="7")", "SECOND")));
    EXPECT_TRUE(m_pvecOMA->empty());
    EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept);
    Clean();

    const std::string strBad = Changed(BaseText(), "</PSMode>",
                                       R"(</PSMode><PSMode Id="602" MinFrequency="2" MaxFrequency="1"><Outputs>
        <Output PhysType="0" RefID="9010"/><Output PhysType="1" RefID="9010"/><Output PhysType="2" RefID="9010"/>
        <Output PhysType="3" RefID="9010"/></Outputs></PSMode>)");
    EXPECT_FALSE(Create(strBad));
    EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept);
    Clean();

    // A complete first instance is freed by the clean-up of the pass.
    std::string strTwo = BaseText();
    const std::size_t nBegin = strTwo.find("<OMA ");
    const std::size_t nEnd = strTwo.find("</OMA>") + 6;
    strTwo.insert(nEnd, Changed(strTwo.substr(nBegin, nEnd - nBegin), "GRID", ""));
    EXPECT_FALSE(Create(strTwo));
    ASSERT_EQ(m_pvecOMA->size(), 1U);
    EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept + 1);
}

TEST_F(ObjectGraph, GivesEachObjectItsSettings)
{
    ASSERT_TRUE(Create(BaseText()));
    const CVdsOMA& oma = Instance();
    EXPECT_EQ(oma.m_nId, 901U);
    EXPECT_TRUE(oma.m_bActive);
    EXPECT_EQ(oma.m_nTimeout_ms, 5000U);
    EXPECT_EQ(oma.m_hConn, g_hSockEvent);
    EXPECT_EQ(oma.m_hWrite, g_hSockData);
    EXPECT_EQ(oma.m_pTrace->Name(), "GRID");
    EXPECT_EQ(oma.m_nReqCycleRate, 50U);

    CJobOMA& job = Job();
    EXPECT_EQ(job.m_strName, "NORTH_POWER");
    EXPECT_EQ(job.m_nId, 500U);
    EXPECT_TRUE(job.m_bActive);
    EXPECT_TRUE(job.m_bOk);
    EXPECT_EQ(job.m_nUnitId, 801U);
    EXPECT_EQ(job.m_nOutputRefId, 700U);
    EXPECT_EQ(job.m_nSamplesPS, 10U);
    EXPECT_EQ(job.m_nRepRate, 1);
    EXPECT_EQ(job.GetTrace()->Name(), "NORTH_POWER");
    EXPECT_THAT(*job.m_pDOE->GetLimitMagn(), ElementsAre(1e7, 2e7)); // W: fractions of 40 MW

    ASSERT_EQ(oma.m_vecpPmu.size(), 2U);
    EXPECT_EQ(job.m_pPmu1st, oma.m_vecpPmu[0].get());
    EXPECT_EQ(job.m_pPmu2nd, oma.m_vecpPmu[1].get());
    EXPECT_EQ(job.m_pPmu1st->m_nId, 101U);
    EXPECT_EQ(job.m_pPmu1st->m_nRepRate, 50);
    ASSERT_EQ(job.m_pPmu1st->GetPhasors()->size(), 3U);
    const SPhasor& phasor = job.m_pPmu1st->GetPhasors()->at(2);
    EXPECT_EQ(phasor.nId, 1013U);
    EXPECT_EQ(phasor.nPhase, 2U);
    EXPECT_EQ(phasor.eQual, eQualInvalid);

    ASSERT_EQ(job.m_pvecpPsmOut->size(), 1U);
    const CPsmOut& mode = *job.m_pvecpPsmOut->front();
    EXPECT_EQ(mode.GetId(), 601U);
    EXPECT_EQ(mode.GetFreqMin(), static_cast<double>(0.2F));
    EXPECT_EQ(mode.GetFreqMax(), static_cast<double>(0.8F));
    EXPECT_EQ(mode.GetTrace()->Name(), "NORTH_POWER_1");
    // 10 s without a peak, at one pass a second.
    EXPECT_EQ(mode.GetCntr(), 10U);
    EXPECT_EQ(mode.GetCntrMax(), 10U);
    EXPECT_EQ(mode.GetCntrInc(), 10U);
    for (unsigned nChan = 0; nChan < 4; ++nChan)
        EXPECT_EQ(mode.GetVdsOutPS()->GetChanId(nChan), 9010U + nChan);
}

TEST_F(ObjectGraph, SortsTheBandsFromHighToLowWhateverTheOrderOfTheFile)
{
    const std::array<std::string, 3> vecBand[] = {{"1", "0.8", "3.0"}, {"4", "0.2", "0.8"}, {"256", "0.05", "0.2"}};
    std::vector<int> vecOrder{0, 1, 2};
    do
    {
        ASSERT_TRUE(Create(Bands({vecBand[vecOrder[0]], vecBand[vecOrder[1]], vecBand[vecOrder[2]]})));
        const VecSpec& vecpSpec = *Job().m_pvecpSpec;
        for (std::size_t n = 0; n < 3; ++n)
        {
            EXPECT_EQ(vecpSpec[n]->GetReso(), static_cast<std::int32_t>(n));
            EXPECT_EQ(vecpSpec[n]->GetFreqBeg(), static_cast<double>(std::stof(vecBand[n][1])));
            EXPECT_EQ(vecpSpec[n]->GetFreqEnd(), static_cast<double>(std::stof(vecBand[n][2])));
            EXPECT_EQ(vecpSpec[n]->GetNoOfSamples(), 512U * static_cast<unsigned>(std::stoi(vecBand[n][0])));
            EXPECT_EQ(vecpSpec[n]->GetOwnerId(), 500U);
        }
        Clean();
    } while (std::next_permutation(vecOrder.begin(), vecOrder.end()));
}

TEST_F(ObjectGraph, AcceptsTheEdgesOfItsLimits)
{
    for (const std::string& strText :
         {InBase(R"(Alarm="-0.03")", R"(Alarm="-0.05")"),
          Changed(InBase(R"("-0.05")", R"("0")"), R"("-0.03")", R"("0")"),
          InBase(R"(MaxFrequency="0.8")", R"(MaxFrequency="0.2")"), InBase(R"(Multiplier="4")", R"(Multiplier="256")"),
          InBase(R"(ReportingRate="1">
            <PSMode)",
                 R"(ReportingRate="-3600">
            <PSMode)")})
    {
        EXPECT_TRUE(Create(strText));
        EXPECT_THAT(Suspensions(), IsEmpty());
        Clean();
    }
}

TEST_F(ObjectGraph, TheLowestActiveLevelIsTheLeastThatIsPosted)
{
    struct
    {
        bool bCritical, bDistinct, bNotified;
        std::int32_t eMin;
    } const vecCase[] = {{true, true, true, 1},    {true, true, false, 2},  {true, false, false, 3},
                         {false, false, false, 4}, {false, false, true, 1}, {false, true, false, 2}};
    const CTime time(1);
    for (const auto& c : vecCase)
    {
        std::string strText = BaseText();
        for (const auto& [strType, bActive] : {std::pair("critical", c.bCritical), std::pair("distinct", c.bDistinct),
                                               std::pair("notified", c.bNotified)})
            strText = Changed(strText, "IsActive=\"true\"", bActive ? "IsActive=\"1\"" : "IsActive=\"0\"",
                              std::string("<PSEvent Type=\"") + strType);
        ASSERT_TRUE(Create(strText));
        CTime now(1);
        ASSERT_TRUE(now.SetTicks(CTime::GetNowTicks() / 10000000 * 10000000));
        CEventDataOMA& event = *Job().m_pvecpPsmOut->front()->GetEventData();
        std::int32_t eMin = 0;
        // Degrees of exposure in the levels notified, distinct, critical and undamped critical.
        for (const double fDOE : {11.5, 8.5, 4.5, 1.5})
        {
            EXPECT_TRUE(event.ProcessAPP(&now, 0.5, 1e7, 0.1, fDOE));
            if (event.GetLastEvent() != 0)
                eMin = event.GetLastEvent();
        }
        event.ProcessDIS(&now);
        EXPECT_EQ(eMin, c.eMin);
        Clean();
    }
}

TEST_F(ObjectGraph, PutsVoltageFirstInEitherOrder)
{
    std::string strText = InBase(R"(SignalType="voltage")", R"(SignalType="@")");
    strText = Changed(Changed(strText, R"(SignalType="current")", R"(SignalType="voltage")"), R"("@")", R"("current")");
    ASSERT_TRUE(Create(strText));
    EXPECT_EQ(Job().m_pPmu1st->m_nId, 102U);
    EXPECT_EQ(Job().m_pPmu2nd->m_nId, 101U);
    Clean();

    ASSERT_TRUE(Create(VpadText()));
    EXPECT_EQ(Job().m_pPmu1st->m_nId, 101U);
    EXPECT_EQ(Job().m_pPmu2nd->m_nId, 103U);
}

TEST_F(ObjectGraph, JobsWithTheSamePhasorsShareTheirPmus)
{
    ASSERT_TRUE(Create(TwoJobs(BaseText())));
    EXPECT_EQ(Instance().m_vecpPmu.size(), 2U);
    EXPECT_EQ(Job(0).m_pPmu1st, Job(1).m_pPmu1st);
    EXPECT_EQ(Job(0).m_pPmu2nd, Job(1).m_pPmu2nd);
    EXPECT_EQ(Job(1).m_pvecpPsmOut->front()->GetTrace()->Name(), "SECOND_1");
}

TEST_F(ObjectGraph, ExamplesBuildTheirGraph)
{
    unsigned nExamples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(OMA_EXAMPLE_DIR))
    {
        if (entry.path().extension() != ".xml")
            continue;
        SCOPED_TRACE(entry.path().string());
        ++nExamples;
        EXPECT_TRUE(Create(FileText(entry.path().string())));
        EXPECT_THAT(Suspensions(), IsEmpty());
        Clean();
    }
    EXPECT_GE(nExamples, 5U);

    ASSERT_TRUE(Create(FileText(OMA_EXAMPLE_DIR "/mixed_rates.xml")));
    EXPECT_EQ(Instance().m_nReqCycleRate, 10U); // greatest common divisor of 50 and 20
    Clean();
    ASSERT_TRUE(Create(FileText(OMA_EXAMPLE_DIR "/ntm.xml")));
    EXPECT_TRUE(IsJobOnStaticNTM(m_pConfig, &Job()));
}
