#include "vds/c37118/input/CCaptureFile.h"
#include "vds/base/IsoTime.h"
#include "vds/c37118/codec/CByteReader.h"
#include <algorithm>
#include <array>
#include <optional>

namespace ip = boost::asio::ip;

namespace
{
constexpr std::uint32_t g_nMicro = 0xA1B2C3D4;
constexpr std::uint32_t g_nNano = 0xA1B23C4D;
constexpr std::uint32_t g_nNewForm = 0x0A0D0D0A;
constexpr std::uint32_t g_nPacketMax = 1 << 18;

using TBytes = std::span<const std::uint8_t>;

std::uint32_t Big(TBytes p_bytes, std::size_t p_nPos, std::size_t p_nCount)
{
    return CByteReader(p_bytes.subspan(p_nPos)).Unsigned(p_nCount);
}

/// The IP packet in an Ethernet frame, without VLAN tags.
TBytes AfterTags(TBytes p_bytes, std::size_t p_nType)
{
    while (p_bytes.size() >= p_nType + 6)
    {
        const std::uint32_t nType = Big(p_bytes, p_nType, 2);
        if (nType == 0x0800 || nType == 0x86DD)
            return p_bytes.subspan(p_nType + 2);
        if (nType != 0x8100 && nType != 0x88A8)
            break;
        p_nType += 4;
    }
    return {};
}

TBytes IpPacket(std::uint32_t p_nLinkType, TBytes p_bytes)
{
    const auto fnFrom = [p_bytes](std::size_t p_nPos)
    { return p_bytes.size() > p_nPos ? p_bytes.subspan(p_nPos) : TBytes(); };
    switch (p_nLinkType)
    {
    case 1: // Ethernet
        return AfterTags(p_bytes, 12);
    case 113: // Linux cooked
        return AfterTags(p_bytes, 14);
    case 276: // Linux cooked 2
        return fnFrom(20);
    case 0: // loopback: family in either byte order; the IP version gives the same information
    case 108:
        return fnFrom(4);
    default: // raw
        return p_bytes;
    }
}

bool IsKnownLink(std::uint32_t p_nLinkType)
{
    constexpr std::array<std::uint32_t, 9> known = {0, 1, 12, 14, 101, 108, 113, 228, 276};
    return p_nLinkType == 229 || std::ranges::find(known, p_nLinkType) != known.end();
}

template <class TAddress>
ip::address AddressAt(TBytes p_bytes, std::size_t p_nPos)
{
    typename TAddress::bytes_type bytes;
    std::copy_n(p_bytes.begin() + static_cast<std::ptrdiff_t>(p_nPos), bytes.size(), bytes.begin());
    return TAddress(bytes);
}

/// Payload of an IPv4 packet. @return nullopt for a fragment or a truncated packet.
std::optional<TBytes> OpenV4(TBytes p_packet, SSegment& r_segment, unsigned& r_nProtocol)
{
    const std::size_t nHead = (p_packet[0] & 0xFU) * 4U;
    if (p_packet.size() < 20 || nHead < 20)
        return std::nullopt;
    // A total length of 0 means that the network card has yet to segment the packet.
    const std::size_t nTotal = Big(p_packet, 2, 2) != 0 ? Big(p_packet, 2, 2) : p_packet.size();
    if (nTotal < nHead || nTotal > p_packet.size() || (Big(p_packet, 6, 2) & 0x3FFFU) != 0)
        return std::nullopt;
    r_nProtocol = p_packet[9];
    r_segment.from = AddressAt<ip::address_v4>(p_packet, 12);
    r_segment.to = AddressAt<ip::address_v4>(p_packet, 16);
    return p_packet.subspan(nHead, nTotal - nHead);
}

std::optional<TBytes> OpenV6(TBytes p_packet, SSegment& r_segment, unsigned& r_nProtocol)
{
    if (p_packet.size() < 40)
        return std::nullopt;
    const std::size_t nLength = Big(p_packet, 4, 2);
    if (nLength > p_packet.size() - 40)
        return std::nullopt;
    r_nProtocol = p_packet[6];
    r_segment.from = AddressAt<ip::address_v6>(p_packet, 8);
    r_segment.to = AddressAt<ip::address_v6>(p_packet, 24);
    TBytes rest = p_packet.subspan(40, nLength != 0 ? nLength : p_packet.size() - 40);
    while (r_nProtocol == 0 || r_nProtocol == 43 || r_nProtocol == 60) // extension headers before the payload
    {
        const std::size_t nHead = rest.size() > 1 ? 8 + std::size_t{rest[1]} * 8 : rest.size() + 1;
        if (nHead > rest.size())
            return std::nullopt;
        r_nProtocol = rest[0];
        rest = rest.subspan(nHead);
    }
    return rest;
}

bool OpenTcp(TBytes p_bytes, SSegment& r_segment)
{
    if (p_bytes.size() < 20)
        return false;
    const std::size_t nHead = (p_bytes[12] >> 4) * 4U;
    if (nHead < 20 || nHead > p_bytes.size())
        return false;
    r_segment.nSeq = Big(p_bytes, 4, 4);
    r_segment.bSyn = (p_bytes[13] & 2U) != 0;
    r_segment.payload = p_bytes.subspan(nHead);
    return true;
}

bool OpenUdp(TBytes p_bytes, SSegment& r_segment)
{
    if (p_bytes.size() < 8)
        return false;
    const std::size_t nLength = Big(p_bytes, 4, 2);
    if (nLength < 8 || nLength > p_bytes.size())
        return false;
    r_segment.payload = p_bytes.subspan(8, nLength - 8);
    return true;
}

bool OpenPacket(TBytes p_packet, SSegment& r_segment)
{
    if (p_packet.empty())
        return false;
    unsigned nProtocol = 0;
    std::optional<TBytes> bytes;
    if ((p_packet[0] >> 4) == 4)
        bytes = OpenV4(p_packet, r_segment, nProtocol);
    else if ((p_packet[0] >> 4) == 6)
        bytes = OpenV6(p_packet, r_segment, nProtocol);
    if (!bytes || bytes->size() < 4)
        return false;
    r_segment.nPortFrom = static_cast<std::uint16_t>(Big(*bytes, 0, 2));
    r_segment.nPortTo = static_cast<std::uint16_t>(Big(*bytes, 2, 2));
    r_segment.bTcp = nProtocol == 6;
    return nProtocol == 6 ? OpenTcp(*bytes, r_segment) : nProtocol == 17 && OpenUdp(*bytes, r_segment);
}
} // namespace

