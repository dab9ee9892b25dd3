#pragma once
#include <atomic>
#include <cstdint>

/// Sign of life of one thread that comes back to the same place again and again. The service host asks for all of them
/// before it tells the service manager that the process is well, so that one thread that hangs is enough for a restart.
///
/// Owner    the thread, as a local object: a thread that has ended is missed by nobody.
/// Threads  Beat by the owner, AreAllAlive by the service host.
class CHeartbeat
{
  public:
    /// @param p_nLimit_ms longest silence that is no fault.
    explicit CHeartbeat(std::uint32_t p_nLimit_ms);
    ~CHeartbeat();
    CHeartbeat(const CHeartbeat&) = delete;
    CHeartbeat& operator=(const CHeartbeat&) = delete;

    void Beat() { m_nSilent_ms = 0; }
    /// @param p_nPassed_ms since the call before. The time is counted here, so that a process that was stopped as a
    /// whole has missed nothing.
    static bool AreAllAlive(std::uint32_t p_nPassed_ms);

  private:
    const std::uint32_t m_nLimit_ms;
    std::atomic<std::uint64_t> m_nSilent_ms{0};
};
