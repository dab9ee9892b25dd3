#pragma once
/// Here the calls are the platform's own. The test seam exists on the other side only.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <sys/timeb.h>
#include <windows.h>

using STimeB64 = __timeb64;
