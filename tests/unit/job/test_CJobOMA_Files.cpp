#include "JobBench.h"
#include "ResultDir.h"
#include "offline/CWriteFile.h"

namespace
{
class JobFiles : public JobBench
{
  protected:
    JobFiles()
    {
        CJobOMA::SetServerAddress("10.0.0.7", 4712);
        m_pJob->GetCsvFileName(&m_wstrName);
        m_pFile = std::make_unique<CWriteFile>(m_wstrName, nullptr);
        EXPECT_TRUE(m_pFile->Open());
    }
    /// All that has been written, and the file begins anew.
    std::string TakeText()
    {
        m_pFile->Close();
        const std::string strText = m_dir.Text("OMA_JOB.csv");
        m_pFile->Open();
        return strText;
    }
    static std::string Golden(const std::string& p_strName)
    {
        std::ostringstream text;
        text << std::ifstream(OMA_TEST_DATA "/result_files/" + p_strName).rdbuf();
        return text.str();
    }
    bool WriteHeadAndRow()
    {
        return m_pJob->WriteHeadToCSV(m_pFile.get()) && m_pJob->WriteDataToCSV(m_pFile.get(), &m_nRows);
    }
    /// One-phase PMUs with known values.
    void UseSinglePhases()
    {
        SetPhases(m_pmu1st, 1011, 1);
        SetPhases(m_pmu2nd, 1021, 1);
        SetPhasor(m_pmu1st, 0, 230940.125, 90.0);
        SetPhasor(m_pmu2nd, 0, 450.5, -90.0);
    }

    CResultDir m_dir;
    std::wstring m_wstrName;
    std::unique_ptr<CWriteFile> m_pFile;
    unsigned m_nRows = 0;
};

// Files of golden.py beside them; it knows the layout, not this code.
TEST_F(JobFiles, FilesAreTheGoldenOnes)
{
    SetTime(g_nSec);
    ASSERT_TRUE(WriteHeadAndRow());
    EXPECT_EQ(TakeText(), Golden("three_phases.csv"));

    UseSinglePhases();
    m_nRows = 0;
    ASSERT_TRUE(WriteHeadAndRow());
    WriteMode(0.4, 150.0, 0.02); // DOE: level 9 and 0.5 * 0.4
    ASSERT_TRUE(m_pJob->WriteDataToCSV(m_pFile.get(), &m_nRows));
    EXPECT_EQ(m_nRows, 2U);
    EXPECT_EQ(TakeText(), Golden("power.csv"));

    SJobSettings settings;
    settings.eJobMode = 1;
    settings.vecMode_Hz = {{0.2, 0.8}};
    MakeJob(settings);
    UseSinglePhases();
    SetTime(g_nSec);
    WriteMode(0.4, 1234567.125, 0.0); // DOE 11, a magnitude beyond its width widens its field
    m_nRows = 0;
    ASSERT_TRUE(WriteHeadAndRow());
    EXPECT_EQ(TakeText(), Golden("angle.csv"));
}

TEST_F(JobFiles, TimeColumnCountsRowsByThePeriod)
{
    for (const auto& [nRepRate, pszTime] : {std::pair{1, "2000,"}, {-2, "4000,"}, {5, "400,"}, {10, "200,"}})
    {
        m_pJob->m_nRepRate = nRepRate;
        m_nRows = 2;
        ASSERT_TRUE(m_pJob->WriteDataToCSV(m_pFile.get(), &m_nRows));
        EXPECT_EQ(TakeText().find(pszTime), 0U) << nRepRate;
        EXPECT_EQ(m_nRows, 3U);
    }
}

TEST_F(JobFiles, SecondPmuGivesTheNumberOfColumnsOfTheFirst)
{
    for (const auto& [n1st, n2nd, nFields] : {std::tuple{3U, 1U, 4}, {1U, 3U, 8}, {3U, 3U, 12}})
    {
        m_pJob->m_pvecpPsmOut->clear();
        SetPhases(m_pmu1st, 1, n1st);
        SetPhases(m_pmu2nd, 4, n2nd);
        ASSERT_TRUE(m_pJob->WriteDataToCSV(m_pFile.get(), &m_nRows));
        const std::string strText = TakeText();
        EXPECT_EQ(std::count(strText.begin(), strText.end(), ','), nFields) << n1st << " " << n2nd;
    }
}

TEST_F(JobFiles, FailuresAreNamedAndTheRowStays)
{
    EXPECT_FALSE(m_pJob->WriteHeadToCSV(nullptr));
    EXPECT_FALSE(m_pJob->WriteDataToCSV(nullptr, &m_nRows));
    EXPECT_EQ(m_capture.Count("Invalid Pointer: p_pFileCSV!"), 2U);
    m_pJob->m_eJobMode = 2;
    EXPECT_FALSE(m_pJob->WriteHeadToCSV(m_pFile.get()));
    EXPECT_TRUE(m_capture.Has("CJobOMA::WriteHeadToCSV():Invalid 'case' (1/2)!"));
    EXPECT_FALSE(m_pJob->WriteDataToCSV(m_pFile.get(), &m_nRows));
    EXPECT_TRUE(m_capture.Has("CJobOMA::Write2ndPmuDataToCSV():Invalid 'case'!"));
    m_pmu2nd.GetPhasors()->clear();
    EXPECT_FALSE(m_pJob->WriteHeadToCSV(m_pFile.get()));
    EXPECT_TRUE(m_capture.Has("CJobOMA::WriteHeadToCSV():Invalid 'case' (2/2)!"));
    m_pJob->m_eJobMode = 0;
    m_pJob->m_pvecpPsmOut->push_back(nullptr);
    EXPECT_FALSE(m_pJob->WriteDataToCSV(m_pFile.get(), &m_nRows));
    EXPECT_FALSE(m_pJob->TraceAllPSMData());
    EXPECT_EQ(m_capture.Count("Invalid Pointer: pPSM!"), 2U);
    EXPECT_EQ(m_nRows, 0U);
}

TEST_F(JobFiles, ModesAreTracedWhileTheirCounterIsZero)
{
    SetTime(g_nSec);
    WriteMode(0.4, 150.0, 0.02);
    m_capture.Clear();
    EXPECT_TRUE(m_pJob->TraceAllPSMData());
    EXPECT_TRUE(m_capture.Lines().empty()); // after the ageing no counter is 0
    CProcOMA::VecPeak vecpPeak;
    vecpPeak.push_back(MakePeak(0.4, 150.0));
    ASSERT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
    EXPECT_TRUE(m_pJob->TraceAllPSMData());
    ASSERT_EQ(m_capture.Lines().size(), 1U);
    EXPECT_EQ(m_capture.Lines()[0].find("PS Mode 1:   m_Cntr=0  Freq.[Hz]=0.4000"), 0U) << m_capture.Lines()[0];
    EXPECT_NE(m_capture.Lines()[0].find("  Magn.[VA]=150.000000  Damp.Ratio[-]=0.0200"), std::string::npos);
}
} // namespace
