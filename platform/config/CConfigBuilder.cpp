#include "CConfigBuilder.h"
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
using Name = std::pair<std::string_view, int>;
constexpr Name g_vecJobMode[] = {{"active-power", 0}, {"vpad", 1}};
constexpr Name g_vecInputMode[] = {{"maximum", 0}, {"minimum", 1}, {"divisor", 2}};
constexpr Name g_vecSignalType[] = {{"voltage", 0}, {"current", 1}, {"invalid", 2}};
constexpr Name g_vecPSEventType[] = {{"critical", 0}, {"distinct", 1}, {"notified", 2}};
constexpr Name g_vecTransport[] = {{"tcp", 0}, {"udp", 1}, {"tcp-udp", 2}, {"spontaneous", 3}};
constexpr Name g_vecContent[] = {{"results", 0}, {"phasors", 1}};
constexpr Name g_vecUnlocked[] = {{"any", -1}};
constexpr unsigned g_nUdpPort = 4713; ///< registered port for commands over UDP
constexpr Name g_vecPhysType[] = {{"frequency", 0}, {"magnitude", 1}, {"damping-ratio", 2}, {"degree-of-exposure", 3}};

/// Calls p_fnDo for each child element of p_pNode, in file order.
template <class TDo>
void ForEachElement(const xmlNode* p_pNode, TDo&& p_fnDo)
{
    for (const xmlNode* pChild = p_pNode->children; pChild; pChild = pChild->next)
    {
        if (pChild->type == XML_ELEMENT_NODE)
            p_fnDo(pChild);
    }
}

std::string_view Trimmed(std::string_view p_strText)
{
    constexpr std::string_view strBlanks = " \t\r\n";
    const std::size_t nBegin = p_strText.find_first_not_of(strBlanks);
    if (nBegin == std::string_view::npos)
        return {};
    return p_strText.substr(nBegin, p_strText.find_last_not_of(strBlanks) - nBegin + 1);
}

/// @return false for a text that is not a number of this type.
template <class T>
bool ToNumber(std::string_view p_strText, T& r_value)
{
    p_strText = Trimmed(p_strText);
    if (p_strText.starts_with('+'))
        p_strText.remove_prefix(1);
    const char* pEnd = p_strText.data() + p_strText.size();
    const auto result = std::from_chars(p_strText.data(), pEnd, r_value);
    return result.ec == std::errc() && result.ptr == pEnd;
}

long LineOf(const xmlNode* p_pNode)
{
    return xmlGetLineNo(const_cast<xmlNode*>(p_pNode));
}
} // namespace

template <class T>
T CConfigBuilder::Number(const xmlNode* p_pNode, const char* p_pName)
{
    T value{};
    bool bFound = false;
    const std::string strValue = AttributeOf(p_pNode, p_pName, &bFound);
    if (bFound && !ToNumber(strValue, value))
        m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), p_pName,
                     CFaults::Quoted(strValue) + " is out of range, expected a number of single precision");
    return value;
}

template <class T>
void CConfigBuilder::Optional(const xmlNode* p_pNode, const char* p_pName, T& r_value)
{
    if (xmlHasProp(p_pNode, XmlText(p_pName)))
        r_value = Number<T>(p_pNode, p_pName);
}

bool CConfigBuilder::Flag(const xmlNode* p_pNode, const char* p_pName) const
{
    const std::string strValue = AttributeOf(p_pNode, p_pName);
    return Trimmed(strValue) == "true" || Trimmed(strValue) == "1";
}

int CConfigBuilder::Named(const xmlNode* p_pNode, const char* p_pName, Names p_names)
{
    const std::string strValue = AttributeOf(p_pNode, p_pName);
    for (const auto& [strName, nValue] : p_names)
    {
        if (Trimmed(strValue) == strName)
            return nValue;
    }
    return Number<int>(p_pNode, p_pName);
}

template <class T>
bool CConfigBuilder::IsFirst(const xmlNode* p_pNode, const char* p_pName, T p_nValue, std::map<T, long>& r_mapLine)
{
    const auto [itLine, bNew] = r_mapLine.emplace(p_nValue, LineOf(p_pNode));
    if (!bNew)
        m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), p_pName,
                     CFaults::Quoted(AttributeOf(p_pNode, p_pName)) + " is used on line " +
                         std::to_string(itLine->second) + " already, expected only once");
    return bNew;
}

