#pragma once
#include "vds/base/ISource.h"
#include "vds/base/SEvent.h"
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Takes what passes through the server and offers it to somebody who is not a client of the link.
///
/// Threads  all calls come on the server's thread; none may block.
class IOutput
{
  public:
    virtual ~IOutput() = default;
    /// Once, before anything else. @throws std::runtime_error with one line.
    virtual void Start() = 0;
    /// Whether somebody takes the phasors of the source at present; a replay then does not wait for clients of the link.
    virtual bool TakesPhasors() const = 0;
    virtual void OnCycle(const SSourceCycle& p_cycle) = 0;
    /// Clients of the link have taken all cycles up to this time.
    virtual void OnTaken(std::int64_t p_nTicks) = 0;
    /// A value that the application has written. @param p_nRate r values a second, or -n for one every n seconds.
    /// @param p_eQual 0 VALID, 1 SUSPECT, else INVALID.
    virtual void OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue,
                         int p_eQual) = 0;
    virtual void OnEvent(const SEvent& p_event) = 0;
    /// Sends what waits and closes the connections.
    virtual void End() = 0;
};

/// What the server lends to its outputs.
struct SOutputHost
{
    boost::asio::io_context& io;
    const ISource& source;
    std::function<void(const std::string&)> fnLine; ///< one line for the operator
    std::function<void()> fnOn;                     ///< to be called when TakesPhasors becomes true
};

/// Makes the outputs of a server. @throws std::runtime_error with one line.
using TMakeOutputs = std::function<std::vector<std::unique_ptr<IOutput>>(const SOutputHost&)>;
