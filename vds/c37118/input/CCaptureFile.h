#pragma once
#include <boost/asio/ip/address.hpp>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

/// One TCP or UDP segment of a capture.
struct SSegment
{
    std::int64_t nTicks = 0; ///< when it was captured
    bool bTcp = false;
    boost::asio::ip::address from;
    boost::asio::ip::address to;
    std::uint16_t nPortFrom = 0;
    std::uint16_t nPortTo = 0;
    std::uint32_t nSeq = 0;                ///< TCP: sequence number of the first byte
    bool bSyn = false;                     ///< TCP: a connection starts
    std::span<const std::uint8_t> payload; ///< valid until the next call
};

/// Reads the TCP and UDP segments of a capture in classic pcap format: both byte orders, micro- and nanoseconds;
/// Ethernet with VLAN tags, Linux cooked (1 and 2), raw IP and loopback; IPv4 and IPv6. Other packets and fragments are
/// skipped.
class CCaptureFile
{
  public:
    /// @return false with one line in Error().
    bool Open(const std::string& p_strPath);
    /// @return false at the end, or with Error() set.
    bool Next(SSegment& r_segment);
    const std::string& Error() const { return m_strError; }

    /// Whether the file starts like a capture (also in the newer format, which Open refuses).
    static bool IsCapture(const std::string& p_strPath);

  private:
    bool Fail(const std::string& p_strText);
    std::uint32_t Field(std::size_t p_nPos) const;

    std::string m_strPath;
    std::ifstream m_file;
    bool m_bSwapped = false;
    std::int64_t m_nTicksDivisor = 0; ///< fractions of a second in the file per tick; negative: ticks per fraction
    std::uint32_t m_nLinkType = 0;
    std::uint64_t m_nPacket = 0;
    std::vector<std::uint8_t> m_vecnBytes;
    std::string m_strError;
};
