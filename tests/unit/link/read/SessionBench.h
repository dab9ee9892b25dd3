#pragma once
#include "ReadBench.h"

/// A session as constructed, with PMU 101 (phasors 11, 12, 13), PMU 102 (21, 22, 23) and one job. Its threads are
/// started as in a pass.
class SessionBench : public ReadBench
{
  protected:
    SessionBench() { m_vecpOMA.push_back(MakeSession("VDS", 901)); }
    ~SessionBench() override
    {
        for (const auto& pOMA : m_vecpOMA)
            if (pOMA)
                JoinSession(*pOMA);
    }

    static std::unique_ptr<CVdsOMA> MakeSession(const std::string& p_strName, std::uint32_t p_nId)
    {
        FakeDli::SetBehaviour({.bWriteConnected = true});
        auto pOMA =
            std::make_unique<CVdsOMA>(1, 2, p_nId, true, 0, 5000, false, std::make_unique<CTraceOMA>(p_strName));
        pOMA->AddPmu(MakePmu(101, {11, 12, 13}));
        pOMA->AddPmu(MakePmu(102, {21, 22, 23}));
        EXPECT_TRUE(pOMA->CalcVdsReqCycleRate(0));
        EXPECT_TRUE(pOMA->CreateHandleReceiveEventDLI());
        pOMA->m_pvecpJob = std::make_unique<CVdsOMA::VecJob>();
        pOMA->m_pvecpJob->push_back(MakeJob("JOB_" + p_strName, pOMA->m_vecpPmu));
        return pOMA;
    }
    /// A worker that exists but does nothing; the test ends it.
    static void StartIdleWorker(CVdsOMA& r_oma) { Job(r_oma).m_pThread = std::make_unique<boost::thread>(); }
    static void StartWorker(CVdsOMA& r_oma)
    {
        Job(r_oma).m_pThread = std::make_unique<boost::thread>([pJob = &Job(r_oma)] { pJob->ThreadCB(); });
    }
    void StartSession(CVdsOMA& r_oma)
    {
        r_oma.m_pThread = std::make_unique<boost::thread>(
            [this, pOMA = &r_oma, vecThread = std::vector<boost::thread*>{Job(r_oma).m_pThread.get()}]
            { m_nResult = pOMA->ThreadCB(vecThread); });
    }
    static void JoinSession(CVdsOMA& r_oma)
    {
        if (r_oma.m_pThread && r_oma.m_pThread->joinable())
        {
            r_oma.StopThread();
            r_oma.m_pThread->join();
        }
        if (Job(r_oma).m_pThread && Job(r_oma).m_pThread->joinable())
            Job(r_oma).m_pThread->join();
    }
    static CJobOMA& Job(CVdsOMA& r_oma) { return *(*r_oma.m_pvecpJob)[0]; }
    CVdsOMA& OMA(std::size_t p_nIndex = 0) { return *m_vecpOMA[p_nIndex]; }

    /// Delivers the connect, the answer to the start and a number of cycles at 50 Hz, as the library does.
    static void Deliver(unsigned p_nChannel, int p_nCycles)
    {
        FakeDli::ReadStatus(p_nChannel, Dli::eConnected);
        FakeDli::ReadStatus(p_nChannel, Dli::eReqCycle, 0, 20);
        for (int i = 1; i <= p_nCycles; ++i)
        {
            SSamples samples(g_nStart + i * g_nPlace);
            FakeDli::ReadReceive(p_nChannel, samples.vecpSample);
        }
    }

    CEventReadOMA::VecOMA m_vecpOMA;
    std::atomic<int> m_nResult{99};
};
