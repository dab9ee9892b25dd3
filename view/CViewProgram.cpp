#include "view/CViewProgram.h"
#include "CConfiguration.h"
#include "CXMLConfiguration.h"
#include "LinkSecurity.h"
#include "OpenApi.h"
#include "link/dli/Security.h"
#include "view/answer/CMemoryApi.h"
#include "view/api/CApi.h"
#include "view/api/CHttpServer.h"
#include "view/client/CFeedClient.h"
#include "view/memory/CMemory.h"
#include "view/metrics/ViewMetrics.h"
#include "view/notice/CNotices.h"
#include "view/state/ViewTime.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <filesystem>
#include <stdexcept>

namespace asio = boost::asio;
namespace fs = std::filesystem;
namespace Link = Norvik::Energy::Kestrel::Link;
namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr auto g_tPublish = std::chrono::milliseconds(250);
constexpr int g_nPublishPerSecond = 4;

/// What this program takes from the configuration; the tree is gone after that.
struct SViewConfig
{
    SViewModel model;
    Runtime::CView view;
    Runtime::SSecurity security;
};

SViewConfig ReadConfig(const std::string& p_strFile)
{
    Runtime::CXMLConfiguration reader;
    if (reader.Read(p_strFile, "") != 0)
        throw std::runtime_error(reader.Faults().substr(0, reader.Faults().find('\n')));
    const std::unique_ptr<Runtime::CConfiguration, void (*)(Runtime::CConfiguration*)> pConfig(
        Runtime::CConfiguration::CreateInstance(&reader),
        [](Runtime::CConfiguration*) { Runtime::CConfiguration::DeleteInstance(); });
    if (!pConfig)
        throw std::runtime_error("file '" + p_strFile + "': nothing was read");
    const Runtime::CSecurity& security = pConfig->VDS().Security();
    return {MakeViewModel(*pConfig),
            pConfig->View(),
            {security.IsOn(), security.CAFile(), security.ClientCertificateFile(), security.ClientKeyFile(),
             security.TokenFile()}};
}

/// Beside the program as it is built, or as it is installed.
std::string PageFolder(const std::string& p_strWanted)
{
    if (!p_strWanted.empty())
        return p_strWanted;
    std::error_code ec;
    const fs::path pathBin = fs::read_symlink("/proc/self/exe", ec).parent_path();
    for (const char* pPlace : {"../page", "../share/oma/page"})
        if (fs::is_directory(pathBin / pPlace, ec))
            return (pathBin / pPlace).string();
    return (pathBin / "../share/oma/page").string();
}

Link::TTlsPtr PageTls(const Runtime::CView& p_view)
{
    if (p_view.CertificateFile().empty())
        return nullptr;
    Link::SLinkSecurity security;
    security.bOn = true;
    security.strCertificateFile = p_view.CertificateFile();
    security.strKeyFile = p_view.KeyFile();
    return Link::ServerTls(security);
}
} // namespace

struct CViewProgram::SParts
{
    SParts(const SViewCommand& p_command, SViewConfig p_config);
    void CheckReach(const std::string& p_strAddr) const;
    void Publish();

    const SViewConfig config;
    asio::io_context io;
    asio::signal_set signals{io, SIGINT, SIGTERM};
    asio::steady_timer timer{io};
    std::function<void()> fnAlive;
    int nPublished = 0;

    CMemory memory;
    CViewState state;
    CMemoryApi memoryApi;
    CNotices notices;
    CAccounts accounts;
    CPageFiles page;
    CApi api;
    CHttpServer server;
    std::unique_ptr<CFeedClient> pClient;
    std::string strAddress;
};

