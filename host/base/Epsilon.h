#pragma once

/// The only epsilon of the analysis: that of single precision, used for double values as well.
inline constexpr double g_fEpsilon = 1.1920929e-07;
