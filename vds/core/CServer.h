#pragma once
#include "vds/base/IOutput.h"
#include "vds/base/ISource.h"
#include "vds/config/ServerConfig.h"
#include <functional>
#include <memory>
#include <string>
#include <vector>

class CServerCore;

/// The phasor data server: two ports, a source, one thread.
class CServer
{
  public:
    /// @param p_fnOutputs makes the ways out besides the link; called by Start. Empty: none.
    CServer(SServerConfig p_config, std::unique_ptr<ISource> p_pSource, SServerOptions p_options,
            TMakeOutputs p_fnOutputs = {});
    /// Stop.
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    /// Listens, opens the files and starts the thread. @throws std::runtime_error with one line; nothing has been
    /// written then.
    void Start();
    /// Cuts all connections and ends the thread. Idempotent.
    void Stop();

    /// Calls the function on the server's thread, between two pieces of its work.
    void Post(std::function<void()> p_fnCall);
    /// Goes on in new files where the old ones have been renamed. Any thread.
    void ReopenFiles();
    unsigned PortEvent() const;
    unsigned PortData() const;
    /// Called once on the server's thread when the source has ended and all has been taken (option once), or when the
    /// source has failed. Set ahead of Start.
    void OnEnd(std::function<void()> p_fnEnd);
    /// Why the source has failed; empty if it has not. After Stop.
    std::string Fault() const;
    /// After Stop: cycles, and the worst and the 99 % time of a delivery.
    std::string Summary() const;
    /// Lines on the streams of the source; empty for sources without.
    std::vector<std::string> SourceSummary() const;

  private:
    std::unique_ptr<CServerCore> m_pCore;
};
