#include "vds/CServer.h"
#include "vds/CommandLine.h"
#include "vds/OpenSource.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace
{
std::unique_ptr<ISource> OpenSource(const SVdsCommand& p_command)
{
    std::string strError;
    std::unique_ptr<ISource> pSource = p_command.bReplay ? OpenReplay(p_command.strSource, p_command.nStart, &strError)
                                                         : OpenSimulator(p_command.strSource, &strError);
    if (!pSource)
        throw std::runtime_error(strError);
    return pSource;
}

/// Until a signal comes or the source has ended. @return the exit status.
int Serve(const SVdsCommand& p_command)
{
    boost::asio::io_context io;
    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&io](const boost::system::error_code&, int) { io.stop(); });

    const SServerConfig config = ReadServerConfig(p_command.strConfig, p_command.strListen);
    CServer server(config, OpenSource(p_command), p_command.options);
    server.OnEnd([&io] { boost::asio::post(io, [&io] { io.stop(); }); });
    server.Start();
    io.run();
    server.Stop();
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
