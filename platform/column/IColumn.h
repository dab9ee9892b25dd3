#pragma once
#include <cstdint>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// The grid of samples of a rate.
class IColumn
{
  public:
    /// Ticks of the sample that lies p_nSteps grid places after p_nTicks on the grid of p_nRate: the place i of a second
    /// lies truncate((i / r) * 10000000.0 + 0.5) ticks behind it. p_nTicks itself when the rate is 0.
    static std::int64_t GetNextTimeStamp(std::int64_t p_nTicks, std::int64_t p_nRate, std::int64_t p_nSteps);
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
