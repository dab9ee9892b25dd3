#include "WinEvents.h"
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <semaphore.h>
#include <thread>
#include <unordered_map>
#include <vector>

// One lock for the whole layer. A wait that cannot be answered at once is parked in a list. Whoever signals an event,
// closes a handle or moves the fake clock answers it and removes it from the list. So each wait is answered in one
// place, and a wait that is in the list has seen everything so far. An answered thread does not need the lock again: a
// hundred workers woken one after the other would contend for it.

namespace
{
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
constexpr std::int64_t g_nPerSecond = 1'000'000'000; // ns

/// A parked wait. It lives on the stack of its thread and may be gone as soon as it has been signalled.
struct SWait
{
    SWait() { sem_init(&semAnswered, 0, 0); }
    ~SWait() { sem_destroy(&semAnswered); }
    SWait(const SWait&) = delete;
    SWait& operator=(const SWait&) = delete;

    /// @return false if the deadline has passed without an answer.
    bool Sleep(bool p_bDeadline)
    {
        std::int64_t nEnd_ns = 0; // on CLOCK_MONOTONIC, which Clock reads
        if (p_bDeadline)
            nEnd_ns = std::chrono::nanoseconds(deadline->time_since_epoch()).count();
        const timespec end{static_cast<time_t>(nEnd_ns / g_nPerSecond), static_cast<long>(nEnd_ns % g_nPerSecond)};
        while ((p_bDeadline ? sem_clockwait(&semAnswered, CLOCK_MONOTONIC, &end) : sem_wait(&semAnswered)) != 0)
        {
            if (errno != EINTR)
                return false;
        }
        return true;
    }

    const HANDLE* phEvents = nullptr;
    DWORD nCount = 0;
    bool bParked = false;
    std::size_t nParked = 0;                   ///< index in the list of all
    std::optional<Clock::time_point> deadline; ///< nullopt: waits forever
    std::atomic<DWORD> nAnswer{WAIT_TIMEOUT};
    sem_t semAnswered{};
};

struct SEvent
{
    bool bManual = false;
    bool bSignalled = false;
    std::vector<SWait*> vecpWait; ///< parked on this event, in order of arrival: the first one is released first
};

class CEventTable
{
  public:
    HANDLE Create(bool p_bManual, bool p_bSignalled)
    {
        const std::lock_guard lock(m_mtx);
        m_nLastHandle += 4;
        const auto hEvent = reinterpret_cast<HANDLE>(m_nLastHandle);
        m_mapEvent[hEvent] = {p_bManual, p_bSignalled, {}};
        return hEvent;
    }

    bool Set(HANDLE p_hEvent)
    {
        const std::lock_guard lock(m_mtx);
        const auto itEvent = m_mapEvent.find(p_hEvent);
        if (itEvent == m_mapEvent.end())
            return false;
        SEvent& event = itEvent->second;
        event.bSignalled = true;
        while (event.bSignalled && !event.vecpWait.empty())
        {
            SWait& wait = *event.vecpWait.front();
            event.bSignalled = event.bManual;
            Answer(wait, WAIT_OBJECT_0 + IndexOf(wait, p_hEvent));
        }
        return true;
    }

    bool Close(HANDLE p_hEvent)
    {
        const std::lock_guard lock(m_mtx);
        const auto itEvent = m_mapEvent.find(p_hEvent);
        if (itEvent == m_mapEvent.end())
            return false;
        while (!itEvent->second.vecpWait.empty())
            Answer(*itEvent->second.vecpWait.front(), WAIT_FAILED);
        m_mapEvent.erase(itEvent);
        return true;
    }

