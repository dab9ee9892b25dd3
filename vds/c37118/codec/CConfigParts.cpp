#include "vds/c37118/codec/CConfigParts.h"

namespace
{
constexpr unsigned g_nOnly = 0;
constexpr unsigned g_nFirst = 1;
constexpr unsigned g_nLast = 0xFFFF;
constexpr std::size_t g_nBytesMost = 8 << 20;
} // namespace

bool CConfigParts::Put(std::span<const std::uint8_t> p_body)
{
    if (p_body.size() < 2)
        return false;
    const unsigned nIndex = (unsigned{p_body[0]} << 8) | p_body[1];
    const std::span<const std::uint8_t> part = p_body.subspan(2);
    if (nIndex == g_nOnly || nIndex == g_nFirst)
    {
        m_vecnWhole.assign(part.begin(), part.end());
        m_nNext = nIndex == g_nOnly ? 0 : 2;
        return nIndex == g_nOnly;
    }
    const bool bFits = m_nNext != 0 && (nIndex == m_nNext || nIndex == g_nLast);
    if (!bFits || m_vecnWhole.size() + part.size() > g_nBytesMost)
    {
        m_nNext = 0;
        return false;
    }
    m_vecnWhole.insert(m_vecnWhole.end(), part.begin(), part.end());
    m_nNext = nIndex == g_nLast ? 0 : m_nNext + 1;
    return nIndex == g_nLast;
}
