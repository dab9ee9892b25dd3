#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/AppState.h"
#include "host/CShellOMA.h"
#include "host/TraceFilter.h"
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
/// A folder with the two files that options name, capitals in their names.
struct Shell : testing::Test
{
    Shell()
    {
        dir = fs::temp_directory_path() / ("oma_shell_" + std::to_string(getpid()));
        fs::create_directories(dir);
        std::ofstream(dir / "Cfg.xml") << "<x/>";
        std::ofstream(dir / "Meas.csv") << "t\n";
        FakeDli::Reset();
        Forget();
    }
    ~Shell() override
    {
        Forget();
        fs::remove_all(dir);
    }
    static void Forget()
    {
        SetAppState(eAppRun);
        g_nTraceFilterId = 0;
        g_bTraceInfoAll = g_bTraceDataAll = false;
        g_vecbTraceInfo = {};
        g_vecbTraceData = {};
    }
    std::wstring Path(const std::string& p_strName) const { return (dir / p_strName).wstring(); }
    std::wstring Xml() const { return L"-xml:" + Path("Cfg.xml"); }

    bool Parse(std::vector<std::wstring> p_vecArg) { return Call(p_vecArg, false) != 0; }
    int ParseBAS(std::vector<std::wstring> p_vecArg) { return Call(p_vecArg, true); }
    /// Everything with the configuration file in front.
    void Options(const std::vector<std::wstring>& p_vecOption)
    {
        shell = CShellOMA();
        std::vector<std::wstring> vecArg{Xml()};
        vecArg.insert(vecArg.end(), p_vecOption.begin(), p_vecOption.end());
        EXPECT_TRUE(Parse(vecArg));
    }

    fs::path dir;
    CaptureTrace capture{Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel::eWarning};
    CTraceOMA trace{"Area"};
    CShellOMA shell;

  private:
    int Call(std::vector<std::wstring>& p_vecArg, bool p_bBAS)
    {
        p_vecArg.insert(p_vecArg.begin(), L"oma");
        std::vector<wchar_t*> vecpArg;
        for (std::wstring& wstrArg : p_vecArg)
            vecpArg.push_back(wstrArg.data());
        const int nArgc = static_cast<int>(vecpArg.size());
        return p_bBAS ? shell.ExtractCmdLineParsBAS(nArgc, vecpArg.data())
                      : shell.ExtractCmdLinePars(nArgc, vecpArg.data(), &trace);
    }
};

std::wstring Lower(std::wstring p_wstrText)
{
    std::transform(p_wstrText.begin(), p_wstrText.end(), p_wstrText.begin(),
                   [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; });
    return p_wstrText;
}

std::string Usage()
{
    std::wstringstream stream;
    std::wstreambuf* const pBuffer = std::wcout.rdbuf(stream.rdbuf());
    CShellOMA().PrintUsage();
    std::wcout.rdbuf(pBuffer);
    const std::wstring wstrText = stream.str();
    return {wstrText.begin(), wstrText.end()};
}
} // namespace

TEST_F(Shell, FirstPassTellsWhatItFound)
{
    EXPECT_EQ(shell.ExtractCmdLineParsBAS(0, nullptr), 0);
    EXPECT_EQ(ParseBAS({}), 1);
    EXPECT_EQ(ParseBAS({L"-study", L"-lma"}), 1);
    EXPECT_EQ(ParseBAS({L"-xml:" + Path("none.xml")}), 2);
    EXPECT_EQ(ParseBAS({L"-xml:"}), 2);
    EXPECT_EQ(ParseBAS({L"-xml:" + dir.wstring()}), 2) << "a folder";
    EXPECT_EQ(ParseBAS({Xml()}), 3);
    EXPECT_EQ(ParseBAS({Xml(), L"-XML:" + Path("Cfg.xml")}), 3);
    EXPECT_EQ(ParseBAS({Xml(), L"stray"}), 4);
}

TEST_F(Shell, StoredPathIsLowerCasedAndTheLastOneCounts)
{
    std::ofstream(dir / "Other.XML") << "<x/>";
    EXPECT_EQ(ParseBAS({L"-XML:" + Path("Cfg.xml"), L"-Xml:" + Path("Other.XML")}), 3);
    EXPECT_EQ(shell.GetConfigFile(), Lower(Path("other.xml")));
}

TEST_F(Shell, MissingFileEndsTheFirstPassAtOnce)
{
    EXPECT_EQ(ParseBAS({L"-tdata", L"-xml:none.xml", L"-id:7", Xml()}), 2);
    EXPECT_TRUE(IsTraceDataAll());
    EXPECT_EQ(GetTraceFilterId(), 0);
    EXPECT_EQ(shell.GetConfigFile(), L"");
}

