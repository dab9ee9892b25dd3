#include "link/dli/CChannel.h"
#include <new>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
void* CChannel::operator new(std::size_t p_nSize)
{
    return ::operator new(p_nSize);
}
void CChannel::operator delete(void* p_pMem)
{
    ::operator delete(p_pMem);
}

CChannel::CChannel(unsigned long p_nId, std::int64_t p_nTicks, std::int64_t p_nState)
    : m_nId(p_nId), m_nTicks(p_nTicks), m_nState(p_nState)
{
}

unsigned long CChannel::GetId() const
{
    return m_nId;
}
std::int64_t CChannel::GetTime() const
{
    return m_nTicks;
}
std::int64_t CChannel::GetState() const
{
    return m_nState;
}
CChannel::EType CChannel::GetType() const
{
    return m_eType;
}
void CChannel::SetTime(std::int64_t p_nTicks)
{
    m_nTicks = p_nTicks;
}
void CChannel::SetStatus(std::int64_t p_nState)
{
    m_nState = p_nState;
}
void CChannel::SetId(unsigned long p_nId)
{
    m_nId = p_nId;
}
void CChannel::SetType(EType p_eType)
{
    m_eType = p_eType;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
