#pragma once
#include <cstdint>
#include <string_view>

// Numbers of the command line. Skips leading blanks, accepts a sign, then reads up to the first character that does not
// belong to a number; 0 if there is no number. Values out of range become the nearest limit.

/// Like _wtoi and _wtol: 32 bits, decimal.
std::int32_t IntFromText(std::wstring_view p_wstrText);
/// Like _wtof: decimal with '.', exponent with e or E. Always finite; independent of the locale.
double DoubleFromText(std::wstring_view p_wstrText);