TEST_F(Shell, TraceSwitchesGoIntoTheGlobals)
{
    struct SCase
    {
        std::wstring wstrArg;
        int nFilterId;
        bool bInfoAll;
        bool bDataAll;
        int nInfo; ///< entry that is set, -1 for none
        int nData;
    };
    const SCase cases[] = {
        {L"-ID:ALL", 99999, false, false, -1, -1},
        {L"-id:12x", 12, false, false, -1, -1},
        {L"-id:x", 0, false, false, -1, -1},
        {L"-tinfo", 0, true, false, -1, -1},
        {L"-TINFO:4", 0, false, false, 4, -1},
        {L"-tinfo:7", 0, false, false, -1, -1},
        {L"-tinfo:-1", 0, false, false, -1, -1},
        {L"-tinfo:", 0, false, false, -1, -1},
        {L"-tdata", 0, false, true, -1, -1},
        {L"-tdata:9", 0, false, false, -1, 9},
        {L"-tdata:10", 0, false, false, -1, -1},
        {L"-tdata:x", 0, false, false, -1, 0},
        {L"-tdata:", 0, false, false, -1, -1},
        {L"-tinfo-tdata", 0, true, true, -1, -1}, // the tests run one after the other on what is left
        {L"-id:-tdata:3", 0, false, false, -1, 3},
    };
    for (const SCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.wstrArg.begin(), c.wstrArg.end()));
        Forget();
        EXPECT_EQ(ParseBAS({Xml(), c.wstrArg}), 4);
        EXPECT_EQ(GetTraceFilterId(), c.nFilterId);
        EXPECT_EQ(g_bTraceInfoAll, c.bInfoAll);
        EXPECT_EQ(IsTraceDataAll(), c.bDataAll);
        for (int n = 0; n < 5; ++n)
            EXPECT_EQ(g_vecbTraceInfo[static_cast<std::size_t>(n)], n == c.nInfo) << n;
        for (int n = 0; n < 10; ++n)
            EXPECT_EQ(IsTraceData(static_cast<unsigned>(n)), n == c.nData) << n;
    }
}

TEST_F(Shell, RefusalsHaveTheirTexts)
{
    struct SCase
    {
        std::vector<std::wstring> vecArg;
        const char* pText;
    };
    const SCase cases[] = {
        {{L"-xml:none.xml"}, "Specified KESTREL config.file does not exist"},
        {{L"-study"}, "Missing (at least) KESTREL config.file name"},
        {{}, "Missing (at least) KESTREL config.file name"},
    };
    std::wstringstream stream;
    std::wstreambuf* const pBuffer = std::wcout.rdbuf(stream.rdbuf());
    for (const SCase& c : cases)
    {
        capture.Clear();
        SetAppState(eAppRun);
        EXPECT_FALSE(Parse(c.vecArg));
        EXPECT_THAT(capture.Lines(), ElementsAre(std::string("CShellOMA::ExtractCmdLinePars(): ") + c.pText +
                                                 "! -> Suspend Application."));
        EXPECT_EQ(GetAppState(), eAppSuspend);
    }
    std::wcout.rdbuf(pBuffer);
    EXPECT_EQ(stream.str().size(), 2 * Usage().size()) << "usage with a missing -xml: only";
    EXPECT_FALSE(shell.IsStudy()) << "no second pass";
    capture.Clear();
    EXPECT_FALSE(shell.ExtractCmdLinePars(0, nullptr, nullptr));
    EXPECT_TRUE(capture.Has("No command line arguments (missing program name)! -> Suspend Application."));
}

TEST_F(Shell, DefaultsStandWithNothingButTheConfiguration)
{
    EXPECT_TRUE(Parse({Xml()}));
    EXPECT_THAT(capture.Lines(), IsEmpty());
    EXPECT_EQ(shell.GetNoMaxHS(), 8);
    EXPECT_THAT(shell.GetSpecFlags(), ElementsAre(true, true, true));
    EXPECT_THAT(*shell.GetStudyPeaks(), IsEmpty());
    EXPECT_FALSE(shell.IsStudy() || shell.IsMeasFile() || shell.IsLMA() || shell.IsFileFFT() || shell.IsFilePSM() ||
                 shell.IsVoltAngle());
    EXPECT_EQ(shell.GetCsvCycles(), 0);
    EXPECT_EQ(shell.GetDampCorr(), 1.0);
    EXPECT_EQ(shell.GetNoise(), 0.0);
    EXPECT_EQ(shell.GetRange(), 0.0);
    EXPECT_EQ(shell.GetShift(), 0.0);
    EXPECT_THAT(shell.GetColsVolt(), IsEmpty());
    EXPECT_THAT(shell.GetColsCurr(), IsEmpty());
    EXPECT_EQ(shell.GetStart() + shell.GetStop(), "");
}

