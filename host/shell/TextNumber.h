#pragma once
#include <cstdint>
#include <string_view>

// Numbers of the command line. Leading blanks and a sign are taken, then the number up to the first other character; 0 if
// there is none. What does not fit becomes the nearest limit.

/// As _wtoi and _wtol: 32 bits, decimal.
std::int32_t IntFromText(std::wstring_view p_wstrText);
/// As _wtof: decimal with '.', exponent by e or E. Always finite; independent of the locale.
double DoubleFromText(std::wstring_view p_wstrText);
