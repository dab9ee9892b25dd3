#include "vds/c37118/codec/Crc.h"
#include <array>

namespace
{
constexpr std::array<std::uint16_t, 256> MakeTable()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i)
    {
        unsigned nValue = i << 8;
        for (int nBit = 0; nBit < 8; ++nBit)
            nValue = (nValue & 0x8000U) != 0 ? (nValue << 1) ^ 0x1021U : nValue << 1;
        table[i] = static_cast<std::uint16_t>(nValue);
    }
    return table;
}
constexpr std::array<std::uint16_t, 256> g_table = MakeTable();
} // namespace

std::uint16_t CRC(std::span<const std::uint8_t> p_bytes)
{
    unsigned nValue = 0xFFFF;
    for (const std::uint8_t nByte : p_bytes)
        nValue = ((nValue << 8) ^ g_table[((nValue >> 8) ^ nByte) & 0xFFU]) & 0xFFFFU;
    return static_cast<std::uint16_t>(nValue);
}
