#pragma once
#include "CFaults.h"
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Checks a text before it is parsed: the parser compares every attribute of an element with all others, so hundreds of
/// thousands would take it minutes. Reports one fault for the first element with more than 200.
/// Reads 8-bit encodings that contain ASCII, and those of 16 and 32 bits; others (EBCDIC) are not checked.
/// @return false after that fault.
bool CheckStartTags(std::string_view p_strText, CFaults& r_faults);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
