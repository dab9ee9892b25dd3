#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "vds/config/CommandLine.h"
#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <map>
#include <memory>
#include <stdexcept>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
unsigned CheckPort(const std::string& p_strPath, const char* p_pName, unsigned p_nPort)
{
    if (p_nPort == 0 || p_nPort > 65535)
        throw std::runtime_error("file '" + p_strPath + "': VDS " + p_pName +
                                 ": expected a port from 1 to 65535, got " + std::to_string(p_nPort));
    return p_nPort;
}

/// The address in the configuration is the one clients connect to; the server listens on it unless --listen overrides
/// it.
std::string ListenAddress(const std::string& p_strListen, const std::string& p_strIPAddr)
{
    const std::string& strAddr = p_strListen.empty() ? p_strIPAddr : p_strListen;
    return strAddr == "localhost" ? "127.0.0.1" : strAddr;
}

SServerSecurity TakeSecurity(const Runtime::CSecurity& p_security)
{
    return {{p_security.IsOn(), p_security.CAFile(), p_security.CertificateFile(), p_security.KeyFile(),
             p_security.TokenFile()},
            p_security.OperatorTokenFile()};
}

void TakeApplication(const Runtime::OMA::COMAs& p_omas, SServerConfig& r_config)
{
    unsigned nSets = 0;
    for (const Runtime::OMA::COMA& oma : p_omas)
    {
        const bool bJobs = std::any_of(oma.GetJobs().begin(), oma.GetJobs().end(),
                                       [](const Runtime::OMA::CJob& p_job) { return p_job.IsActive(); });
        nSets += oma.IsActive() && bJobs ? 1U : 0U;
        for (const Runtime::OMA::CJob& job : oma.GetJobs())
            r_config.setMeasurement.insert(job.OutputRefId());
    }
    r_config.nReadSets = std::max(nSets, 1U);
}
SStreamConfig TakeStream(const Runtime::CStream& p_stream)
{
    SStreamConfig stream;
    stream.strName = p_stream.Name();
    stream.strHost = p_stream.Host();
    stream.nPort = static_cast<std::uint16_t>(p_stream.Port());
    stream.nUdpPort = static_cast<std::uint16_t>(p_stream.UdpPort());
    stream.eTransport = static_cast<ETransport>(p_stream.Transport());
    stream.nStreamId = static_cast<std::uint16_t>(p_stream.StreamId());
    stream.bRoundToGrid = p_stream.RoundToGrid();
    for (const Runtime::CStreamPhasor& phasor : p_stream)
        stream.vecPhasor.push_back({static_cast<std::uint16_t>(phasor.Pmu()), phasor.Name(), phasor.Datapoint()});
    return stream;
}

/// The highest rate of the data points that streams are mapped to.
std::int32_t RateOfStreams(const Runtime::CSynchrophasors& p_synchrophasors, const Runtime::CDatapoints& p_datapoints)
{
    const auto fnRate_Hz = [](int p_nRate) { return p_nRate < 0 ? -1.0 / p_nRate : p_nRate; };
    int nRate = 0;
    for (const Runtime::CStream& stream : p_synchrophasors.GetStreams())
    {
        for (const Runtime::CStreamPhasor& phasor : stream)
            nRate = std::max(nRate, p_datapoints.GetReportingRate(phasor.Datapoint()),
                             [&](int p_nFirst, int p_nSecond) { return fnRate_Hz(p_nFirst) < fnRate_Hz(p_nSecond); });
    }
    return nRate;
}

SOutputPmu ModePmu(const Runtime::OMA::CJob& p_job, const Runtime::OMA::CPSMode& p_mode)
{
    SOutputPmu pmu{EOutputPmu::eMode,
                   p_mode.Id(),
                   p_job.Name(),
                   p_mode.MinFrequency(),
                   p_mode.MaxFrequency(),
                   p_job.JobMode() == Runtime::eJobActivePower,
                   {}};
    for (int i = 0; i < 4; ++i)
        pmu.vecChannel.push_back({p_mode.Outputs().RefID(static_cast<Runtime::eOMAPhysType>(i)), "", false});
    return pmu;
}

/// For every running job: its actual value, followed by its modes.
std::vector<SOutputPmu> ResultPmus(const Runtime::OMA::COMAs& p_omas)
{
    std::vector<SOutputPmu> vecPmu;
    for (const Runtime::OMA::COMA& oma : p_omas)
    {
        for (const Runtime::OMA::CJob& job : oma.GetJobs())
        {
            if (!oma.IsActive() || !job.IsActive())
                continue;
            vecPmu.push_back({EOutputPmu::eJob,
                              job.Id(),
                              job.Name(),
                              0.0F,
                              0.0F,
                              job.JobMode() == Runtime::eJobActivePower,
                              {{job.OutputRefId(), "", false}}});
            for (const Runtime::OMA::CPSMode& mode : job.PSModes())
                vecPmu.push_back(ModePmu(job, mode));
        }
    }
    return vecPmu;
}

/// Data points that jobs treat as currents.
std::set<unsigned long> Currents(const Runtime::OMA::COMAs& p_omas)
{
    std::set<unsigned long> setCurrent;
    for (const Runtime::OMA::COMA& oma : p_omas)
    {
        for (const Runtime::OMA::CJob& job : oma.GetJobs())
        {
            for (const Runtime::OMA::CInputGroup& group : job.InputGroups())
            {
                for (int i = 0; i < 3 && group.SignalType() == Runtime::eSignalCurrent; ++i)
                    setCurrent.insert(group.RefID(static_cast<Runtime::ePhaseType>(i)));
            }
        }
    }
    return setCurrent;
}

