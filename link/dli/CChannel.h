#pragma once
#include <cstddef>
#include <cstdint>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// A sample of one channel, created by the library for reading and by the application for writing.
/// Every sample that the library hands out is a CChannelAnalog.
class CChannel
{
  public:
    enum EType : std::int32_t
    {
        eTypeAnalog = 1 ///< the only type of a usable sample
    };
    enum EValueType : std::int32_t
    {
        eValuePhasor = 8 ///< the only value type in use
    };
    /// Value container. When reading with type 8: magnitude in fValue1, angle in degrees in fValue2.
    /// When writing: nKind 2, the value in fValue1.
    struct vdsData
    {
        std::int32_t nKind = 0;
        float fValue1 = 0.0F;
        float fValue2 = 0.0F;
    };

    static void* operator new(std::size_t p_nSize);
    static void operator delete(void* p_pMem);

    // Inline: called thousands of times in each cycle of a large set.
    unsigned long GetId() const { return m_nId; }
    /// Ticks of 100 ns from 0001-01-01 UTC.
    std::int64_t GetTime() const { return m_nTicks; }
    std::int64_t GetState() const { return m_nState; }
    EType GetType() const { return m_eType; }
    void SetTime(std::int64_t p_nTicks) { m_nTicks = p_nTicks; }
    void SetStatus(std::int64_t p_nState) { m_nState = p_nState; }

    // ---- for the library ----
    void SetId(unsigned long p_nId) { m_nId = p_nId; }
    void SetType(EType p_eType) { m_eType = p_eType; }

  protected:
    CChannel(unsigned long p_nId, std::int64_t p_nTicks, std::int64_t p_nState);
    ~CChannel() = default;
    CChannel(const CChannel&) = default;
    CChannel& operator=(const CChannel&) = default;

  private:
    unsigned long m_nId;
    std::int64_t m_nTicks;
    std::int64_t m_nState;
    EType m_eType = eTypeAnalog;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
