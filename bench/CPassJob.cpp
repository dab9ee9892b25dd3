#include "bench/CPassJob.h"
#include "host/base/AppState.h"
#include "link/post/CEventWriteOMA.h"

namespace
{
constexpr std::int64_t g_nTicksPerSec = 10000000;
} // namespace

SJobSettings CPassJob::Usual()
{
    SJobSettings settings;
    settings.vecnSamples = {512, 2048, 8192};
    settings.vecMode_Hz = {{0.05, 0.2}, {0.2, 0.8}, {0.8, 3.0}};
    settings.fFreqBeg_Hz = 0.0;
    return settings;
}

CPassJob::CPassJob(const SJobSettings& p_settings)
{
    g_bConnected = true;
    g_pEventWrite = std::make_unique<CEventWriteOMA>(1, nullptr);
    m_pJob = CJobBuilder::Make(p_settings);
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

void CPassJob::Add(double p_fValue)
{
    m_pJob->SetActValue({p_fValue, eQualValid});
    m_pJob->AddMeasToBuf();
}

void CPassJob::NextCycle()
{
    m_time.SetTicks(++m_nSec * g_nTicksPerSec);
}
