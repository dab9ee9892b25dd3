#pragma once
#include "vds/c37118/codec/Frames.h"
#include <span>

// Bytes to frames. The bytes are one whole frame, whose size and check word are tested here once more; lengths that do
// not fit their counts are refused before room is made for what they promise. All answer false with one line in
// r_strError that names what was wrong.

/// The fields that all frames begin with, and the check word.
bool DecodeHead(std::span<const std::uint8_t> p_bytes, SFrameHead& r_head, std::string& r_strError);
/// CFG-1, CFG-2 or CFG-3. A part of a CFG-3 in several frames is refused, see CConfigParts.
bool DecodeConfig(std::span<const std::uint8_t> p_bytes, SConfigFrame& r_config, std::string& r_strError);
/// What follows the head (in CFG-3: and CONT_IDX), without the check word.
bool DecodeConfigBody(const SFrameHead& p_head, std::span<const std::uint8_t> p_body, SConfigFrame& r_config,
                      std::string& r_strError);
/// r_data keeps its memory from frame to frame. A size other than that of the configuration is refused.
bool DecodeData(std::span<const std::uint8_t> p_bytes, const SConfigFrame& p_config, SDataFrame& r_data,
                std::string& r_strError);
/// Bytes of the text that cannot be printed stand as dots.
bool DecodeHeader(std::span<const std::uint8_t> p_bytes, SHeaderFrame& r_header, std::string& r_strError);
bool DecodeCommand(std::span<const std::uint8_t> p_bytes, SCommandFrame& r_command, std::string& r_strError);

/// Text from outside with a dot for each byte that is not printable ASCII.
std::string Printable(std::string p_strText);
