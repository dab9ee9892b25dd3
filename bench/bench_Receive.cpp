#include "bench/CountAllocs.h"
#include "host/base/AppState.h"
#include "link/input/CVdsCbOMA.h"
#include "link/post/CEventWriteOMA.h"
#include "tests/fake/CJobBuilder.h"
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <complex>
#include <functional>
#include <memory>
#include <vector>

// Time of Receive for one cycle of 300 three-phase PMUs and 300 jobs with no pass due, trace off, compared with a bare
// loop that copies the same records, does the same arithmetic, keeps the same history and fills the same output record.
// Both alternate in one run; the figures are medians. The link behind the output channels costs nothing here.

namespace
{
using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using Clock = std::chrono::steady_clock;

constexpr unsigned g_nPmus = 300;
constexpr unsigned g_nJobs = 300;
constexpr unsigned g_nPhases = 3;
constexpr std::int32_t g_nRate = 50;
constexpr std::int64_t g_nTicksPerSec = 10000000;
constexpr std::uint32_t g_nWindow = 8192;
constexpr std::int32_t g_nPassRate = -86400; ///< one pass a day: none is due
constexpr int g_nWarmUp = 9000;              ///< cycles until all queues are full
constexpr int g_nCycles = 4000;

/// The samples of one cycle, as the library delivers them.
class CSamples
{
  public:
    CSamples()
    {
        for (unsigned i = 0; i < g_nPmus * g_nPhases; ++i)
        {
            m_vecpOwned.push_back(std::make_unique<CChannelAnalog>(1000 + i, 0, 0.0F, 0));
            m_vecpSample.push_back(m_vecpOwned.back().get());
        }
    }
    std::vector<CChannel*>& At(std::int64_t p_nTicks)
    {
        const auto fTurn = static_cast<float>(p_nTicks / (g_nTicksPerSec / g_nRate) % 97);
        for (std::size_t i = 0; i < m_vecpOwned.size(); ++i)
        {
            CChannel::vdsData data;
            data.fValue1 = 230000.0F + fTurn;
            data.fValue2 = std::remainder(0.3F * static_cast<float>(i / g_nPhases) + fTurn - 120.0F * (i % 3), 360.0F);
            m_vecpOwned[i]->SetTime(p_nTicks);
            m_vecpOwned[i]->SetValue(data, CChannel::eValuePhasor);
        }
        return m_vecpSample;
    }

  private:
    std::vector<std::unique_ptr<CChannelAnalog>> m_vecpOwned;
    std::vector<CChannel*> m_vecpSample;
};

/// A session of jobs, alternately power and angle, without their threads, on a link without cost.
class CSessionBench
{
  public:
    CSessionBench()
    {
        g_bConnected = true;
        g_pEventWrite = std::make_unique<CEventWriteOMA>(1, nullptr);
        for (unsigned iPmu = 0; iPmu < g_nPmus; ++iPmu)
        {
            m_vecpPmu.push_back(std::make_unique<CPmu>());
            m_vecpPmu.back()->m_nId = 10 + iPmu;
            m_vecpPmu.back()->m_nRepRate = g_nRate;
            for (unsigned iPhase = 0; iPhase < g_nPhases; ++iPhase)
                m_vecpPmu.back()->AddPhasor(1000 + g_nPhases * iPmu + iPhase, iPhase);
        }
        for (unsigned iJob = 0; iJob < g_nJobs; ++iJob)
            AddJob(iJob);
        m_pCb = std::make_unique<CVdsCbOMA>(2, m_hStatus, &m_chanData, &m_vecpPmu, 0, g_nRate, &m_vecpJob, &m_trace);
        m_pCb->SetUpcDone(true);
        m_pCb->Status(eConnected, 0, 0);
        m_pCb->Status(eReqCycle, 0, 1000 / g_nRate);
        for (const auto& pJob : m_vecpJob) // normally done by the job's thread
        {
            pJob->CreateVdsOutMeas(2, g_nRate);
            pJob->m_pVdsOutMeas->GetCB()->OnConnected();
            pJob->m_pThread = std::make_unique<boost::thread>();
        }
    }
    ~CSessionBench()
    {
        m_vecpJob.clear();
        g_pEventWrite.reset();
        g_bConnected = false;
    }
    void Receive(std::vector<CChannel*>& r_vecpSample) { m_pCb->Receive(r_vecpSample); }
    SMeas Value(unsigned p_nJob) const { return m_vecpJob[p_nJob]->GetActValue(); }

