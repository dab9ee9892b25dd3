#include "fake/CaptureTrace.h"
#include "host/CMethodTrace.h"
#include "host/CTraceOMA.h"
#include <gmock/gmock.h>
#include <thread>

using Norvik::Energy::Kestrel::VDS::Runtime::ETraceLevel;
using testing::Each;
using testing::ElementsAre;

TEST(CTraceOMA, EveryFormHasItsShapeAndLevel)
{
    const CaptureTrace capture;
    CTraceOMA trace("Area");
    trace.TraceError("text");
    trace.TraceError("Method", "text");
    trace.TraceError("CClass", "Method", "text");
    trace.TraceWarning("text");
    trace.TraceWarning("Method", "text");
    trace.TraceWarning("CClass", "Method", "text");
    trace.TraceInfo("text", true);
    trace.TraceInfo("Method", "text", true);
    trace.TraceInfo("CClass", "Method", "text", true);
    trace.TraceData("text", true);
    trace.TraceData("text", true, "Method");
    trace.TraceData("text", true, "Method", "CClass");
    trace.TraceSuspend("text");
    trace.TraceSuspend("Method", "text");
    trace.TraceSuspend("CClass", "Method", "text");
    trace.TraceInvalidPtr("Method", "p_pName");
    trace.TraceBadPointer("CClass", "Method", "m_pName");
    EXPECT_THAT(capture.Lines(),
                ElementsAre("text", "Method():text!", "CClass::Method():text!", "text", "Method():text!",
                            "CClass::Method():text!", "text", "Method():text.", "CClass::Method():text.", "text",
                            "Method():text", "CClass::Method():text", "text -> Suspend Application.",
                            "Method():text! -> Suspend Application.", "CClass::Method():text! -> Suspend Application.",
                            "Method():Invalid pointer: #p_pName#!", "CClass::Method():Invalid Pointer: m_pName!"));
    EXPECT_EQ(capture.Count(ETraceLevel::eError, ""), 8U);
    EXPECT_EQ(capture.Count(ETraceLevel::eWarning, ""), 3U);
    EXPECT_EQ(capture.Count(ETraceLevel::eInfo, ""), 3U);
    EXPECT_EQ(capture.Count(ETraceLevel::eData, ""), 3U);
    EXPECT_EQ(capture.Entries().front().strArea, "Area");
}

TEST(CTraceOMA, SwitchesAndLevelsSilence)
{
    const CaptureTrace capture(ETraceLevel::eWarning);
    CTraceOMA trace("Area");
    trace.TraceInfo("off", true);
    trace.TraceData("off", true);
    EXPECT_TRUE(trace.IsWarningOn());
    EXPECT_FALSE(trace.IsInfoOn());
    EXPECT_FALSE(trace.IsDataOn());
    EXPECT_TRUE(capture.Lines().empty());

    const CaptureTrace all;
    trace.TraceInfo("off", false);
    trace.TraceInfo("Method", "off", false);
    trace.TraceInfo("CClass", "Method", "off", false);
    trace.TraceData("off", false);
    EXPECT_TRUE(all.Lines().empty());
}

TEST(CTraceOMA, LinesOfManyThreadsStayWhole)
{
    const CaptureTrace capture;
    CTraceOMA trace("Area");
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < 4; ++nThread)
        vecThread.emplace_back(
            [&trace]
            {
                for (int n = 0; n < 250; ++n)
                    trace.TraceError("CClass", "Method", "text");
            });
    for (std::thread& thread : vecThread)
        thread.join();
    EXPECT_EQ(capture.Lines().size(), 1000U);
    EXPECT_THAT(capture.Lines(), Each("CClass::Method():text!"));
}

TEST(CMethodTrace, JoinsPiecesAndAnswersFalse)
{
    const CaptureTrace capture;
    CTraceOMA traceArea("Area");
    const CMethodTrace trace(&traceArea, "CClass", "Method");
    EXPECT_FALSE(trace.Error("a=", 1, " b=", 2.5, " c=", std::string("x"), std::string_view("y")));
    EXPECT_FALSE(trace.BadPointer("m_pName"));
    trace.Warning("w", -3);
    trace.Info("i");
    trace.Data(true, "d");
    trace.Data(false, "never");
    trace.DataNamed(true, "n");
    EXPECT_THAT(capture.Lines(),
                ElementsAre("CClass::Method():a=1 b=2.500000 c=xy!", "CClass::Method():Invalid Pointer: m_pName!",
                            "CClass::Method():w-3!", "CClass::Method():i.", "d", "CClass::Method():n"));
}
