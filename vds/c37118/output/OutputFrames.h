#pragma once
#include "vds/c37118/codec/Frames.h"
#include "vds/config/SynchrophasorConfig.h"

// The configuration frames of an output stream.

/// Bits of the digital word of a swing mode.
constexpr std::uint16_t g_nLevelNotified = 1;
constexpr std::uint16_t g_nLevelDistinct = 2;
constexpr std::uint16_t g_nLevelCritical = 4;
constexpr std::uint16_t g_nLevelUndamped = 8;

/// Frames a second, or -n, at which a source can serve an output: no more than the source, and for phasors a grid that
/// is part of the source's.
std::int32_t OutputRate(const SOutputStreamConfig& p_output, std::int32_t p_nSourceRate);

/// @param p_output has PMUs. @param p_bLong names as CFG-3 takes them; otherwise of 16 characters, station names all different.
SConfigFrame OutputConfig(const SOutputStreamConfig& p_output, std::int32_t p_nRate, bool p_bLong);

/// A data frame of this shape without values: fillers in all blocks.
SDataFrame EmptyData(const SConfigFrame& p_config);
