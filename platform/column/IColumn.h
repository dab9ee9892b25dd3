#pragma once
#include <cstdint>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// The sample grid of a rate.
class IColumn
{
  public:
    /// Ticks of the sample p_nSteps grid points after p_nTicks on the grid of p_nRate: point i of a second is
    /// truncate((i / r) * 10000000.0 + 0.5) ticks after its start. Returns p_nTicks if the rate is 0.
    static std::int64_t GetNextTimeStamp(std::int64_t p_nTicks, std::int64_t p_nRate, std::int64_t p_nSteps);
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
