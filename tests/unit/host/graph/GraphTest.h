#pragma once
#include "fake/CaptureTrace.h"
#include "fake/ConfigText.h"
#include "fake/FakeDli.h"
#include "host/base/AppState.h"
#include "host/base/ApplicationControl.h"
#include "host/run/Threads.h"
#include "host/shell/CShellOMA.h"
#include "link/input/CEventReadOMA.h"
#include "link/post/CEventWriteOMA.h"
#include <gmock/gmock.h>
#include <thread>

/// Builds the object graph of a configuration as a pass does, with the client library replaced. At the end of each test
/// nothing of the graph may be left.
class GraphTest : public testing::Test
{
  protected:
    GraphTest() { StartProcess(); }
    ~GraphTest() override
    {
        Clean();
        EXPECT_EQ(CPSM::GetNoOfPSM(), m_nPSMKept);
        EXPECT_EQ(FakeDli::LiveWriteChannels(), m_nPSMKept);
        EXPECT_FALSE(g_pEventWrite);
        StartProcess();
    }

    /// Sets all globals as in a new process.
    static void StartProcess()
    {
        FakeDli::Reset();
        g_pShell.reset();
        g_strVdsIp.clear();
        g_nVdsPort = g_nVdsPortData = 0;
        g_hSockEvent = g_hSockData = g_nOmaElemId = 0;
        g_eAppState = eAppRun;
    }

    bool CreateBase(const std::string& p_strText)
    {
        const TempFile file(p_strText);
        return CreateBaseOMA(file.Path(), &m_trace, &m_pXml, &m_pConfig, &g_hSockEvent, &g_hSockData);
    }
    bool CreateData() { return CreateDataOMA(nullptr, m_pConfig, g_hSockEvent, g_hSockData, &m_trace, &m_pvecOMA); }
    bool Create(const std::string& p_strText) { return CreateBase(p_strText) && CreateData(); }
    bool CreateThreads() { return CreateThreadsOMA(m_pConfig, m_pvecOMA.get(), &m_trace, &m_pThreadGroup); }
    void Clean()
    {
        EXPECT_TRUE(
            CleanOMA(std::move(m_pvecOMA), std::move(m_pThreadGroup), nullptr, std::move(m_pXml), m_pConfig, &m_trace));
        m_pConfig = nullptr;
    }
    CVdsOMA& Instance(std::size_t p_nOMA = 0) const { return *m_pvecOMA->at(p_nOMA); }
    CJobOMA& Job(std::size_t p_nJob = 0, std::size_t p_nOMA = 0) const
    {
        return *Instance(p_nOMA).m_pvecpJob->at(p_nJob);
    }

    /// Lines of all suspensions, in order, without their common ending.
    std::vector<std::string> Suspensions() const
    {
        const std::string strEnd = "! -> Suspend Application.";
        std::vector<std::string> vecText;
        for (const std::string& strLine : m_capture.Lines())
            if (strLine.ends_with(strEnd))
                vecText.push_back(strLine.substr(0, strLine.size() - strEnd.size()));
        return vecText;
    }

    static inline int m_nPSMKept = 0; ///< modes that stay alive, each with one channel
    CaptureTrace m_capture;
    CTraceOMA m_trace{"OMA_Main_Run"};
    std::unique_ptr<Norvik::Energy::Kestrel::VDS::Runtime::CXMLConfiguration> m_pXml;
    Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* m_pConfig = nullptr;
    std::unique_ptr<VecOMA> m_pvecOMA;
    std::unique_ptr<boost::thread_group> m_pThreadGroup;
};

/// Waits for the effect of another thread. False after a limit that is reached only if the thread hangs.
template <class TCondition>
bool Eventually(TCondition&& p_fnCondition)
{
    for (int n = 0; n < 6000; ++n)
    {
        if (p_fnCondition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// The base configuration, changed to a job on the angle between two places, each with its own voltage.
inline std::string VpadText()
{
    std::string strText = Changed(BaseText(), R"(JobMode="active-power")", R"(JobMode="vpad")");
    strText = Changed(strText, R"(SignalType="current")", R"(SignalType="voltage")");
    strText = Without(strText, R"(<Input PhaseType="1" RefID="1022"/>)", R"(RefID="1023"/>)");
    return Changed(strText, R"(RefID="1021"/>)", R"(RefID="1031"/>)", "<InputGroup SignalType=\"voltage\">");
}

/// The text with its job duplicated under other ids.
inline std::string TwoJobs(const std::string& p_strText)
{
    const std::size_t nBegin = p_strText.find("<Job ");
    const std::size_t nEnd = p_strText.find("</Job>") + 6;
    std::string strSecond = p_strText.substr(nBegin, nEnd - nBegin);
    strSecond = Changed(Changed(strSecond, "NORTH_POWER", "SECOND"), R"(Id="500")", R"(Id="501")");
    return Changed(p_strText, "</Job>", "</Job>" + strSecond);
}
