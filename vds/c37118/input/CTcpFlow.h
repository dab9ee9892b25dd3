#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

/// Puts the segments of one direction of a TCP connection in order: repeated bytes are dropped, early segments are held
/// back, within limits. A part missing from the capture is skipped when 16 segments wait for it.
class CTcpFlow
{
  public:
    using TBytes = std::span<const std::uint8_t>;

    /// Calls p_fnBytes for the bytes that are now in order. @return false if a missing part was skipped.
    bool Put(std::uint32_t p_nSeq, bool p_bSyn, TBytes p_payload, const std::function<void(TBytes)>& p_fnBytes);

  private:
    void Deliver(std::uint32_t p_nSeq, TBytes p_payload, const std::function<void(TBytes)>& p_fnBytes);

    bool m_bBegun = false;
    std::uint32_t m_nNext = 0;                                    ///< sequence number of the next byte
    std::map<std::uint32_t, std::vector<std::uint8_t>> m_mapWait; ///< by distance from m_nNext at the last clearing
    std::uint32_t m_nBase = 0;                                    ///< the number that the keys are relative to
};
