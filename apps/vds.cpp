#include "ServiceNotify.h"
#include "Version.h"
#include "vds/c37118/input/CSourceCapture.h"
#include "vds/c37118/input/CSourceLive.h"
#include "vds/c37118/output/CC37118Output.h"
#include "vds/config/CommandLine.h"
#include "vds/core/CServer.h"
#include "vds/source/OpenSource.h"
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{
std::unique_ptr<ISource> OpenSource(const SVdsCommand& p_command, const SServerConfig& p_config)
{
    if (p_command.strSource.empty())
    {
        if (p_config.synchrophasors.vecStream.empty())
            throw std::runtime_error("option '--simulate SCENARIO' or '--replay FILE' is missing: '" +
                                     p_command.strConfig + "' has no Stream in Synchrophasors to read from");
        return std::make_unique<CSourceLive>(p_config.synchrophasors);
    }
    std::string strError;
    if (p_command.bReplay && CCaptureFile::IsCapture(p_command.strSource))
    {
        if (p_config.synchrophasors.vecStream.empty())
            throw std::runtime_error("'" + p_command.strSource +
                                     "' is a capture of streams: expected a Stream in "
                                     "Synchrophasors of '" +
                                     p_command.strConfig + "' to read from it");
        std::unique_ptr<ISource> pCapture = OpenCapture(p_command.strSource, p_config.synchrophasors, &strError);
        if (!pCapture)
            throw std::runtime_error(strError);
        return pCapture;
    }
    std::unique_ptr<ISource> pSource = p_command.bReplay ? OpenReplay(p_command.strSource, p_command.nStart, &strError)
                                                         : OpenSimulator(p_command.strSource, &strError);
    if (!pSource)
        throw std::runtime_error(strError);
    return pSource;
}

/// Notifies the service manager's watchdog as long as the server's thread responds. Sent from this thread, so that a
/// service manager that does not listen cannot hold up the server.
class CPing
{
  public:
    CPing(boost::asio::io_context& p_io, CServer& p_server) : m_server(p_server), m_timer(p_io)
    {
        if (m_tPeriod.count() > 0)
            Wait();
    }

  private:
    void Wait()
    {
        m_timer.expires_after(m_tPeriod);
        m_timer.async_wait(
            [this](const boost::system::error_code& p_ec)
            {
                if (p_ec)
                    return;
                if (m_pbAlive->exchange(false))
                    NotifyServiceManager("WATCHDOG=1");
                m_server.Post([pbAlive = m_pbAlive] { *pbAlive = true; });
                Wait();
            });
    }

    CServer& m_server;
    boost::asio::steady_timer m_timer;
    const std::chrono::milliseconds m_tPeriod{WatchdogPeriod_ms()};
    const std::shared_ptr<std::atomic<bool>> m_pbAlive = std::make_shared<std::atomic<bool>>(true);
};

/// On SIGHUP, log files that have been renamed are closed and created again.
void AwaitHangUp(boost::asio::signal_set& r_signals, CServer& r_server)
{
    r_signals.async_wait(
        [&](const boost::system::error_code& p_ec, int)
        {
            if (p_ec)
                return;
            r_server.ReopenFiles();
            AwaitHangUp(r_signals, r_server);
        });
}

/// Waits for a signal or the end of the source. @return the exit status.
int Serve(const SVdsCommand& p_command)
{
    boost::asio::io_context io;
    boost::asio::signal_set signals(io, SIGINT, SIGTERM, SIGQUIT);
    for (const int nSignal : {SIGUSR1, SIGUSR2, SIGALRM})
        signals.add(nSignal);
    signals.async_wait(
        [&io](const boost::system::error_code&, int p_nSignal)
        {
            std::printf("vds: stopping on signal %d (%s)\n", p_nSignal, strsignal(p_nSignal));
            std::fflush(stdout);
            io.stop();
        });
    boost::asio::signal_set signalsHangUp(io, SIGHUP);

    const SServerConfig config = ReadServerConfig(p_command.strConfig, p_command.strListen);
    CServer server(config, OpenSource(p_command, config), p_command.options,
                   C37118Outputs(config.synchrophasors.vecOutput));
    server.OnEnd([&io] { boost::asio::post(io, [&io] { io.stop(); }); });
    server.Start();
    AwaitHangUp(signalsHangUp, server);
    NotifyServiceManager("READY=1");
    const CPing ping(io, server);
    io.run();
    NotifyServiceManager("STOPPING=1");
    server.Stop();
    for (const std::string& strLine : server.SourceSummary())
        std::printf("vds: %s\n", strLine.c_str());
    std::printf("vds: %s\n", server.Summary().c_str());
    std::fflush(stdout);
    if (!server.Fault().empty())
        throw std::runtime_error(server.Fault());
    return 0;
}
} // namespace

int main(int p_nArgc, char* p_ppArgv[])
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file at its size limit is handled like a full disk: only the event is refused
    const std::string strFirst = p_nArgc > 1 ? p_ppArgv[1] : "";
    if (strFirst == "--help")
        return std::printf("%s", g_pVdsUsage) < 0 ? 1 : 0;
    if (strFirst == "--version")
        return std::printf("vds %s\n", g_pVersion) < 0 ? 1 : 0;
    if (p_nArgc < 2)
    {
        std::fprintf(stderr, "%s", g_pVdsUsage);
        return 2;
    }
    try
    {
        return Serve(ParseVdsCommand({p_ppArgv + 1, p_ppArgv + p_nArgc}));
    }
    catch (const std::exception& ex)
    {
        std::fprintf(stderr, "vds: %s\n", ex.what());
        return 1;
    }
}
