#pragma once
#include <cstdint>

/// Calls that take memory from the heap, on any thread: malloc and all that stands on it, operator new included.
std::uint64_t CountAllocs();
