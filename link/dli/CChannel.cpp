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
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
