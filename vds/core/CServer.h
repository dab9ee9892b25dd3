#pragma once
#include "vds/base/IOutput.h"
#include "vds/base/ISource.h"
#include "vds/config/ServerConfig.h"
#include <functional>
#include <memory>
#include <string>
#include <vector>

class CServerCore;

/// The phasor data server: two ports, one source, one thread.
class CServer
{
  public:
    /// @param p_fnOutputs creates the outputs other than the link; called by Start. Empty: none.
    CServer(SServerConfig p_config, std::unique_ptr<ISource> p_pSource, SServerOptions p_options,
            TMakeOutputs p_fnOutputs = {});
    /// Calls Stop.
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    /// Listens, opens the files and starts the thread. @throws std::runtime_error with one line; nothing has been
    /// written in that case.
    void Start();
    /// Closes all connections and ends the thread. Idempotent.
    void Stop();

    /// Calls the function on the server's thread, between two tasks.
    void Post(std::function<void()> p_fnCall);
    /// Creates new files where the old ones have been renamed. Callable from any thread.
    void ReopenFiles();
    unsigned PortEvent() const;
    unsigned PortData() const;
    /// Called once on the server's thread when the source has ended and everything has been received (option once), or
    /// when the source has failed. Set before Start.
    void OnEnd(std::function<void()> p_fnEnd);
    /// Why the source failed; empty if it did not. Valid after Stop.
    std::string Fault() const;
    /// Valid after Stop: number of cycles, the worst and the 99 % delivery time.
    std::string Summary() const;
    /// Messages about the streams of the source; empty for sources without streams.
    std::vector<std::string> SourceSummary() const;

  private:
    std::unique_ptr<CServerCore> m_pCore;
};