void CConfigBuilder::SetPlace(const xmlNode* p_pNode, CFilePlace& r_place)
{
    r_place.m_nLine = LineOf(p_pNode);
}

std::unique_ptr<CConfiguration> CConfigBuilder::Build(const xmlNode* p_pRoot)
{
    auto pTree = std::make_unique<CConfiguration>();
    ForEachElement(
        p_pRoot,
        [&](const xmlNode* p_pNode)
        {
            if (IsElement(p_pNode, "VDS"))
                BuildVDS(p_pNode, pTree->m_vds);
            else if (IsElement(p_pNode, "Datapoints"))
                BuildDatapoints(p_pNode, pTree->m_datapoints);
            else if (IsElement(p_pNode, "OMAs"))
            {
                SetPlace(p_pNode, pTree->m_omas);
                pTree->m_omas.m_strName = AttributeOf(p_pNode, "Name");
                pTree->m_omas.m_nId = Number<std::uint32_t>(p_pNode, "Id");
                ForEachElement(p_pNode, [&](const xmlNode* p_pOMA) { BuildOMA(p_pOMA, pTree->m_omas.emplace_back()); });
            }
            else if (IsElement(p_pNode, "View"))
                BuildView(p_pNode, pTree->m_view);
            else
                ForEachElement(p_pNode, [&](const xmlNode* p_pNTM) { BuildNTM(p_pNTM, pTree->m_ntms.emplace_back()); });
        });
    CheckStreamPhasors(pTree->m_datapoints);
    return pTree;
}

void CConfigBuilder::BuildVDS(const xmlNode* p_pNode, CVDS& r_vds)
{
    SetPlace(p_pNode, r_vds);
    r_vds.m_strIPAddr = Trimmed(AttributeOf(p_pNode, "IPAddr"));
    r_vds.m_nPort = Number<unsigned>(p_pNode, "Port");
    r_vds.m_nPortApplicationData = Number<unsigned>(p_pNode, "PortApplicationData");
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pChild)
                   {
                       if (IsElement(p_pChild, "Security"))
                           BuildSecurity(p_pChild, r_vds.m_security);
                       else
                           BuildSynchrophasors(p_pChild, r_vds.m_synchrophasors);
                   });
}

void CConfigBuilder::BuildSecurity(const xmlNode* p_pNode, CSecurity& r_security)
{
    r_security.m_bOn = true;
    const auto fnTake = [&](const char* p_pName, std::string& r_strFile)
    {
        const std::string strName(Trimmed(AttributeOf(p_pNode, p_pName)));
        if (!strName.empty())
            r_strFile = (m_pathFolder / Expanded(p_pNode, p_pName, strName)).string();
    };
    fnTake("CAFile", r_security.m_strCAFile);
    fnTake("CertificateFile", r_security.m_strCertificateFile);
    fnTake("KeyFile", r_security.m_strKeyFile);
    fnTake("ClientCertificateFile", r_security.m_strClientCertificateFile);
    fnTake("ClientKeyFile", r_security.m_strClientKeyFile);
    fnTake("TokenFile", r_security.m_strTokenFile);
    fnTake("OperatorTokenFile", r_security.m_strOperatorTokenFile);
    const auto fnPair = [&](const char* p_pCertificate, const std::string& p_strCertificate, const char* p_pKey,
                            const std::string& p_strKey)
    {
        if (p_strCertificate.empty() != p_strKey.empty())
            m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), p_strKey.empty() ? p_pKey : p_pCertificate,
                         "missing, expected the private key and its certificate together");
    };
    fnPair("CertificateFile", r_security.m_strCertificateFile, "KeyFile", r_security.m_strKeyFile);
    fnPair("ClientCertificateFile", r_security.m_strClientCertificateFile, "ClientKeyFile",
           r_security.m_strClientKeyFile);
}

