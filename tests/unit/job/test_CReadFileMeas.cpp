#include "FileName.h"
#include "fake/CaptureTrace.h"
#include "offline/CReadFileMeas.h"
#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <tuple>

namespace
{
using Columns = std::vector<std::int32_t>;

/// A recording in a file of its own, and the reader on it.
class ReadFileMeas : public ::testing::Test
{
  protected:
    ReadFileMeas()
        : m_path(std::filesystem::temp_directory_path() /
                 ("oma_meas_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + ".csv"))
    {
    }
    ~ReadFileMeas() override { std::filesystem::remove(m_path); }

    bool Read(const std::string& p_strText, const Columns& p_vecnVolt = {1, 0, 0},
              const Columns& p_vecnCurr = {3, 0, 0}, const std::string& p_strStart = "",
              const std::string& p_strStop = "no", bool p_bVoltAngle = false)
    {
        std::ofstream(m_path, std::ios::binary) << p_strText;
        m_pReader = std::make_unique<CReadFileMeas>(WideText(m_path.string()), p_bVoltAngle, p_vecnVolt, p_vecnCurr,
                                                    p_strStart, p_strStop, &m_trace);
        return m_pReader->ReadData();
    }
    /// All samples, once around the ring.
    std::vector<double> Samples()
    {
        std::vector<double> vecfData;
        for (std::size_t i = 0; i < m_pReader->GetNoOfData(); ++i)
        {
            vecfData.push_back(std::round(m_pReader->GetActData() * 1e6) / 1e6);
            m_pReader->IncrDataCntr();
        }
        return vecfData;
    }
    CaptureTrace m_capture;
    CTraceOMA m_trace{"MEAS"};
    std::filesystem::path m_path;
    std::unique_ptr<CReadFileMeas> m_pReader;
};
using Values = std::vector<double>;

// One phase: three times V * I * cos of the angle between them.
const char* const g_pszLines = "time;v;phi;i;phi\n"
                               "10:00:00;100;0;1;0\n"
                               "10:00:01;100;30;2;90\n"
                               "10:00:02;100;350;3;350\n";

TEST_F(ReadFileMeas, SinglePhaseIsScaledToThreeAndPlaysAsARing)
{
    ASSERT_TRUE(Read(g_pszLines));
    EXPECT_EQ(Samples(), (Values{300, 300, 900}));
    EXPECT_EQ(Samples(), (Values{300, 300, 900}));
    EXPECT_TRUE(m_capture.Lines().empty());
}

TEST_F(ReadFileMeas, StartAndStopChooseTheRecords)
{
    // Without a stop the first accepted record is the last; a stop met before the start has the same effect.
    const std::tuple<const char*, const char*, Values> vecCase[] = {
        {"", "", {300}},       {":01", "", {300}},      {":01", "no", {300, 900}}, {"", ":01", {300, 300}},
        {":01", ":01", {300}}, {":01", "00:00", {300}}, {"never", "", {}}};
    for (const auto& [pszStart, pszStop, vecfExpect] : vecCase)
    {
        EXPECT_TRUE(Read(g_pszLines, {1}, {3}, pszStart, pszStop));
        EXPECT_EQ(Samples(), vecfExpect) << pszStart << " " << pszStop;
    }
    EXPECT_FALSE(m_pReader->IncrDataCntr());
    EXPECT_TRUE(m_capture.Has("CReadFileMeas::IncrDataCntr():No data in buffer!"));
    EXPECT_EQ(m_pReader->GetActData(), 0.0);
}

TEST_F(ReadFileMeas, RealFilesAreReadAsTheyAre)
{
    const std::tuple<const char*, std::string, Values> vecCase[] = {
        {"carriage returns", "h\r\nt;100;0;1;0\r\nt;100;0;2;0\r\n", {300, 600}},
        {"byte-order mark, no end of line", "\xEF\xBB\xBFh\nt;100;0;1;0", {300}},
        {"blank lines are records of zeros", "h\n\nt;100;0;1;0\n   \n", {0, 300, 0}},
        {"missing trailing fields", "h\nt;100;0;1\nt;100\nt\n", {300, 0, 0}},
        {"text and empty fields", "h\nt;abc;0;1;0\nt;100;;1;\nt; ;0;1;0\n", {0, 300, 0}},
        {"header only", "h\n", {}},
        {"empty file", "", {}},
        {"only a header that never ends", std::string(20000, 'h'), {}},
        {"an overlong line ends the reading", "h\nt;100;0;1;0\n" + std::string(16384, ' ') + "\nt;100;0;1;0\n", {300}},
    };
    for (const auto& [pszName, strText, vecfExpect] : vecCase)
    {
        EXPECT_TRUE(Read(strText)) << pszName;
        EXPECT_EQ(Samples(), vecfExpect) << pszName;
    }
}

TEST_F(ReadFileMeas, ColumnsFormPhasorsInTheOrderOfTheLine)
{
    const std::string strLine = "h\nt;100;0;100;0;100;0;1;0;2;0;3;60\n";
    const std::tuple<const char*, Columns, Columns, Values> vecCase[] = {
        {"three and three", {1, 3, 5}, {7, 9, 11}, {100 + 200 + 150}},
        {"falling order", {5, 3, 1}, {11, 9, 7}, {450}},
        {"currents first", {7, 9, 11}, {1, 3, 5}, {450}},
        {"three and one: mean of the voltages", {1, 3, 5}, {9, 0, 0}, {600}},
        {"one and three: mean of the currents", {3, 0, 0}, {7, 9, 11}, {450}},
        {"one and one", {3}, {0, 9, 0}, {600}},
        {"beyond the line", {3}, {40}, {0}},
        {"within a phasor: goes on behind it", {1}, {2}, {30000}},
        {"negative numbers begin at the first", {-1}, {7}, {300}},
        {"largest number", {1}, {2147483647}, {0}},
    };
    for (const auto& [pszName, vecnVolt, vecnCurr, vecfExpect] : vecCase)
    {
        EXPECT_TRUE(Read(strLine, vecnVolt, vecnCurr)) << pszName;
        EXPECT_EQ(Samples(), vecfExpect) << pszName;
    }
}

TEST_F(ReadFileMeas, WrongColumnsAndMissingFilesAreRefused)
{
    const std::tuple<Columns, Columns, const char*> vecCase[] = {
        {{0, 0, 0}, {1}, "CReadFileMeas::DoSort():Invalid no.of 1st PMU data: 0!"},
        {{1, 2, 3, 4}, {1}, "CReadFileMeas::DoSort():Invalid no.of 1st PMU data: 4!"},
        {{1}, {}, "CReadFileMeas::DoSort():Invalid no.of 2nd PMU data: 0!"},
        {{1, 3}, {5}, "CalcActivePower():Invalid current/voltage phase configuration: #phases V=2, #phases I=1!"},
        {{1, 3}, {5, 7}, "CalcActivePower():Invalid current/voltage phase configuration: #phases V=2, #phases I=2!"},
    };
    for (const auto& [vecnVolt, vecnCurr, pszText] : vecCase)
    {
        EXPECT_FALSE(Read(g_pszLines, vecnVolt, vecnCurr));
        EXPECT_TRUE(m_capture.Has(pszText) && m_pReader->GetNoOfData() == 0) << pszText;
    }
    CReadFileMeas reader(L"/nowhere/at/all.csv", false, {1}, {3}, "", "", nullptr);
    EXPECT_FALSE(reader.ReadData());
}

TEST_F(ReadFileMeas, VoltageAnglesAreReplayedAsPower)
{
    EXPECT_TRUE(Read(g_pszLines, {1}, {3}, "", "no", true));
    EXPECT_EQ(Samples(), (Values{300, 300, 900}));
    EXPECT_FALSE(Read(g_pszLines, {1, 3}, {5}, "", "no", true));
    EXPECT_TRUE(m_capture.Has("CReadFileMeas::PhasorsToPosSequ():Invalid no.of phasors: 2!"));
}

TEST_F(ReadFileMeas, TwoJobsMayShareTheReader)
{
    ASSERT_TRUE(Read(g_pszLines));
    const auto fnPlay = [this]
    {
        for (int i = 0; i < 2000; ++i)
        {
            EXPECT_GE(m_pReader->GetActData(), 299.9);
            EXPECT_TRUE(m_pReader->IncrDataCntr());
        }
    };
    std::thread thread(fnPlay);
    fnPlay();
    thread.join();
}
} // namespace
