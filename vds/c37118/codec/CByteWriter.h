#pragma once
#include <bit>
#include <cstdint>
#include <string_view>
#include <vector>

/// Appends big-endian fields to a vector, which keeps its memory from frame to frame.
class CByteWriter
{
  public:
    explicit CByteWriter(std::vector<std::uint8_t>& r_vecOut) : m_vecOut(r_vecOut) { m_vecOut.clear(); }

    void U8(unsigned p_nValue) { m_vecOut.push_back(static_cast<std::uint8_t>(p_nValue)); }
    void U16(unsigned p_nValue)
    {
        U8(p_nValue >> 8);
        U8(p_nValue);
    }
    void U32(std::uint32_t p_nValue)
    {
        U16(p_nValue >> 16);
        U16(p_nValue & 0xFFFFU);
    }
    void F32(float p_fValue) { U32(std::bit_cast<std::uint32_t>(p_fValue)); }
    void Text(std::string_view p_strText) { m_vecOut.insert(m_vecOut.end(), p_strText.begin(), p_strText.end()); }
    std::size_t Size() const { return m_vecOut.size(); }

  private:
    std::vector<std::uint8_t>& m_vecOut;
};
