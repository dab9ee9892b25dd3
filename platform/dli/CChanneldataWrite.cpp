#include "link/dli/CChanneldataWrite.h"
#include "link/dli/CChannelAnalog.h"
#include "platform/dli/CLibrary.h"
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
constexpr std::size_t g_nMaxChannels = 10000;
} // namespace

struct CChanneldataWrite::SImpl
{
    explicit SImpl(std::shared_ptr<Dli::CConnection> p_pConn) : pConn(std::move(p_pConn)), nWriter(pConn->NewNumber())
    {
    }

    const std::shared_ptr<Dli::CConnection> pConn;
    const unsigned nWriter;
    std::mutex mtx;
    std::shared_ptr<Dli::CWriteReceiver> pReceiver; ///< guarded by mtx

    std::shared_ptr<Dli::CWriteReceiver> Receiver()
    {
        const std::lock_guard<std::mutex> lock(mtx);
        return pReceiver;
    }
};

CChanneldataWrite::CChanneldataWrite(unsigned long& p_hConn)
    : m_pImpl(std::make_shared<SImpl>(Dli::CLibrary::Get().Connection(p_hConn)))
{
    Dli::CLibrary::Get().Adopt(this);
}

CChanneldataWrite::~CChanneldataWrite()
{
    SetCallBack(nullptr);
    // The server stops whatever this writer has started.
    m_pImpl->pConn->Send([this](Link::Message& r_message)
                         { r_message.mutable_stop_write()->set_writer(m_pImpl->nWriter); });
    Dli::CLibrary::Get().Forget(this);
}

void CChanneldataWrite::SetCallBack(CChannelDataWriteCallBack* p_pCallBack)
{
    std::shared_ptr<Dli::CWriteReceiver> pOld;
    {
        const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
        pOld = std::move(m_pImpl->pReceiver);
        m_pImpl->pReceiver.reset();
        m_pImpl->pConn->RemoveWriter(m_pImpl->nWriter);
    }
    if (pOld)
        pOld->Close();
    if (!p_pCallBack)
        return;
    const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
    m_pImpl->pReceiver = std::make_shared<Dli::CWriteReceiver>(m_pImpl->pConn->Pool(), p_pCallBack);
    m_pImpl->pConn->AddWriter(m_pImpl->pReceiver, m_pImpl->nWriter);
}

void CChanneldataWrite::Start(unsigned long p_nId, std::vector<unsigned long>& p_ids, int p_nRate)
{
    if (p_ids.size() > g_nMaxChannels)
        throw CDliError("Start: more than " + std::to_string(g_nMaxChannels) + " channels");
    Link::StartWrite start;
    start.set_writer(m_pImpl->nWriter);
    start.set_pmu(p_nId);
    start.set_rate(p_nRate);
    start.mutable_ids()->Assign(p_ids.begin(), p_ids.end());
    const std::shared_ptr<Dli::CWriteReceiver> pReceiver = m_pImpl->Receiver();
    if (pReceiver)
        pReceiver->Begin(start);
    const bool bSent =
        m_pImpl->pConn->Send([&](Link::Message& r_message) { *r_message.mutable_start_write() = start; });
    // Without a connection the value is discarded, now and later.
    if (pReceiver && !bSent)
        pReceiver->End();
}

void CChanneldataWrite::Stop(unsigned long p_nId)
{
    if (const std::shared_ptr<Dli::CWriteReceiver> pReceiver = m_pImpl->Receiver())
        pReceiver->End();
    m_pImpl->pConn->Send(
        [&](Link::Message& r_message)
        {
            r_message.mutable_stop_write()->set_writer(m_pImpl->nWriter);
            r_message.mutable_stop_write()->set_pmu(p_nId);
        });
}

void CChanneldataWrite::Write(unsigned long p_nId, std::vector<CChannel*>& p_values)
{
    for (const CChannel* pChannel : p_values)
    {
        if (!pChannel)
            throw CDliError("Write: a channel is null");
    }
    if (p_values.empty())
        return;
    m_pImpl->pConn->SendValues(
        [&](Link::Message& r_message)
        {
            Link::WriteValues& write = *r_message.mutable_write_values();
            write.set_writer(m_pImpl->nWriter);
            write.set_pmu(p_nId);
            write.set_time(p_values.front()->GetTime());
            for (const CChannel* pChannel : p_values)
            {
                // Every sample is a CChannelAnalog, including the application's: the interface has no other kind.
                CChannel::vdsData data;
                static_cast<const CChannelAnalog*>(pChannel)->GetValue(data, CChannel::eValuePhasor);
                write.add_values(data.fValue1);
                write.add_states(static_cast<std::uint64_t>(pChannel->GetState()));
            }
        });
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