  private:
    void AddJob(unsigned p_nJob)
    {
        SJobSettings settings;
        settings.nId = 500 + p_nJob;
        settings.eJobMode = static_cast<std::int32_t>(p_nJob % 2);
        settings.vecnSamples = {g_nWindow, g_nWindow, g_nWindow};
        settings.vecMode_Hz.clear();
        settings.nUnitId = 3000 + p_nJob;
        settings.nOutputRefId = 6000 + p_nJob;
        settings.nRepRate = g_nPassRate;
        settings.fCycle_s = 0.0;
        m_vecpJob.push_back(CJobBuilder::Make(settings));
        m_vecpJob.back()->m_pPmu1st = m_vecpPmu[p_nJob % g_nPmus].get();
        m_vecpJob.back()->m_pPmu2nd = m_vecpPmu[(p_nJob + 1) % g_nPmus].get();
    }

    CTraceOMA m_trace{"VDS"};
    HANDLE m_hStatus = CreateEventW(nullptr, 0, 0, nullptr);
    unsigned long m_hConn = 1;
    CChanneldata m_chanData{m_hConn};
    CVds::VecPmu m_vecpPmu;
    CVdsCbOMA::VecJob m_vecpJob;
    std::unique_ptr<CVdsCbOMA> m_pCb;
};

/// The same work without the application around it.
class CBareLoop
{
  public:
    CBareLoop() : m_vecPhasor(g_nPmus * g_nPhases), m_vecJob(g_nJobs)
    {
        for (SJob& job : m_vecJob)
            job.vecHistory.resize(g_nWindow);
    }
    void Receive(const std::vector<CChannel*>& p_vecpSample)
    {
        for (std::size_t i = 0; i < m_vecPhasor.size(); ++i)
        {
            CChannel::vdsData data;
            static_cast<const CChannelAnalog*>(p_vecpSample[i])->GetValue(data, CChannel::eValuePhasor);
            m_vecPhasor[i] = {data.fValue1, data.fValue2, p_vecpSample[i]->GetState() == 0 ? eQualValid : eQualInvalid};
        }
        for (std::size_t i = 0; i < m_vecJob.size(); ++i)
        {
            SJob& job = m_vecJob[i];
            const SRecord* const p1st = &m_vecPhasor[i % g_nPmus * g_nPhases];
            const SRecord* const p2nd = &m_vecPhasor[(i + 1) % g_nPmus * g_nPhases];
            const double fValue = i % 2 == 0 ? Power(p1st, p2nd) : Angle(p1st, p2nd);
            bool bValid = true;
            for (unsigned n = 0; n < g_nPhases; ++n)
                bValid = bValid && p1st[n].eQual == eQualValid && p2nd[n].eQual == eQualValid;
            job.vecHistory[m_nCycle % g_nWindow] = {fValue, bValid ? eQualValid : eQualInvalid};
            job.output.SetTime(p_vecpSample.front()->GetTime());
            job.output.SetStatus(bValid ? 0 : 1);
            CChannel::vdsData data;
            data.fValue1 = static_cast<float>(fValue);
            job.output.SetValue(data, CChannel::eValuePhasor);
        }
        ++m_nCycle;
    }
    SMeas Value(unsigned p_nJob) const { return m_vecJob[p_nJob].vecHistory[(m_nCycle - 1) % g_nWindow]; }

