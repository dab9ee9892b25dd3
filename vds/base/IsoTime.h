#pragma once
#include "link/dli/Ticks.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Latest time stamp that a source accepts: the end of year 9999.
constexpr std::int64_t g_nTicksMax = 3'155'378'975'999'999'999;

/// "2026-03-05T10:00:00[.fraction][Z]", always UTC. Fraction digits after the seventh are dropped.
/// @param[out] p_pnDigits number of fraction digits as written (null: not needed).
/// @return nullopt if the text is not such a time.
std::optional<std::int64_t> TicksFromIso(std::string_view p_strText, unsigned* p_pnDigits = nullptr);

/// Always with seven digits and "Z": "2026-03-05T10:00:00.0000000Z".
std::string IsoFromTicks(std::int64_t p_nTicks);
