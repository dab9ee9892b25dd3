#include "JobBench.h"
#include "offline/CReadFileMeas.h"
#include <cmath>
#include <functional>
#include <limits>

namespace
{
constexpr std::int64_t g_nSec = 63000000000; // some second since 0001

class JobWorker : public JobBench
{
  protected:
    /// A job whose next pass is a complete one: the queue holds the smallest band.
    void Ready()
    {
        MakeJob(m_settings);
        SetTime(g_nSec);
        AddMeas(64);
    }
    SJobSettings m_settings;
};

TEST_F(JobWorker, EachRefusalHasItsText)
{
    const struct
    {
        const char* pszName;
        std::function<void(CJobOMA&)> fnSpoil;
        const char* pszText;
        bool bSuspend;
    } vecCase[] = {
        {"no time", [](CJobOMA& j) { j.m_pActTime.reset(); }, "CJobOMA::RunWorker():Invalid Pointer: m_pActTime!",
         false},
        {"no input time", [](CJobOMA& j) { j.m_pTimeInp = nullptr; },
         "CJobOMA::RunWorker():Cannot copy actual time stamp!", false},
        {"mode", [](CJobOMA&) { g_eDataSource = static_cast<EDataSource>(3); },
         "CJobOMA::RunWorker():Invalid global OMA operation mode!", false},
        {"no reader", [](CJobOMA&) { g_eDataSource = eSrcMeasFile; },
         "CJobOMA::RetrveActValueFromFile():Invalid Pointer: m_pReadFile!", false},
        {"quality",
         [](CJobOMA& j) {
             j.SetActValue({1.0, eQualSuspect});
         },
         "CJobOMA::RunWorker(): Invalid #eQual# value!", true},
        {"too little data", [](CJobOMA& j) { j.m_pdeqMeas->Clear(); },
         "CJobOMA::RunWorker():Insufficient data in deque (possibly due to island split)!", false},
        {"shift", [](CJobOMA& j) { j.m_nMeasSinceShift = 49; }, "CJobOMA::RunWorker():Invalid time shift counter!",
         false},
        {"off the cycle",
         [](CJobOMA& j)
         {
             j.m_nRepRate = -11;
             j.m_nMeasSinceShift = 600;
         },
         "CJobOMA::RunWorker():TS does not match PS cycle!", false},
        {"no rate", [](CJobOMA& j) { j.m_nRepRate = 0; },
         "CJobOMA::NoOfMeasPerTimeShift(): Invalid PS repetition rate: 0!", true},
        {"no evaluators", [](CJobOMA& j) { j.m_pvecpProc.reset(); },
         "CJobOMA::RunWorker():Invalid Pointer: m_pvecpProc!", false},
        {"null evaluator", [](CJobOMA& j) { j.m_pvecpProc->insert(j.m_pvecpProc->begin(), nullptr); },
         "CJobOMA::RunWorker():Invalid Pointer: pProc!", false},
        {"null mode", [](CJobOMA& j) { j.m_pvecpPsmOut->push_back(nullptr); },
         "CJobOMA::UpdateAllPSMs():Invalid Pointer: pPSM!", false},
        {"null band", [](CJobOMA& j) { j.m_pvecpSpec->push_back(nullptr); },
         "CJobOMA::RetrveMaxSpecSize():Invalid Pointer: pSpec!", true},
    };
    for (const auto& oneCase : vecCase)
    {
        SCOPED_TRACE(oneCase.pszName);
        Ready();
        oneCase.fnSpoil(*m_pJob);
        EXPECT_FALSE(m_pJob->RunWorker(nullptr, nullptr));
        EXPECT_TRUE(m_capture.Has(oneCase.pszText));
        EXPECT_EQ(g_eAppState == eAppSuspend, oneCase.bSuspend);
        g_eAppState = eAppRun;
        g_eDataSource = eSrcServer;
    }
}

TEST_F(JobWorker, JobWithoutUsedBandsSuspends)
{
    m_settings.vecnSamples = {0, 0, 0};
    MakeJob(m_settings);
    SetTime(g_nSec);
    m_pJob->SetActValue({1.0, eQualValid});
    EXPECT_FALSE(m_pJob->AddMeasToBuf());
    EXPECT_TRUE(m_capture.Has("CJobOMA::AddMeasToBuf(): Invalid #nMeasMax# value!"));
    EXPECT_FALSE(m_pJob->RunWorker(nullptr, nullptr));
    EXPECT_TRUE(m_capture.Has("CJobOMA::RunWorker(): Invalid #nMeasMin# value!"));
}

TEST_F(JobWorker, CompletePassIsSilentAndCountsAnew)
{
    Ready();
    EXPECT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    EXPECT_TRUE(m_capture.Lines().empty());
    EXPECT_EQ(m_pJob->m_nMeasSinceShift, 0U);
    EXPECT_TRUE(m_pJob->m_pActTime->IsEqual(m_time));
    EXPECT_EQ(m_pJob->m_pActTime->GetRate(), 50);
    // The two longer bands were skipped, each mode has one record of this pass in its history.
    for (const std::int32_t eReso : {LR, MR, HR})
        EXPECT_EQ(Mode(0)->RetrveSpec(eReso)->GetDeqDataPS()->size(), 1U);
}

TEST_F(JobWorker, QueueNeverOutgrowsTheLongestBand)
{
    Ready();
    for (int i = 0; i < 300; ++i)
        AddMeas(1, i);
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 256U);
    double fNewest[2];
    ASSERT_TRUE(m_pJob->m_pdeqMeas->CopyNewest(fNewest, 2));
    EXPECT_EQ(fNewest[0], 298.0);
    EXPECT_EQ(fNewest[1], 299.0);
}

