#pragma once
#include "CLinkStream.h"
#include "link/dli/CEventdata.h"
#include "link/dli/EDli.h"
#include "platform/dli/CDataReceiver.h"
#include "platform/dli/CEventInbox.h"
#include "platform/dli/CEventReceiver.h"
#include "platform/dli/CFeedReceiver.h"
#include "platform/dli/CThreadPool.h"
#include "platform/dli/CWriteReceiver.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// One connection to the server. Reconnects indefinitely; the delay grows from 100 ms to 5 s after a loss.
///
/// Owner    CLibrary, until the end of the process.
/// Threads  public members: any. ILinkUser: the library's link thread. No call into the application is made here;
///          all go through the receivers' lanes.
/// Locks    m_mtx first, then the lock of a receiver or the stream; never in reverse order.
class CConnection final : public Link::ILinkUser, public CEventdata, public std::enable_shared_from_this<CConnection>
{
  public:
    CConnection(boost::asio::io_context& p_io, CThreadPool& p_pool, EElementType p_eElem, std::string p_strName,
                boost::asio::ip::tcp::endpoint p_endpoint, std::string p_strHost, std::uint64_t p_nClient,
                std::shared_ptr<int> p_pnTelling);

    /// Called on the link's thread before each attempt. Set before Open.
    std::function<Link::SLinkSecurity()> m_fnSecurity;
    /// The elements of the process. Called when a connection has been established. Set before Open.
    std::function<std::vector<unsigned long>()> m_fnElements;
    void SendElements();
    /// Why the two sides do not accept each other; empty if that is not the problem.
    std::string Refusal() const;

    using TTime = std::chrono::steady_clock::time_point;

    /// All connections of the process to one server form one link: called when this one is lost, closes the others. On
    /// the link's thread. Set before Open.
    std::function<void()> m_fnLost;
    /// Called on the link's thread: readers of the process on that server, on any connection. Set before Open.
    enum class EReaders
    {
        eNone,
        eBusy, ///< one of them has not been told of a loss yet, or is inside a call
        eAtRest
    };
    std::function<EReaders()> m_fnReaders;
    EReaders Readers() const; ///< of this connection
    /// Closes the connection or the current attempt; it reconnects as after any loss.
    void GiveUp();
    const boost::asio::ip::tcp::endpoint& Endpoint() const { return m_endpoint; }

    void Open();
    bool WaitConnected(std::chrono::milliseconds p_tLimit);
    /// Asks the server for a reply after everything sent so far.
    void AskFlush();
    /// Waits until the reply has arrived, the connection is lost or the time is up.
    void WaitFlushed(TTime p_tLimit);
    /// Closes the link and makes no further attempts.
    void Shutdown();
    CThreadPool& Pool() { return m_pool; }

    /// Queues a message. @return false without a connection: the message is dropped.
    template <class TFill>
    bool Send(TFill&& p_fnFill, Link::CLinkStream::EUrgency p_eUrgency = Link::CLinkStream::eAtOnce)
    {
        const std::shared_ptr<Link::CLinkStream> pStream = Stream();
        return pStream && pStream->Send(std::forward<TFill>(p_fnFill), p_eUrgency);
    }
    /// The same for values that are useless later: also dropped when too much is queued.
    template <class TFill>
    bool SendValues(TFill&& p_fnFill)
    {
        const std::shared_ptr<Link::CLinkStream> pStream = Stream();
        return pStream && pStream->Send(std::forward<TFill>(p_fnFill), Link::CLinkStream::eGathered, g_nMaxWaiting);
    }

    // ---- receivers: informed of the connection's state from now on; at once if it is connected ----
    void AddReader(const std::shared_ptr<CDataReceiver>& p_pReceiver, unsigned p_nSet);
    void AddWriter(const std::shared_ptr<CWriteReceiver>& p_pReceiver, unsigned p_nWriter);
    /// Null: none any more.
    void SetFeed(const std::shared_ptr<CFeedReceiver>& p_pReceiver);
    void RemoveReader(unsigned p_nSet);
    void RemoveWriter(unsigned p_nWriter);
    /// Number for a new read set or writer.
    unsigned NewNumber();