  private:
    struct SRecord
    {
        double fMagn = 0.0;
        double fAngle_deg = 0.0;
        std::int32_t eQual = eQualInvalid;
    };
    struct SJob
    {
        std::vector<SMeas> vecHistory;
        CChannelAnalog output{1, 0, 0.0F, 0};
    };
    static std::complex<double> Phasor(const SRecord& p_record, unsigned p_nPhase)
    {
        const double fRad = 0.017453292519943295 * std::fmod(p_record.fAngle_deg + 360.0 + p_nPhase * 120.0, 360.0);
        return {p_record.fMagn * std::cos(fRad), p_record.fMagn * std::sin(fRad)};
    }
    static double Power(const SRecord* p_pV, const SRecord* p_pI)
    {
        double fSum = 0.0;
        for (unsigned n = 0; n < g_nPhases; ++n)
            fSum += (Phasor(p_pV[n], n) * std::conj(Phasor(p_pI[n], n))).real();
        return fSum;
    }
    static double Angle(const SRecord* p_p1st, const SRecord* p_p2nd)
    {
        std::complex<double> cplx1st;
        std::complex<double> cplx2nd;
        for (unsigned n = 0; n < g_nPhases; ++n)
        {
            cplx1st += Phasor(p_p1st[n], n);
            cplx2nd += Phasor(p_p2nd[n], n);
        }
        const double fDiff_deg = 57.29577951308232 * (std::arg(cplx1st / 3.0) - std::arg(cplx2nd / 3.0));
        return std::fmod(fDiff_deg + 540.0, 360.0) - 180.0;
    }

    std::vector<SRecord> m_vecPhasor;
    std::vector<SJob> m_vecJob;
    std::size_t m_nCycle = 0;
};

double Time_ns(const std::function<void()>& p_fnWork)
{
    const auto tBegin = Clock::now();
    p_fnWork();
    return std::chrono::duration<double, std::nano>(Clock::now() - tBegin).count();
}

double Median(std::vector<double> p_vecfValue)
{
    const auto itMiddle = p_vecfValue.begin() + static_cast<std::ptrdiff_t>(p_vecfValue.size() / 2);
    std::nth_element(p_vecfValue.begin(), itMiddle, p_vecfValue.end());
    return *itMiddle;
}

void BM_Receive(benchmark::State& r_state)
{
    CSamples samples;
    CSessionBench session;
    CBareLoop bareLoop;
    std::int64_t nTicks = 63871200001LL * g_nTicksPerSec;
    const auto NextSamples = [&]() -> std::vector<CChannel*>&
    { return samples.At(nTicks += g_nTicksPerSec / g_nRate); };
    for (int i = 0; i < g_nWarmUp; ++i)
    {
        std::vector<CChannel*>& vecpSample = NextSamples();
        session.Receive(vecpSample);
        bareLoop.Receive(vecpSample);
    }
    std::vector<double> vecfReceive(g_nCycles);
    std::vector<double> vecfBare(g_nCycles);
    std::size_t nCycle = 0;
    std::uint64_t nAllocs = 0;
    unsigned nDiffer = 0;
    for (auto _ : r_state)
    {
        std::vector<CChannel*>& vecpSample = NextSamples();
        const std::uint64_t nBefore = CountAllocs();
        vecfReceive[nCycle] = Time_ns([&] { session.Receive(vecpSample); });
        nAllocs += CountAllocs() - nBefore;
        vecfBare[nCycle++] = Time_ns([&] { bareLoop.Receive(vecpSample); });
        for (unsigned i = 0; i < g_nJobs; ++i)
            nDiffer +=
                session.Value(i).fValue == bareLoop.Value(i).fValue && session.Value(i).eQual == eQualValid ? 0 : 1;
        r_state.SetIterationTime(vecfReceive[nCycle - 1] * 1e-9);
    }
    if (nDiffer > 0)
        r_state.SkipWithError("the bare loop does not do the same arithmetic");
    r_state.counters["ns_phasor"] = Median(vecfReceive) / (g_nPmus * g_nPhases);
    r_state.counters["bare_ns_phasor"] = Median(vecfBare) / (g_nPmus * g_nPhases);
    r_state.counters["ratio"] = Median(vecfReceive) / Median(vecfBare);
    r_state.counters["allocs"] = static_cast<double>(nAllocs);
}
BENCHMARK(BM_Receive)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(g_nCycles);
} // namespace
