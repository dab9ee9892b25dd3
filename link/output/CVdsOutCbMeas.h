#pragma once
#include "link/output/CVdsOutCb.h"

/// Measurement channel: restarts by itself when the write connection returns.
class CVdsOutCbMeas : public CVdsOutCb
{
  public:
    CVdsOutCbMeas(HANDLE p_hStatus, Norvik::Energy::Kestrel::VDS::Runtime::CChanneldataWrite* p_pChanData,
                  std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
                  std::int32_t p_nCycleRate, CTraceOMA* p_pTrace);
    bool OnConnected() override;
    bool OnDisconnected() override;

  private:
    std::atomic<bool> m_bReportReconnect{false};
};
