#include "vds/core/CServer.h"
#include "vds/core/CServerCore.h"
#include <utility>

CServer::CServer(SServerConfig p_config, std::unique_ptr<ISource> p_pSource, SServerOptions p_options,
                 TMakeOutputs p_fnOutputs)
    : m_pCore(std::make_unique<CServerCore>(std::move(p_config), std::move(p_pSource), std::move(p_options),
                                            std::move(p_fnOutputs)))
{
}

CServer::~CServer() = default;

void CServer::Start()
{
    m_pCore->Start();
}
void CServer::Stop()
{
    m_pCore->Stop();
}
void CServer::ReopenFiles()
{
    m_pCore->Post([pCore = m_pCore.get()] { pCore->ReopenFiles(); });
}
void CServer::Post(std::function<void()> p_fnCall)
{
    m_pCore->Post(std::move(p_fnCall));
}

unsigned CServer::PortEvent() const
{
    return m_pCore->PortEvent();
}
unsigned CServer::PortData() const
{
    return m_pCore->PortData();
}
void CServer::OnEnd(std::function<void()> p_fnEnd)
{
    m_pCore->m_fnEnd = std::move(p_fnEnd);
}
std::string CServer::Fault() const
{
    return m_pCore->Fault();
}
std::string CServer::Summary() const
{
    return m_pCore->Summary();
}
std::vector<std::string> CServer::SourceSummary() const
{
    return m_pCore->SourceSummary();
}
