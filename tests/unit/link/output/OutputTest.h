#pragma once
#include "CTrace.h"
#include "WinEvents.h"
#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/base/AppState.h"
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include <cstdint>
#include <gtest/gtest.h>

inline constexpr std::int64_t g_nTicksPerSec = 10000000;
/// A full minute, and a multiple of all periods used here.
inline constexpr std::int64_t g_nSecBegin = 63800000040;

/// A time on a 50 Hz measurement grid, some ms after the common start.
struct STestTime : CTime
{
    explicit STestTime(std::int64_t p_nOffset_ms = 0) : CTime(50) { EXPECT_TRUE(SetTicks(Ticks(p_nOffset_ms))); }
    static std::int64_t Ticks(std::int64_t p_nOffset_ms) { return g_nSecBegin * g_nTicksPerSec + p_nOffset_ms * 10000; }
};

/// A connected, running application with a captured trace area.
class OutputTest : public testing::Test
{
  protected:
    OutputTest()
    {
        FakeDli::Reset();
        g_bConnected = true;
        SetAppState(eAppRun);
    }
    ~OutputTest() override
    {
        EventsAutoAdvance(0);
        EventsUseFakeClock(false);
        FakeDli::Reset();
        g_bConnected = false;
        SetAppState(eAppRun);
    }
    /// Switches to the fake clock. It advances by itself once that many threads wait.
    static void FakeClock(std::size_t p_nThreads)
    {
        EventsUseFakeClock(true);
        EventsAutoAdvance(p_nThreads);
    }
    static void Answer(FakeDli::EAnswer p_eAnswer)
    {
        FakeDli::SBehaviour behaviour;
        behaviour.eWriteAnswer = p_eAnswer;
        FakeDli::SetBehaviour(behaviour);
    }

    /// Expects an error line with each text, then discards all lines.
    void ExpectErrors(const std::vector<std::string>& p_vecText)
    {
        for (const std::string& strText : p_vecText)
            EXPECT_TRUE(m_capture.Has(CaptureTrace::ETraceLevel::eError, strText)) << strText;
        m_capture.Clear();
    }

    CaptureTrace m_capture;
    CTraceOMA m_trace{"TestArea"};
};
