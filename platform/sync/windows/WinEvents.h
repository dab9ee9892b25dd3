#pragma once
/// Here the calls are the platform's own. The test seam exists on the other side only.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