    // ---- CEventdata ----
    unsigned long Read(std::int64_t p_nTicks, unsigned long p_n) override;
    void Subscribe(std::int64_t p_nTicks, int p_n1, int p_n2, int p_n3) override;
    void Unsubscribe() override;
    void Reserved3() override {}
    void PostAt(std::int64_t p_nTicks, EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem,
                unsigned long p_nElemId, const std::string& p_strText) override;
    void Post(EIncidenceKey p_eKey, ETransition p_eTrans, EElementType p_eElem, unsigned long p_nElemId,
              const std::string& p_strText) override;
    void Reserved6() override {}
    void AddCallBack(CEventDataCallBack* p_pCallBack, int p_nElem) override;
    void RemoveCallBack(CEventDataCallBack* p_pCallBack) override;

    // ---- ILinkUser ----
    void OnLinkOpen() override;
    void OnLinkMessage(const Link::Message& p_message) override;
    void OnLinkClosed(const std::string& p_strReason) override;

  private:
    static constexpr std::size_t g_nMaxWaiting = 8U << 20U;

    std::shared_ptr<Link::CLinkStream> Stream() const;
    void TryConnect();
    void OnWelcome(const Link::Welcome& p_welcome);
    void ContinueSubscription();
    void SendSubscribe(std::int64_t p_nTicks, bool p_bAfterTold);
    void FillElements(Link::Message& r_message) const;
    Link::Position Told() const;
    void NoteTold(std::uint64_t p_nEpoch, std::uint64_t p_nSeq);
    void StartWritersAgain();
    void TellWriters(std::vector<std::shared_ptr<CWriteReceiver>> p_vecpWriter, TTime p_tLimit);
    void ConnectLater();
    void NoteRefusal(const std::string& p_strReason);
    void SendRead(unsigned long p_lReqNum, std::int64_t p_nTicks);
    unsigned long AskStanding(std::int64_t p_nTicks);
    void DeliverEvents(const std::shared_ptr<SEventBatch>& p_pBatch);
    void OnFeedMessage(const Link::Message& p_message);
    void OnEventDelivery(const Link::EventDelivery& p_delivery);
    void OnEventsReply(const Link::EventsReply& p_reply);
    std::vector<std::shared_ptr<CReceiver>> AllReceivers() const; ///< hold m_mtx

    boost::asio::io_context& m_io;
    CThreadPool& m_pool;
    const EElementType m_eElem;
    const std::string m_strName;
    const boost::asio::ip::tcp::endpoint m_endpoint;
    const std::string m_strHost; ///< as configured: the server's certificate must match it
    const std::uint64_t m_nClient;

    // ---- link thread ----
    boost::asio::steady_timer m_timer;
    const std::shared_ptr<int> m_pnTelling; ///< number of connections of the process whose writers do not know of a
                                            ///< loss yet
    std::chrono::milliseconds m_tDelay;
    std::string m_strToken;                   ///< of the current attempt
    boost::asio::steady_timer m_timerWriters; ///< for repeated starts while connected; for telling writers of the loss
                                              ///< otherwise
    CEventInbox m_inbox;
    std::uint64_t m_nEpoch = 0;   ///< of the server of this connection
    unsigned long m_lOwnRead = 0; ///< the library's own request, for a subscription on a different server

    std::mutex m_mtxElements; ///< locked before m_mtx
    mutable std::mutex m_mtx;
    // ---- guarded by m_mtx ----
    std::condition_variable m_cvUp;
    bool m_bUp = false;
    bool m_bFlushed = false; ///< everything sent before AskFlush has been received
    bool m_bShutdown = false;
    std::string m_strRefusal;
    std::shared_ptr<Link::CLinkStream> m_pStream; ///< opening or open
    unsigned m_nLastNumber = 0;
    std::map<unsigned, std::shared_ptr<CDataReceiver>> m_mapReader;
    std::shared_ptr<CFeedReceiver> m_pFeed;
    std::map<unsigned, std::shared_ptr<CWriteReceiver>> m_mapWriter;
    std::vector<std::shared_ptr<CEventReceiver>> m_vecEventReceiver;
    bool m_bSubscribed = false;
    std::int64_t m_nReadTicks = 0; ///< of the newest Read for the present time
    Link::Position m_told;         ///< what has been received, or need not be
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
