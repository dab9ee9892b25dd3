#pragma once
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// An object with one or more lanes of calls, each processed by one thread at a time.
class ILanes
{
  public:
    virtual ~ILanes() = default;
    virtual void RunLane(int p_nLane) = 0;
};

/// Threads for the calls into the application. A thread is added whenever none is free, so a call may block
/// indefinitely without delaying others. A thread without work for some seconds ends.
///
/// Owner    CLibrary; never destroyed, since a blocked call may outlive main().
class CThreadPool
{
  public:
    void Submit(std::shared_ptr<ILanes> p_pLanes, int p_nLane);
    /// No further calls; waits up to 2 s for those in progress.
    void Shutdown();

  private:
    struct SWork
    {
        std::shared_ptr<ILanes> pLanes;
        int nLane = 0;
    };
    void Work();

    std::mutex m_mtx;
    std::condition_variable m_cvWork;
    std::condition_variable m_cvEnd;
    std::deque<SWork> m_queWork;
    std::size_t m_nThreads = 0;
    std::size_t m_nFree = 0;
    bool m_bStop = false;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
