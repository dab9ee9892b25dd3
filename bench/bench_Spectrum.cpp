#include "spectrum/CFFT.h"
#include "spectrum/CProcOMA.h"
#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>
#include <random>

// What one pass costs. To be held against the PS cycle (usually 1 s for all jobs), not against zero.

namespace
{
constexpr double g_fStep_s = 0.02;

/// Three swings, one for each band of a usual job, on a mean, with noise.
std::valarray<double> Signal(std::size_t p_nCount)
{
    std::mt19937 engine(1);
    std::normal_distribution<double> dist(0.0, 1.0);
    std::valarray<double> vecSignal(p_nCount);
    for (std::size_t i = 0; i < p_nCount; ++i)
    {
        vecSignal[i] = 5000.0 + dist(engine);
        for (const double fFreq_Hz : {1.37, 0.43, 0.117})
            vecSignal[i] += 150.0 * std::sin(2.0 * std::numbers::pi * fFreq_Hz * g_fStep_s * static_cast<double>(i));
    }
    return vecSignal;
}

void BM_CFFT_Forward(benchmark::State& r_state)
{
    const std::valarray<double> vecSignal = Signal(static_cast<std::size_t>(r_state.range(0)));
    for (auto _ : r_state)
    {
        CFFT fft(nullptr);
        benchmark::DoNotOptimize(fft.FFTbyMKL(vecSignal, g_fStep_s));
    }
    r_state.SetComplexityN(r_state.range(0));
}
BENCHMARK(BM_CFFT_Forward)->RangeMultiplier(4)->Range(256, 65536)->Complexity(benchmark::oNLogN);

/// One band: samples of its window, end of the band in mHz.
void BM_CProcOMA_Run(benchmark::State& r_state)
{
    const auto nSamples = static_cast<std::uint32_t>(r_state.range(0));
    const double fFreqEnd_Hz = static_cast<double>(r_state.range(1)) * 0.001;
    CDeqMeas deqMeas;
    for (const double fValue : Signal(nSamples))
        deqMeas.Append({fValue, eQualValid});
    const CSpec spec(true, MR, nSamples, 0.25 * fFreqEnd_Hz, fFreqEnd_Hz, 1, nullptr);
    const CDOE doe(std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{100.0, 200.0}),
                   std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.05, -0.03}));
    CProcOMA proc(&deqMeas, &spec, &doe, nullptr);
    proc.SetDeltaT(g_fStep_s);
    std::size_t nPeaks = 0;
    for (auto _ : r_state)
    {
        CProcOMA::VecPeak vecpPeak;
        proc.Run(3.0, L"", L"", 1, 0, &vecpPeak);
        nPeaks = vecpPeak.size();
    }
    r_state.counters["peaks"] = static_cast<double>(nPeaks);
}
BENCHMARK(BM_CProcOMA_Run)->Args({512, 3000})->Args({2048, 800})->Args({8192, 200})->Unit(benchmark::kMicrosecond);
} // namespace