TEST_F(JobWorker, CountsOfMeasurementsAndCycles)
{
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1.0), 50U);
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1.001), 51U);
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1e-6), 1U);
    EXPECT_EQ(m_pJob->CalcNoOfMeas(std::numeric_limits<double>::infinity()), std::numeric_limits<unsigned>::max());
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1e-8), 0U);
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcNoOfMeas():Invalid time range!"));
    m_pJob->m_fCycle_s = 1.0 / 30.0;
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1.0), 30U);
    m_pJob->m_fCycle_s = std::numeric_limits<double>::infinity(); // a server that reports an impossible cycle
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1.0), 0U);
    m_pJob->m_fCycle_s = 0.0;
    EXPECT_EQ(m_pJob->CalcNoOfMeas(1.0), 0U);
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcNoOfMeas():Invalid VDS read cycle time!"));
    for (const auto& [nRate, nCycles] : {std::pair{1, 10U}, {2, 20U}, {-2, 5U}, {-3, 3U}, {-20, 0U}, {0, 0U}})
    {
        m_pJob->m_nRepRate = nRate;
        EXPECT_EQ(m_pJob->NoOfCyclesInactive(), nCycles) << nRate;
    }
}

TEST_F(JobWorker, BandSizesCountUsedBandsFrequenciesAll)
{
    double fEnd_Hz = 0.0;
    m_settings.vecnSamples = {0, 128, 256};
    MakeJob(m_settings);
    EXPECT_EQ(m_pJob->RetrveMinSpecSize(), 128U);
    EXPECT_EQ(m_pJob->RetrveMaxSpecSize(), 256U);
    EXPECT_EQ(m_pJob->m_pvecpProc->size(), 2U);
    EXPECT_TRUE(m_pJob->RetrveTotalFreqEnd(&fEnd_Hz));
    EXPECT_EQ(fEnd_Hz, 3.0);
    m_settings.vecfFreqEnd_Hz = {-1.0, -1.0, -1.0};
    MakeJob(m_settings);
    EXPECT_FALSE(m_pJob->RetrveTotalFreqEnd(&fEnd_Hz));
    EXPECT_TRUE(m_capture.Has("CJobOMA::RetrveTotalFreqEnd():No valid freq.end value available from SPECs!"));
}

