#pragma once
#include <cstdint>
#include <span>

/// Check word of a frame: CRC-CCITT, polynomial 0x1021, start value 0xFFFF, not reflected, no final XOR.
std::uint16_t CRC(std::span<const std::uint8_t> p_bytes);
