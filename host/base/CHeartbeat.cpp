#include "host/base/CHeartbeat.h"
#include <mutex>
#include <set>

namespace
{
std::mutex g_mtxHeartbeat;
std::set<CHeartbeat*> g_setpHeartbeat;
} // namespace

CHeartbeat::CHeartbeat(std::uint32_t p_nLimit_ms) : m_nLimit_ms(p_nLimit_ms)
{
    const std::lock_guard lock(g_mtxHeartbeat);
    g_setpHeartbeat.insert(this);
}

CHeartbeat::~CHeartbeat()
{
    const std::lock_guard lock(g_mtxHeartbeat);
    g_setpHeartbeat.erase(this);
}

bool CHeartbeat::AreAllAlive(std::uint32_t p_nPassed_ms)
{
    const std::lock_guard lock(g_mtxHeartbeat);
    bool bAlive = true;
    for (CHeartbeat* const pHeartbeat : g_setpHeartbeat)
        bAlive = (pHeartbeat->m_nSilent_ms += p_nPassed_ms) <= pHeartbeat->m_nLimit_ms && bAlive;
    return bAlive;
}
