#pragma once
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Whom this process speaks for: the element ids of the application, which comes first, of its instances, jobs and modes.
/// A server tells each client of events of its own kind only if they are of its elements, and of orders of an operator;
/// one that has declared nothing hears all. Holds for all connections, present and future ones.
void SetElements(const std::vector<unsigned long>& p_vecnId);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
