#pragma once

/// For programs that are no service of the dispatcher's kind: one message to the service manager, such as "READY=1".
/// Goes nowhere if there is no manager. Any thread.
void NotifyServiceManager(const char* p_pText);
/// How often the manager's watchdog wants "WATCHDOG=1", with room to spare. @return ms; 0: not at all.
unsigned WatchdogPeriod_ms();
