#include "ResultDir.h"
#include "fake/CaptureTrace.h"
#include "host/base/TraceFilter.h"
#include "offline/CReadFileMeas.h"
#include <cmath>
#include <tuple>

namespace
{
using Columns = std::vector<std::int32_t>;

/// A recording in a file of its own, and the reader on it.
class ReadFileMeas : public ::testing::Test
{
  protected:
    bool Read(const std::string& p_strText, const Columns& p_vecnVolt = {1, 0, 0},
              const Columns& p_vecnCurr = {3, 0, 0}, const std::string& p_strStart = "",
              const std::string& p_strStop = "no", bool p_bVoltAngle = false)
    {
        std::ofstream(m_dir.Path("meas.csv"), std::ios::binary) << p_strText;
        m_pReader = std::make_unique<CReadFileMeas>(L"c:\\meas.csv", p_bVoltAngle, p_vecnVolt, p_vecnCurr, p_strStart,
                                                    p_strStop, &m_trace);
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
    CResultDir m_dir;
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
    EXPECT_EQ(m_capture.Lines().size(), 1U);
    EXPECT_TRUE(m_capture.Has(CaptureTrace::ETraceLevel::eWarning,
                              "CReadFileMeas::ReadData():Samples taken from the file: 3, "
                              "from \"10:00:00\" to \"10:00:02\"!"));
}

TEST_F(ReadFileMeas, VoltageAnglesHaveToExistButThePowerIsTheSample)
{
    ASSERT_TRUE(Read(g_pszLines, {1}, {3}, "", "no", true));
    EXPECT_EQ(Samples(), (Values{300, 300, 900}));
    const char* const pszTwo = "h\nt;1;0;1;0;1;0;1;0\n";
    EXPECT_FALSE(Read(pszTwo, {1, 3}, {5, 7}));
    EXPECT_TRUE(m_capture.Has(
        "CReadFileMeas::CalcActivePower():Invalid current/voltage phase configuration: #phases V=2, #phases I=2!"));
    m_capture.Clear();
    EXPECT_FALSE(Read(pszTwo, {1, 3}, {5, 7}, "", "no", true));
    EXPECT_FALSE(Read(pszTwo, {1}, {5, 7}, "", "no", true));
    EXPECT_EQ(m_capture.Lines(),
              std::vector<std::string>(2, "CReadFileMeas::PhasorsToPosSequ():Invalid no.of phasors: 2!"));
}

TEST_F(ReadFileMeas, FileWithoutAnEndIsAFailureThatKeepsNoSample)
{
    EXPECT_FALSE(Read("h\nt;100;0;1;0\n" + std::string(10'000'000, '\n')));
    EXPECT_TRUE(m_capture.Has("CReadFileMeas::ReadData():File has more lines than 10000000!"));
    EXPECT_EQ(m_pReader->GetNoOfData(), 0U);
}

TEST_F(ReadFileMeas, LinesReadAreCounted)
{
    g_vecbTraceData[7] = true;
    Read(g_pszLines, {1}, {3}, ":01");
    g_vecbTraceData[7] = false;
    EXPECT_EQ(m_capture.Lines().front(), "No.of lines read from CSV file: 3");
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

TEST_F(ReadFileMeas, AFieldThatIsReadInPartIsNamedOnceAFile)
{
    ASSERT_TRUE(Read("h\nt;100;0;1 ;0\nt;x;0;1;;20,5\nt;100;1,5;1;0\nt;100;1,5;1;0\n", {1}, {3}));
    EXPECT_EQ(m_capture.Count("only the number at the beginning"), 1U);
    EXPECT_TRUE(m_capture.Has("Line 4, column 2: only the number at the beginning of \"1,5\" is read; decimals"));
    ASSERT_TRUE(Read("h\nt;100;0;20,5\x01" + std::string(1000, 'x') + ";0\n", {1}, {3}));
    EXPECT_EQ(Samples(), (Values{6000}));
    EXPECT_TRUE(m_capture.Has("Line 2, column 3: only the number at the beginning of \"20,5?" + std::string(35, 'x') +
                              "...\" is read"));
}

TEST_F(ReadFileMeas, ColumnsFormPhasorsInTheOrderOfTheLine)
{
    const std::string strLine = "h\nt;100;0;100;0;100;0;1;0;2;0;3;60\n";
    const std::tuple<const char*, Columns, Columns, Values> vecCase[] = {
        {"three and three", {1, 3, 5}, {7, 9, 11}, {100 + 200 + 150}},
        {"currents first, falling order", {11, 9, 7}, {5, 3, 1}, {450}},
        {"three and one: mean of the voltages", {1, 3, 5}, {9, 0, 0}, {600}},
        {"one and three: mean of the currents", {3, 0, 0}, {7, 9, 11}, {450}},
        {"negative numbers begin at the first", {-1}, {7}, {300}},
        {"largest number", {1}, {2147483647}, {0}},
    };
    for (const auto& [pszName, vecnVolt, vecnCurr, vecfExpect] : vecCase)
    {
        EXPECT_TRUE(Read(strLine, vecnVolt, vecnCurr)) << pszName;
        EXPECT_EQ(Samples(), vecfExpect) << pszName;
    }
    EXPECT_TRUE(Read("h\nt;10;30;1;30;1;30;1;30\n", {1}, {3, 5, 7}));
    EXPECT_EQ(Samples(), Values{30}) << "the mean keeps its angle";
}
} // namespace
