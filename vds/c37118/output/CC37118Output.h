#pragma once
#include "vds/c37118/output/CC37118Server.h"
#include "vds/c37118/output/CPhasorFrames.h"
#include "vds/c37118/output/CResultFrames.h"
#include <optional>

struct SEvent;

/// One output stream of the server: its configuration, its frames and its clients.
///
/// Threads  that of the io_context.
class CC37118Output
{
  public:
    /// @param p_output with Content phasors: PMUs and channels that the source does not have are left out.
    /// @throws std::runtime_error with one line: nothing to offer, or too much for a frame.
    /// @param p_fnOn called when a client has turned the data on.
    CC37118Output(boost::asio::io_context& r_io, SOutputStreamConfig p_output, const ISource& p_source,
                  CC37118Server::TLine p_fnLine, std::function<void()> p_fnOn);
    /// @throws std::runtime_error with one line.
    void Start();

    /// Somebody takes the phasors of the source, as clients of the link do.
    bool TakesPhasors() const { return m_output.bPhasors && m_server.HasTakers(); }
    void OnCycle(const SSourceCycle& p_cycle);
    /// Clients of the link have taken all cycles up to this time.
    void OnTaken(std::int64_t p_nTicks);
    void OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue, int p_eQual);
    void OnEvent(const SEvent& p_event);
    /// Sends what waits and closes the connections behind it.
    void End();

  private:
    std::string Summary();
    void Flush(bool p_bAll);

    const SOutputStreamConfig m_output;
    const CC37118Server::TLine m_fnLine;
    const SConfigFrame m_config;
    CC37118Server m_server;
    std::optional<CPhasorFrames> m_phasors;
    std::optional<CResultFrames> m_results;
    boost::asio::steady_timer m_timer;
    bool m_bArmed = false;
};
