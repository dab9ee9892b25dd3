#pragma once
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Declares which elements this process represents: the ids of the application (first), its instances, jobs and modes.
/// The server sends each client only those events of its own kind that concern its elements, and operator commands. A
/// client without a declaration receives all events. Applies to all connections, existing and future.
void SetElements(const std::vector<unsigned long>& p_vecnId);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