    /// Without handles: a sleep, which always ends with WAIT_TIMEOUT.
    DWORD Wait(const HANDLE* p_phEvents, DWORD p_nCount, DWORD p_nTimeout_ms)
    {
        std::unique_lock lock(m_mtx);
        if (const auto nAnswer = TakeSignalled(p_phEvents, p_nCount))
            return *nAnswer;
        if (p_nTimeout_ms == 0)
            return WAIT_TIMEOUT;

        SWait wait;
        wait.phEvents = p_phEvents;
        wait.nCount = p_nCount;
        if (p_nTimeout_ms != INFINITE)
            wait.deadline = Now() + milliseconds(p_nTimeout_ms);
        Park(wait);
        m_cvParked.notify_all();
        JumpIfAllParked();

        const bool bDeadline = wait.deadline && !m_bFake;
        lock.unlock();
        if (!wait.Sleep(bDeadline))
        {
            lock.lock();
            if (wait.bParked)
                Unpark(wait);
        }
        return wait.nAnswer;
    }

    std::int64_t Now_ms()
    {
        const std::lock_guard lock(m_mtx);
        return std::chrono::duration_cast<milliseconds>(Now().time_since_epoch()).count();
    }
    void UseFake(bool p_bFake)
    {
        const std::lock_guard lock(m_mtx);
        m_bFake = p_bFake;
        m_fakeNow = {};
        m_nAutoThreads = 0;
    }
    bool IsFake()
    {
        const std::lock_guard lock(m_mtx);
        return m_bFake;
    }
    void Advance(std::int64_t p_nTime_ms)
    {
        const std::lock_guard lock(m_mtx);
        if (m_bFake && p_nTime_ms >= 0)
            MoveFakeTo(m_fakeNow + milliseconds(p_nTime_ms));
    }
    bool AwaitParked(std::size_t p_nThreads, int p_nLimit_ms)
    {
        std::unique_lock lock(m_mtx);
        return m_cvParked.wait_for(lock, milliseconds(p_nLimit_ms), [&] { return m_vecpParked.size() >= p_nThreads; });
    }
    void AutoAdvance(std::size_t p_nThreads)
    {
        const std::lock_guard lock(m_mtx);
        m_nAutoThreads = p_nThreads;
        JumpIfAllParked();
    }
    std::size_t HandleCount()
    {
        const std::lock_guard lock(m_mtx);
        return m_mapEvent.size();
    }

  private:
    static DWORD IndexOf(const SWait& p_wait, HANDLE p_hEvent)
    {
        return static_cast<DWORD>(std::find(p_wait.phEvents, p_wait.phEvents + p_wait.nCount, p_hEvent) -
                                  p_wait.phEvents);
    }
    Clock::time_point Now() const { return m_bFake ? m_fakeNow : Clock::now(); }

    /// Whether all its handles are in the table.
    void Park(SWait& r_wait)
    {
        r_wait.bParked = true;
        r_wait.nParked = m_vecpParked.size();
        m_vecpParked.push_back(&r_wait);
        for (DWORD n = 0; n < r_wait.nCount; ++n)
            m_mapEvent[r_wait.phEvents[n]].vecpWait.push_back(&r_wait);
    }

    void Unpark(SWait& r_wait)
    {
        r_wait.bParked = false;
        m_vecpParked[r_wait.nParked] = m_vecpParked.back();
        m_vecpParked[r_wait.nParked]->nParked = r_wait.nParked;
        m_vecpParked.pop_back();
        for (DWORD n = 0; n < r_wait.nCount; ++n)
            std::erase(m_mapEvent[r_wait.phEvents[n]].vecpWait, &r_wait);
    }

    void Answer(SWait& r_wait, DWORD p_nAnswer)
    {
        Unpark(r_wait);
        r_wait.nAnswer = p_nAnswer;
        sem_post(&r_wait.semAnswered);
    }

    /// Answer without parking: an invalid handle, or the first signalled one.
    std::optional<DWORD> TakeSignalled(const HANDLE* p_phEvents, DWORD p_nCount)
    {
        std::optional<DWORD> nSignalled;
        for (DWORD n = 0; n < p_nCount; ++n)
        {
            const auto itEvent = m_mapEvent.find(p_phEvents[n]);
            if (itEvent == m_mapEvent.end())
                return WAIT_FAILED;
            if (!nSignalled && itEvent->second.bSignalled)
                nSignalled = n;
        }
        if (!nSignalled)
            return std::nullopt;
        SEvent& event = m_mapEvent[p_phEvents[*nSignalled]];
        event.bSignalled = event.bManual;
        return WAIT_OBJECT_0 + *nSignalled;
    }