/// The file name with ${CREDENTIALS_DIRECTORY} replaced by the folder of the service's credentials. No other variable
/// is supported.
std::string CConfigBuilder::Expanded(const xmlNode* p_pNode, const char* p_pAttribute, std::string p_strName)
{
    constexpr std::string_view strVariable = "${CREDENTIALS_DIRECTORY}";
    const char* const pFolder = std::getenv("CREDENTIALS_DIRECTORY");
    for (std::size_t n = p_strName.find("${"); n != std::string::npos; n = p_strName.find("${", n))
    {
        const bool bKnown = p_strName.compare(n, strVariable.size(), strVariable) == 0;
        if (!bKnown || !pFolder || *pFolder == '\0')
        {
            m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), p_pAttribute,
                         bKnown ? "the variable CREDENTIALS_DIRECTORY is not set: expected a service with "
                                  "LoadCredential=, or the folder of the files in the environment"
                                : CFaults::Quoted(p_strName) + ": expected no variable other than " +
                                      std::string(strVariable));
            return p_strName;
        }
        p_strName.replace(n, strVariable.size(), pFolder);
        n += std::strlen(pFolder);
    }
    return p_strName;
}

void CConfigBuilder::BuildSynchrophasors(const xmlNode* p_pNode, CSynchrophasors& r_synchrophasors)
{
    Optional(p_pNode, "Rate", r_synchrophasors.m_nRate);
    Optional(p_pNode, "MaxWaitInMs", r_synchrophasors.m_nMaxWait_ms);
    Optional(p_pNode, "ClockQualityLimit", r_synchrophasors.m_nClockQualityLimit);
    if (xmlHasProp(p_pNode, XmlText("UnlockedLimitInS")))
        r_synchrophasors.m_nUnlockedLimit_s = Named(p_pNode, "UnlockedLimitInS", g_vecUnlocked);
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pChild)
                   {
                       if (IsElement(p_pChild, "Stream"))
                           BuildStream(p_pChild, r_synchrophasors.m_vecStream.emplace_back());
                       else
                           BuildOutputStream(p_pChild, r_synchrophasors.m_vecOutput.emplace_back());
                   });
}

void CConfigBuilder::BuildStream(const xmlNode* p_pNode, CStream& r_stream)
{
    SetPlace(p_pNode, r_stream);
    r_stream.m_strName = AttributeOf(p_pNode, "Name");
    IsFirst(p_pNode, "Name", r_stream.m_strName, m_mapLineStream);
    r_stream.m_strHost = Trimmed(AttributeOf(p_pNode, "Host"));
    if (xmlHasProp(p_pNode, XmlText("Transport")))
        r_stream.m_eTransport = static_cast<eTransport>(Named(p_pNode, "Transport", g_vecTransport));
    Optional(p_pNode, "Port", r_stream.m_nPort);
    r_stream.m_nUdpPort = r_stream.m_eTransport == eTransportUdp ? g_nUdpPort : 0;
    Optional(p_pNode, "UdpPort", r_stream.m_nUdpPort);
    r_stream.m_nStreamId = Number<unsigned>(p_pNode, "StreamId");
    r_stream.m_bRoundToGrid = Flag(p_pNode, "RoundToGrid");
    ForEachElement(p_pNode, [&](const xmlNode* p_pPhasor) { BuildStreamPhasor(p_pPhasor, r_stream.emplace_back()); });
    CheckStream(p_pNode, r_stream);
}

/// Each transport requires different attributes.
void CConfigBuilder::CheckStream(const xmlNode* p_pNode, const CStream& p_stream)
{
    const bool bOwnPort = p_stream.m_eTransport == eTransportTcpUdp || p_stream.m_eTransport == eTransportSpontaneous;
    if (p_stream.m_strHost.empty() && p_stream.m_eTransport != eTransportSpontaneous)
        m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), "Host", "missing, expected the address of the device");
    if (p_stream.m_nUdpPort == 0 && bOwnPort)
        m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), "UdpPort",
                     "missing, expected the local port that receives the data");
}

void CConfigBuilder::BuildStreamPhasor(const xmlNode* p_pNode, CStreamPhasor& r_phasor)
{
    Optional(p_pNode, "Pmu", r_phasor.m_nPmu);
    r_phasor.m_strName = Trimmed(AttributeOf(p_pNode, "Name"));
    r_phasor.m_nDatapoint = Number<std::uint32_t>(p_pNode, "Datapoint");
    IsFirst(p_pNode, "Datapoint", r_phasor.m_nDatapoint, m_mapLineMapped);
}

