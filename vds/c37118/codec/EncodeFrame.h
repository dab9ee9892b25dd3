#pragma once
#include "vds/c37118/codec/Frames.h"

// Frames to bytes. These functions set type, size and check word; the head provides the rest. The vector is overwritten
// and keeps its memory. All return false, with an empty vector, if the content cannot be encoded: more than 65535
// bytes, or values that do not fit the configuration.

/// CFG-1, CFG-2 or CFG-3, according to the type in the head. Names are cut to 16 bytes (CFG-3: 255). CFG-3 is sent in
/// one frame.
bool EncodeConfig(const SConfigFrame& p_config, std::vector<std::uint8_t>& r_vecOut);
/// Integers out of range are clamped; NaN becomes the filler.
bool EncodeData(const SConfigFrame& p_config, const SDataFrame& p_data, std::vector<std::uint8_t>& r_vecOut);
bool EncodeHeader(const SHeaderFrame& p_header, std::vector<std::uint8_t>& r_vecOut);
bool EncodeCommand(const SCommandFrame& p_command, std::vector<std::uint8_t>& r_vecOut);
