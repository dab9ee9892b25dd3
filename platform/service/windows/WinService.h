#pragma once
/// Here the calls are the platform's own.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <shellapi.h>
