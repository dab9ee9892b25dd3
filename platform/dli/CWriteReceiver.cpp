#include "platform/dli/CWriteReceiver.h"
#include "link/dli/EDli.h"
#include <algorithm>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
/// Far above the time that the application itself waits for an answer.
constexpr auto g_tFirstDelay = std::chrono::seconds(2);
constexpr auto g_tLastDelay = std::chrono::seconds(32);
} // namespace

void CWriteReceiver::Begin(Link::StartWrite& r_start)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    r_start.set_start(++m_nStart);
    m_start = r_start;
    m_bStands = true;
    m_bRefused = false;
    m_tDelay = g_tFirstDelay;
    m_tAgain = std::chrono::steady_clock::now() + m_tDelay;
}

void CWriteReceiver::End()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_start.reset();
    m_bStands = false;
}

void CWriteReceiver::Answered(const Link::WriteResponse& p_response)
{
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (!m_bStands || p_response.start() != m_nStart)
            return;
        if (p_response.error() == 0)
            m_start.reset();
        else if (std::exchange(m_bRefused, true))
            return;
    }
    PushStatus(eWriteResponse, static_cast<unsigned long>(p_response.pmu()), p_response.error());
}

bool CWriteReceiver::IsDue(TTime p_tNow)
{
    if (!m_start || p_tNow < m_tAgain)
        return false;
    m_tDelay = std::min(m_tDelay * 2, g_tLastDelay);
    m_tAgain = p_tNow + m_tDelay;
    return true;
}

void CWriteReceiver::CallStatus(const SStatus& p_status)
{
    m_pCallBack->Status(p_status.eStatus, p_status.lReqNum, p_status.lAddInfo);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