TEST_F(Shell, FlagsAndNumbersInAnyCaseAndOnlyOnce)
{
    Options({L"-STUDY", L"-Lma", L"-File:FFT", L"-file:psm", L"-RawMagn", L"-rawdamp", L"-minfreq:0.1", L"-maxfreq:3",
             L"-CSV:25x", L"-DampCorr:1.25", L"-noise:2.5", L"-range:60", L"-shift:0.5", L"-START:Abc", L"-stop:deF",
             L"stray", L"-INFO", L"-unknown:1"});
    EXPECT_TRUE(shell.IsStudy() && shell.IsLMA() && shell.IsFileFFT() && shell.IsFilePSM());
    EXPECT_EQ(shell.GetCsvCycles(), 25);
    EXPECT_EQ(shell.GetDampCorr(), 1.25);
    EXPECT_EQ(shell.GetNoise(), 2.5);
    EXPECT_EQ(shell.GetRange(), 60.0);
    EXPECT_EQ(shell.GetShift(), 0.5);
    EXPECT_EQ(shell.GetStart(), "abc");
    EXPECT_EQ(shell.GetStop(), "def");
    EXPECT_THAT(capture.Lines(), IsEmpty());

    Options({L"-nmaxhs:9", L"-nmaxhs:12", L"-csv:1", L"-csv:2", L"-start:a", L"-start:b"});
    EXPECT_EQ(shell.GetNoMaxHS(), 9);
    EXPECT_EQ(shell.GetCsvCycles(), 1);
    EXPECT_EQ(shell.GetStart(), "a");
    for (const wchar_t* const pText : {L"-nmaxhs:2", L"-nmaxhs:", L"-nmaxhs:-5", L"-nmaxhs:x"})
    {
        Options({pText});
        EXPECT_EQ(shell.GetNoMaxHS(), 4);
    }
}

TEST_F(Shell, SpectraAreLeftOutByTheFormWithoutColon)
{
    const std::pair<std::vector<std::wstring>, std::vector<bool>> cases[] = {
        {{L"-spec1", L"-spec3"}, {false, true, false}},
        {{L"-Spec2x"}, {true, false, true}},
        {{L"-spec:1"}, {true, true, true}},
        {{L"-spec7", L"-spec0", L"-spec", L"-spec-2147483648"}, {true, true, true}},
        {{L"-spec1", L"-spec2", L"-spec3"}, {false, false, false}},
    };
    for (const auto& [vecOption, vecb] : cases)
    {
        Options(vecOption);
        EXPECT_EQ(shell.GetSpecFlags(), vecb);
    }
}

TEST_F(Shell, ColumnListsAlwaysHaveThreeNumbers)
{
    struct SCase
    {
        std::vector<std::wstring> vecOption;
        std::vector<std::int32_t> vecVolt;
        std::vector<std::int32_t> vecCurr;
        bool bVoltAngle;
    };
    const SCase cases[] = {
        {{L"-voltage:2,3,4", L"-current:5,6,7"}, {2, 3, 4}, {5, 6, 7}, false},
        {{L"-voltage:5"}, {5, 5, 5}, {}, false},
        {{L"-voltage:5,6"}, {5, 6, 6}, {}, false},
        {{L"-voltage:"}, {0, 0, 0}, {}, false},
        {{L"-voltage:5,,x,9"}, {5, 0, 0}, {}, false},
        {{L"-volt1:2,3,4", L"-volt2:5,6,7"}, {2, 3, 4}, {5, 6, 7}, true},
        {{L"-volt1:2,3,4", L"-current:5,6,7"}, {2, 3, 4}, {5, 6, 7}, false},
        {{L"-voltage:1,2,3", L"-volt1:4,5,6"},
         {1, 2, 3},
         {},
         false}, // one option under two names: the second is ignored
        {{L"-volt2:1,2,3", L"-CURRENT:4,5,6"}, {}, {1, 2, 3}, true},
    };
    for (const SCase& c : cases)
    {
        Options(c.vecOption);
        EXPECT_EQ(shell.GetColsVolt(), c.vecVolt);
        EXPECT_EQ(shell.GetColsCurr(), c.vecCurr);
        EXPECT_EQ(shell.IsVoltAngle(), c.bVoltAngle);
    }
}

