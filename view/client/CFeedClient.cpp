#include "view/client/CFeedClient.h"
#include "view/state/CViewState.h"
#include <chrono>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr auto g_tRetry = std::chrono::seconds(2);
}

CFeedClient::CFeedClient(CViewState& r_state, std::string p_strAddr, unsigned p_nPort)
    : m_state(r_state), m_strAddr(std::move(p_strAddr)), m_nPort(p_nPort)
{
    m_state.OnLink(false, "");
    m_thread = std::thread([this] { Connect(); });
}

CFeedClient::~CFeedClient()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bStop = true;
        m_cvStop.notify_all();
    }
    m_thread.join();
    if (m_pFeed)
        m_pFeed->SetCallBack(nullptr);
}

void CFeedClient::Connect()
{
    std::unique_lock<std::mutex> lock(m_mtx);
    while (!m_bStop)
    {
        lock.unlock();
        std::string strWhy;
        unsigned long hConn = 0;
        try
        {
            // The element type of the platform: this program posts no event, and may not.
            hConn = Runtime::Init(Norvik::Energy::Kestrel::eElemPlatform, "omaview", m_strAddr, m_nPort);
        }
        catch (const std::exception& ex)
        {
            strWhy = ex.what();
        }
        if (hConn != 0)
        {
            m_pFeed = std::make_unique<Runtime::CResultFeed>(hConn);
            m_pFeed->SetCallBack(this);
            return;
        }
        m_state.OnLink(false, strWhy);
        lock.lock();
        m_cvStop.wait_for(lock, g_tRetry, [this] { return m_bStop; });
    }
}

void CFeedClient::Receive(const Runtime::SFeedBatch& p_batch)
{
    m_state.Receive(p_batch);
}

void CFeedClient::Health(const Runtime::SFeedHealth& p_health)
{
    m_state.OnHealth(p_health);
}

void CFeedClient::Status(unsigned long p_eStatus, unsigned long, unsigned long)
{
    if (p_eStatus == Runtime::eConnected)
    {
        m_state.OnLink(true, "");
        m_pFeed->Start(m_state.EventsSince());
    }
    else if (p_eStatus == Runtime::eNotConnected || p_eStatus == Runtime::eDisconnected)
        m_state.OnLink(false, "");
}
