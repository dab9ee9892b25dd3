#pragma once
#include <atomic>
#include <cstdint>

/// Watchdog of one thread that returns to the same place again and again. The service host reports the process as
/// healthy only while every registered thread beats, so one hanging thread is enough for a restart.
///
/// Owner    the thread, as a local object: a thread that ends removes its heartbeat.
/// Threads  Beat by the owner, AreAllAlive by the service host.
class CHeartbeat
{
  public:
    /// @param p_nLimit_ms longest silence that is still healthy.
    explicit CHeartbeat(std::uint32_t p_nLimit_ms);
    ~CHeartbeat();
    CHeartbeat(const CHeartbeat&) = delete;
    CHeartbeat& operator=(const CHeartbeat&) = delete;

    void Beat() { m_nSilent_ms = 0; }
    /// @param p_nPassed_ms time since the previous call. Time is counted here rather than read from a clock, so that a
    /// process that was stopped as a whole does not look silent when it continues.
    static bool AreAllAlive(std::uint32_t p_nPassed_ms);

  private:
    const std::uint32_t m_nLimit_ms;
    std::atomic<std::uint64_t> m_nSilent_ms{0};
};
