#pragma once
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Declares which elements this process handles: the element ids of the application (first), its instances, jobs and
/// modes. A server sends a client the events of its own kind, and operator orders, only if they refer to its elements;
/// a client that has declared nothing receives everything. Applies to all connections, existing and future.
void SetElements(const std::vector<unsigned long>& p_vecnId);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
