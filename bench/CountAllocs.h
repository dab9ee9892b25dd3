#pragma once
#include <cstdint>

/// Number of heap allocations on all threads: malloc and everything built on it, including operator new.
std::uint64_t CountAllocs();
