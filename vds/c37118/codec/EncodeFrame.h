#pragma once
#include "vds/c37118/codec/Frames.h"

// Frames to bytes. The type, size and check word are set here; the head gives the rest. The vector is overwritten and
// keeps its memory. All answer false, with an empty vector, if the content has no frame: more than 65535 bytes, or
// values that do not fit the configuration.

/// CFG-1, CFG-2 or CFG-3, by the type in the head. Names are cut to 16 bytes (CFG-3: 255). CFG-3 goes out in one frame.
bool EncodeConfig(const SConfigFrame& p_config, std::vector<std::uint8_t>& r_vecOut);
/// Integers that are out of range are set to the end of it; NaN becomes the filler.
bool EncodeData(const SConfigFrame& p_config, const SDataFrame& p_data, std::vector<std::uint8_t>& r_vecOut);
bool EncodeHeader(const SHeaderFrame& p_header, std::vector<std::uint8_t>& r_vecOut);
bool EncodeCommand(const SCommandFrame& p_command, std::vector<std::uint8_t>& r_vecOut);
