#pragma once
#include "CConfiguration.h"
#include "CFaults.h"
#include "XmlPtr.h"
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Builds the tree from a file that has passed its schema. Checks what a schema cannot express: duplicate ids and
/// numbers beyond single precision.
class CConfigBuilder
{
  public:
    /// @param p_pathFolder folder of the file: other file names are relative to it.
    CConfigBuilder(CFaults& r_faults, std::filesystem::path p_pathFolder)
        : m_faults(r_faults), m_pathFolder(std::move(p_pathFolder))
    {
    }
    std::unique_ptr<CConfiguration> Build(const xmlNode* p_pRoot);

  private:
    using Names = std::span<const std::pair<std::string_view, int>>;

    void BuildVDS(const xmlNode* p_pNode, CVDS& r_vds);
    std::string Expanded(const xmlNode* p_pNode, const char* p_pAttribute, std::string p_strName);
    void BuildSecurity(const xmlNode* p_pNode, CSecurity& r_security);
    void BuildSynchrophasors(const xmlNode* p_pNode, CSynchrophasors& r_synchrophasors);
    void BuildStream(const xmlNode* p_pNode, CStream& r_stream);
    void CheckStream(const xmlNode* p_pNode, const CStream& p_stream);
    void BuildStreamPhasor(const xmlNode* p_pNode, CStreamPhasor& r_phasor);
    void BuildOutputStream(const xmlNode* p_pNode, COutputStream& r_output);
    /// The streams refer to elements that come later in the file, so their references are checked at the end.
    void CheckStreamPhasors(const CDatapoints& p_datapoints);
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
    /// @param p_mapLine the quantities that are present.
    void CheckOutputs(const xmlNode* p_pOutputs, const std::map<int, long>& p_mapLine);
    void BuildInputGroup(const xmlNode* p_pNode, OMA::CInputGroup& r_group);
    // ---- the window ----
    void BuildView(const xmlNode* p_pNode, CView& r_view);
    void BuildReceiver(const xmlNode* p_pNode, CReceiverConfig& r_receiver);
    void TakeFile(const xmlNode* p_pNode, const char* p_pName, std::string& r_strFile) const;
    void BuildNTM(const xmlNode* p_pNode, NTM::CNTM& r_ntm);

    static void SetPlace(const xmlNode* p_pNode, CFilePlace& r_place);
    // ---- attribute values ----
    template <class T>
    T Number(const xmlNode* p_pNode, const char* p_pName);
    /// r_value is unchanged if the attribute is missing.
    template <class T>
    void Optional(const xmlNode* p_pNode, const char* p_pName, T& r_value);
    bool Flag(const xmlNode* p_pNode, const char* p_pName) const;
    int Named(const xmlNode* p_pNode, const char* p_pName, Names p_names);
    /// Adds a fault if the value p_nValue of this attribute occurred before, on the line recorded in r_mapLine.
    template <class T>
    bool IsFirst(const xmlNode* p_pNode, const char* p_pName, T p_nValue, std::map<T, long>& r_mapLine);

    CFaults& m_faults;
    const std::filesystem::path m_pathFolder;
    std::map<unsigned long, long> m_mapLineUnit;
    std::map<unsigned long, long> m_mapLineDatapoint;
    std::map<std::string, long> m_mapLineStream;
    std::map<unsigned long, long> m_mapLineMapped; ///< data point -> line of the phasor mapped to it
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
