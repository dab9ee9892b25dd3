#include "link/dli/CChanneldata.h"
#include "platform/dli/CLibrary.h"
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
constexpr std::size_t g_nMaxChannels = 100000;
}

/// State of a read channel; shared with the receiver, which reports to the server through it.
struct CChanneldata::SImpl : public Dli::CDataReceiver::IReport
{
    explicit SImpl(std::shared_ptr<Dli::CConnection> p_pConn) : pConn(std::move(p_pConn)), nSet(pConn->NewNumber()) {}

    void Start(std::int32_t p_nRate, std::int64_t p_nCycle_ms);
    /// Hold mtx. Sends nothing until channels are declared: a callback registered on an open connection may start
    /// before the registering thread calls Add.
    void SendStart();
    void ReportReady(unsigned p_nStart) override;
    void ReportTaken(unsigned p_nStart, std::uint64_t p_nSeq, bool p_bMore) override;

    const std::shared_ptr<Dli::CConnection> pConn;
    const unsigned nSet;
    std::mutex mtx;
    // ---- guarded by mtx ----
    std::vector<unsigned long> vecnId;
    unsigned nStarts = 0;
    bool bStarted = false;
    std::int32_t nRate = 0; ///< Hz, of the last start; 0: by cycle time
    std::int64_t nCycle_ms = 0;
    std::shared_ptr<Dli::CDataReceiver> pReceiver;
};

void CChanneldata::SImpl::Start(std::int32_t p_nRate, std::int64_t p_nCycle_ms)
{
    const std::lock_guard<std::mutex> lock(mtx);
    bStarted = true;
    nRate = p_nRate;
    nCycle_ms = p_nCycle_ms;
    SendStart();
}

void CChanneldata::SImpl::SendStart()
{
    if (vecnId.empty())
        return;
    ++nStarts;
    if (pReceiver)
        pReceiver->Begin(nStarts, vecnId);
    pConn->Send(
        [&](Link::Message& r_message)
        {
            Link::StartSet& start = *r_message.mutable_start_set();
            start.set_set(nSet);
            start.set_start(nStarts);
            start.set_rate(nRate);
            start.set_cycle_ms(nCycle_ms);
            start.mutable_ids()->Assign(vecnId.begin(), vecnId.end());
        });
}

void CChanneldata::SImpl::ReportReady(unsigned p_nStart)
{
    pConn->Send(
        [&](Link::Message& r_message)
        {
            r_message.mutable_set_ready()->set_set(nSet);
            r_message.mutable_set_ready()->set_start(p_nStart);
        });
}

void CChanneldata::SImpl::ReportTaken(unsigned p_nStart, std::uint64_t p_nSeq, bool p_bMore)
{
    pConn->Send(
        [&](Link::Message& r_message)
        {
            Link::CycleAck& ack = *r_message.mutable_cycle_ack();
            ack.set_set(nSet);
            ack.set_start(p_nStart);
            ack.set_seq(p_nSeq);
        },
        p_bMore ? Link::CLinkStream::eGathered : Link::CLinkStream::eAtOnce);
}

CChanneldata::CChanneldata(unsigned long& p_hConn)
    : m_pImpl(std::make_shared<SImpl>(Dli::CLibrary::Get().Connection(p_hConn)))
{
    Dli::CLibrary::Get().Adopt(this);
}

CChanneldata::~CChanneldata()
{
    SetCallBack(nullptr);
    Stop();
    Dli::CLibrary::Get().Forget(this);
}

void CChanneldata::SetCallBack(CChannelDataCallBack* p_pCallBack)
{
    std::shared_ptr<Dli::CDataReceiver> pOld;
    {
        const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
        pOld = std::move(m_pImpl->pReceiver);
        m_pImpl->pReceiver.reset();
        m_pImpl->pConn->RemoveReader(m_pImpl->nSet);
    }
    if (pOld)
        pOld->Close();
    if (!p_pCallBack)
        return;
    const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
    m_pImpl->pReceiver = std::make_shared<Dli::CDataReceiver>(m_pImpl->pConn->Pool(), p_pCallBack, m_pImpl);
    m_pImpl->pConn->AddReader(m_pImpl->pReceiver, m_pImpl->nSet);
}

unsigned long CChanneldata::Add(std::vector<unsigned long>& p_ids, std::vector<int>& p_types, std::int64_t,
                                std::int64_t, unsigned long)
{
    if (p_ids.size() != p_types.size())
        throw CDliError("Add: " + std::to_string(p_ids.size()) + " ids, but " + std::to_string(p_types.size()) +
                        " types");
    for (const int nType : p_types)
    {
        if (nType != CChannel::eValuePhasor)
            throw CDliError("Add: value type " + std::to_string(nType) + " is invalid: expected 8");
    }
    const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
    if (m_pImpl->vecnId.size() + p_ids.size() > g_nMaxChannels)
        throw CDliError("Add: more than " + std::to_string(g_nMaxChannels) + " channels");
    m_pImpl->vecnId.insert(m_pImpl->vecnId.end(), p_ids.begin(), p_ids.end());
    if (m_pImpl->bStarted)
        m_pImpl->SendStart();
    return static_cast<unsigned long>(m_pImpl->vecnId.size());
}

unsigned long CChanneldata::Start(std::int64_t, std::int64_t, ESampleRate p_eRate, unsigned long)
{
    if (p_eRate <= 0)
        throw CDliError("Start: rate " + std::to_string(p_eRate) + " is invalid: expected 1 or more");
    m_pImpl->Start(p_eRate, 0);
    return 0;
}

unsigned long CChanneldata::Start(std::int64_t, std::int64_t, std::int64_t p_nCycle_ms, unsigned long)
{
    if (p_nCycle_ms <= 0)
        throw CDliError("Start: cycle time " + std::to_string(p_nCycle_ms) + " ms is invalid: expected 1 or more");
    m_pImpl->Start(0, p_nCycle_ms);
    return 0;
}

void CChanneldata::Stop()
{
    const std::lock_guard<std::mutex> lock(m_pImpl->mtx);
    if (!m_pImpl->bStarted)
        return;
    m_pImpl->bStarted = false;
    if (m_pImpl->pReceiver)
        m_pImpl->pReceiver->Begin(0, {});
    m_pImpl->pConn->Send([this](Link::Message& r_message) { r_message.mutable_stop_set()->set_set(m_pImpl->nSet); });
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
