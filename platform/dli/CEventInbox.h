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
/// Keeps the order of everything on the event channel, and holds a reply back until its caller has received its number
/// and had time to store it.
///
/// Threads  NewRequest, Returned, Open: any. The rest: the link's thread.
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

    /// Opens a request for the events active at a time; 0: now. Its reply is held until 100 ms after Returned.
    unsigned long NewRequest(std::int64_t p_nTicks);
    void Returned(unsigned long p_lReqNum);
    /// @return true if the request is open and asks for the events active now.
    bool IsOfPresent(unsigned long p_lReqNum) const;
    /// Requests without a reply: to be sent again on a new connection.
    std::vector<SRequest> Open() const;

    void Push(std::shared_ptr<SEventBatch> p_pBatch);
    /// One part of a reply; the last part closes the request. @throws CDliError if the parts exceed the limit.
    void PushReply(unsigned long p_lReqNum, std::vector<std::unique_ptr<CEvent>> p_vecpEvent, bool p_bMore);
    /// The connection is lost: parts of an incomplete reply are discarded.
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
    /// @return false if the batch answers a request whose caller must not be answered yet.
    bool MayGo(const SEventBatch& p_batch);

    boost::asio::steady_timer m_timer;
    const Deliver m_fnDeliver;
    std::deque<std::shared_ptr<SEventBatch>> m_queBatch;
    std::vector<std::unique_ptr<CEvent>> m_vecpPart; ///< parts of an incomplete reply
    std::size_t m_nPartBytes = 0;

    mutable std::mutex m_mtx;
    unsigned long m_nLastNum = 0;
    std::map<unsigned long, SOpen> m_mapOpen;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