TEST_F(JobWorker, MissedCycleStopsTheModesAndBeginsAnew)
{
    for (const auto& [nSec, pszCount] : {std::pair<std::int64_t, const char*>{g_nSec + 3, "= 1!"},
                                         {g_nSec + 12, "= 10!"},
                                         {g_nSec + 1, "= -1!"},
                                         {g_nSec, "= -2!"}})
    {
        Ready();
        ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
        ASSERT_TRUE(Pass(g_nSec + 1));
        WriteMode(0.4, 150.0, 0.02);
        ASSERT_TRUE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
        m_capture.Clear();
        EXPECT_FALSE(Pass(nSec));
        EXPECT_TRUE(m_capture.Has(std::string("CJobOMA::RunWorker():BEFORE DATA PROC. - Missing OMA input data: "
                                              "# PS cycles ") +
                                  pszCount));
        EXPECT_TRUE(m_capture.Has("CJobOMA::ResetDeqMeas():RESET Meas.Deque!"));
        EXPECT_FALSE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
        EXPECT_EQ(Mode(0)->GetEventData()->GetLastEvent(), 0);
        EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
        EXPECT_EQ(m_pJob->m_nCycleProc, 0U);
        EXPECT_FALSE(Pass(nSec + 1)); // too little data
        EXPECT_TRUE(Pass(nSec + 9));  // any cycle is the first one
    }
}

TEST_F(JobWorker, GapThatOpensWithinAPassIsFoundBeforeAnythingIsWritten)
{
    Ready();
    ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    --m_pJob->m_nCycleWrite;
    EXPECT_FALSE(Pass(g_nSec + 1));
    const std::vector<std::string> vecstrLine = m_capture.Lines();
    ASSERT_EQ(vecstrLine.size(), 4U);
    EXPECT_EQ(vecstrLine[0], "CJobOMA::RunWorker():BEFORE WRITE ALL PSM - Missing OMA input data: # PS cycles = 1!");
    EXPECT_EQ(vecstrLine[1], "CJobOMA::RunWorker():BEFORE WRITE ALL PSM - DONE STOP All PSM!");
    EXPECT_EQ(vecstrLine[3], "CJobOMA::RunWorker():BEFORE WRITE ALL PSM - DONE RESET Deq Meas!");
    EXPECT_EQ(m_pJob->m_nCycleWrite, 0U);
}

TEST_F(JobWorker, InvalidInputStopsTheOutputsUntilAllIsValidAgain)
{
    Ready();
    ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    WriteMode(0.4, 150.0, 0.02);
    for (int nPass = 1; nPass <= 2; ++nPass)
    {
        SetTime(g_nSec + nPass);
        AddMeas(50);
        m_pJob->SetActValue({0.0, eQualInvalid});
        EXPECT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
        EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    }
    EXPECT_EQ(m_capture.Count("CJobOMA::RunWorker():APP - INVALID PMU input data (wait for DIS warning...)!"), 1U);
    EXPECT_EQ(FakeDli::WriteStops(), std::vector<unsigned long>{g_nIdModeUnitFirst});
    ASSERT_EQ(FakeDli::Posts().size(), 2U);
    EXPECT_EQ(FakeDli::Posts()[1].eTrans, FakeDli::Dli::eDIS);
    EXPECT_EQ(m_capture.Count("DIS - PMU"), 0U);
    EXPECT_FALSE(Pass(g_nSec + 3));
    EXPECT_EQ(m_capture.Count("CJobOMA::RunWorker():DIS - PMU input data again all VALID now!"), 1U);
    EXPECT_TRUE(Pass(g_nSec + 4));
}

