#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/codec/Crc.h"
#include <algorithm>

namespace
{
constexpr std::int64_t g_nWorkPerByte = 64;
constexpr std::int64_t g_nWorkMax = 4 << 20;
} // namespace

void CFrameCutter::Feed(std::span<const std::uint8_t> p_bytes)
{
    m_vecBuffer.erase(m_vecBuffer.begin(), m_vecBuffer.begin() + static_cast<std::ptrdiff_t>(m_nBegin));
    m_nSought = m_nSought > m_nBegin ? m_nSought - m_nBegin : 0;
    m_nBegin = 0;
    m_vecBuffer.insert(m_vecBuffer.end(), p_bytes.begin(), p_bytes.end());
    m_counters.nBytes += p_bytes.size();
    m_nWork = std::min(m_nWork + static_cast<std::int64_t>(p_bytes.size()) * g_nWorkPerByte, g_nWorkMax);
}

CFrameCutter::EPlace CFrameCutter::Look(std::size_t p_nPos, std::size_t& r_nSize)
{
    const std::span<const std::uint8_t> bytes = std::span(m_vecBuffer).subspan(p_nPos);
    if (bytes[0] != 0xAA)
        return eNoFrame;
    if (bytes.size() > 1 && (bytes[1] >> 4) >= g_nFrameTypes)
        return eNoFrame;
    if (bytes.size() < 4)
        return eShort;
    r_nSize = (std::size_t{bytes[2]} << 8) | bytes[3];
    if (r_nSize < g_nFrameMin)
        return eNoFrame;
    if (bytes.size() < r_nSize)
        return eShort;
    m_nWork -= static_cast<std::int64_t>(r_nSize);
    const unsigned nCheck = (unsigned{bytes[r_nSize - 2]} << 8) | bytes[r_nSize - 1];
    return CRC(bytes.first(r_nSize - 2)) == nCheck ? eFrame : eBadCheck;
}

bool CFrameCutter::IsUsualSize(std::size_t p_nPos, std::size_t p_nSize) const
{
    return m_bInStep && m_vecBuffer.size() - p_nPos >= 4 && m_vecnUsual[m_vecBuffer[p_nPos + 1] >> 4] == p_nSize;
}

/// First good frame after an incomplete one.
bool CFrameCutter::FindBehind(std::size_t p_nPos, std::size_t& r_nPos, std::size_t& r_nSize)
{
    std::size_t nSought = m_vecBuffer.size();
    for (r_nPos = std::max(p_nPos + 1, m_nSought); r_nPos < m_vecBuffer.size(); ++r_nPos)
    {
        const EPlace ePlace = Look(r_nPos, r_nSize);
        if (ePlace == eFrame)
            return true;
        if (ePlace == eShort)
            nSought = std::min(nSought, r_nPos);
    }
    m_nSought = nSought;
    return false;
}

void CFrameCutter::Skip(std::size_t p_nPos)
{
    m_counters.nResyncs += m_bInStep ? 1U : 0U;
    m_counters.nSkipped += p_nPos - m_nBegin;
    m_bInStep = false;
    m_nBegin = p_nPos;
}

void CFrameCutter::Take(std::size_t p_nSize, std::span<const std::uint8_t>& r_frame)
{
    r_frame = std::span(m_vecBuffer).subspan(m_nBegin, p_nSize);
    const std::size_t nType = r_frame[1] >> 4;
    ++m_counters.vecnFrames[nType];
    m_vecnUsual[nType] = p_nSize;
    m_nBegin += p_nSize;
    m_bInStep = true;
}

bool CFrameCutter::Next(std::span<const std::uint8_t>& r_frame)
{
    while (m_nBegin < m_vecBuffer.size())
    {
        if (m_nWork < 0)
        {
            Skip(m_vecBuffer.size());
            m_nWork = 0;
            return false;
        }
        std::size_t nSize = 0;
        const EPlace ePlace = Look(m_nBegin, nSize);
        if (ePlace == eFrame)
        {
            Take(nSize, r_frame);
            return true;
        }
        if (ePlace == eShort)
        {
            std::size_t nFound = 0;
            if (IsUsualSize(m_nBegin, nSize) || !FindBehind(m_nBegin, nFound, nSize))
                return false;
            Skip(nFound);
            Take(nSize, r_frame);
            return true;
        }
        if (ePlace == eBadCheck && m_bInStep)
            ++m_counters.nCrcErrors;
        const auto itNext = std::find(m_vecBuffer.begin() + static_cast<std::ptrdiff_t>(m_nBegin) + 1,
                                      m_vecBuffer.end(), std::uint8_t{0xAA});
        Skip(static_cast<std::size_t>(itNext - m_vecBuffer.begin()));
    }
    return false;
}

void CFrameCutter::EndDatagram()
{
    if (m_nBegin < m_vecBuffer.size())
        Skip(m_vecBuffer.size());
    m_bInStep = true;
    m_nSought = 0;
}

void CFrameCutter::Reset()
{
    m_vecBuffer.clear();
    m_nBegin = 0;
    m_nSought = 0;
    m_vecnUsual = {};
    m_bInStep = true;
}
