#pragma once
/// The platform provides these calls.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <cstdint>
#include <windows.h>

#include <shellapi.h>

/// Here the manager has no watchdog.
using LPHEALTH_FUNCTION = bool (*)(std::uint32_t p_nPassed_ms);
inline void SetServiceHealthCheck(LPHEALTH_FUNCTION) {}
