#pragma once
#include <cstdint>
#include <span>
#include <vector>

/// Assembles a CFG-3 that arrives in several frames. CONT_IDX is 0 for the only frame; otherwise 1 for the first of
/// several, then 2, 3, ..., and 0xFFFF for the last. Each frame has its own check word. A part out of sequence ends the
/// attempt; the next first part starts a new one.
///
/// Memory   bounded: a configuration larger than any data frame can need is abandoned.
/// Threads  one.
class CConfigParts
{
  public:
    /// @param p_body body of a CFG-3 frame with a valid check word, from CONT_IDX on.
    /// @return true: Whole() holds everything that follows CONT_IDX.
    bool Put(std::span<const std::uint8_t> p_body);
    std::span<const std::uint8_t> Whole() const { return m_vecnWhole; }
    /// Call for a new connection.
    void Reset() { m_nNext = 0; }

  private:
    std::vector<std::uint8_t> m_vecnWhole;
    unsigned m_nNext = 0; ///< index of the next expected part; 0: none received yet
};
