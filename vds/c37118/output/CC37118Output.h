#pragma once
#include "vds/base/IOutput.h"
#include "vds/c37118/output/CC37118Server.h"
#include "vds/c37118/output/CPhasorFrames.h"
#include "vds/c37118/output/CResultFrames.h"
#include <optional>

/// One output stream of the server: its configuration, its frames and its clients.
///
/// Threads  the io_context's thread.
class CC37118Output : public IOutput
{
  public:
    /// @param p_output with Content phasors: PMUs and channels that the source does not have are omitted.
    /// @throws std::runtime_error with one line: nothing to offer, or too much for one frame.
    CC37118Output(const SOutputHost& p_host, SOutputStreamConfig p_output);

    void Start() override;
    bool TakesPhasors() const override { return m_output.bPhasors && m_server.HasTakers(); }
    void OnCycle(const SSourceCycle& p_cycle) override;
    void OnTaken(std::int64_t p_nTicks) override;
    void OnValue(std::uint64_t p_nChannel, std::int32_t p_nRate, std::int64_t p_nTicks, float p_fValue,
                 int p_eQual) override;
    void OnEvent(const SEvent& p_event) override;
    void End() override;

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

/// Creates the output streams of the configuration.
TMakeOutputs C37118Outputs(std::vector<SOutputStreamConfig> p_vecOutput);
