#pragma once
#include <string_view>

/// One message to the service manager, such as "READY=1". Any thread. Never waits: what a manager that does not read cannot
/// take now is kept and goes ahead of the next message, "WATCHDOG=1" excepted. (The call of libsystemd waits without limit.)
/// @param p_strText empty: only what was kept.
/// @return false if there is no manager, or it cannot be reached.
bool NotifyServiceManager(std::string_view p_strText);
/// How often the manager's watchdog wants "WATCHDOG=1", with room to spare. @return ms; 0: not at all.
unsigned WatchdogPeriod_ms();
