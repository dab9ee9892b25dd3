#pragma once
#include "vds/config/SynchrophasorConfig.h"

/// State word of the samples of a PMU. Its low 16 bits are STAT; of these, readers treat bits 15 to 13, 5 and 4 as
/// INVALID. So a loss of synchronisation within the limits is masked out (bits 13, 5, 4), and a clock beyond its limit
/// sets bit 13.
/// @param p_nClockQuality from the frame.
std::uint64_t StateOfStat(std::uint16_t p_nStat, std::uint8_t p_nClockQuality, const SSynchrophasorConfig& p_config);