/// All measurement units; the server ignores those that its source does not have.
std::vector<SOutputPmu> UnitPmus(const Runtime::CConfiguration& p_config)
{
    const std::set<unsigned long> setCurrent = Currents(p_config.GetOMAs());
    std::map<unsigned long, SOutputPmu> mapPmu;
    for (const unsigned long nId : p_config.GetDatapoints().Ids())
    {
        const Runtime::CMeasurementUnit* pUnit = p_config.GetDatapoints().Datapoint(nId).MeasurementUnit();
        if (pUnit == nullptr)
            continue;
        SOutputPmu& pmu = mapPmu[pUnit->Id()];
        pmu.eKind = EOutputPmu::eUnit;
        pmu.nElement = pUnit->Id();
        pmu.strName = pUnit->Name();
        pmu.vecChannel.push_back({nId, p_config.GetDatapoints().Name(nId), setCurrent.count(nId) != 0});
    }
    std::vector<SOutputPmu> vecPmu;
    for (auto& [nId, pmu] : mapPmu)
        vecPmu.push_back(std::move(pmu));
    return vecPmu;
}

SOutputStreamConfig TakeOutput(const Runtime::COutputStream& p_output, const Runtime::CConfiguration& p_config)
{
    SOutputStreamConfig output;
    output.strName = p_output.Name();
    output.strListen = p_output.Listen();
    output.nPort = static_cast<std::uint16_t>(p_output.Port());
    output.nUdpPort = static_cast<std::uint16_t>(p_output.UdpPort());
    output.nStreamId = static_cast<std::uint16_t>(p_output.StreamId());
    output.nNominal_Hz = p_output.Nominal();
    output.nRate = p_output.Rate();
    output.bPhasors = p_output.Content() == Runtime::eContentPhasors;
    output.nWait_ms = p_output.WaitInMs();
    output.nUdpExpiry_s = p_output.UdpExpiryInS();
    output.vecPmu = output.bPhasors ? UnitPmus(p_config) : ResultPmus(p_config.GetOMAs());
    return output;
}

SSynchrophasorConfig TakeSynchrophasors(const std::string& p_strPath, const Runtime::CConfiguration& p_config)
{
    const Runtime::CSynchrophasors& tree = p_config.VDS().Synchrophasors();
    SSynchrophasorConfig config;
    config.nRate = tree.Rate() != 0 ? tree.Rate() : RateOfStreams(tree, p_config.GetDatapoints());
    config.nMaxWait_ms = tree.MaxWaitInMs();
    config.nClockQualityLimit = static_cast<std::uint8_t>(tree.ClockQualityLimit());
    config.nUnlockedLimit_s = tree.UnlockedLimitInS();
    for (const Runtime::CStream& stream : tree.GetStreams())
        config.vecStream.push_back(TakeStream(stream));
    for (const Runtime::COutputStream& output : tree.GetOutputs())
        config.vecOutput.push_back(TakeOutput(output, p_config));
    if (!config.vecStream.empty() && (config.nRate == 0 || config.nRate > 3600 || config.nRate < -3600))
        throw std::runtime_error("file '" + p_strPath +
                                 "': Synchrophasors: expected Rate, or a ReportingRate of at most 3600 for the data "
                                 "points that the streams are mapped to");
    return config;
}

using TConfigPtr = std::unique_ptr<Runtime::CConfiguration, void (*)(Runtime::CConfiguration*)>;

TConfigPtr ReadFile(const std::string& p_strPath)
{
    Runtime::CXMLConfiguration reader;
    if (reader.Read(p_strPath, "") != 0)
        throw std::runtime_error(reader.Faults().substr(0, reader.Faults().find('\n')));
    TConfigPtr pConfig(Runtime::CConfiguration::CreateInstance(&reader),
                       [](Runtime::CConfiguration*) { Runtime::CConfiguration::DeleteInstance(); });
    if (!pConfig)
        throw std::runtime_error("file '" + p_strPath + "': the configuration is empty");
    return pConfig;
}
} // namespace

Norvik::Energy::Kestrel::Link::SLinkSecurity ReadClientSecurity(const std::string& p_strPath)
{
    const TConfigPtr pConfig = ReadFile(p_strPath);
    const Runtime::CSecurity& security = pConfig->VDS().Security();
    return {security.IsOn(), security.CAFile(), security.ClientCertificateFile(), security.ClientKeyFile(),
            security.OperatorTokenFile().empty() ? security.TokenFile() : security.OperatorTokenFile()};
}

SServerConfig ReadServerConfig(const std::string& p_strPath, const std::string& p_strListen)
{
    const TConfigPtr pConfig = ReadFile(p_strPath);
    SServerConfig config;
    config.strAddr = ListenAddress(p_strListen, pConfig->VDS().IPAddr());
    config.nPortEvent = CheckPort(p_strPath, "Port", pConfig->VDS().Port());
    config.nPortData = CheckPort(p_strPath, "PortApplicationData", pConfig->VDS().PortApplicationData());
    if (config.nPortEvent == config.nPortData)
        throw std::runtime_error("file '" + p_strPath +
                                 "': VDS Port and PortApplicationData: expected two different ports, got " +
                                 std::to_string(config.nPortEvent) + " twice");
    config.security = TakeSecurity(pConfig->VDS().Security());
    TakeApplication(pConfig->GetOMAs(), config);
    config.synchrophasors = TakeSynchrophasors(p_strPath, *pConfig);
    return config;
}