TEST_F(JobWorker, GridStateFollowsZonesAndIslands)
{
    m_settings.eJobMode = 1;
    MakeJob(m_settings);
    m_pJob->m_bUsingNTM = true;
    g_bTraceDataAll = true;
    g_vecbTraceData[6] = true;
    const struct
    {
        std::int32_t eQual1, eQual2;
        bool bIsland, bZone; // differ
        std::int32_t eExpect;
        std::vector<std::string> vecstrLine;
    } vecCase[] = {
        {0, 0, false, false, 0, {}},
        {0, 0, true, false, 2, {"Actual Network Split"}},
        {0, 0, true, true, 2, {"Actual Network Split"}},
        {0, 0, false, true, 1, {"Potential Network Subsplit"}},
        {1, 1, false, false, 0, {}},
        {1, 1, true, false, 1, {"Potential Network Split"}},
        {1, 1, false, true, 1, {"Potential Network Subsplit"}},
        {1,
         1,
         true,
         true,
         1,
         {"Potential Network Split", "Potential Network Subsplit",
          "CJobOMA::RetrveGridQualFromNTM():Pot.split AND pot.subsplit states must NOT exist at the same time!"}},
        {2, 2, true, true, 0, {}},
        {0,
         1,
         false,
         false,
         2,
         {"CJobOMA::RetrveGridQualFromNTM():PMU zone qualities do not match: q1= VALID q2= SUSPECT!"}},
        {3,
         9,
         false,
         false,
         2,
         {"CJobOMA::RetrveGridQualFromNTM():PMU zone qualities do not match: q1= ERROR q2= [undef. qual.value]!"}},
        {3, 3, false, false, 2, {"CJobOMA::RetrveGridQualFromNTM():Invalid Quality Status: 3!"}},
    };
    for (const auto& oneCase : vecCase)
    {
        m_capture.Clear();
        m_pmu1st.m_eZoneQual = oneCase.eQual1;
        m_pmu2nd.m_eZoneQual = oneCase.eQual2;
        m_pmu2nd.m_nIsland = oneCase.bIsland ? 1U : 0U;
        m_pmu2nd.m_nZone = oneCase.bZone ? 1U : 0U;
        EXPECT_EQ(m_pJob->RetrveGridQualFromNTM(), oneCase.eExpect) << oneCase.eQual1 << oneCase.eQual2;
        EXPECT_EQ(m_capture.Lines(), oneCase.vecstrLine);
    }
    m_pJob->m_eJobMode = 0;
    EXPECT_EQ(m_pJob->RetrveGridQualFromNTM(), 0);
}

TEST_F(JobWorker, SplitStopsOnceShowsInvalidEachPassAndRestartsAnew)
{
    m_settings.eJobMode = 1;
    Ready();
    StartMeas();
    m_pJob->m_bUsingNTM = true;
    ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    WriteMode(0.4, 150.0, 0.02);
    const std::size_t nWritesBefore = FakeDli::Writes(g_nIdMeasUnit).size();
    m_pmu2nd.m_nIsland = 1;
    for (int nPass = 1; nPass <= 3; ++nPass)
        EXPECT_TRUE(Pass(g_nSec + nPass));
    EXPECT_EQ(m_capture.Count("CJobOMA::RunWorker():No OMA data analysis due to actual network split!"), 1U);
    const auto vecWrite = FakeDli::Writes(g_nIdMeasUnit);
    ASSERT_EQ(vecWrite.size(), nWritesBefore + 3);
    EXPECT_EQ(vecWrite.back().vecValue[0].fValue, 0.0F);
    EXPECT_EQ(vecWrite.back().vecValue[0].nState, 0x0100000000000000);
    EXPECT_EQ(vecWrite.back().vecValue[0].nTicks, (g_nSec + 3) * g_nTicksPerSec);
    EXPECT_EQ(FakeDli::WriteStops().size(), 1U);
    EXPECT_GT(m_pJob->m_pdeqMeas->Size(), 0U);

    m_pmu2nd.m_nIsland = 0;
    EXPECT_TRUE(Pass(g_nSec + 4)); // the re-closing costs this pass
    EXPECT_TRUE(m_capture.Has("CJobOMA::RunWorker():OMA data analysis re-started due to network re-closing!"));
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    EXPECT_FALSE(Pass(g_nSec + 5));
    EXPECT_TRUE(Pass(g_nSec + 6));
    EXPECT_EQ(m_pJob->m_eGridQual, 0);
}

