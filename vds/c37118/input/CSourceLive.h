#pragma once
#include "vds/c37118/input/CStreamClient.h"
#include "vds/c37118/input/CStreamSet.h"

/// The configured streams as a live source of the server.
///
/// Threads  the server's thread; constructed before it runs.
class CSourceLive : public ISource
{
  public:
    explicit CSourceLive(SSynchrophasorConfig p_config);

    const std::vector<unsigned long>& Ids() const override { return m_streams.Ids(); }
    std::int32_t Rate() const override { return m_streams.Config().nRate; }
    bool Next(SSourceCycle& r_cycle) override;
    bool Rewind() override { return false; }
    bool IsFiltered() const override { return true; }
    bool IsLive() const override { return true; }
    void Start(boost::asio::io_context& p_io, std::function<void()> p_fnReady,
               std::function<void(const std::string&)> p_fnLine) override;
    void Stop() override;
    std::vector<std::string> Summary() const override { return m_streams.Summary(); }
    std::vector<SStreamHealth> Streams() const override { return m_streams.Health(); }

  private:
    /// UTC from a clock that is never adjusted.
    std::int64_t Now() const;

    CStreamSet m_streams;
    std::vector<std::unique_ptr<CStreamClient>> m_vecpClient;
    std::unique_ptr<boost::asio::steady_timer> m_pTimer; ///< until the oldest cycle need not wait any longer
    std::function<void()> m_fnReady;
    const std::int64_t m_nStart; ///< ticks
    const std::chrono::steady_clock::time_point m_tStart;
};
