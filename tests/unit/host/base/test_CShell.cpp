#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "fake/TempDir.h"
#include "host/base/AppState.h"
#include "host/shell/CShellOMA.h"
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
/// A folder with the configuration file used in the options; its name contains a capital letter.
struct Shell : testing::Test
{
    Shell()
    {
        std::ofstream(dir / "Cfg.xml") << "<x/>";
        FakeDli::Reset();
        SetAppState(eAppRun);
    }
    ~Shell() override { SetAppState(eAppRun); }
    bool Parse(std::vector<std::wstring> p_vecArg)
    {
        p_vecArg.insert(p_vecArg.begin(), L"oma");
        std::vector<wchar_t*> vecpArg;
        for (std::wstring& wstrArg : p_vecArg)
            vecpArg.push_back(wstrArg.data());
        return shell.ExtractCmdLinePars(static_cast<int>(vecpArg.size()), vecpArg.data(), &trace);
    }
    /// Parses the options, preceded by the configuration file.
    void Options(const std::vector<std::wstring>& p_vecOption)
    {
        shell = CShellOMA();
        std::vector<std::wstring> vecArg{L"-xml:" + (dir / "Cfg.xml").wstring()};
        vecArg.insert(vecArg.end(), p_vecOption.begin(), p_vecOption.end());
        EXPECT_TRUE(Parse(vecArg));
    }

    CTempDir tempDir;
    fs::path dir = tempDir.Path();
    CaptureTrace capture{Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel::eWarning};
    CTraceOMA trace{"Area"};
    CShellOMA shell;
};
} // namespace

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
    const std::wstring wstrTwice = stream.str();
    stream.str(L"");
    shell.PrintUsage();
    std::wcout.rdbuf(pBuffer);
    EXPECT_EQ(wstrTwice, stream.str() + stream.str()) << "usage with a missing -xml: only";
    EXPECT_FALSE(shell.IsStudy()) << "no second pass";
    capture.Clear();
    EXPECT_FALSE(shell.ExtractCmdLinePars(0, nullptr, nullptr));
    EXPECT_TRUE(capture.Has("No command line arguments (missing program name)! -> Suspend Application."));
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
        {{L"-voltage:1,2,3", L"-volt1:4,5,6"}, {1, 2, 3}, {}, false}, // two names of one option: the second is ignored
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
