#include "job/CJob.h"

CJob::CJob(const std::string& p_strName, std::uint32_t p_nId, bool p_bActive, CTraceOMA* p_pTrace)
    : m_hWorkerDone(CreateEventW(nullptr, 0, 0, nullptr)), m_strName(p_strName), m_bActive(p_bActive), m_nId(p_nId),
      m_pActTime(std::make_unique<CTime>(0)), m_pdeqMeas(std::make_unique<CDeqMeas>()),
      m_pvecpPsmOut(std::make_unique<VecPsmOut>()),
      m_pvecpPsmTmp(std::make_unique<std::vector<std::unique_ptr<CPSM>>>()), m_pTrace(p_pTrace)
{
}

CJob::~CJob()
{
    CloseHandle(m_hWorkerDone);
}

void CJob::TellWorkerDone()
{
    m_bWorkerDone = true;
    SetEvent(m_hWorkerDone);
}
