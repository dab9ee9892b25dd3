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
    /// Returns everything written so far and empties the file.
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

// The expected files come from golden.py next to them, which knows the format but not this code.
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
    WriteMode(0.4, 1234567.125, 0.0); // DOE 11; a magnitude too wide for its field widens it
    m_nRows = 0;
    ASSERT_TRUE(WriteHeadAndRow());
    EXPECT_EQ(TakeText(), Golden("angle.csv"));
}
} // namespace
