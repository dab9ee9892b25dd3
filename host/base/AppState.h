#pragma once
#include <atomic>
#include <cstdint>

/// State of the process. Run to suspend by any SuspendApp, either to stop by StopApplication; never back.
enum EAppState : std::int32_t
{
    eAppRun = 0,
    eAppSuspend = 1,
    eAppStop = 2
};

/// Where the samples of the jobs come from.
enum EDataSource : std::int32_t
{
    eSrcServer = 0,
    eSrcMeasFile = 1,
    eSrcStudy = 2
};

extern std::atomic<EAppState> g_eAppState;
extern std::atomic<EDataSource> g_eDataSource; ///< written once, by RunApplication; read by the job workers
/// Connection state for the writers: set and cleared by the read and the event callback, tested before every Write.
extern std::atomic<bool> g_bConnected;

inline EAppState GetAppState()
{
    return g_eAppState;
}
inline void SetAppState(EAppState p_eState)
{
    g_eAppState = p_eState;
}
