#pragma once
/// The platform provides these calls. The test seam exists only in the posix version.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <sys/timeb.h>
#include <windows.h>

using STimeB64 = __timeb64;
