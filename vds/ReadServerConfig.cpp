#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "vds/CommandLine.h"
#include <algorithm>
#include <boost/asio/ip/address.hpp>
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

/// The address of the configuration is the one that clients use. It is listened on only if it is this machine's own.
std::string ListenAddress(const std::string& p_strListen, const std::string& p_strIPAddr)
{
    if (!p_strListen.empty())
        return p_strListen;
    boost::system::error_code ec;
    const boost::asio::ip::address address = boost::asio::ip::make_address(p_strIPAddr, ec);
    return !ec && address.is_loopback() ? p_strIPAddr : "127.0.0.1";
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
} // namespace

SServerConfig ReadServerConfig(const std::string& p_strPath, const std::string& p_strListen)
{
    Runtime::CXMLConfiguration reader;
    if (reader.Read(p_strPath, "") != 0)
        throw std::runtime_error(reader.Faults().substr(0, reader.Faults().find('\n')));
    const std::unique_ptr<Runtime::CConfiguration, void (*)(Runtime::CConfiguration*)> pConfig(
        Runtime::CConfiguration::CreateInstance(&reader),
        [](Runtime::CConfiguration*) { Runtime::CConfiguration::DeleteInstance(); });
    if (!pConfig)
        throw std::runtime_error("file '" + p_strPath + "': nothing was read");
    SServerConfig config;
    config.strAddr = ListenAddress(p_strListen, pConfig->VDS().IPAddr());
    config.nPortEvent = CheckPort(p_strPath, "Port", pConfig->VDS().Port());
    config.nPortData = CheckPort(p_strPath, "PortApplicationData", pConfig->VDS().PortApplicationData());
    if (config.nPortEvent == config.nPortData)
        throw std::runtime_error("file '" + p_strPath +
                                 "': VDS Port and PortApplicationData: expected two ports, got " +
                                 std::to_string(config.nPortEvent) + " twice");
    TakeApplication(pConfig->GetOMAs(), config);
    return config;
}