TEST_F(JobWorker, PotentialSplitGoesIntoTheEvaluation)
{
    m_settings.eJobMode = 1;
    Ready();
    m_pJob->m_bUsingNTM = true;
    m_pmu2nd.m_nZone = 1;
    EXPECT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    EXPECT_EQ(m_pJob->m_eGridQual, 1);
    g_eDataSource = eSrcStudy; // offline the grid is always intact
    m_pJob->RunWorker(nullptr, nullptr);
    EXPECT_EQ(m_pJob->m_eGridQual, 0);
}

TEST_F(JobWorker, MeasurementChannelCarriesTheStampOfItsOwnCycle)
{
    SetTime(g_nSec);
    EXPECT_FALSE(m_pJob->WriteCalcdValue());
    EXPECT_TRUE(m_capture.Has("CJobOMA::WriteCalcdValue():Invalid Pointer: m_pVdsOutMeas!"));
    ASSERT_TRUE(m_pJob->CreateVdsOutMeas(1, 50));
    EXPECT_TRUE(m_pJob->WriteCalcdValue()); // not started yet
    EXPECT_TRUE(FakeDli::Writes().empty());
    StartMeas();
    EXPECT_EQ(FakeDli::LiveWriteChannels(), 3); // the writer stays, two modes
    ASSERT_EQ(FakeDli::WriteStarts(g_nIdMeasUnit).size(), 1U);
    EXPECT_EQ(FakeDli::WriteStarts()[0].vecId, std::vector<unsigned long>{g_nIdMeasChan});
    EXPECT_EQ(FakeDli::WriteStarts()[0].nRate, 50);
    m_pJob->SetActValue({12.5, eQualValid});
    m_time.SetTicks(g_nSec * g_nTicksPerSec + 200000);
    EXPECT_TRUE(m_pJob->WriteCalcdValue());
    EXPECT_TRUE(m_pJob->m_pActTime->IsEqual(m_time));
    // A pass that has overrun its limit keeps its own time.
    m_pJob->m_bWorkerDone = false;
    m_time.SetTicks(g_nSec * g_nTicksPerSec + 400000);
    m_pJob->SetActValue({std::numeric_limits<double>::quiet_NaN(), eQualValid});
    EXPECT_TRUE(m_pJob->WriteCalcdValue());
    EXPECT_EQ(m_pJob->m_pActTime->GetIdx(), 1U);
    const auto vecWrite = FakeDli::Writes(g_nIdMeasUnit);
    ASSERT_EQ(vecWrite.size(), 2U);
    EXPECT_EQ(vecWrite[0].vecValue[0].nTicks, g_nSec * g_nTicksPerSec + 200000);
    EXPECT_EQ(vecWrite[0].vecValue[0].fValue, 12.5F);
    EXPECT_EQ(vecWrite[0].vecValue[0].nState, 0);
    EXPECT_EQ(vecWrite[1].vecValue[0].nTicks, g_nSec * g_nTicksPerSec + 400000);
    EXPECT_EQ(vecWrite[1].vecValue[0].nState, 0x0100000000000000);
}

TEST_F(JobWorker, RefusedOutputChannelIsToldAndTriedAgain)
{
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowWriteNew = "unknown handle";
    FakeDli::SetBehaviour(behaviour);
    EXPECT_FALSE(m_pJob->CreateVdsOutMeas(9, 50));
    EXPECT_TRUE(m_capture.Has("unknown handle!"));
    EXPECT_EQ(g_eAppState, eAppRun);
    FakeDli::SetBehaviour({});
    EXPECT_TRUE(m_pJob->CreateVdsOutMeas(1, 50));
}

TEST_F(JobWorker, FailingModeEndsTheOutputOfThoseBehindIt)
{
    Ready();
    m_pJob->m_pActTime->Copy(&m_time, true);
    CProcOMA::VecPeak vecpPeak;
    vecpPeak.push_back(MakePeak(0.4, 10.0)); // below 0.4 of the warning limit
    vecpPeak.push_back(MakePeak(1.2, 150.0));
    ASSERT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1) && m_pJob->UpdateAllPSMs());
    EXPECT_FALSE(m_pJob->WriteDataPS());
    EXPECT_TRUE(FakeDli::WriteStarts().empty());
}

