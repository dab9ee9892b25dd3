#include "ServiceNotify.h"
#include <algorithm>
#include <cstdint>
#include <systemd/sd-daemon.h>

void NotifyServiceManager(const char* p_pText)
{
    sd_notify(0, p_pText);
}

unsigned WatchdogPeriod_ms()
{
    constexpr std::uint64_t nLongest_ms = 3600000;
    std::uint64_t nLimit_us = 0;
    if (sd_watchdog_enabled(0, &nLimit_us) <= 0)
        return 0;
    return static_cast<unsigned>(std::clamp<std::uint64_t>(nLimit_us / 3000, 1, nLongest_ms));
}
