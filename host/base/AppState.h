#pragma once
#include <atomic>
#include <cstdint>

/// State of the process. SuspendApp changes run to suspend, StopApplication changes either to stop; nothing changes it
/// back.
enum EAppState : std::int32_t
{
    eAppRun = 0,
    eAppSuspend = 1,
    eAppStop = 2
};

/// Source of the jobs' samples.
enum EDataSource : std::int32_t
{
    eSrcServer = 0,
    eSrcMeasFile = 1,
    eSrcStudy = 2
};

extern std::atomic<EAppState> g_eAppState;
extern std::atomic<EDataSource> g_eDataSource; ///< written once, by RunApplication; read by the job workers
/// Whether the server connection is up. The read and the event callback set and clear it; writers test it first.
extern std::atomic<bool> g_bConnected;

inline EAppState GetAppState()
{
    return g_eAppState;
}
inline void SetAppState(EAppState p_eState)
{
    g_eAppState = p_eState;
}
