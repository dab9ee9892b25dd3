#pragma once
#include "vds/c37118/codec/Frames.h"
#include <span>

// Bytes to frames. The bytes are one whole frame; its size and check word are verified again here. Lengths that do not
// match their counts are rejected before any memory is allocated for them. All functions return false with one line in
// r_strError that names the fault.

/// The fields at the start of every frame, and the check word.
bool DecodeHead(std::span<const std::uint8_t> p_bytes, SFrameHead& r_head, std::string& r_strError);
/// CFG-1, CFG-2 or CFG-3. One part of a CFG-3 in several frames is rejected, see CConfigParts.
bool DecodeConfig(std::span<const std::uint8_t> p_bytes, SConfigFrame& r_config, std::string& r_strError);
/// The body after the head (for CFG-3 also after CONT_IDX), without the check word.
bool DecodeConfigBody(const SFrameHead& p_head, std::span<const std::uint8_t> p_body, SConfigFrame& r_config,
                      std::string& r_strError);
/// r_data keeps its memory from frame to frame. A size other than the configuration's is rejected.
bool DecodeData(std::span<const std::uint8_t> p_bytes, const SConfigFrame& p_config, SDataFrame& r_data,
                std::string& r_strError);
/// Unprintable bytes of the text become dots.
bool DecodeHeader(std::span<const std::uint8_t> p_bytes, SHeaderFrame& r_header, std::string& r_strError);
bool DecodeCommand(std::span<const std::uint8_t> p_bytes, SCommandFrame& r_command, std::string& r_strError);

/// External text with a dot for each byte that is not printable ASCII.
std::string Printable(std::string p_strText);
