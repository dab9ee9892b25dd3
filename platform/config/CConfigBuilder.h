#pragma once
#include "CConfiguration.h"
#include "CFaults.h"
#include "XmlPtr.h"
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Makes the tree of a file that has passed its schema. What a schema cannot say is checked here: ids that stand twice
/// and numbers beyond single precision.
class CConfigBuilder
{
  public:
    explicit CConfigBuilder(CFaults& r_faults) : m_faults(r_faults) {}
    std::unique_ptr<CConfiguration> Build(const xmlNode* p_pRoot);

  private:
    using Names = std::span<const std::pair<std::string_view, int>>;

    void BuildVDS(const xmlNode* p_pNode, CVDS& r_vds);
    void BuildDatapoints(const xmlNode* p_pNode, CDatapoints& r_datapoints);
    void BuildUnit(const xmlNode* p_pNode, CDatapoints& r_datapoints);
    void BuildDatapoint(const xmlNode* p_pNode, const CMeasurementUnit* p_pUnit, int p_nRateUnit,
                        CDatapoints& r_datapoints);
    void BuildOMA(const xmlNode* p_pNode, OMA::COMA& r_oma);
    void BuildJob(const xmlNode* p_pNode, OMA::CJob& r_job);
    void BuildLimits(const xmlNode* p_pNode, OMA::CJob& r_job);
    void BuildEvents(const xmlNode* p_pNode, OMA::CPSEvents& r_events);
    void BuildSpectral(const xmlNode* p_pNode, OMA::CSpectralDataSets& r_sets);
    void BuildMode(const xmlNode* p_pNode, OMA::CPSMode& r_mode);
    void BuildInputGroup(const xmlNode* p_pNode, OMA::CInputGroup& r_group);
    void BuildNTM(const xmlNode* p_pNode, NTM::CNTM& r_ntm);

    // ---- values of attributes ----
    template <class T>
    T Number(const xmlNode* p_pNode, const char* p_pName);
    bool Flag(const xmlNode* p_pNode, const char* p_pName) const;
    int Named(const xmlNode* p_pNode, const char* p_pName, Names p_names);
    /// Adds a fault if p_nValue of this attribute was met before, on the line noted in r_mapLine.
    template <class T>
    bool IsFirst(const xmlNode* p_pNode, const char* p_pName, T p_nValue, std::map<T, long>& r_mapLine);

    CFaults& m_faults;
    std::map<unsigned long, long> m_mapLineUnit;
    std::map<unsigned long, long> m_mapLineDatapoint;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
