#pragma once
#include "fake/CJobBuilder.h"
#include "fake/CaptureTrace.h"
#include "fake/FakeDli.h"
#include "host/base/AppState.h"
#include "host/base/TraceFilter.h"
#include "link/post/CEventWriteOMA.h"
#include <gtest/gtest.h>

inline constexpr std::uint32_t g_nIdMeasUnit = 31;
inline constexpr std::uint32_t g_nIdMeasChan = 32;
inline constexpr std::uint32_t g_nIdJob = 500;
inline constexpr std::uint32_t g_nIdModeFirst = CJobBuilder::s_nIdModeFirst;
inline constexpr std::uint32_t g_nIdModeUnitFirst = CJobBuilder::s_nIdModeUnitFirst;
inline constexpr std::int64_t g_nTicksPerSec = 10000000;
inline constexpr std::int64_t g_nSec = 63000000000; ///< second since the year 1 at which most tests start

/// A job at 50 measurements a second with three-phase PMUs, on the fake link, and its trace lines. Afterwards all
/// globals are as after process start.
class JobBench : public ::testing::Test
{
  protected:
    JobBench() { MakeJob({}); }
    ~JobBench() override
    {
        m_pJob.reset();
        g_pEventWrite.reset();
        g_eDataSource = eSrcServer;
        g_eAppState = eAppRun;
        g_bConnected = false;
        g_bTraceDataAll = false;
        g_vecbTraceData.fill(false);
        g_nTraceFilterId = 0;
    }

    void MakeJob(const SJobSettings& p_settings)
    {
        m_pJob.reset();
        FakeDli::Reset();
        g_bConnected = true;
        g_pEventWrite = std::make_unique<CEventWriteOMA>(1, nullptr);
        m_pJob = CJobBuilder::Make(p_settings);
        SetPhases(m_pmu1st, 1011, 3);
        SetPhases(m_pmu2nd, 1021, 3);
        m_pJob->m_pPmu1st = &m_pmu1st;
        m_pJob->m_pPmu2nd = &m_pmu2nd;
        m_capture.Clear();
    }

    /// Sets phasors with consecutive ids: the phases of a balanced system.
    static void SetPhases(CPmu& r_pmu, std::uint32_t p_nIdFirst, unsigned p_nPhases, double p_fMagn = 100.0,
                          double p_fAngle_deg = 0.0)
    {
        r_pmu.m_nId = p_nIdFirst;
        r_pmu.GetPhasors()->clear();
        for (unsigned nPhase = 0; nPhase < p_nPhases; ++nPhase)
        {
            r_pmu.AddPhasor(p_nIdFirst + nPhase, nPhase);
            SetPhasor(r_pmu, nPhase, p_fMagn, p_fAngle_deg - 120.0 * nPhase);
        }
    }
    static void SetPhasor(CPmu& r_pmu, unsigned p_nIndex, double p_fMagn, double p_fAngle_deg,
                          std::int32_t p_eQual = eQualValid)
    {
        SPhasor& phasor = (*r_pmu.GetPhasors())[p_nIndex];
        phasor.fMagn = p_fMagn;
        phasor.fAngle_deg = p_fAngle_deg;
        phasor.eQual = p_eQual;
    }

    /// Sets the read callback's stamp to the start of this second.
    void SetTime(std::int64_t p_nSec)
    {
        m_time.SetTicks(p_nSec * g_nTicksPerSec);
        m_pJob->m_pTimeInp = &m_time;
    }
    void AddMeas(unsigned p_nCount, double p_fValue = 0.0)
    {
        for (unsigned i = 0; i < p_nCount; ++i)
        {
            m_pJob->SetActValue({p_fValue, eQualValid});
            m_pJob->AddMeasToBuf();
        }
    }
    /// Adds one PS cycle of measurements and runs the pass at this second.
    bool Pass(std::int64_t p_nSec)
    {
        SetTime(p_nSec);
        AddMeas(50);
        return m_pJob->RunWorker(nullptr, nullptr);
    }
    CPsmOut* Mode(unsigned p_nIndex) { return (*m_pJob->m_pvecpPsmOut)[p_nIndex].get(); }
    static std::unique_ptr<CPeakOMA> MakePeak(double p_fFreq_Hz, double p_fMagn, double p_fDamp = 0.01,
                                              std::int32_t p_eReso = MR)
    {
        auto pPeak = std::make_unique<CPeakOMA>(nullptr);
        pPeak->SetFreq(p_fFreq_Hz);
        pPeak->SetFWHM(0.1);
        pPeak->SetMagn(p_fMagn);
        pPeak->SetDamp(p_fDamp);
        pPeak->SetGridQual(eQualValid);
        pPeak->m_eReso = p_eReso;
        pPeak->m_bAboveMagnLimit = true;
        return pPeak;
    }
    /// Assigns a peak to its mode and writes the mode's output, as a pass does.
    void WriteMode(double p_fFreq_Hz, double p_fMagn, double p_fDamp)
    {
        m_pJob->m_pActTime->Copy(&m_time, true);
        CProcOMA::VecPeak vecpPeak;
        vecpPeak.push_back(MakePeak(p_fFreq_Hz, p_fMagn, p_fDamp));
        ASSERT_TRUE(m_pJob->AssignAllPeaksToPSMs(&vecpPeak, {}, 0.1));
        ASSERT_TRUE(vecpPeak[0]->m_bAssigned);
        ASSERT_TRUE(m_pJob->UpdateAllPSMs() && m_pJob->WriteDataPS());
    }
    /// Starts the measurement channel.
    void StartMeas()
    {
        ASSERT_TRUE(m_pJob->CreateVdsOutMeas(1, 50));
        m_pJob->m_pVdsOutMeas->GetCB()->OnConnected();
        ASSERT_TRUE(m_pJob->m_pVdsOutMeas->GetCB()->IsStarted());
    }

    CaptureTrace m_capture;
    CPmu m_pmu1st;
    CPmu m_pmu2nd;
    CTime m_time{50};
    std::unique_ptr<CJobOMA> m_pJob;
};
