#pragma once
#include "platform/dli/CEventReceiver.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Keeps the order of what comes on the event channel, and holds a reply back until its caller has had its number and
/// time to store it.
///
/// Threads  NewRequest, Returned, Open: any. The rest: the link's.
class CEventInbox
{
  public:
    struct SRequest
    {
        unsigned long lReqNum = 0;
        std::int64_t nTicks = 0;
    };
    using Deliver = std::function<void(std::shared_ptr<SEventBatch>)>;

    CEventInbox(boost::asio::io_context& p_io, Deliver p_fnDeliver);

    /// Opens a request for what stands at a time; 0: at present. Its reply is held until 100 ms after Returned.
    unsigned long NewRequest(std::int64_t p_nTicks);
    void Returned(unsigned long p_lReqNum);
    /// @return true if the request is open and asks for what stands at present.
    bool IsOfPresent(unsigned long p_lReqNum) const;
    /// Requests without a reply: to be asked again on a new connection.
    std::vector<SRequest> Open() const;

    void Push(std::shared_ptr<SEventBatch> p_pBatch);
    /// Part of a reply; the last part closes the request. @throws CDliError if the parts grow beyond all bounds.
    void PushReply(unsigned long p_lReqNum, std::vector<std::unique_ptr<CEvent>> p_vecpEvent, bool p_bMore);
    /// The connection has been lost: parts of a reply are void.
    void Lost()
    {
        m_vecpPart.clear();
        m_nPartBytes = 0;
    }

  private:
    struct SOpen
    {
        std::int64_t nTicks = 0;
        bool bReturned = false;
        std::chrono::steady_clock::time_point tDue;
    };
    void Drain();
    /// @return false if the batch answers a request whose caller is not to be answered yet.
    bool MayGo(const SEventBatch& p_batch);

    boost::asio::steady_timer m_timer;
    const Deliver m_fnDeliver;
    std::deque<std::shared_ptr<SEventBatch>> m_queBatch;
    std::vector<std::unique_ptr<CEvent>> m_vecpPart; ///< of a reply that is not whole yet
    std::size_t m_nPartBytes = 0;

    mutable std::mutex m_mtx;
    unsigned long m_nLastNum = 0;
    std::map<unsigned long, SOpen> m_mapOpen;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
