#pragma once
#include "CFaults.h"
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Looks at a text before it is parsed: the parser holds each attribute of an element against all others of it, so that
/// hundreds of thousands would take it minutes. One fault for the first element that has more than 200.
/// Reads encodings of 8 bits that contain ASCII, and those of 16 and 32 bits; others (EBCDIC) pass.
/// @return false after that fault.
bool CheckStartTags(std::string_view p_strText, CFaults& r_faults);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
