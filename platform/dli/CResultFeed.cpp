#include "link/dli/CResultFeed.h"
#include "platform/dli/CLibrary.h"
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
struct CResultFeed::SImpl
{
    explicit SImpl(std::shared_ptr<Dli::CConnection> p_pConn) : pConn(std::move(p_pConn)) {}

    const std::shared_ptr<Dli::CConnection> pConn;
    std::mutex mtx;
    std::shared_ptr<Dli::CFeedReceiver> pReceiver; ///< under mtx
};

CResultFeed::CResultFeed(unsigned long& p_hConn)
    : m_pImpl(std::make_shared<SImpl>(Dli::CLibrary::Get().Connection(p_hConn)))
{
    Dli::CLibrary::Get().Adopt(this);
}

CResultFeed::~CResultFeed()
{
    SetCallBack(nullptr);
    Dli::CLibrary::Get().Forget(this);
}

void CResultFeed::SetCallBack(CResultFeedCallBack* p_pCallBack)
{
    std::shared_ptr<Dli::CFeedReceiver> pOld;
    {
        const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
        pOld = std::move(m_pImpl->pReceiver);
        m_pImpl->pReceiver.reset();
        m_pImpl->pConn->SetFeed(nullptr);
    }
    if (pOld)
        pOld->Close();
    if (!p_pCallBack)
        return;
    const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
    const auto fnTaken = [pwConn = std::weak_ptr(m_pImpl->pConn)](std::uint32_t p_nStart, std::uint64_t p_nSeq)
    {
        const std::shared_ptr<Dli::CConnection> pConn = pwConn.lock();
        if (pConn)
            pConn->Send(
                [&](Link::Message& r_message)
                {
                    r_message.mutable_feed_ack()->set_start(p_nStart);
                    r_message.mutable_feed_ack()->set_seq(p_nSeq);
                });
    };
    m_pImpl->pReceiver = std::make_shared<Dli::CFeedReceiver>(m_pImpl->pConn->Pool(), p_pCallBack, fnTaken);
    m_pImpl->pConn->SetFeed(m_pImpl->pReceiver);
}

void CResultFeed::Start(std::int64_t p_nEventsSince)
{
    const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
    if (!m_pImpl->pReceiver)
        return;
    const std::uint32_t nStart = m_pImpl->pReceiver->Begin();
    m_pImpl->pConn->Send(
        [&](Link::Message& r_message)
        {
            r_message.mutable_start_feed()->set_start(nStart);
            r_message.mutable_start_feed()->set_events_since(p_nEventsSince);
        });
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
