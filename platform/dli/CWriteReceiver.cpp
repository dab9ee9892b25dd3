#include "platform/dli/CWriteReceiver.h"
#include "link/dli/EDli.h"
#include <algorithm>
#include <utility>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
namespace
{
/// Far longer than the application itself waits for a reply.
constexpr auto g_tFirstDelay = std::chrono::seconds(2);
constexpr auto g_tLastDelay = std::chrono::seconds(32);
} // namespace

void CWriteReceiver::Begin(Link::StartWrite& r_start)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    r_start.set_start(++m_nStart);
    m_start = r_start;
    m_bBegun = true;
    m_bStands = true;
    m_bRefused = false;
    m_tDelay = g_tFirstDelay;
    m_tAgain = std::chrono::steady_clock::now() + m_tDelay;
}

void CWriteReceiver::End()
{
    std::unique_lock<std::mutex> lock(m_mtx);
    m_start.reset();
    m_bBegun = false;
    m_bStands = false;
    m_cvTold.wait(lock,
                  [this] { return m_idTelling == std::thread::id() || m_idTelling == std::this_thread::get_id(); });
}

void CWriteReceiver::OnLost()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_start.reset();
    m_bStands = false;
}

bool CWriteReceiver::IsBegun()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    return m_bBegun;
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
    Push({eWriteResponse, static_cast<unsigned long>(p_response.pmu()), p_response.error(), p_response.start()});
}

bool CWriteReceiver::IsDue(TTime p_tNow)
{
    if (!m_start || p_tNow < m_tAgain)
        return false;
    m_tDelay = std::min(m_tDelay * 2, g_tLastDelay);
    m_tAgain = p_tNow + m_tDelay;
    return true;
}

/// A start may have ended since its reply arrived.
bool CWriteReceiver::BeginTelling(unsigned p_nStart)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (!m_bStands || p_nStart != m_nStart)
        return false;
    m_idTelling = std::this_thread::get_id();
    return true;
}

void CWriteReceiver::EndTelling()
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_idTelling = {};
    m_cvTold.notify_all();
}

void CWriteReceiver::CallStatus(const SStatus& p_status)
{
    const bool bAnswer = p_status.eStatus == eWriteResponse;
    if (bAnswer && !BeginTelling(p_status.nStart))
        return;
    m_pCallBack->Status(p_status.eStatus, p_status.lReqNum, p_status.lAddInfo);
}

void CWriteReceiver::StatusDone(const SStatus& p_status)
{
    if (p_status.eStatus == eWriteResponse)
        EndTelling();
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
