#pragma once
#include "host/base/CTraceOMA.h"
#include "host/base/TraceFilter.h"
#include "host/shell/CShellOMA.h"
#include "spectrum/fft/CFFT.h"
#include "spectrum/proc/CProcOMA.h"
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <string>
#include <vector>

inline constexpr double g_fTwoPi = 2.0 * std::numbers::pi;

/// Samples of a function of time.
template <class TSignal>
std::valarray<double> Samples(std::size_t p_nCount, double p_fDeltaT_s, TSignal p_signal)
{
    std::valarray<double> vecSample(p_nCount);
    for (std::size_t i = 0; i < p_nCount; ++i)
        vecSample[i] = p_signal(static_cast<double>(i) * p_fDeltaT_s);
    return vecSample;
}

/// One band with its evaluation: magnitude limits 100 and 200, damping limits -0.05 and -0.03, no options.
class SpectrumBench : public testing::Test
{
  protected:
    ~SpectrumBench() override
    {
        g_pShell.reset();
        g_vecbTraceData = {};
        g_bTraceDataAll = false;
    }
    void MakeProc(std::uint32_t p_nSamples, double p_fFreqEnd_Hz, double p_fDeltaT_s)
    {
        m_pSpec = std::make_unique<CSpec>(true, MR, p_nSamples, 0.01, p_fFreqEnd_Hz, 1, &m_trace);
        m_pProc = std::make_unique<CProcOMA>(&m_deqMeas, m_pSpec.get(), &m_doe, &m_trace);
        m_pProc->SetDeltaT(p_fDeltaT_s);
    }
    /// Sets options as on the command line.
    static void Options(std::vector<std::wstring> p_vecArg)
    {
        p_vecArg.insert(p_vecArg.begin(), L"oma");
        std::vector<wchar_t*> vecpArg;
        for (std::wstring& r_wstrArg : p_vecArg)
            vecpArg.push_back(r_wstrArg.data());
        g_pShell = std::make_unique<CShellOMA>();
        g_pShell->ExtractCmdLineParsOMA(static_cast<int>(vecpArg.size()), vecpArg.data(), nullptr);
    }
    void Feed(const std::valarray<double>& p_vecSample)
    {
        for (const double fValue : p_vecSample)
            m_deqMeas.Append({fValue, eQualValid});
    }
    CProcOMA::VecPeak Run(double p_fMaxFreq_Hz, int p_eFit = 1, const std::wstring& p_wstrFileFFT = {},
                          const std::wstring& p_wstrFileTUI = {})
    {
        CProcOMA::VecPeak vecpPeak;
        EXPECT_TRUE(m_pProc->Run(p_fMaxFreq_Hz, p_wstrFileFFT, p_wstrFileTUI, p_eFit, 1, &vecpPeak));
        return vecpPeak;
    }

    CTraceOMA m_trace{"BENCH"};
    CDeqMeas m_deqMeas;
    CDOE m_doe{std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{100.0, 200.0}),
               std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.05, -0.03})};
    std::unique_ptr<CSpec> m_pSpec;
    std::unique_ptr<CProcOMA> m_pProc;
};
