#pragma once
#include "CConfiguration.h"
#include "link/input/CEventReadCb.h"
#include "link/input/CVdsOMA.h"
#include <memory>
#include <string>
#include <vector>

/// The application's event callback: commands, leftover swing events of an earlier run, island and zone state.
///
/// Zone text    "#ZONE_DATA#~ZONE=1 x ID=7 ID=8 ZONE=2 x ID=9 END": tokens separated by white space, with the marker
///              directly before the first zone. Zones ascend from 1. Each is followed by one ignored token, then by
///              data points.
/// Subzone text "#ZONE_DATA#~ZONE=3 SUBZONE=1 x ID=7 SUBZONE=2 x ID=8 END": one more level. Zones have any number
///              except 0; subzones ascend from 1 in each zone.
///              In both, parsing ends successfully at the first token that does not fit or at the end of the text.
///              Whatever was applied before an error remains in effect.
/// Owner    CEventReadOMA. Threads: called by the library, one delivery at a time.
class CEventReadCbOMA : public CEventReadCb
{
  public:
    using VecOMA = std::vector<std::unique_ptr<CVdsOMA>>;
    using VecEvent = std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CEvent*>;

    CEventReadCbOMA(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, VecOMA* p_pvecOMA,
                    CTraceOMA* p_pTrace);

    void Receive(VecEvent& p_vecEvent, unsigned long p_lReqNum) override;
    /// Handles all other events: an APP aimed at one of our instances is cleared by posting its DIS.
    bool OnUnknownData(std::int32_t p_eTrans, unsigned long p_nElemId, std::int32_t p_eKey,
                       const std::string& p_strAddition) override;

    bool ProcessEvent(Norvik::Energy::Kestrel::VDS::Runtime::CEvent* p_pEvent, unsigned long p_lReqNum);
    /// Clears a swing event that an earlier run has left active.
    bool ProcessUpcEventPS(std::int32_t p_eKey, unsigned long p_nElemId, const std::string& p_strAddition);
    bool ProcessZoneData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey);
    bool ProcessSubzData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey);
    /// When a zone event ends, its PMUs return to island 0, the common one. @return -1 for an unknown transition.
    int NewIsland(int p_nIsland, std::int32_t p_eTrans) const;
    /// Updates all PMUs, in all instances, that belong to the data point's unit.
    bool UpdatePmuIslandData(unsigned long p_nDatapointId, int p_nIsland, std::int32_t p_eKey);
    bool SetPmuIslandData(CPmu* p_pPmu, int p_nIsland, std::int32_t p_eKey) const;

  private:
    class CTokens;

    void WarnOfEnd(const Norvik::Energy::Kestrel::VDS::Runtime::CEvent& p_event) const;
    bool ProcessAppEvent(const Norvik::Energy::Kestrel::VDS::Runtime::CEvent& p_event, unsigned long p_lReqNum);
    bool ProcessGridEvent(const Norvik::Energy::Kestrel::VDS::Runtime::CEvent& p_event);
    /// Skips one token, then applies each "ID=" token that follows; stops at the first other token.
    bool ProcessIds(CTokens& r_tokens, int p_nIsland, std::int32_t p_eTrans, std::int32_t p_eKey);
    bool ProcessSubzones(CTokens& r_tokens, std::int32_t p_eTrans, std::int32_t p_eKey);
    /// Allows the read channels to start. @return false if an instance is not ready in time.
    bool PostProcessUpc();

    const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* m_pConfig; ///< of the pass
    VecOMA* m_pvecOMA;                                                      ///< of the pass
};