TEST_F(Shell, PeaksAreCollected)
{
    Options({L"-peak:0.5,100,0.05,0", L"-PEAK:0.7,50,-0.01,2.5", L"-peak:1,10,0,3", L"-peak:2", L"-peak:"});
    const auto& vecPeak = *shell.GetStudyPeaks();
    ASSERT_EQ(vecPeak.size(), 5U);
    EXPECT_EQ(vecPeak[0]->GetFreq(), 0.5);
    EXPECT_EQ(vecPeak[0]->GetMagn(), 100.0);
    EXPECT_EQ(vecPeak[0]->GetAmpl(), 100.0);
    EXPECT_EQ(vecPeak[0]->GetNegDamp(), 0.0);
    EXPECT_EQ(vecPeak[0]->GetOffset(), 0.0);
    double fDamp = 0.0;
    EXPECT_TRUE(vecPeak[0]->CalcDamp(&fDamp));
    EXPECT_NEAR(fDamp, 0.05, 1e-12);
    EXPECT_EQ(vecPeak[1]->GetNegDamp(), 1.0);
    EXPECT_EQ(vecPeak[1]->GetOffset(), 2.5);
    EXPECT_TRUE(vecPeak[1]->CalcDamp(&fDamp));
    EXPECT_NEAR(fDamp, -0.01, 1e-12);
    EXPECT_EQ(vecPeak[2]->GetFWHM(), 0.0) << "a damping of 0";
    EXPECT_EQ(vecPeak[2]->GetNegDamp(), 0.0);
    EXPECT_EQ(vecPeak[3]->GetMagn(), 2.0) << "the last value repeats";
    EXPECT_EQ(vecPeak[3]->GetFWHM(), -1.0) << "a ratio above 1 has no width";
    EXPECT_EQ(vecPeak[4]->GetFreq(), 0.0);
}

TEST_F(Shell, MeasurementFileIsFoundWhateverItsCase)
{
    Options({L"-MEASFILE:" + Path("Meas.csv"), L"-study"});
    EXPECT_TRUE(shell.IsMeasFile());
    EXPECT_TRUE(shell.IsStudy());
    EXPECT_EQ(shell.GetMeasFile(), Lower(Path("meas.csv")));
    EXPECT_THAT(capture.Lines(), IsEmpty());
}

TEST_F(Shell, MissingMeasurementFileSuspendsAndStopsParsingYetIsTrue)
{
    Options({L"-lma", L"-measfile:nosuch.csv", L"-study"});
    EXPECT_THAT(capture.Lines(), ElementsAre("CShellOMA::ExtractCmdLineParsOMA(): Specified meas.data CSV file does "
                                             "not exist! -> Suspend Application."));
    EXPECT_EQ(GetAppState(), eAppSuspend);
    EXPECT_TRUE(shell.IsLMA());
    EXPECT_FALSE(shell.IsMeasFile());
    EXPECT_FALSE(shell.IsStudy());
}

TEST_F(Shell, UsageIsToTheLetter)
{
    std::vector<std::string> vecLine;
    std::istringstream stream(Usage());
    for (std::string strLine; std::getline(stream, strLine);)
        vecLine.push_back(strLine);
    ASSERT_EQ(vecLine.size(), 38U);
    const std::pair<std::size_t, const char*> lines[] = {
        {0, "call of OMA application: "},
        {1, ""},
        {2, "OMA -xml:[config.path] [-[trace option]:[text] [TFILE:[trace file path]] [-job] [-study] [-fft:[fft data "
            "file]]"},
        {5, "  -nMaxHS:[4,5,...]      : no.of IFFT sin. half cycles to be used for magn./damp.ratio calc."},
        {11, "  -file:fft              : save FFT input/output data to file c:\\[job name]_fft.dat"},
        {17, "  -dampcorr:[corr.value] : damping factor correctio value (default: 1.0)"},
        {20, ""},
        {21, "trace options (multiples allowed):"},
        {26, ""},
        {28, "  OMA_Main"},
        {30, ""},
        {31, "  [OMA job name] (see config.file)"},
        {32, "study options:"},
        {36, "  -shift:[shift factor]                                                : rel.time shift (0...1)"},
        {37, ""},
    };
    for (const auto& [nLine, pText] : lines)
        EXPECT_EQ(vecLine[nLine], pText) << nLine;
}

TEST_F(Shell, WindowNeedsAConsole)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto SetUp = []
    {
        std::fclose(stdout); // whatever the test runs in: no terminal behind the standard output
        CShellBAS().SetupCmdwindow(150, 100);
    };
    EXPECT_EXIT(SetUp(), testing::ExitedWithCode(255), "");
}
