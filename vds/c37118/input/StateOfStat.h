#pragma once
#include "vds/config/SynchrophasorConfig.h"

/// State word of the samples of a PMU. Its low 16 bits are STAT; of these, readers take bits 15 to 13, 5 and 4 as
/// INVALID. So a loss of synchronisation within the limits is taken out (bits 13, 5, 4), and a clock beyond its limit
/// is put in (bit 13).
/// @param p_nClockQuality of the frame.
std::uint64_t StateOfStat(std::uint16_t p_nStat, std::uint8_t p_nClockQuality, const SSynchrophasorConfig& p_config);
