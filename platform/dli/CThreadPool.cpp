#include "platform/dli/CThreadPool.h"
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
constexpr auto g_tIdle = std::chrono::seconds(10);
constexpr auto g_tShutdown = std::chrono::seconds(2);
} // namespace

void CThreadPool::Submit(std::shared_ptr<ILanes> p_pLanes, int p_nLane)
{
    std::unique_lock<std::mutex> lock(m_mtx);
    if (m_bStop)
        return;
    m_queWork.push_back({std::move(p_pLanes), p_nLane});
    if (m_queWork.size() <= m_nFree)
    {
        lock.unlock(); // so that the woken thread does not block on the lock
        m_cvWork.notify_one();
        return;
    }
    ++m_nThreads;
    try
    {
        std::thread([this] { Work(); }).detach();
    }
    catch (const std::system_error&)
    {
        --m_nThreads; // the work waits for a thread to become free
    }
}

void CThreadPool::Work()
{
    std::unique_lock<std::mutex> lock(m_mtx);
    while (!m_bStop)
    {
        if (m_queWork.empty())
        {
            ++m_nFree;
            const bool bWoken = m_cvWork.wait_for(lock, g_tIdle, [this] { return m_bStop || !m_queWork.empty(); });
            --m_nFree;
            if (!bWoken)
                break;
            continue;
        }
        SWork work = std::move(m_queWork.front());
        m_queWork.pop_front();
        lock.unlock();
        work.pLanes->RunLane(work.nLane);
        work.pLanes.reset();
        lock.lock();
    }
    --m_nThreads;
    m_cvEnd.notify_all();
}

void CThreadPool::Shutdown()
{
    std::unique_lock<std::mutex> lock(m_mtx);
    m_bStop = true;
    std::deque<SWork> queDropped;
    queDropped.swap(m_queWork);
    m_cvWork.notify_all();
    m_cvEnd.wait_for(lock, g_tShutdown, [this] { return m_nThreads == 0; });
    lock.unlock();
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
