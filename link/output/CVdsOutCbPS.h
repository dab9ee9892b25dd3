#pragma once
#include "link/output/CVdsOutCb.h"

/// Swing channels: started and stopped only by their mode.
class CVdsOutCbPS : public CVdsOutCb
{
  public:
    CVdsOutCbPS(HANDLE p_hStatus, Norvik::Energy::Kestrel::VDS::Runtime::CChanneldataWrite* p_pChanData,
                std::uint32_t p_nVirtualPmuId, const std::vector<unsigned long>& p_vecnChanId,
                std::int32_t p_nCycleRate, CTraceOMA* p_pTrace);
    bool OnConnected() override;
    bool OnDisconnected() override;
};