CViewProgram::SParts::SParts(const SViewCommand& p_command, SViewConfig p_config)
    : config(std::move(p_config)), memory(!p_command.strDatabase.empty()    ? p_command.strDatabase
                                          : !config.view.Database().empty() ? config.view.Database()
                                                                            : "omaview.db",
                                          config.model,
                                          {config.view.RetainPassesInDays(), config.view.RetainMinutesInDays(),
                                           config.view.MaxSizeInMB() * std::int64_t{1'000'000}}),
      state(config.model, memory), memoryApi(memory, config.model, state), notices(memory, config.model, config.view),
      page(PageFolder(p_command.strPage)), api(state, config.model, accounts, page, memoryApi, g_pOpenApi),
      server(io, api, PageTls(config.view))
{
    const std::string strAddr = p_command.strListen.empty() ? config.view.Listen() : p_command.strListen;
    if (!config.view.UsersFile().empty())
        accounts.Open(config.view.UsersFile());
    CheckReach(strAddr);
    state.Restore([this](CEventBook& r_book) { memory.Restore(r_book); });
    memory.Start();
    notices.Start();
    api.m_fnReceivers = [this] { return notices.HealthJson(); };
    api.m_fnBrowsers = [this] { return server.Shared().nStreams.load(); };
    api.m_fnServerMetrics = [this]
    {
        std::string strText;
        CMetricText text(strText);
        text.Single("oma_view_requests_total", "counter", "Requests that were answered.",
                    static_cast<double>(server.Shared().nRequests));
        text.Single("oma_view_connections", "gauge", "Connections of browsers and machines.",
                    server.Shared().nSessions);
        text.Single("oma_view_streams", "gauge", "Live streams that are open.", server.Shared().nStreams);
        notices.FillMetrics(strText);
        return strText;
    };
    const unsigned nPort =
        server.Listen(strAddr, p_command.nPort >= 0 ? static_cast<unsigned>(p_command.nPort) : config.view.Port());
    strAddress = (config.view.CertificateFile().empty() ? "http://" : "https://") +
                 (strAddr.find(':') != std::string::npos ? "[" + strAddr + "]" : strAddr) + ":" +
                 std::to_string(nPort) + "/";
    Runtime::SetSecurity(config.security);
    pClient = std::make_unique<CFeedClient>(state, config.model.strAddr, config.model.nPort);
}

/// Beyond this machine everything is secured.
void CViewProgram::SParts::CheckReach(const std::string& p_strAddr) const
{
    boost::system::error_code ec;
    const asio::ip::address address = asio::ip::make_address(p_strAddr == "localhost" ? "127.0.0.1" : p_strAddr, ec);
    if (ec)
        throw std::runtime_error("address '" + p_strAddr + "': expected the number of a network address");
    if (address.is_loopback())
        return;
    if (config.view.CertificateFile().empty() || config.view.UsersFile().empty())
        throw std::runtime_error("address '" + p_strAddr +
                                 "' is reached by other machines: expected CertificateFile, KeyFile and UsersFile in "
                                 "element View of the configuration");
}

void CViewProgram::SParts::Publish()
{
    state.Publish(std::chrono::steady_clock::now());
    notices.Look(state);
    if (++nPublished % g_nPublishPerSecond == 0 && fnAlive)
        fnAlive();
    timer.expires_after(g_tPublish);
    timer.async_wait(
        [this](const boost::system::error_code& p_ec)
        {
            if (!p_ec)
                Publish();
        });
}

CViewProgram::CViewProgram(const SViewCommand& p_command)
    : m_pParts(std::make_unique<SParts>(p_command, ReadConfig(p_command.strConfig)))
{
}

CViewProgram::~CViewProgram()
{
    // First what feeds, then what is fed.
    m_pParts->pClient.reset();
    m_pParts->server.Stop();
    m_pParts->memory.Stop();
}

std::string CViewProgram::Address() const
{
    return m_pParts->strAddress;
}

void TestNotice(const SViewCommand& p_command)
{
    const SViewConfig config = ReadConfig(p_command.strConfig);
    for (const Runtime::CReceiverConfig& receiver : config.view.GetReceivers())
    {
        if (receiver.Name() != p_command.strTestNotice)
            continue;
        SViewEvent event;
        event.strText = "test";
        const std::string strBody = boost::json::serialize(NoticeBody(config.model, event, "test", 0, WallMs()));
        return SendNotice(receiver, {0, "test", strBody});
    }
    throw std::runtime_error("receiver '" + p_command.strTestNotice +
                             "': expected the name of one of the configuration");
}

void CViewProgram::Run(const std::function<void()>& p_fnAlive)
{
    m_pParts->fnAlive = p_fnAlive;
    m_pParts->signals.async_wait([this](const boost::system::error_code&, int) { m_pParts->io.stop(); });
    m_pParts->Publish();
    m_pParts->io.run();
}
