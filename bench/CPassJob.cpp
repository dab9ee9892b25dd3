#include "bench/CPassJob.h"
#include "host/AppState.h"
#include "link/CEventWriteOMA.h"

namespace
{
constexpr std::int64_t g_nTicksPerSec = 10000000;
constexpr double g_fStep_s = 1.0 / CPassJob::g_nRate;
} // namespace

CPassJob::CPassJob(const SPassSettings& p_settings)
{
    g_bConnected = true;
    g_pEventWrite = std::make_unique<CEventWriteOMA>(1, nullptr);
    auto pvecpSpec = std::make_unique<VecSpec>();
    for (unsigned i = 0; i < 3; ++i)
        pvecpSpec->push_back(std::make_unique<CSpec>(
            p_settings.vecnSamples[i] > 0, static_cast<std::int32_t>(i), p_settings.vecnSamples[i],
            i < 2 ? p_settings.vecfFreqEnd_Hz[i + 1] : 0.0, p_settings.vecfFreqEnd_Hz[i], 500, nullptr));
    auto pDOE = std::make_unique<CDOE>(
        std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{p_settings.fMagnWarn, p_settings.fMagnAlarm}),
        std::make_unique<CDOE::VecLimit>(CDOE::VecLimit{-0.05, -0.03}));
    m_pJob = std::make_unique<CJobOMA>("JOB", 500, true, p_settings.eJobMode, std::move(pvecpSpec), 31, 32, 10, 1,
                                       std::move(pDOE), std::make_unique<CTraceOMA>("JOB"), nullptr);
    m_pJob->m_fCycle_s = g_fStep_s;
    for (const auto& pProc : *m_pJob->m_pvecpProc)
        pProc->SetDeltaT(g_fStep_s);
    AddModes(p_settings);
    m_pJob->m_pPmu1st = &m_pmu1st;
    m_pJob->m_pPmu2nd = &m_pmu2nd;
    m_pJob->m_pTimeInp = &m_time;
}

CPassJob::~CPassJob()
{
    m_pJob.reset();
    g_pEventWrite.reset();
    g_bConnected = false;
}

void CPassJob::AddModes(const SPassSettings& p_settings)
{
    std::uint32_t nId = 601;
    for (const auto& [fMin_Hz, fMax_Hz] : p_settings.vecMode_Hz)
    {
        const unsigned long nChan = 10UL * nId;
        auto pMode = std::make_unique<CPsmOut>(p_settings.eJobMode == 0, 1, nId, nId + 200,
                                               std::vector<unsigned long>{nChan, nChan + 1, nChan + 2, nChan + 3}, 1,
                                               fMin_Hz, fMax_Hz, 1, m_pJob->m_pvecpSpec.get(), 10, m_pJob->m_pDOE.get(),
                                               std::make_unique<CTraceOMA>("JOB_MODE"));
        pMode->SetCounters(m_pJob->NoOfCyclesInactive());
        m_pJob->m_pvecpPsmOut->push_back(std::move(pMode));
        ++nId;
    }
}

void CPassJob::Add(double p_fValue)
{
    m_pJob->SetActValue({p_fValue, eQualValid});
    m_pJob->AddMeasToBuf();
}

void CPassJob::NextCycle()
{
    m_time.SetTicks(++m_nSec * g_nTicksPerSec);
}
