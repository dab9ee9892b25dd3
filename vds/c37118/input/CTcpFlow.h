#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

/// Puts the segments of one direction of a TCP connection into their order: what comes twice is left out, what comes
/// too early waits, within bounds. A part that is missing from the capture is passed over when 16 segments wait for it.
class CTcpFlow
{
  public:
    using TBytes = std::span<const std::uint8_t>;

    /// Calls p_fnBytes for what is in order now. @return false if a part is missing and was passed over.
    bool Put(std::uint32_t p_nSeq, bool p_bSyn, TBytes p_payload, const std::function<void(TBytes)>& p_fnBytes);

  private:
    void Deliver(std::uint32_t p_nSeq, TBytes p_payload, const std::function<void(TBytes)>& p_fnBytes);

    bool m_bBegun = false;
    std::uint32_t m_nNext = 0;                                    ///< number of the byte that comes next
    std::map<std::uint32_t, std::vector<std::uint8_t>> m_mapWait; ///< by distance from m_nNext at the last clearing
    std::uint32_t m_nBase = 0;                                    ///< what the keys count from
};
