#pragma once
#include <cstddef>
#include <cstdint>

/// Event objects, waits and sleep under the platform's own names, values and rules:
/// an automatic-reset event releases one wait and resets itself; of several signalled handles the lowest index wins;
/// a wait that times out returns WAIT_TIMEOUT (258).
///
/// Handles are kept in a table of this layer: a handle that is never closed costs one entry and is not a leak. Any
/// thread may call these functions. For an unknown or closed handle, waits return WAIT_FAILED, and SetEvent and
/// CloseHandle return 0. A wait whose handle is closed meanwhile ends with WAIT_FAILED.
using HANDLE = void*;
using DWORD = std::uint32_t;
using BOOL = int;

inline constexpr DWORD INFINITE = 0xFFFFFFFFU;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFU;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

/// @return the new handle, null on failure. Security attributes and name are not supported here: pass null.
HANDLE CreateEventW(void* p_pSecurity, BOOL p_bManualReset, BOOL p_bInitialState, const wchar_t* p_pName);
BOOL SetEvent(HANDLE p_hEvent);
BOOL CloseHandle(HANDLE p_hEvent);
DWORD WaitForSingleObject(HANDLE p_hEvent, DWORD p_nTimeout_ms);
/// Waits for any of the handles (p_bAll must be 0). @return WAIT_OBJECT_0 + lowest signalled index.
DWORD WaitForMultipleObjects(DWORD p_nCount, const HANDLE* p_phEvents, BOOL p_bAll, DWORD p_nTimeout_ms);
void Sleep(DWORD p_nTime_ms);

// ---- test seam: the layer's clock, shared with platform/clock ----
/// Milliseconds on the clock of all waits and sleeps of this layer (steady; the fake clock when it is on).
std::int64_t EventsNow_ms();
/// Switches between the real clock and one that starts at 0 and moves only when told to. Switch while no thread waits.
void EventsUseFakeClock(bool p_bFake);
bool EventsIsFakeClock();
/// Advances the fake clock; every wait and sleep whose time has come returns.
void EventsAdvance(std::int64_t p_nTime_ms);
/// Waits (real time, at most p_nLimit_ms) until p_nThreads threads are parked in waits or sleeps of this layer and have
/// seen every signal and step so far. @return false on timeout.
bool EventsAwaitParked(std::size_t p_nThreads, int p_nLimit_ms);
/// While p_nThreads is not 0, the fake clock jumps to the next deadline automatically whenever that many threads are
/// parked.
void EventsAutoAdvance(std::size_t p_nThreads);
/// Number of existing handles, for tests that check for leaks.
std::size_t EventsHandleCount();
