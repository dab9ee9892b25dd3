#pragma once
#include <cstdint>

// The 64-bit state word of a sample. 0: good.

/// Bits that make a sample INVALID for a reader.
constexpr std::uint64_t g_nStateInvalidBits = 0xE030 | (std::uint64_t{0x78600000} << 32);
/// State of a channel that has no sample in a cycle: one of the bits above.
constexpr std::uint64_t g_nStateNoSample = 0x2000;
