#include "JobBench.h"
#include "ResultDir.h"
#include "offline/CReadFileMeas.h"
#include <limits>

namespace
{
constexpr std::int64_t g_nWordInvalid = 0x0100000000000000;

class JobWorker : public JobBench
{
  protected:
    /// Prepares the job for a complete pass: fills the queue for the shortest band.
    void Ready()
    {
        MakeJob(m_settings);
        SetTime(g_nSec);
        AddMeas(64);
    }
    SJobSettings m_settings;
};

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
        EXPECT_TRUE(Pass(g_nSec + nJump + 9));  // any cycle may be the first one
    }
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
    const std::string strMismatch = "CJobOMA::RetrveGridQualFromNTM():PMU zone qualities do not match: q1=";
    const struct
    {
        std::int32_t eQual1, eQual2;
        unsigned nIsland2, nZone2; // those of the first PMU are 0
        std::int32_t eExpect;
        std::string strLine; // empty: no line
    } vecCase[] = {{0, 0, 0, 0, 0, ""},
                   {0, 0, 1, 1, 2, "Actual Network Split"},
                   {0, 0, 0, 1, 1, "Potential Network Subsplit"},
                   {1, 1, 0, 0, 0, ""},
                   {1, 1, 1, 0, 1, "Potential Network Split"},
                   {2, 2, 1, 1, 0, ""},
                   {3, 9, 0, 0, 2, strMismatch + " ERROR q2= [undef. qual.value]!"}};
    for (const auto& oneCase : vecCase)
    {
        m_capture.Clear();
        m_pmu1st.m_eZoneQual = oneCase.eQual1;
        m_pmu2nd.m_eZoneQual = oneCase.eQual2;
        m_pmu2nd.m_nIsland = oneCase.nIsland2;
        m_pmu2nd.m_nZone = oneCase.nZone2;
        EXPECT_EQ(m_pJob->RetrveGridQualFromNTM(), oneCase.eExpect) << oneCase.eQual1 << oneCase.eQual2;
        EXPECT_EQ(m_capture.Lines().empty(), oneCase.strLine.empty());
        EXPECT_TRUE(oneCase.strLine.empty() || m_capture.Has(oneCase.strLine));
    }
}

TEST_F(JobWorker, SplitStopsOnceShowsInvalidEachPassAndRestartsAnew)
{
    m_settings.eJobMode = 1;
    Ready();
    StartMeas();
    m_pJob->m_bUsingNTM = true;
    m_pmu2nd.m_nZone = 1; // a potential split only affects the evaluation
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
    EXPECT_TRUE(Pass(g_nSec + 4)); // the end of the split costs this pass
    EXPECT_TRUE(m_capture.Has("CJobOMA::RunWorker():OMA data analysis re-started due to network re-closing!"));
    EXPECT_EQ(m_pJob->m_pdeqMeas->Size(), 0U);
    EXPECT_FALSE(Pass(g_nSec + 5));
    EXPECT_TRUE(Pass(g_nSec + 6));
    g_eDataSource = eSrcStudy; // offline, the grid always counts as intact
    m_pJob->RunWorker(nullptr, nullptr);
    EXPECT_EQ(m_pJob->m_eGridQual, 0);
}

TEST_F(JobWorker, MeasurementChannelCarriesTheStampOfItsOwnCycle)
{
    SetTime(g_nSec);
    StartMeas();
    m_pJob->SetActValue({12.5, eQualValid});
    m_time.SetTicks(g_nSec * g_nTicksPerSec + 200000);
    EXPECT_TRUE(m_pJob->WriteCalcdValue());
    EXPECT_TRUE(m_pJob->m_pActTime->IsEqual(m_time));
    m_pJob->m_bWorkerDone = false; // a pass that has exceeded its limit keeps its own time
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

TEST_F(JobWorker, NoRecordingBreaksAPass)
{
    const CResultDir dir;
    std::ofstream(dir.Path("in.csv")) << "h\nt;nan;0;1;0\nt;inf;inf;-inf;0\nt;1e308;0;1e308;0\nt;1e999;nan;1;0\n";
    CReadFileMeas reader(L"c:\\in.csv", true, {1}, {3}, "", "no", nullptr);
    ASSERT_TRUE(reader.ReadData());
    m_settings.pReadFile = &reader;
    Ready();
    g_eDataSource = eSrcMeasFile;
    for (int nPass = 0; nPass < 8; ++nPass)
        EXPECT_TRUE(Pass(g_nSec + nPass)) << nPass;
    EXPECT_TRUE(FakeDli::Writes().empty() && g_eAppState == eAppRun);
    m_pJob.reset(); // makes it release the reader
}
} // namespace
