#include "JobBench.h"
#include "ResultDir.h"
#include "offline/CReadFileMeas.h"
#include "offline/CStudyOMA.h"
#include <cmath>
#include <functional>
#include <limits>

namespace
{
constexpr std::int64_t g_nWordInvalid = 0x0100000000000000;

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

// clang-format off
const struct
{
    std::function<void(CJobOMA&)> fnSpoil;
    const char* pszText;
    bool bSuspend;
} g_vecRefusal[] = {
    {[](CJobOMA& j) { j.m_pActTime.reset(); }, "RunWorker():Invalid Pointer: m_pActTime!", false},
    {[](CJobOMA& j) { j.m_pTimeInp = nullptr; }, "RunWorker():Cannot copy actual time stamp!", false},
    {[](CJobOMA&) { g_eDataSource = static_cast<EDataSource>(3); }, "RunWorker():Invalid global OMA operation mode!", false},
    {[](CJobOMA&) { g_eDataSource = eSrcMeasFile; }, "RetrveActValueFromFile():Invalid Pointer: m_pReadFile!", false},
    {[](CJobOMA& j) { j.SetActValue({1.0, eQualSuspect}); }, "RunWorker(): Invalid #eQual# value!", true},
    {[](CJobOMA& j) { j.m_pdeqMeas->Clear(); }, "RunWorker():Insufficient data in deque (possibly due to island split)!", false},
    {[](CJobOMA& j) { j.m_nMeasSinceShift = 49; }, "RunWorker():Invalid time shift counter!", false},
    {[](CJobOMA& j) { j.m_nRepRate = -11; j.m_nMeasSinceShift = 600; }, "RunWorker():TS does not match PS cycle!", false},
    {[](CJobOMA& j) { j.m_nRepRate = 0; }, "NoOfMeasPerTimeShift(): Invalid PS repetition rate: 0!", true},
    {[](CJobOMA& j) { j.m_pvecpProc.reset(); }, "RunWorker():Invalid Pointer: m_pvecpProc!", false},
    {[](CJobOMA& j) { j.m_pvecpProc->front().reset(); }, "RunWorker():Invalid Pointer: pProc!", false},
    {[](CJobOMA& j) { j.m_pvecpPsmOut->push_back(nullptr); }, "UpdateAllPSMs():Invalid Pointer: pPSM!", false},
    {[](CJobOMA& j) { j.m_pvecpSpec->push_back(nullptr); }, "RetrveMaxSpecSize():Invalid Pointer: pSpec!", true},
};
// clang-format on

TEST_F(JobWorker, EachRefusalHasItsText)
{
    for (const auto& refusal : g_vecRefusal)
    {
        Ready();
        refusal.fnSpoil(*m_pJob);
        EXPECT_FALSE(m_pJob->RunWorker(nullptr, nullptr)) << refusal.pszText;
        EXPECT_TRUE(m_capture.Has("CJobOMA::" + std::string(refusal.pszText))) << refusal.pszText;
        EXPECT_EQ(g_eAppState == eAppSuspend, refusal.bSuspend) << refusal.pszText;
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
    EXPECT_TRUE(m_pJob->m_pActTime->IsEqual(m_time) && m_pJob->m_pActTime->GetRate() == 50);
    // The two longer bands were skipped; each mode has one record of this pass for each band.
    for (const std::int32_t eReso : {LR, MR, HR})
        EXPECT_EQ(Mode(0)->RetrveSpec(eReso)->GetDeqDataPS()->size(), 1U);
}

TEST_F(JobWorker, CountsOfMeasurementsAndCycles)
{
    constexpr double fInf = std::numeric_limits<double>::infinity();
    const std::tuple<double, double, unsigned> vecCase[] = {
        {1.0, 0.02, 50}, {1.001, 0.02, 51},   {1e-6, 0.02, 1}, {fInf, 0.02, 4294967295},
        {1e-8, 0.02, 0}, {1.0, 1.0 / 30, 30}, {1.0, fInf, 0}, // a server that reports an impossible cycle
        {1.0, 0.0, 0}};
    for (const auto& [fRange_s, fCycle_s, nExpect] : vecCase)
    {
        m_pJob->m_fCycle_s = fCycle_s;
        EXPECT_EQ(m_pJob->CalcNoOfMeas(fRange_s), nExpect) << fRange_s << " " << fCycle_s;
    }
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcNoOfMeas():Invalid time range!"));
    EXPECT_TRUE(m_capture.Has("CJobOMA::CalcNoOfMeas():Invalid VDS read cycle time!"));
    for (const auto& [nRate, nCycles] : {std::pair{1, 10U}, {2, 20U}, {-3, 3U}, {-20, 0U}, {0, 0U}})
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
    EXPECT_TRUE(m_pJob->RetrveTotalFreqEnd(&fEnd_Hz) && fEnd_Hz == 3.0);
    AddMeas(300);
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 256U); // the longest band
    m_settings.vecfFreqEnd_Hz = {-1.0, -1.0, -1.0};
    MakeJob(m_settings);
    EXPECT_FALSE(m_pJob->RetrveTotalFreqEnd(&fEnd_Hz));
    EXPECT_TRUE(m_capture.Has("CJobOMA::RetrveTotalFreqEnd():No valid freq.end value available from SPECs!"));
}

TEST_F(JobWorker, MissedCycleStopsTheModesAndBeginsAnew)
{
    for (const auto& [nJump, strCount] :
         {std::pair<int, std::string>{3, "= 1!"}, {12, "= 10!"}, {1, "= -1!"}, {0, "= -2!"}})
    {
        Ready();
        ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr) && Pass(g_nSec + 1));
        WriteMode(0.4, 150.0, 0.02);
        ASSERT_TRUE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
        EXPECT_FALSE(Pass(g_nSec + nJump));
        EXPECT_TRUE(
            m_capture.Has("CJobOMA::RunWorker():BEFORE DATA PROC. - Missing OMA input data: # PS cycles " + strCount));
        EXPECT_TRUE(m_capture.Has("CJobOMA::ResetDeqMeas():RESET Meas.Deque!"));
        EXPECT_FALSE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
        EXPECT_EQ(Mode(0)->GetEventData()->GetLastEvent(), 0);
        EXPECT_TRUE(m_pJob->m_pdeqMeas->Size() == 0 && m_pJob->m_nCycleProc == 0);
        EXPECT_FALSE(Pass(g_nSec + nJump + 1)); // too little data
        EXPECT_TRUE(Pass(g_nSec + nJump + 9));  // any cycle is the first one
    }
}