TEST_F(JobWorker, SlowStartAnswersAreSummedUp)
{
    Ready();
    m_pJob->m_pActTime->Copy(&m_time, true);
    FakeDli::SBehaviour behaviour;
    behaviour.eWriteAnswer = FakeDli::EAnswer::eNone;
    FakeDli::SetBehaviour(behaviour);
    EventsUseFakeClock(true);
    EventsAutoAdvance(1);
    WriteMode(0.4, 150.0, 0.02);
    EventsAutoAdvance(0);
    EventsUseFakeClock(false);
    EXPECT_TRUE(m_capture.Has("CJobOMA::WriteDataPS():Total VDS Start Write Resp.Time [ms]: 400!"));
}

TEST_F(JobWorker, NewTimeLineStopsModesAndEmptiesTheQueue)
{
    Ready();
    WriteMode(0.4, 150.0, 0.02);
    m_pJob->InitForNewTimeLine();
    EXPECT_FALSE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    EXPECT_EQ(m_pJob->m_nMeasSinceShift, 0U);
}

TEST_F(JobWorker, StudyReplacesTheWindow)
{
    std::wstring strProg = L"oma", strStudy = L"-study", strPeak = L"-peak:0.5,100,-0.02,0", strXml = L"-xml:/dev/null";
    wchar_t* vecpArg[] = {strProg.data(), strXml.data(), strStudy.data(), strPeak.data()};
    g_pShell = std::make_unique<CShellOMA>();
    g_pShell->ExtractCmdLinePars(4, vecpArg, nullptr);
    ASSERT_TRUE(g_pShell->IsStudy());
    Ready();
    StartMeas();
    g_eDataSource = eSrcStudy;
    EXPECT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    std::vector<double> vecfData(m_pJob->m_pdeqMeas->Size());
    ASSERT_EQ(vecfData.size(), 65U);
    m_pJob->m_pdeqMeas->CopyNewest(vecfData.data(), vecfData.size());
    EXPECT_EQ(vecfData[0], 0.0);
    EXPECT_GT(*std::max_element(vecfData.begin(), vecfData.end()), 50.0);
    EXPECT_EQ(FakeDli::Writes(g_nIdMeasUnit).size(), 1U); // the value of the PMUs goes out all the same
}

TEST(JobConstruction, NullBandsAreTold)
{
    const CaptureTrace capture;
    auto pvecpSpec = std::make_unique<VecSpec>(3);
    const CJobOMA job("JOB", 1, true, 0, std::move(pvecpSpec), 2, 3, 10, 1, nullptr, std::make_unique<CTraceOMA>("JOB"),
                      nullptr);
    EXPECT_FALSE(job.IsOk());
    EXPECT_EQ(capture.Count("CJobOMA::CJobOMA():Invalid Pointer: pSpec!"), 3U);
    EXPECT_EQ(job.GetActValue().eQual, eQualInvalid);
    EXPECT_TRUE(job.m_bWorkerDone);
}

TEST(JobConstruction, CleanUpOfAnInactiveJobTouchesNothingThatIsGone)
{
    CReadFileMeas reader(L"none.csv", false, {1, 0, 0}, {3, 0, 0}, "", "", nullptr);
    const CaptureTrace capture;
    auto pJob = std::make_unique<CJobOMA>("JOB", 1, false, 0, std::make_unique<VecSpec>(), 2, 3, 10, 1, nullptr,
                                          std::make_unique<CTraceOMA>("JOB"), &reader);
    EXPECT_FALSE(reader.IncrDataCntr());
    EXPECT_TRUE(capture.Has("CReadFileMeas::IncrDataCntr():No data in buffer!"));
    pJob->DeleteTrace();
    EXPECT_FALSE(reader.IncrDataCntr());
    EXPECT_EQ(capture.Lines().size(), 1U);
    EXPECT_FALSE(pJob->StopAllPsmOut() && pJob->CalcActualValue());
}
} // namespace
