#pragma once
#include "fake/CJobBuilder.h"
#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/base/AppState.h"
#include "host/base/TraceFilter.h"
#include "link/input/CEventReadOMA.h"
#include "link/post/CEventWriteOMA.h"
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace Dli = Norvik::Energy::Kestrel::VDS::Runtime;

inline constexpr std::int64_t g_nSec = 10000000;                 ///< ticks
inline constexpr std::int64_t g_nPlace = g_nSec / 50;            ///< distance of samples on the 50 Hz grid
inline constexpr std::int64_t g_nStart = 63871200000LL * g_nSec; ///< a full second

/// Polls in real time, for threads of a test. The limit only ends a test that has failed.
template <class TDone>
bool Await(TDone p_fnDone)
{
    const auto tLimit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!p_fnDone() && std::chrono::steady_clock::now() < tLimit)
        std::this_thread::yield();
    return p_fnDone();
}

inline bool IsSignalled(HANDLE p_hEvent)
{
    return WaitForSingleObject(p_hEvent, 0) == WAIT_OBJECT_0;
}

inline std::unique_ptr<CPmu> MakePmu(std::uint32_t p_nId, const std::vector<std::uint32_t>& p_vecnPhasor,
                                     std::int32_t p_nRate = 50)
{
    auto pPmu = std::make_unique<CPmu>();
    pPmu->m_nId = p_nId;
    pPmu->m_nRepRate = p_nRate;
    for (std::size_t i = 0; i < p_vecnPhasor.size(); ++i)
        pPmu->AddPhasor(p_vecnPhasor[i], static_cast<std::uint32_t>(i));
    return pPmu;
}

/// A power job on two PMUs, with handles, one band of 16 samples, one mode and one PS cycle a second.
inline std::unique_ptr<CJobOMA> MakeJob(const std::string& p_strName, const CVds::VecPmu& p_vecpPmu)
{
    SJobSettings settings;
    settings.strName = p_strName;
    settings.vecnSamples = {16, 0, 0};
    settings.vecMode_Hz = {{0.8, 3.0}};
    settings.nInstance = 2;
    settings.fCycle_s = 0.0;
    auto pJob = CJobBuilder::Make(settings);
    pJob->m_pvechOMA = std::make_unique<std::vector<HANDLE>>();
    for (unsigned i = 0; i < eJobEventCount; ++i)
        pJob->m_pvechOMA->push_back(CreateEventW(nullptr, 0, 0, nullptr));
    pJob->m_pPmu1st = p_vecpPmu[0].get();
    pJob->m_pPmu2nd = p_vecpPmu[1].get();
    return pJob;
}

/// Samples of PMU 101 (phasors 11, 12, 13) and PMU 102 (21, 22, 23): magnitudes 1, 2, 3, ..., angles 0.
struct SSamples
{
    explicit SSamples(std::int64_t p_nTicks)
    {
        for (const unsigned long nId : {11UL, 12UL, 13UL, 21UL, 22UL, 23UL})
        {
            vecpOwned.push_back(FakeDli::MakeSample(nId, p_nTicks, static_cast<float>(vecpOwned.size() + 1), 0.0F));
            vecpSample.push_back(vecpOwned.back().get());
        }
    }
    std::vector<std::unique_ptr<Dli::CChannelAnalog>> vecpOwned;
    std::vector<Dli::CChannel*> vecpSample;
};

/// Afterwards all globals are as after process start.
class ReadBench : public ::testing::Test
{
  protected:
    ReadBench()
    {
        FakeDli::Reset();
        g_pEventWrite = std::make_unique<CEventWriteOMA>(1, nullptr);
    }
    ~ReadBench() override
    {
        g_pEventWrite.reset();
        g_eAppState = eAppRun;
        g_bConnected = false;
        g_vecbTraceData.fill(false);
        EventsUseFakeClock(false);
    }
    /// Starts a clock at 0 that jumps to the end of each sleep.
    static void JumpOverSleeps()
    {
        EventsUseFakeClock(true);
        EventsAutoAdvance(1);
    }
    bool IsSuspendedWith(const std::string& p_strText)
    {
        return g_eAppState.exchange(eAppRun) == eAppSuspend && m_capture.Has(p_strText + "! -> Suspend Application.");
    }

    CaptureTrace m_capture;
};

/// A read callback on the jumping clock, with a job that counts as having a thread; nothing handles its events.
class CallbackBench : public ReadBench
{
  protected:
    CallbackBench()
    {
        JumpOverSleeps();
        m_vecpPmu.push_back(MakePmu(101, {11, 12, 13}));
        m_vecpPmu.push_back(MakePmu(102, {21, 22, 23}));
        AddJob("JOB");
        MakeCb(0, 50);
    }
    void AddJob(const std::string& p_strName)
    {
        m_vecpJob.push_back(MakeJob(p_strName, m_vecpPmu));
        m_vecpJob.back()->m_pThread = std::make_unique<boost::thread>();
    }
    void MakeCb(std::int32_t p_eInputMode, std::uint32_t p_nRate)
    {
        m_pCb = std::make_unique<CVdsCbOMA>(2, m_hStatus, &m_chanData, &m_vecpPmu, p_eInputMode, p_nRate, &m_vecpJob,
                                            &m_trace);
        m_pCb->SetUpcDone(true);
    }
    void Connect(unsigned long p_nCycle_ms = 20)
    {
        m_pCb->Status(Dli::eConnected, 0, 0);
        m_pCb->Status(Dli::eReqCycle, 0, p_nCycle_ms);
        JumpOverSleeps(); // again, because nothing has answered the start
        m_capture.Clear();
    }
    CJobOMA& Job(std::size_t p_nIndex = 0) { return *m_vecpJob[p_nIndex]; }
    HANDLE JobHandle(unsigned p_nEvent, std::size_t p_nJob = 0) { return (*Job(p_nJob).m_pvechOMA)[p_nEvent]; }
    const SPhasor& Phasor(std::size_t p_nPmu, std::size_t p_nIndex)
    {
        return (*m_vecpPmu[p_nPmu]->GetPhasors())[p_nIndex];
    }
    void Receive(std::int64_t p_nTicks, const std::function<void(SSamples&)>& p_fnChange = {})
    {
        SSamples samples(g_nStart + p_nTicks);
        if (p_fnChange)
            p_fnChange(samples);
        m_pCb->Receive(samples.vecpSample);
    }
    void ReceivePlaces(int p_nFirst, int p_nLast)
    {
        for (int i = p_nFirst; i <= p_nLast; ++i)
            Receive(i * g_nPlace);
    }

    CTraceOMA m_trace{"VDS"};
    HANDLE m_hStatus = CreateEventW(nullptr, 0, 0, nullptr);
    unsigned long m_hConn = 1;
    Dli::CChanneldata m_chanData{m_hConn};
    CVds::VecPmu m_vecpPmu;
    CVdsCbOMA::VecJob m_vecpJob;
    std::unique_ptr<CVdsCbOMA> m_pCb;
};
