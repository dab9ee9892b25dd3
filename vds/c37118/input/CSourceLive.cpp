#include "vds/c37118/input/CSourceLive.h"
#include <limits>

CSourceLive::CSourceLive(SSynchrophasorConfig p_config)
    : m_streams(std::move(p_config)), m_nStart(WallTicks()), m_tStart(std::chrono::steady_clock::now())
{
}

std::int64_t CSourceLive::Now() const
{
    return m_nStart + std::chrono::duration_cast<TTicks>(std::chrono::steady_clock::now() - m_tStart).count();
}

void CSourceLive::Start(boost::asio::io_context& p_io, std::function<void()> p_fnReady,
                        std::function<void(const std::string&)> p_fnLine)
{
    m_fnReady = std::move(p_fnReady);
    m_streams.m_fnLine = p_fnLine;
    m_pTimer = std::make_unique<boost::asio::steady_timer>(p_io);
    for (const auto& pReader : m_streams.Readers())
    {
        m_vecpClient.push_back(std::make_unique<CStreamClient>(
            p_io, *pReader, [this] { return Now(); }, [this] { m_fnReady(); }, p_fnLine));
        m_vecpClient.back()->Start();
    }
}

bool CSourceLive::Next(SSourceCycle& r_cycle)
{
    const std::int64_t nNow = Now();
    if (m_streams.Concentrator().Take(r_cycle, nNow))
        return true;
    const std::int64_t nDue = m_streams.Concentrator().Due();
    if (m_pTimer && nDue != std::numeric_limits<std::int64_t>::max())
    {
        m_pTimer->expires_after(TTicks(nDue - nNow + g_nTicksPerSec / 1000));
        m_pTimer->async_wait(
            [this](const boost::system::error_code& p_ec)
            {
                if (!p_ec && m_fnReady)
                    m_fnReady();
            });
    }
    return false;
}

void CSourceLive::Stop()
{
    m_fnReady = [] {};
    m_streams.m_fnLine = nullptr;
    for (const auto& pClient : m_vecpClient)
        pClient->Stop();
    if (m_pTimer)
        m_pTimer->cancel();
}
