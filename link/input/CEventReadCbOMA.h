#pragma once
#include "CConfiguration.h"
#include "link/input/CEventReadCb.h"
#include "link/input/CVdsOMA.h"
#include <memory>
#include <string>
#include <vector>

/// The application's event callback: commands, left-over swing events, island and zone state of the grid.
///
/// Zone text    "#ZONE_DATA#~ZONE=1 x ID=7 ID=8 ZONE=2 x ID=9 END": tokens by white space, the marker directly before the
///              first zone; zones ascend from 1; behind each one token that nobody looks at, then data points.
/// Subzone text the same with a further level: "#ZONE_DATA#~ZONE=3 SUBZONE=1 x ID=7 SUBZONE=2 x ID=8 END"; zones have any
///              number but 0, subzones ascend from 1 in each.
///              The first token that fits nowhere, or the end of the text, ends the parse with success. What was applied
///              before an error stays.
/// Owner    CEventReadOMA. Threads: the library's, one delivery at a time.
class CEventReadCbOMA : public CEventReadCb
{
  public:
    using VecOMA = std::vector<std::unique_ptr<CVdsOMA>>;
    using VecEvent = std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CEvent*>;

    CEventReadCbOMA(const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* p_pConfig, VecOMA* p_pvecOMA,
                    CTraceOMA* p_pTrace);

    void Receive(VecEvent& p_vecEvent, unsigned long p_lReqNum) override;
    /// An event that nobody knows: an APP aimed at one of our instances is cleared by its DIS.
    bool OnUnknownData(std::int32_t p_eTrans, unsigned long p_nElemId, std::int32_t p_eKey,
                       const std::string& p_strAddition) override;

    bool ProcessEvent(Norvik::Energy::Kestrel::VDS::Runtime::CEvent* p_pEvent, unsigned long p_lReqNum);
    /// Clears a swing event that an earlier run has left standing.
    bool ProcessUpcEventPS(std::int32_t p_eKey, unsigned long p_nElemId, const std::string& p_strAddition);
    bool ProcessZoneData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey);
    bool ProcessSubzData(const std::string& p_strAddition, std::int32_t p_eTrans, std::int32_t p_eKey);
    /// A zone event that goes puts its PMUs into island 0, the common one. @return -1 for an unknown transition.
    int NewIsland(int p_nIsland, std::int32_t p_eTrans) const;
    /// All PMUs of the unit behind the data point, in all instances.
    bool UpdatePmuIslandData(unsigned long p_nDatapointId, int p_nIsland, std::int32_t p_eKey);
    bool SetPmuIslandData(CPmu* p_pPmu, int p_nIsland, std::int32_t p_eKey) const;

  private:
    class CTokens;

    void WarnOfEnd(const Norvik::Energy::Kestrel::VDS::Runtime::CEvent& p_event) const;
    bool ProcessAppEvent(const Norvik::Energy::Kestrel::VDS::Runtime::CEvent& p_event, unsigned long p_lReqNum);
    bool ProcessGridEvent(const Norvik::Energy::Kestrel::VDS::Runtime::CEvent& p_event);
    /// Skips one token, then applies all "ID=" behind it; stands on the first token that is none.
    bool ProcessIds(CTokens& r_tokens, int p_nIsland, std::int32_t p_eTrans, std::int32_t p_eKey);
    bool ProcessSubzones(CTokens& r_tokens, std::int32_t p_eTrans, std::int32_t p_eKey);
    /// Lets the read channels start. @return false if an instance is not ready in time.
    bool PostProcessUpc();

    const Norvik::Energy::Kestrel::VDS::Runtime::CConfiguration* m_pConfig; ///< of the pass
    VecOMA* m_pvecOMA;                                                      ///< of the pass
};
