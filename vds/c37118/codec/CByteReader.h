#pragma once
#include <bit>
#include <cstdint>
#include <span>
#include <string>

/// Reads big-endian fields from memory. Reading past the end yields zeros and sets an error flag; call Has before
/// allocating anything whose size the sender's counts determine.
class CByteReader
{
  public:
    explicit CByteReader(std::span<const std::uint8_t> p_bytes) : m_bytes(p_bytes) {}

    bool Has(std::size_t p_nBytes) const { return m_bytes.size() - m_nPos >= p_nBytes; }
    bool Ok() const { return m_bOk; }
    bool AtEnd() const { return m_nPos == m_bytes.size(); }

    std::uint8_t U8() { return Take(1).empty() ? std::uint8_t{0} : m_bytes[m_nPos - 1]; }
    std::uint16_t U16() { return static_cast<std::uint16_t>(Number(2)); }
    std::uint32_t U32() { return Number(4); }
    std::int16_t I16() { return static_cast<std::int16_t>(U16()); }
    std::int32_t I32() { return static_cast<std::int32_t>(U32()); }
    float F32() { return std::bit_cast<float>(U32()); }
    std::span<const std::uint8_t> Take(std::size_t p_nBytes)
    {
        m_bOk = m_bOk && Has(p_nBytes);
        if (!m_bOk)
            return {};
        m_nPos += p_nBytes;
        return m_bytes.subspan(m_nPos - p_nBytes, p_nBytes);
    }
    /// An unsigned number of up to four bytes.
    std::uint32_t Unsigned(std::size_t p_nBytes) { return Number(p_nBytes); }
    std::string Text(std::size_t p_nBytes)
    {
        const std::span<const std::uint8_t> bytes = Take(p_nBytes);
        return {bytes.begin(), bytes.end()};
    }

  private:
    std::uint32_t Number(std::size_t p_nBytes)
    {
        std::uint32_t nNumber = 0;
        for (const std::uint8_t nByte : Take(p_nBytes))
            nNumber = (nNumber << 8) | nByte;
        return nNumber;
    }

    std::span<const std::uint8_t> m_bytes;
    std::size_t m_nPos = 0;
    bool m_bOk = true;
};
