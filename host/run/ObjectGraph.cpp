#include "host/run/ObjectGraph.h"
#include "host/base/ApplicationControl.h"
#include "host/run/ObjectGraphSteps.h"
#include "link/dli/EDli.h"
#include "link/dli/Elements.h"
#include "link/dli/Security.h"
#include "link/post/CEventWriteOMA.h"
#include "link/post/SuspensionPost.h"
#include <exception>

using namespace Norvik::Energy::Kestrel::VDS::Runtime;
using Norvik::Energy::Kestrel::eElemOMA;

std::string g_strVdsIp;
unsigned g_nVdsPort = 0;
unsigned g_nVdsPortData = 0;
unsigned long g_hSockEvent = 0;
unsigned long g_hSockData = 0;
unsigned long g_nOmaElemId = 0;

namespace
{
constexpr std::string_view g_strBase = "CreateBaseOMA";
constexpr std::string_view g_strData = "CreateDataOMA";

bool Refuse(std::string_view p_strMethod, const std::string& p_strText)
{
    SuspendApp(p_strMethod, p_strText);
    return false;
}

/// Reads the file and builds the configuration tree. On failure both are freed.
bool ReadConfig(const std::string& p_strConfigFile, CTraceOMA* p_pTrace, std::unique_ptr<CXMLConfiguration>* p_ppXml,
                CConfiguration** p_ppConfig)
{
    *p_ppXml = std::make_unique<CXMLConfiguration>();
    if (p_pTrace)
        p_pTrace->TraceInfo(g_strBase, "Start Reading Config.File", true);
    if ((*p_ppXml)->Read(p_strConfigFile, "") != 0)
    {
        p_ppXml->reset();
        return Refuse(g_strBase, "Cannot read KESTREL config.file");
    }
    if (p_pTrace)
        p_pTrace->TraceInfo(g_strBase, "Config.File Read Done.", true);
    *p_ppConfig = CConfiguration::CreateInstance(p_ppXml->get());
    if (!*p_ppConfig)
    {
        p_ppXml->reset();
        return Refuse(g_strBase, "Cannot create #pConfig# instance!");
    }
    return true;
}

/// Opens a connection to g_strVdsIp. @param p_strNoHandle, p_strThrown error texts of the two failures. r_bThrown tells
/// the caller which one occurred, because each requires a different cleanup.
bool Connect(const std::string& p_strName, unsigned p_nPort, const std::string& p_strNoHandle,
             const std::string& p_strThrown, unsigned long* p_phSock, std::string& r_strFault, bool& r_bThrown)
{
    try
    {
        *p_phSock = Init(eElemOMA, p_strName, g_strVdsIp, p_nPort);
        r_strFault = *p_phSock == 0 ? p_strNoHandle : "";
    }
    catch (const std::exception& error)
    {
        r_bThrown = true;
        r_strFault = p_strThrown + error.what();
    }
    return r_strFault.empty();
}

/// What has to be freed when a connection cannot be made.
struct SBase
{
    std::unique_ptr<CXMLConfiguration>* ppXml;
    CConfiguration** ppConfig;

