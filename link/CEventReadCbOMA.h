#pragma once
#include "CConfiguration.h"
#include "link/CEventReadCb.h"
#include "link/CVdsOMA.h"
#include <memory>
#include <string>
#include <vector>

/// The application's event callback: commands, left-over swing events, island and zone state of the grid.
/// Threads  the library's.
class CEventReadCbOMA : public CEventReadCb
{
  public:
    using VecOMA = std::vector<std::unique_ptr<CVdsOMA>>;

    CEventReadCbOMA(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, VecOMA* p_pvecOMA,
                    CTraceOMA* p_pTrace);

    void Receive(std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CEvent*>& p_vecEvent,
                 unsigned long p_lReqNum) override;
    bool OnUnknownData(std::int32_t p_eTrans, unsigned long p_nElemId, std::int32_t p_eKey,
                       const std::string& p_strAddition) override;

    bool ProcessEvent(Norvik::Energy::Kestrel::VDS::Runtime::CEvent* p_pEvent, unsigned long p_lReqNum);
    bool ProcessUpcEventPS(std::int32_t p_eKey, unsigned long p_nElemId, const std::string& p_strAddition);
    bool ProcessZoneData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey);
    bool ProcessSubzData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey);
    int NewIsland(int p_nIsland, std::int32_t p_eTrans) const;
    bool UpdatePmuIslandData(unsigned long p_nDatapointId, int p_nIsland, std::int32_t p_eKey);
    bool SetPmuIslandData(CPmu* p_pPmu, int p_nIsland, std::int32_t p_eKey) const;

  private:
    bool PostProcessUpc();

    const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* m_pConfig;
    VecOMA* m_pvecOMA;
};
