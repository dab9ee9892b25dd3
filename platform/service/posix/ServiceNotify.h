#pragma once
#include <string_view>

/// Sends one message to the service manager, such as "READY=1". Any thread. Never waits: messages that the manager
/// cannot receive now are kept and sent before the next one, except "WATCHDOG=1". (The call of libsystemd would wait
/// without limit.)
/// @param p_strText empty: only sends what was kept.
/// @return false if there is no manager, or it cannot be reached.
bool NotifyServiceManager(std::string_view p_strText);
/// How often to send "WATCHDOG=1", with some margin. @return ms; 0: not required.
unsigned WatchdogPeriod_ms();
