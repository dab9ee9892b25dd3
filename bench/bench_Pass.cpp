#include "bench/CPassJob.h"
#include "bench/CTransformLog.h"
#include "bench/CountAllocs.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>

// Time of one pass of a job compared with its own transforms, repeated by FFTW alone on the same plans and buffers. The
// whole pass of the worker is timed: checks of time and grid, three evaluations, assignment to the modes, their ageing,
// degree of exposure, output and events. The link behind the outputs costs nothing here. Passes and transforms
// alternate in one run; the figures are medians.

namespace
{
using Clock = std::chrono::steady_clock;
constexpr int g_nPasses = 1000;

/// An endless sequence of samples of a job.
using Signal = std::function<double(std::uint64_t)>;

double Sine(double p_fAmpl, double p_fFreq_Hz, std::uint64_t p_nIndex)
{
    return p_fAmpl * std::sin(2.0 * std::numbers::pi * p_fFreq_Hz / CPassJob::g_nRate * static_cast<double>(p_nIndex));
}

/// Noise of standard deviation 1 around the mean power of a line.
double Noise()
{
    static std::mt19937 s_engine(1);
    static std::normal_distribution<double> s_dist(5000.0, 1.0);
    return s_dist(s_engine);
}

/// Three swings, one per band.
double Swings(std::uint64_t p_nIndex)
{
    return Noise() + Sine(150.0, 1.37, p_nIndex) + Sine(150.0, 0.43, p_nIndex) + Sine(150.0, 0.117, p_nIndex);
}

double NoSwings(std::uint64_t)
{
    return Noise();
}

double Time_us(const std::function<void()>& p_fnWork)
{
    const auto tBegin = Clock::now();
    p_fnWork();
    return std::chrono::duration<double, std::micro>(Clock::now() - tBegin).count();
}

double Median(std::vector<double> p_vecfValue)
{
    const auto itMiddle = p_vecfValue.begin() + static_cast<std::ptrdiff_t>(p_vecfValue.size() / 2);
    std::nth_element(p_vecfValue.begin(), itMiddle, p_vecfValue.end());
    return *itMiddle;
}

/// Number of peaks that the evaluators find in the job's present data: per resolution, and in total.
void CountPeaks(benchmark::State& r_state, CJobOMA& p_job)
{
    constexpr const char* vecpszReso[] = {"peaks_LR", "peaks_MR", "peaks_HR"};
    double fFreqEnd_Hz = -1.0;
    p_job.RetrveTotalFreqEnd(&fFreqEnd_Hz);
    double fAll = 0.0;
    for (const auto& pProc : *p_job.m_pvecpProc)
    {
        CProcOMA::VecPeak vecpPeak;
        pProc->Run(fFreqEnd_Hz, L"", L"", 1, 0, &vecpPeak);
        r_state.counters[vecpszReso[pProc->GetSpec()->GetReso()]] = static_cast<double>(vecpPeak.size());
        fAll += static_cast<double>(vecpPeak.size());
    }
    r_state.counters["peaks"] = fAll;
}

void Measure(benchmark::State& r_state, const SJobSettings& p_settings, const Signal& p_fnSignal)
{
    CPassJob passJob(p_settings);
    std::uint64_t nIndex = 0;
    for (const std::uint32_t nMax = passJob.Job().RetrveMaxSpecSize(); nIndex < nMax; ++nIndex)
        passJob.Add(p_fnSignal(nIndex));
    const auto Cycle = [&]
    {
        for (unsigned i = 0; i < CPassJob::g_nRate; ++i)
            passJob.Add(p_fnSignal(nIndex++));
        passJob.NextCycle();
    };
    for (int i = 0; i < 20; ++i) // channels have started, events have arrived, histories are full
    {
        Cycle();
        passJob.Pass();
    }
    Cycle();
    StartTransformLog();
    passJob.Pass();
    std::vector<SCall> vecCall = StopTransformLog();
    const CTransforms transformsTuned(vecCall);

    std::vector<double> vecfPass;
    std::vector<double> vecfTransform;
    std::vector<double> vecfTuned;
    std::vector<double> vecfWithin;
    std::vector<double> vecfAllocs;
    for (auto _ : r_state)
    {
        Cycle();
        Fill(vecCall);
        Fill(transformsTuned.Calls());
        vecfTransform.push_back(Time_us([&] { Repeat(vecCall); }));
        vecfTuned.push_back(Time_us([&] { Repeat(transformsTuned.Calls()); }));
        const std::uint64_t nAllocs = CountAllocs();
        vecfPass.push_back(Time_us([&] { benchmark::DoNotOptimize(passJob.Pass()); }));
        vecfAllocs.push_back(static_cast<double>(CountAllocs() - nAllocs));
        r_state.SetIterationTime(vecfPass.back() * 1e-6);
        Cycle();
        StartTransformLog();
        passJob.Pass();
        vecCall = StopTransformLog();
        vecfWithin.push_back(TransformLog_us());
    }
    r_state.counters["pass_us"] = Median(vecfPass);
    r_state.counters["transforms_us"] = Median(vecfTransform);
    r_state.counters["ratio"] = Median(vecfPass) / Median(vecfTransform);
    r_state.counters["ratio_within"] = Median(vecfPass) / Median(vecfWithin);
    r_state.counters["ratio_tuned"] = Median(vecfPass) / Median(vecfTuned);
    r_state.counters["transforms"] = static_cast<double>(vecCall.size());
    CountPeaks(r_state, passJob.Job());
    r_state.counters["allocs"] = *std::max_element(vecfAllocs.begin(), vecfAllocs.end());
}

void BM_Pass_Peaks(benchmark::State& r_state)
{
    Measure(r_state, CPassJob::Usual(), Swings);
}
BENCHMARK(BM_Pass_Peaks)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(g_nPasses);

void BM_Pass_NoPeak(benchmark::State& r_state)
{
    Measure(r_state, CPassJob::Usual(), NoSwings);
}
BENCHMARK(BM_Pass_NoPeak)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(g_nPasses);

/// A job with one window and one swing, its frequency slightly off a bin centre.
void BM_Pass_Samples(benchmark::State& r_state)
{
    const auto nSamples = static_cast<std::uint32_t>(r_state.range(0));
    const double fFreq_Hz = 12.3 * CPassJob::g_nRate / nSamples;
    SJobSettings settings = CPassJob::Usual();
    settings.vecnSamples = {nSamples, 0, 0};
    settings.vecfFreqEnd_Hz = {3.0 * fFreq_Hz, fFreq_Hz / 3.0, fFreq_Hz / 9.0};
    settings.vecMode_Hz = {{0.5 * fFreq_Hz, 2.0 * fFreq_Hz}};
    Measure(r_state, settings,
            [fFreq_Hz](std::uint64_t p_nIndex) { return Noise() + Sine(150.0, fFreq_Hz, p_nIndex); });
}
BENCHMARK(BM_Pass_Samples)
    ->RangeMultiplier(2)
    ->Range(256, 65536)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(g_nPasses / 5);
} // namespace