    bool FailWithoutHandle(const std::string& p_strText) const
    {
        CConfiguration::DeleteInstance();
        *ppConfig = nullptr;
        return Fail(p_strText);
    }
    bool Fail(const std::string& p_strText) const
    {
        ppXml->reset();
        return Refuse(g_strBase, p_strText);
    }
};

/// Element ids of the application, its instances, jobs and modes.
std::vector<unsigned long> ElementsOf(const OMA::COMAs& p_omas)
{
    std::vector<unsigned long> vecnId = {p_omas.Id()};
    for (const OMA::COMA& oma : p_omas)
    {
        vecnId.push_back(oma.Id());
        for (const OMA::CJob& job : oma.GetJobs())
        {
            vecnId.push_back(job.Id());
            for (const OMA::CPSMode& mode : job.PSModes())
                vecnId.push_back(mode.Id());
        }
    }
    return vecnId;
}

/// First connection: events in both directions, incoming phasors. Reused if address and port are unchanged.
bool ConnectEvent(const SBase& p_base, unsigned long* p_phSockEvent)
{
    const CConfiguration* const pConfig = *p_base.ppConfig;
    if (!pConfig)
        return p_base.Fail("Invalid #pConfig# pointer");
    const CVDS& vds = pConfig->VDS();
    const CSecurity& security = vds.Security();
    SetSecurity({security.IsOn(), security.CAFile(), security.ClientCertificateFile(), security.ClientKeyFile(),
                 security.TokenFile()});
    SetElements(ElementsOf(pConfig->GetOMAs()));
    if (vds.IPAddr() == g_strVdsIp && vds.Port() == g_nVdsPort)
        return true;
    g_strVdsIp = vds.IPAddr();
    g_nVdsPort = vds.Port();
    std::string strFault;
    bool bThrown = false;
    if (Connect(
            "OMA_1st_Socket", g_nVdsPort, "No VDS server socket handle available for event handling and reading data",
            "DLI Init() for event handling and reading data returning with error: ", p_phSockEvent, strFault, bThrown))
        return true;
    return bThrown ? p_base.Fail(strFault) : p_base.FailWithoutHandle(strFault);
}

/// Second connection: output channels. ConnectEvent has already updated the stored address, so only a changed port
/// leads to a new connection. Intended: a new address alone keeps the connection.
bool ConnectData(const SBase& p_base, unsigned long* p_phSockData)
{
    const CConfiguration* const pConfig = *p_base.ppConfig;
    if (!pConfig)
    {
        g_pEventWrite.reset();
        return p_base.Fail("Invalid #pConfig# pointer");
    }
    const CVDS& vds = pConfig->VDS();
    if (vds.IPAddr() == g_strVdsIp && vds.PortApplicationData() == g_nVdsPortData)
        return true;
    g_strVdsIp = vds.IPAddr();
    g_nVdsPortData = vds.PortApplicationData();
    std::string strFault;
    bool bThrown = false;
    if (Connect("OMA_2nd_Socket", g_nVdsPortData, "No VDS server socket handle available for writing DLI chan.data",
                "DLI Init() for writing data returning with error: ", p_phSockData, strFault, bThrown))
        return true;
    g_pEventWrite.reset();
    return bThrown ? p_base.Fail(strFault) : p_base.FailWithoutHandle(strFault);
}

bool CreateEventWriter(const SBase& p_base, unsigned long p_hSockEvent, CTraceOMA* p_pTrace)
{
    try
    {
        g_pEventWrite = std::make_unique<CEventWriteOMA>(p_hSockEvent, p_pTrace);
    }
    catch (const std::exception& error)
    {
        g_pEventWrite.reset();
        return p_base.Fail(error.what());
    }
    return true;
}

/// Builds one instance with all its parts; null after SuspendApp. On failure everything is freed in reverse order: jobs
/// before the instance, because they use its PMUs.
std::unique_ptr<CVdsOMA> CreateInstanceOMA(CReadFileMeas* p_pReadFile, const CConfiguration* p_pConfig,
                                           const OMA::COMA& p_oma, unsigned long p_hSockEvent,
                                           unsigned long p_hSockData, CTraceOMA* p_pTrace)
{
    if (!CheckInstanceName(p_oma))
        return nullptr;
    auto pOMA =
        std::make_unique<CVdsOMA>(p_hSockEvent, p_hSockData, static_cast<std::uint32_t>(p_oma.Id()), p_oma.IsActive(),
                                  p_oma.InputMode(), static_cast<std::uint32_t>(p_oma.TimeoutInMs()),
                                  p_oma.IsEnabledNTM(), std::make_unique<CTraceOMA>(p_oma.Name()));
    if (!CheckInstanceJobs(p_oma))
        return nullptr;
    std::unique_ptr<CVdsOMA::VecJob> pvecpJob;
    if (!CreateDataJob(p_pReadFile, p_pConfig, p_oma.GetJobs(), p_hSockData, pOMA.get(), p_pTrace, &pvecpJob))
        return nullptr;
    if (!CheckInstanceRate(p_oma, pOMA.get()))
    {
        pvecpJob.reset();
        return nullptr;
    }
    pOMA->m_pvecpJob = std::move(pvecpJob);
    return pOMA;
}
} // namespace

bool CheckInstanceName(const OMA::COMA& p_oma)
{
    return !p_oma.Name().empty() ||
           Refuse(g_strData, "Zero length trace name for OMA inst. specified in KESTREL config.file");
}

bool CheckInstanceJobs(const OMA::COMA& p_oma)
{
    return !p_oma.GetJobs().empty() || Refuse(g_strData, "No job for given OMA app. defined in KESTREL config.file");
}

bool CheckInstanceRate(const OMA::COMA& p_oma, CVdsOMA* p_pVds)
{
    return p_pVds->CalcVdsReqCycleRate(p_oma.InputMode()) || Refuse(g_strData, "No valid PMU cycle rates");
}

bool CreateBaseOMA(const std::string& p_strConfigFile, CTraceOMA* p_pTrace, std::unique_ptr<CXMLConfiguration>* p_ppXml,
                   CConfiguration** p_ppConfig, unsigned long* p_phSockEvent, unsigned long* p_phSockData)
{
    *p_ppConfig = nullptr;
    if (!ReadConfig(p_strConfigFile, p_pTrace, p_ppXml, p_ppConfig))
        return false;
    const SBase base{p_ppXml, p_ppConfig};
    if (!ConnectEvent(base, p_phSockEvent))
        return false;
    CJobOMA::SetServerAddress(g_strVdsIp, g_nVdsPort);
    SetEventContext(eElemOMA, *p_phSockEvent);
    return CreateEventWriter(base, *p_phSockEvent, p_pTrace) && ConnectData(base, p_phSockData);
}

bool CreateDataOMA(CReadFileMeas* p_pReadFile, CConfiguration* p_pConfig, unsigned long p_hSockEvent,
                   unsigned long p_hSockData, CTraceOMA* p_pTrace, std::unique_ptr<VecOMA>* p_ppvecOMA)
{
    if (!p_pConfig)
    {
        if (p_pTrace)
            p_pTrace->TraceInvalidPtr(g_strData, "p_pConfig");
        return false;
    }
    const OMA::COMAs& omas = p_pConfig->GetOMAs();
    g_nOmaElemId = omas.Id();
    SetEventContext(eElemOMA, p_hSockEvent, g_nOmaElemId);
    // Clears a stopped state that the server may still show.
    if (g_pEventWrite)
        g_pEventWrite->PostEvent(eIkServiceStopOMA, eDIS, eElemOMA, g_nOmaElemId, "OMA stopped.", nullptr);
    if (omas.empty())
    {
        CConfiguration::DeleteInstance();
        g_pEventWrite.reset();
        return Refuse(g_strData, "No OMA app. spec.d in config.file");
    }
    *p_ppvecOMA = std::make_unique<VecOMA>();
    for (const OMA::COMA& oma : omas)
    {
        auto pOMA = CreateInstanceOMA(p_pReadFile, p_pConfig, oma, p_hSockEvent, p_hSockData, p_pTrace);
        if (!pOMA)
            return false;
        (*p_ppvecOMA)->push_back(std::move(pOMA));
    }
    return true;
}