bool CCaptureFile::Fail(const std::string& p_strText)
{
    m_strError = m_strPath + ": " + p_strText;
    return false;
}

/// A 32-bit field of the file's own headers.
std::uint32_t CCaptureFile::Field(std::size_t p_nPos) const
{
    const std::uint32_t nBig = Big(m_vecnBytes, p_nPos, 4);
    return m_bSwapped ? __builtin_bswap32(nBig) : nBig;
}

bool CCaptureFile::IsCapture(const std::string& p_strPath)
{
    std::ifstream file(p_strPath, std::ios::binary);
    std::array<char, 4> magic{};
    if (!file.read(magic.data(), magic.size()))
        return false;
    const std::uint32_t nMagic = Big({reinterpret_cast<const std::uint8_t*>(magic.data()), 4}, 0, 4);
    return nMagic == g_nMicro || nMagic == g_nNano || nMagic == g_nNewForm || __builtin_bswap32(nMagic) == g_nMicro ||
           __builtin_bswap32(nMagic) == g_nNano;
}

bool CCaptureFile::Open(const std::string& p_strPath)
{
    m_strPath = p_strPath;
    m_strError.clear();
    m_nPacket = 0;
    m_bSwapped = false;
    m_file = std::ifstream(p_strPath, std::ios::binary);
    m_vecnBytes.assign(24, 0);
    if (!m_file.read(reinterpret_cast<char*>(m_vecnBytes.data()), 24))
        return Fail("cannot be read, expected a capture (pcap)");
    if (Field(0) == g_nNewForm)
        return Fail("is a capture in pcapng format, expected the classic format: convert it with editcap -F pcap");
    m_bSwapped = Field(0) != g_nMicro && Field(0) != g_nNano;
    if (Field(0) != g_nMicro && Field(0) != g_nNano)
        return Fail("is not a capture, expected the classic pcap format");
    m_nTicksDivisor = Field(0) == g_nNano ? 100 : -10;
    m_nLinkType = Field(20) & 0xFFFFU;
    return IsKnownLink(m_nLinkType) || Fail("link type " + std::to_string(m_nLinkType) +
                                            " is unknown, expected Ethernet, Linux cooked, raw IP or loopback");
}

/// A packet truncated at the end of the file means that the capture was stopped in the middle of it.
bool CCaptureFile::Next(SSegment& r_segment)
{
    m_vecnBytes.resize(16);
    while (m_file.read(reinterpret_cast<char*>(m_vecnBytes.data()), 16))
    {
        ++m_nPacket;
        const std::uint32_t nSize = Field(8);
        const std::int64_t nFraction = Field(4);
        r_segment.nTicks = g_nTicksOf1970 + std::int64_t{Field(0)} * g_nTicksPerSec +
                           (m_nTicksDivisor > 0 ? nFraction / m_nTicksDivisor : nFraction * -m_nTicksDivisor);
        if (nSize > g_nPacketMax)
            return Fail("packet " + std::to_string(m_nPacket) + ": expected at most " + std::to_string(g_nPacketMax) +
                        " bytes, its length says " + std::to_string(nSize));
        m_vecnBytes.resize(nSize);
        if (!m_file.read(reinterpret_cast<char*>(m_vecnBytes.data()), nSize))
            return false;
        if (OpenPacket(IpPacket(m_nLinkType, m_vecnBytes), r_segment))
            return true;
        m_vecnBytes.resize(16);
    }
    return false;
}