void CConfigBuilder::BuildOutputStream(const xmlNode* p_pNode, COutputStream& r_output)
{
    SetPlace(p_pNode, r_output);
    r_output.m_strName = AttributeOf(p_pNode, "Name");
    IsFirst(p_pNode, "Name", r_output.m_strName, m_mapLineStream);
    Optional(p_pNode, "Port", r_output.m_nPort);
    Optional(p_pNode, "UdpPort", r_output.m_nUdpPort);
    Optional(p_pNode, "StreamId", r_output.m_nStreamId);
    Optional(p_pNode, "Nominal", r_output.m_nNominal_Hz);
    Optional(p_pNode, "Rate", r_output.m_nRate);
    Optional(p_pNode, "WaitInMs", r_output.m_nWait_ms);
    Optional(p_pNode, "UdpExpiryInS", r_output.m_nUdpExpiry_s);
    if (xmlHasProp(p_pNode, XmlText("Content")))
        r_output.m_eContent = static_cast<eOutputContent>(Named(p_pNode, "Content", g_vecContent));
    if (xmlHasProp(p_pNode, XmlText("Listen")))
        r_output.m_strListen = Trimmed(AttributeOf(p_pNode, "Listen"));
    if (r_output.m_nPort == 0 && r_output.m_nUdpPort == 0)
        m_faults.Add(LineOf(p_pNode), NameOf(p_pNode), "Port", "missing, expected Port or UdpPort or both");
}

void CConfigBuilder::CheckStreamPhasors(const CDatapoints& p_datapoints)
{
    for (const auto& [nId, nLine] : m_mapLineMapped)
    {
        if (p_datapoints.Datapoint(nId).MeasurementUnit() == nullptr)
            m_faults.Add(nLine, "Phasor", "Datapoint",
                         CFaults::Quoted(std::to_string(nId)) + " is not a data point of a MeasurementUnit");
    }
}

void CConfigBuilder::BuildDatapoints(const xmlNode* p_pNode, CDatapoints& r_datapoints)
{
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pChild)
                   {
                       if (IsElement(p_pChild, "MeasurementUnit"))
                           BuildUnit(p_pChild, r_datapoints);
                       else
                           BuildDatapoint(p_pChild, nullptr, 0, r_datapoints);
                   });
}

void CConfigBuilder::BuildUnit(const xmlNode* p_pNode, CDatapoints& r_datapoints)
{
    auto pUnit = std::make_unique<CMeasurementUnit>();
    pUnit->m_nId = Number<std::uint32_t>(p_pNode, "Id");
    pUnit->m_strName = AttributeOf(p_pNode, "Name");
    if (!IsFirst(p_pNode, "Id", pUnit->m_nId, m_mapLineUnit))
        return;
    const int nRate = Number<int>(p_pNode, "ReportingRate");
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pChild) { BuildDatapoint(p_pChild, pUnit.get(), nRate, r_datapoints); });
    const unsigned long nId = pUnit->m_nId;
    r_datapoints.m_mapUnit.emplace(nId, std::move(pUnit));
}

void CConfigBuilder::BuildDatapoint(const xmlNode* p_pNode, const CMeasurementUnit* p_pUnit, int p_nRateUnit,
                                    CDatapoints& r_datapoints)
{
    const unsigned long nId = Number<std::uint32_t>(p_pNode, "Id");
    if (!IsFirst(p_pNode, "Id", nId, m_mapLineDatapoint))
        return;
    bool bOwnRate = false;
    AttributeOf(p_pNode, "ReportingRate", &bOwnRate);
    CLimitedDataObject& datapoint = r_datapoints.m_mapDatapoint[nId];
    datapoint.m_pUnit = p_pUnit;
    datapoint.m_strName = AttributeOf(p_pNode, "Name");
    datapoint.m_nReportingRate = bOwnRate ? Number<int>(p_pNode, "ReportingRate") : p_nRateUnit;
}

