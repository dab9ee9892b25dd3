#pragma once
#include "vds/base/ISource.h"
#include "vds/base/SEvent.h"
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Receives the data that passes through the server and offers it to parties that are not clients of the link.
///
/// Threads  all calls are made on the server's thread and must not block.
class IOutput
{
  public:
    virtual ~IOutput() = default;
    /// Called once, before anything else. @throws std::runtime_error with one line.
    virtual void Start() = 0;
    /// Whether anybody is receiving the source's phasors at present; a replay then does not wait for clients of the
    /// link.
    virtual bool TakesPhasors() const = 0;
    virtual void OnCycle(const SSourceCycle& p_cycle) = 0;
    /// Clients of the link have received all cycles up to this time.
    virtual void OnTaken(std::int64_t p_nTicks) = 0;
    /// A value that the application has written. @param p_nRate r values per second, or -n for one every n seconds.
    /// @param p_eQual 0 VALID, 1 SUSPECT, otherwise INVALID.
    virtual void OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue,
                         int p_eQual) = 0;
    virtual void OnEvent(const SEvent& p_event) = 0;
    /// Sends pending data and closes the connections.
    virtual void End() = 0;
};

/// What the server provides to its outputs.
struct SOutputHost
{
    boost::asio::io_context& io;
    const ISource& source;
    std::function<void(const std::string&)> fnLine; ///< message for the operator
    std::function<void()> fnOn;                     ///< the output calls it when TakesPhasors becomes true
};

/// Creates the outputs of a server. @throws std::runtime_error with one line.
using TMakeOutputs = std::function<std::vector<std::unique_ptr<IOutput>>(const SOutputHost&)>;
