#pragma once
#include "link/dli/Ticks.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Largest time stamp that a source accepts: the end of year 9999.
constexpr std::int64_t g_nTicksMax = 3'155'378'975'999'999'999;

/// "2026-03-05T10:00:00[.fraction][Z]", always UTC. Digits of the fraction beyond the seventh are dropped.
/// @param[out] p_pnDigits number of digits of the fraction, as written (null: not asked for).
/// @return nothing if the text is no such time.
std::optional<std::int64_t> TicksFromIso(std::string_view p_strText, unsigned* p_pnDigits = nullptr);

/// Always with seven digits and "Z": "2026-03-05T10:00:00.0000000Z".
std::string IsoFromTicks(std::int64_t p_nTicks);
