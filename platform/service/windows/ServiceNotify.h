#pragma once
/// The manager here is told by the dispatcher's calls only.
inline void NotifyServiceManager(const char*) {}
inline unsigned WatchdogPeriod_ms()
{
    return 0;
}
