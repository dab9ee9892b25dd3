#pragma once
/// The platform provides these calls.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