    void MoveFakeTo(Clock::time_point p_now)
    {
        m_fakeNow = p_now;
        for (std::size_t n = 0; n < m_vecpParked.size();)
        {
            SWait& wait = *m_vecpParked[n];
            if (wait.deadline && *wait.deadline <= m_fakeNow)
                Answer(wait, WAIT_TIMEOUT); // another wait has taken its place
            else
                ++n;
        }
    }

    void JumpIfAllParked()
    {
        if (!m_bFake || m_nAutoThreads == 0 || m_vecpParked.size() < m_nAutoThreads)
            return;
        std::optional<Clock::time_point> next;
        for (const SWait* pWait : m_vecpParked)
            if (pWait->deadline && (!next || *pWait->deadline < *next))
                next = pWait->deadline;
        if (next)
            MoveFakeTo(*next);
    }

    std::mutex m_mtx;
    std::unordered_map<HANDLE, SEvent> m_mapEvent;
    std::uintptr_t m_nLastHandle = 0;
    std::vector<SWait*> m_vecpParked; ///< unordered
    std::condition_variable m_cvParked;
    bool m_bFake = false;
    Clock::time_point m_fakeNow;
    std::size_t m_nAutoThreads = 0;
};

/// Never destroyed: threads that outlive main may still wait.
CEventTable& Table()
{
    static CEventTable* const s_pTable = new CEventTable;
    return *s_pTable;
}
} // namespace

HANDLE CreateEventW(void* p_pSecurity, BOOL p_bManualReset, BOOL p_bInitialState, const wchar_t* p_pName)
{
    if (p_pSecurity || p_pName)
        return nullptr;
    return Table().Create(p_bManualReset != 0, p_bInitialState != 0);
}

BOOL SetEvent(HANDLE p_hEvent)
{
    return Table().Set(p_hEvent) ? 1 : 0;
}

BOOL CloseHandle(HANDLE p_hEvent)
{
    return Table().Close(p_hEvent) ? 1 : 0;
}

DWORD WaitForSingleObject(HANDLE p_hEvent, DWORD p_nTimeout_ms)
{
    return Table().Wait(&p_hEvent, 1, p_nTimeout_ms);
}

DWORD WaitForMultipleObjects(DWORD p_nCount, const HANDLE* p_phEvents, BOOL p_bAll, DWORD p_nTimeout_ms)
{
    if (p_nCount == 0 || p_nCount > MAXIMUM_WAIT_OBJECTS || !p_phEvents || p_bAll)
        return WAIT_FAILED;
    return Table().Wait(p_phEvents, p_nCount, p_nTimeout_ms);
}

void Sleep(DWORD p_nTime_ms)
{
    if (p_nTime_ms == 0)
        std::this_thread::yield();
    else
        Table().Wait(nullptr, 0, p_nTime_ms);
}

std::int64_t EventsNow_ms()
{
    return Table().Now_ms();
}
void EventsUseFakeClock(bool p_bFake)
{
    Table().UseFake(p_bFake);
}
bool EventsIsFakeClock()
{
    return Table().IsFake();
}
void EventsAdvance(std::int64_t p_nTime_ms)
{
    Table().Advance(p_nTime_ms);
}
bool EventsAwaitParked(std::size_t p_nThreads, int p_nLimit_ms)
{
    return Table().AwaitParked(p_nThreads, p_nLimit_ms);
}
void EventsAutoAdvance(std::size_t p_nThreads)
{
    Table().AutoAdvance(p_nThreads);
}
std::size_t EventsHandleCount()
{
    return Table().HandleCount();
}
