#pragma once
/// Here the calls are the platform's own.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <cstdint>
#include <windows.h>

#include <shellapi.h>

/// The manager here has no watchdog.
using LPHEALTH_FUNCTION = bool (*)(std::uint32_t p_nPassed_ms);
inline void SetServiceHealthCheck(LPHEALTH_FUNCTION) {}
