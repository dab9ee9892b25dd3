#pragma once
#include "vds/c37118/codec/Frames.h"
#include "vds/config/SynchrophasorConfig.h"

// The configuration frames of an output stream.

/// Bits of the digital word of a swing mode.
constexpr std::uint16_t g_nLevelNotified = 1;
constexpr std::uint16_t g_nLevelDistinct = 2;
constexpr std::uint16_t g_nLevelCritical = 4;
constexpr std::uint16_t g_nLevelUndamped = 8;

/// Frames per second, or -n, at which a source can serve an output: at most the source's rate, and for phasors a grid
/// that is part of the source's.
std::int32_t OutputRate(const SOutputStreamConfig& p_output, std::int32_t p_nSourceRate);

/// @param p_output its PMUs. @param p_bLong names for CFG-3; otherwise of 16 characters, with unique station names.
SConfigFrame OutputConfig(const SOutputStreamConfig& p_output, std::int32_t p_nRate, bool p_bLong);

/// A data frame of this layout without values: fillers in all blocks.
SDataFrame EmptyData(const SConfigFrame& p_config);
