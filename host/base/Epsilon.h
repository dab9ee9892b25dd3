#pragma once

/// The one epsilon of the analysis: that of single precision, also for double values.
inline constexpr double g_fEpsilon = 1.1920929e-07;
