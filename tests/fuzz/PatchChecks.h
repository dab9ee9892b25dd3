#pragma once
#include "vds/c37118/codec/Crc.h"
#include <algorithm>
#include <cstdint>
#include <vector>

/// Writes a valid check word into everything that looks like a C37.118 frame, so that the code after the check is
/// tested too.
inline std::vector<std::uint8_t> PatchChecks(const std::uint8_t* p_pData, std::size_t p_nSize)
{
    std::vector<std::uint8_t> vecn(p_pData, p_pData + p_nSize);
    for (std::size_t i = 0; i + 16 <= vecn.size();)
    {
        const std::size_t nSize = static_cast<std::size_t>(vecn[i + 2]) << 8U | vecn[i + 3];
        if (vecn[i] != 0xAA || nSize < 16 || nSize > vecn.size() - i)
        {
            ++i;
            continue;
        }
        const std::uint16_t nCheck = CRC({vecn.data() + i, nSize - 2});
        vecn[i + nSize - 2] = static_cast<std::uint8_t>(nCheck >> 8U);
        vecn[i + nSize - 1] = static_cast<std::uint8_t>(nCheck & 0xFFU);
        i += nSize;
    }
    return vecn;
}
