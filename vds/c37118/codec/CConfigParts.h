#pragma once
#include <cstdint>
#include <span>
#include <vector>

/// Puts a CFG-3 that comes in several frames together: CONT_IDX 0 is the only frame, 1 the first one of several, then 2,
/// 3, ..., and 0xFFFF the last one. Each frame has a check word of its own. A part out of turn ends the attempt; the next
/// first one begins anew.
///
/// Memory   bounded: a configuration that is larger than any data frame can need is given up.
/// Threads  one.
class CConfigParts
{
  public:
    /// @param p_body of a CFG-3 frame with good check word, from CONT_IDX on.
    /// @return true: Whole() holds all that follows CONT_IDX.
    bool Put(std::span<const std::uint8_t> p_body);
    std::span<const std::uint8_t> Whole() const { return m_vecnWhole; }
    /// A new connection.
    void Reset() { m_nNext = 0; }

  private:
    std::vector<std::uint8_t> m_vecnWhole;
    unsigned m_nNext = 0; ///< index of the part that has to follow; 0: none has begun
};
