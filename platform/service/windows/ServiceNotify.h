#pragma once
#include <string_view>

/// Here only the dispatcher's calls inform the manager.
inline bool NotifyServiceManager(std::string_view)
{
    return false;
}
inline unsigned WatchdogPeriod_ms()
{
    return 0;
}
