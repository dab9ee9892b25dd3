#pragma once
#include <string_view>

/// The manager here is told by the dispatcher's calls only.
inline bool NotifyServiceManager(std::string_view)
{
    return false;
}
inline unsigned WatchdogPeriod_ms()
{
    return 0;
}