TEST_F(JobWorker, GapThatOpensWithinAPassIsFoundBeforeAnythingIsWritten)
{
    Ready();
    ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    --m_pJob->m_nCycleWrite;
    EXPECT_FALSE(Pass(g_nSec + 1));
    const std::vector<std::string> vecstrExpect = {
        "CJobOMA::RunWorker():BEFORE WRITE ALL PSM - Missing OMA input data: # PS cycles = 1!",
        "CJobOMA::RunWorker():BEFORE WRITE ALL PSM - DONE STOP All PSM!", "CJobOMA::ResetDeqMeas():RESET Meas.Deque!",
        "CJobOMA::RunWorker():BEFORE WRITE ALL PSM - DONE RESET Deq Meas!"};
    EXPECT_EQ(m_capture.Lines(), vecstrExpect);
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
    EXPECT_FALSE(m_capture.Has("DIS - PMU"));
    EXPECT_FALSE(Pass(g_nSec + 3)); // valid, but too little data
    EXPECT_EQ(m_capture.Count("CJobOMA::RunWorker():DIS - PMU input data again all VALID now!"), 1U);
    EXPECT_TRUE(Pass(g_nSec + 4));
}

TEST_F(JobWorker, GridStateFollowsZonesAndIslands)
{
    m_pJob->m_eJobMode = 1;
    m_pJob->m_bUsingNTM = true;
    g_bTraceDataAll = g_vecbTraceData[6] = true;
    const std::string strMethod = "CJobOMA::RetrveGridQualFromNTM():";
    const std::string strNoMatch = strMethod + "PMU zone qualities do not match: q1=";
    const struct
    {
        std::int32_t eQual1, eQual2;
        unsigned nIsland2, nZone2; // those of the first PMU are 0
        std::int32_t eExpect;
        std::vector<std::string> vecstrLine;
    } vecCase[] = {{0, 0, 0, 0, 0, {}},
                   {0, 0, 1, 0, 2, {"Actual Network Split"}},
                   {0, 0, 1, 1, 2, {"Actual Network Split"}},
                   {0, 0, 0, 1, 1, {"Potential Network Subsplit"}},
                   {1, 1, 0, 0, 0, {}},
                   {1, 1, 1, 0, 1, {"Potential Network Split"}},
                   {1, 1, 0, 1, 1, {"Potential Network Subsplit"}},
                   {1,
                    1,
                    1,
                    1,
                    1,
                    {"Potential Network Split", "Potential Network Subsplit",
                     strMethod + "Pot.split AND pot.subsplit states must NOT exist at the same time!"}},
                   {2, 2, 1, 1, 0, {}},
                   {0, 1, 0, 0, 2, {strNoMatch + " VALID q2= SUSPECT!"}},
                   {3, 9, 0, 0, 2, {strNoMatch + " ERROR q2= [undef. qual.value]!"}},
                   {3, 3, 0, 0, 2, {strMethod + "Invalid Quality Status: 3!"}}};
    for (const auto& oneCase : vecCase)
    {
        m_capture.Clear();
        m_pmu1st.m_eZoneQual = oneCase.eQual1;
        m_pmu2nd.m_eZoneQual = oneCase.eQual2;
        m_pmu2nd.m_nIsland = oneCase.nIsland2;
        m_pmu2nd.m_nZone = oneCase.nZone2;
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
    m_pmu2nd.m_nZone = 1; // a potential split only goes into the evaluation
    ASSERT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    EXPECT_EQ(m_pJob->m_eGridQual, 1);
    WriteMode(0.4, 150.0, 0.02);
    m_pmu2nd.m_nIsland = 1;
    for (int nPass = 1; nPass <= 3; ++nPass)
        EXPECT_TRUE(Pass(g_nSec + nPass));
    EXPECT_EQ(m_capture.Count("CJobOMA::RunWorker():No OMA data analysis due to actual network split!"), 1U);
    const auto vecWrite = FakeDli::Writes(g_nIdMeasUnit);
    ASSERT_EQ(vecWrite.size(), 3U);
    EXPECT_EQ(vecWrite.back().vecValue[0].fValue, 0.0F);
    EXPECT_EQ(vecWrite.back().vecValue[0].nState, g_nWordInvalid);
    EXPECT_EQ(vecWrite.back().vecValue[0].nTicks, (g_nSec + 3) * g_nTicksPerSec);
    EXPECT_EQ(FakeDli::WriteStops().size(), 1U);

    m_pmu2nd.m_nIsland = 0;
    EXPECT_TRUE(Pass(g_nSec + 4)); // the re-closing costs this pass
    EXPECT_TRUE(m_capture.Has("CJobOMA::RunWorker():OMA data analysis re-started due to network re-closing!"));
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    EXPECT_FALSE(Pass(g_nSec + 5));
    EXPECT_TRUE(Pass(g_nSec + 6));
    g_eDataSource = eSrcStudy; // offline the grid is always intact
    m_pJob->RunWorker(nullptr, nullptr);
    EXPECT_EQ(m_pJob->m_eGridQual, 0);
}

TEST_F(JobWorker, MeasurementChannelCarriesTheStampOfItsOwnCycle)
{
    SetTime(g_nSec);
    EXPECT_FALSE(m_pJob->WriteCalcdValue());
    EXPECT_TRUE(m_capture.Has("CJobOMA::WriteCalcdValue():Invalid Pointer: m_pVdsOutMeas!"));
    FakeDli::SBehaviour behaviour;
    behaviour.strThrowWriteNew = "unknown handle";
    FakeDli::SetBehaviour(behaviour);
    EXPECT_FALSE(m_pJob->CreateVdsOutMeas(9, 50));
    EXPECT_TRUE(m_capture.Has("unknown handle!") && g_eAppState == eAppRun);
    FakeDli::SetBehaviour({});
    ASSERT_TRUE(m_pJob->CreateVdsOutMeas(1, 50));
    EXPECT_TRUE(m_pJob->WriteCalcdValue()); // not started yet
    EXPECT_TRUE(FakeDli::Writes().empty());
    StartMeas();
    ASSERT_EQ(FakeDli::WriteStarts(g_nIdMeasUnit).size(), 1U); // the writer stays
    EXPECT_EQ(FakeDli::WriteStarts()[0].vecId, std::vector<unsigned long>{g_nIdMeasChan});
    m_pJob->SetActValue({12.5, eQualValid});
    m_time.SetTicks(g_nSec * g_nTicksPerSec + 200000);
    EXPECT_TRUE(m_pJob->WriteCalcdValue());
    EXPECT_TRUE(m_pJob->m_pActTime->IsEqual(m_time));
    m_pJob->m_bWorkerDone = false; // a pass that has overrun its limit keeps its own time
    m_time.SetTicks(g_nSec * g_nTicksPerSec + 400000);
    m_pJob->SetActValue({std::numeric_limits<double>::quiet_NaN(), eQualValid});
    EXPECT_TRUE(m_pJob->WriteCalcdValue());
    EXPECT_EQ(m_pJob->m_pActTime->GetIdx(), 1U);
    const auto vecWrite = FakeDli::Writes(g_nIdMeasUnit);
    ASSERT_EQ(vecWrite.size(), 2U);
    EXPECT_EQ(vecWrite[0].vecValue[0].nTicks, g_nSec * g_nTicksPerSec + 200000);
    EXPECT_EQ(vecWrite[0].vecValue[0].fValue, 12.5F);
    EXPECT_EQ(vecWrite[1].vecValue[0].nTicks, g_nSec * g_nTicksPerSec + 400000);
    EXPECT_EQ(vecWrite[1].vecValue[0].nState, g_nWordInvalid);
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

TEST_F(JobWorker, SlowStartAnswersAreToldAndANewTimeLineStopsAll)
{
    Ready();
    FakeDli::SBehaviour behaviour;
    behaviour.eWriteAnswer = FakeDli::EAnswer::eNone;
    FakeDli::SetBehaviour(behaviour);
    EventsUseFakeClock(true);
    EventsAutoAdvance(1);
    WriteMode(0.4, 150.0, 0.02);
    EventsAutoAdvance(0);
    EventsUseFakeClock(false);
    EXPECT_TRUE(m_capture.Has("CJobOMA::WriteDataPS():Total VDS Start Write Resp.Time [ms]: 400!"));
    FakeDli::SetBehaviour({});
    WriteMode(0.4, 150.0, 0.02);
    m_pJob->InitForNewTimeLine();
    EXPECT_FALSE(Mode(0)->GetVdsOutPS()->GetCB()->IsStarted());
    EXPECT_TRUE(m_pJob->m_pdeqMeas->Size() == 0 && m_pJob->m_nMeasSinceShift == 0);
}

TEST_F(JobWorker, StudyReplacesTheWindow)
{
    UseOptions({L"-study", L"-peak:0.5,100,-0.02,0"});
    Ready();
    StartMeas();
    g_eDataSource = eSrcStudy;
    EXPECT_TRUE(m_pJob->RunWorker(nullptr, nullptr));
    std::vector<double> vecfData(65);
    ASSERT_TRUE(m_pJob->m_pdeqMeas->Size() == 65 && m_pJob->m_pdeqMeas->CopyNewest(vecfData.data(), 65));
    EXPECT_EQ(vecfData[0], 0.0);
    EXPECT_GT(*std::max_element(vecfData.begin(), vecfData.end()), 50.0);
    EXPECT_EQ(FakeDli::Writes(g_nIdMeasUnit).size(), 1U); // the value of the PMUs goes out all the same
}

TEST_F(JobWorker, NoOptionBreaksAStudyPass)
{
    const CResultDir dir;
    const std::wstring vecwstrValue[] = {L"",
                                         L"x",
                                         L"-",
                                         L"0",
                                         L"-1",
                                         L"1e308",
                                         L"-1e308",
                                         L"1e-308",
                                         L"NaN",
                                         L"inf",
                                         L"1,2",
                                         L",,,,,,,",
                                         L"2x",
                                         L"0x1p9",
                                         L"99999999999",
                                         L"0.5,1e308,0.9,-1e308",
                                         L"1e308,1,-0.5,0",
                                         L"-1,-1,-1,-1",
                                         L"1,1,1e-300,0"};
    for (const std::wstring wstrPeak : {L"-PEAK:0.5,100,-0.02,0", L"-peak:"})
        for (const std::wstring& wstrValue : vecwstrValue)
        {
            std::vector<std::wstring> vecwstrOption{L"-STUDY", L"-File:FFT", L"-fILE:pSM", L"-lma", wstrPeak};
            for (const wchar_t* const pszName :
                 {L"-nMaxHS:", L"-spec", L"-csv:", L"-dampCORR:", L"-noise:", L"-range:", L"-shift:", L"-peak:",
                  L"-voltage:", L"-volt2:", L"-start:", L"-id:", L"-tdata:", L"-minfreq:", L"-rawmagn"})
                for (int nTwice = 0; nTwice < 2; ++nTwice)
                    vecwstrOption.push_back(pszName + wstrValue);
            UseOptions(vecwstrOption);
            Ready();
            g_eDataSource = eSrcStudy;
            for (int nPass = 0; nPass < 3; ++nPass)
                Pass(g_nSec + nPass);
            EXPECT_EQ(g_eAppState, eAppRun) << std::string(wstrValue.begin(), wstrValue.end());
            EXPECT_LE(m_pJob->m_pdeqMeas->Size(), 256U);
        }
    CStudyOMA::s_nCount = 0;
}

TEST_F(JobWorker, NoRecordingBreaksAPass)
{
    const CResultDir dir;
    std::ofstream(dir.Path("in.csv")) << "h\nt;nan;0;1;0\nt;inf;inf;-inf;0\nt;1e308;0;1e308;0\nt;1e999;nan;1;0\n";
    CReadFileMeas reader(L"c:\\in.csv", true, {1}, {3}, "", "no", nullptr);
    ASSERT_TRUE(reader.ReadData());
    m_settings.pReadFile = &reader;
    UseOptions({L"-file:fft", L"-file:psm"});
    Ready();
    g_eDataSource = eSrcMeasFile;
    for (int nPass = 0; nPass < 8; ++nPass)
        EXPECT_TRUE(Pass(g_nSec + nPass)) << nPass;
    EXPECT_TRUE(FakeDli::Writes().empty() && g_eAppState == eAppRun);
    m_pJob.reset(); // it lets go of the reader
}

TEST(JobConstruction, NullBandsAreTold)
{
    const CaptureTrace capture;
    const CJobOMA job("JOB", 1, true, 0, std::make_unique<VecSpec>(3), 2, 3, 10, 1, nullptr,
                      std::make_unique<CTraceOMA>("JOB"), nullptr);
    EXPECT_FALSE(job.IsOk());
    EXPECT_EQ(capture.Count("CJobOMA::CJobOMA():Invalid Pointer: pSpec!"), 3U);
    EXPECT_TRUE(job.GetActValue().eQual == eQualInvalid && job.m_bWorkerDone);
}

TEST(JobConstruction, CleanUpLeavesNoTraceAreaBehind)
{
    CReadFileMeas reader(L"none.csv", false, {1, 0, 0}, {3, 0, 0}, "", "", nullptr);
    const CaptureTrace capture;
    CJobOMA job("JOB", 1, false, 0, std::make_unique<VecSpec>(), 2, 3, 10, 1, nullptr,
                std::make_unique<CTraceOMA>("JOB"), &reader);
    EXPECT_FALSE(reader.IncrDataCntr());
    EXPECT_TRUE(capture.Has("CReadFileMeas::IncrDataCntr():No data in buffer!"));
    job.DeleteTrace();
    EXPECT_FALSE(reader.IncrDataCntr() || job.CalcActualValue());
    EXPECT_EQ(capture.Lines().size(), 1U);
}
} // namespace