void CConfigBuilder::BuildOMA(const xmlNode* p_pNode, OMA::COMA& r_oma)
{
    SetPlace(p_pNode, r_oma);
    r_oma.m_strName = AttributeOf(p_pNode, "Name");
    r_oma.m_nId = Number<std::uint32_t>(p_pNode, "Id");
    r_oma.m_bActive = Flag(p_pNode, "IsActive");
    r_oma.m_eInputMode = static_cast<eDLIInputMode>(Named(p_pNode, "InputMode", g_vecInputMode));
    r_oma.m_nTimeout_ms = Number<std::uint32_t>(p_pNode, "TimeoutInMs");
    r_oma.m_bEnabledNTM = Flag(p_pNode, "IsEnabledNTM");
    ForEachElement(
        p_pNode, [&](const xmlNode* p_pJobs)
        { ForEachElement(p_pJobs, [&](const xmlNode* p_pJob) { BuildJob(p_pJob, r_oma.m_jobs.emplace_back()); }); });
}

void CConfigBuilder::BuildJob(const xmlNode* p_pNode, OMA::CJob& r_job)
{
    SetPlace(p_pNode, r_job);
    r_job.m_strName = AttributeOf(p_pNode, "Name");
    r_job.m_nId = Number<std::uint32_t>(p_pNode, "Id");
    r_job.m_bActive = Flag(p_pNode, "IsActive");
    r_job.m_eMode = static_cast<eOMAJobMode>(Named(p_pNode, "JobMode", g_vecJobMode));
    r_job.m_nOutputRefId = Number<std::uint32_t>(p_pNode, "OutputRefId");
    r_job.m_bUsingNTM = Flag(p_pNode, "IsUsingNTM");
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pChild)
                   {
                       if (IsElement(p_pChild, "PSEvents"))
                           BuildEvents(p_pChild, r_job.m_events);
                       else if (IsElement(p_pChild, "SpectralDataSets"))
                           BuildSpectral(p_pChild, r_job.m_spectral);
                       else if (IsElement(p_pChild, "PSModes"))
                       {
                           SetPlace(p_pChild, r_job.m_modes);
                           r_job.m_modes.m_nSamples = Number<unsigned>(p_pChild, "NoOfSamples");
                           r_job.m_modes.m_nReportingRate = Number<int>(p_pChild, "ReportingRate");
                           ForEachElement(p_pChild, [&](const xmlNode* p_pMode)
                                          { BuildMode(p_pMode, r_job.m_modes.emplace_back()); });
                       }
                       else if (IsElement(p_pChild, "InputGroups"))
                           ForEachElement(p_pChild, [&](const xmlNode* p_pGroup)
                                          { BuildInputGroup(p_pGroup, r_job.m_inputs.emplace_back()); });
                       else
                           BuildLimits(p_pChild, r_job);
                   });
}

void CConfigBuilder::BuildLimits(const xmlNode* p_pNode, OMA::CJob& r_job)
{
    if (IsElement(p_pNode, "PSMagnitude"))
    {
        SetPlace(p_pNode, r_job.m_magnitude);
        r_job.m_magnitude.m_fNominal = Number<float>(p_pNode, "Nominal");
        r_job.m_magnitude.m_warning = CLimit(Number<float>(p_pNode, "PSMagnitudeWarning"));
        r_job.m_magnitude.m_alarm = CLimit(Number<float>(p_pNode, "PSMagnitudeAlarm"));
    }
    else
    {
        SetPlace(p_pNode, r_job.m_damping);
        r_job.m_damping.m_warning = CLimit(Number<float>(p_pNode, "PSDampingRatioWarning"));
        r_job.m_damping.m_alarm = CLimit(Number<float>(p_pNode, "PSDampingRatioAlarm"));
    }
}

void CConfigBuilder::BuildEvents(const xmlNode* p_pNode, OMA::CPSEvents& r_events)
{
    SetPlace(p_pNode, r_events);
    std::map<int, long> mapLine;
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pEvent)
                   {
                       const int eType = Named(p_pEvent, "Type", g_vecPSEventType);
                       if (IsFirst(p_pEvent, "Type", eType, mapLine) && eType >= 0 && eType < 3)
                           r_events.m_vecbActive[eType] = Flag(p_pEvent, "IsActive");
                   });
}

