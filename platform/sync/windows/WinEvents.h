#pragma once
/// The platform provides these calls. The test seam exists only in the posix version.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
