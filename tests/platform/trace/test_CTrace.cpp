#include "CTrace.h"
#include "fake/CaptureTrace.h"
#include "fake/TempDir.h"
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using testing::MatchesRegex;

namespace
{
void CheckArgs(std::vector<std::wstring> p_vecArg)
{
    p_vecArg.insert(p_vecArg.begin(), L"oma");
    std::vector<wchar_t*> vecpArg;
    for (std::wstring& wstrArg : p_vecArg)
        vecpArg.push_back(wstrArg.data());
    CTrace::CheckTraceArg(static_cast<int>(vecpArg.size()), vecpArg.data());
}

/// Number of levels that are on: 0 (none) to 4 (all).
int LevelsOn(const std::string& p_strArea)
{
    CTraceHelper helper(p_strArea);
    EXPECT_LE(helper.Data().IsActive(), helper.Info().IsActive());
    EXPECT_LE(helper.Info().IsActive(), helper.Warning().IsActive());
    EXPECT_LE(helper.Warning().IsActive(), helper.Error().IsActive());
    return helper.Error().IsActive() + helper.Warning().IsActive() + helper.Info().IsActive() +
           helper.Data().IsActive();
}

std::string ReadFile(const std::filesystem::path& p_path)
{
    std::ifstream file(p_path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
} // namespace

TEST(CTrace, OptionsChooseTheLevelByArea)
{
    struct SCase
    {
        std::vector<std::wstring> vecArg;
        int nMain; ///< levels of OMA_Main_Run
        int nJob;  ///< levels of Job_1
    };
    const SCase cases[] = {
        {{}, 2, 2},
        {{L"-ERROR"}, 1, 1},
        {{L"-warning"}, 2, 2},
        {{L"-Info"}, 3, 3},
        {{L"-DATA", L"-ERROR"}, 4, 4},
        {{L"-INFO:oma_main"}, 3, 2},
        {{L"-ERROR", L"-DATA:Job"}, 1, 4},
        {{L"-DATA", L"-INFO:J", L"-ERROR:Job_1"}, 4, 1},
        {{L"-ERROR:Job", L"-INFO:Job"}, 2, 3},
        {{L"-xml:data", L"-database", L"-INFO:", L"DATA", L""}, 2, 2},
    };
    for (const SCase& c : cases)
    {
        const CaptureTrace capture(ETraceLevel::eWarning);
        CheckArgs(c.vecArg);
        const std::string strFirst = c.vecArg.empty() ? "none" : std::string(c.vecArg[0].begin(), c.vecArg[0].end());
        EXPECT_EQ(LevelsOn("OMA_Main_Run"), c.nMain) << strFirst;
        EXPECT_EQ(LevelsOn("Job_1"), c.nJob) << strFirst;
    }
}

TEST(CTrace, WritesToStderrAndFileBetweenInitAndExit)
{
    const CTempDir dir;
    const auto path = dir.Path() / "trace.log";
    CTrace::CreateTraceHelper("Written");
    CTraceHelper& helper = *CTrace::GetInstancePtr("Written");
    EXPECT_FALSE(helper.Error().IsActive()) << "before Init";

    testing::internal::CaptureStderr();
    CTrace::Init();
    CTrace::Init();
    CheckArgs({L"-tfile:" + path.wstring()});
    helper.Warning() << "text with {} marks" << TEnd;
    helper.Info() << "silent" << TEnd;
    const std::string strFile = ReadFile(path); // flushed at once
    CTrace::Exit();
    helper.Error() << "dropped" << TEnd;
    const std::string strStderr = testing::internal::GetCapturedStderr();

    EXPECT_FALSE(helper.Error().IsActive());
    EXPECT_THAT(strStderr,
                MatchesRegex("[0-9]+-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9] "
                             "warning Written text with \\{\\} marks\n"));
    EXPECT_EQ(strFile, strStderr);
}

TEST(CTrace, WhatIsNoPlainFileIsRefusedWithOneLine)
{
    const CTempDir dir;
    const auto pathPipe = dir.Path() / "trace.pipe";
    ASSERT_EQ(mkfifo(pathPipe.c_str(), 0600), 0);
    CTrace::CreateTraceHelper("Refused");
    for (const std::filesystem::path& path : {pathPipe, dir.Path(), std::filesystem::path("/dev/null")})
    {
        testing::internal::CaptureStderr();
        CTrace::Init();
        CheckArgs({L"-TFILE:" + path.wstring()}); // the pipe has no reader: opening it would block
        CTrace::GetInstancePtr("Refused")->Warning() << "goes on" << TEnd;
        CTrace::Exit();
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    MatchesRegex("[-0-9:. ]+ error -TFILE: '" + path.string() +
                                 "' is not a regular file\n[-0-9:. ]+ warning Refused goes on\n"));
    }
}

TEST(CTrace, LevelsMayChangeWhileOthersTrace)
{
    const CaptureTrace capture(ETraceLevel::eError);
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < 3; ++nThread)
        vecThread.emplace_back(
            []
            {
                CTraceHelper helper("Parallel");
                for (int n = 0; n < 500; ++n)
                {
                    helper.Data() << "maybe" << TEnd;
                    helper.Error() << "always" << TEnd;
                }
            });
    for (int n = 0; n < 500; ++n)
        CTrace::SetLevel(n % 2 ? ETraceLevel::eError : ETraceLevel::eData);
    for (std::thread& thread : vecThread)
        thread.join();
    EXPECT_EQ(capture.Count("always"), 1500U);
}