void CConfigBuilder::BuildSpectral(const xmlNode* p_pNode, OMA::CSpectralDataSets& r_sets)
{
    SetPlace(p_pNode, r_sets);
    r_sets.m_nSamples = Number<unsigned>(p_pNode, "NoOfSamples");
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pSet)
                   {
                       OMA::CSpectralDataSet& set = r_sets.emplace_back();
                       SetPlace(p_pSet, set);
                       set.m_nMultiplier = Number<int>(p_pSet, "SamplesMultiplier");
                       set.m_fLower_Hz = Number<float>(p_pSet, "LowerCutOffFrequency");
                       set.m_fUpper_Hz = Number<float>(p_pSet, "UpperCutOffFrequency");
                   });
}

void CConfigBuilder::BuildMode(const xmlNode* p_pNode, OMA::CPSMode& r_mode)
{
    SetPlace(p_pNode, r_mode);
    r_mode.m_nId = Number<std::uint32_t>(p_pNode, "Id");
    r_mode.m_fMin_Hz = Number<float>(p_pNode, "MinFrequency");
    r_mode.m_fMax_Hz = Number<float>(p_pNode, "MaxFrequency");
    std::map<int, long> mapLine;
    const auto fnOutput = [&](const xmlNode* p_pOutput)
    {
        const int eType = Named(p_pOutput, "PhysType", g_vecPhysType);
        if (IsFirst(p_pOutput, "PhysType", eType, mapLine) && eType >= 0 && eType < 4)
            r_mode.m_outputs.m_vecnRefId[eType] = Number<std::uint32_t>(p_pOutput, "RefID");
    };
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pOutputs)
                   {
                       ForEachElement(p_pOutputs, fnOutput);
                       CheckOutputs(p_pOutputs, mapLine);
                   });
}

void CConfigBuilder::CheckOutputs(const xmlNode* p_pOutputs, const std::map<int, long>& p_mapLine)
{
    std::size_t nOutputs = 0;
    ForEachElement(p_pOutputs, [&](const xmlNode*) { ++nOutputs; });
    if (nOutputs > p_mapLine.size())
        return; // a duplicate in place of a missing one has already been reported
    std::string strMissing;
    for (const auto& [strName, eType] : g_vecPhysType)
        if (!p_mapLine.contains(eType))
            strMissing += (strMissing.empty() ? "" : ", ") + std::string(strName);
    if (!strMissing.empty())
        m_faults.Add(LineOf(p_pOutputs), NameOf(p_pOutputs), {},
                     "missing Output of PhysType " + strMissing + ", expected each of the four once");
}

void CConfigBuilder::BuildInputGroup(const xmlNode* p_pNode, OMA::CInputGroup& r_group)
{
    SetPlace(p_pNode, r_group);
    r_group.m_eSignal = static_cast<esignalType>(Named(p_pNode, "SignalType", g_vecSignalType));
    std::map<int, long> mapLine;
    ForEachElement(p_pNode,
                   [&](const xmlNode* p_pInput)
                   {
                       const int ePhase = Number<int>(p_pInput, "PhaseType");
                       if (IsFirst(p_pInput, "PhaseType", ePhase, mapLine) && ePhase >= 0 && ePhase < 3)
                           r_group.m_vecnRefId[ePhase] = Number<std::uint32_t>(p_pInput, "RefID");
                   });
}

void CConfigBuilder::BuildNTM(const xmlNode* p_pNode, NTM::CNTM& r_ntm)
{
    r_ntm.m_bActive = Flag(p_pNode, "IsActive");
    const auto fnInput = [](CConfigBuilder& r_builder, const xmlNode* p_pInput, NTM::CJob& r_job)
    { r_job.m_inputs.emplace_back().m_nRefId = r_builder.Number<std::uint32_t>(p_pInput, "RefId"); };
    const auto fnJob = [&](const xmlNode* p_pJob)
    {
        NTM::CJob& job = r_ntm.m_jobs.emplace_back();
        job.m_strName = AttributeOf(p_pJob, "Name");
        job.m_bActive = Flag(p_pJob, "IsActive");
        ForEachElement(p_pJob, [&](const xmlNode* p_pInputs)
                       { ForEachElement(p_pInputs, [&](const xmlNode* p_pInput) { fnInput(*this, p_pInput, job); }); });
    };
    ForEachElement(p_pNode, [&](const xmlNode* p_pJobs) { ForEachElement(p_pJobs, fnJob); });
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
