#pragma once
#include "CLinkShare.h"
#include "LinkSecurity.h"
#include "link.pb.h"
#include <boost/asio/ip/tcp.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

namespace Norvik::Energy::Kestrel::Link
{
inline constexpr std::uint32_t g_nLinkVersion = 2;
inline constexpr std::size_t g_nMaxMessage = 4U << 20U;    ///< bytes of a message that a client accepts
inline constexpr std::size_t g_nMaxRequest = 1U << 20U;    ///< bytes of a message that a server accepts
inline constexpr std::size_t g_nMaxGreeting = 4U << 10U;   ///< the same before the greeting
inline constexpr std::size_t g_nMaxEventText = 64U << 10U; ///< bytes of an event's text

/// Reason of a stream that closed because its peer was silent.
inline const std::string g_strSilentPeer = "peer does not respond";

/// Thrown by a user of a stream that does not accept its peer: the text is sent to the peer.
class CLinkRefusal : public std::runtime_error
{
  public:
    using std::runtime_error::runtime_error;
};

/// Whom a stream reports to, on the thread of its io_context.
class ILinkUser
{
  public:
    virtual ~ILinkUser() = default;
    virtual void OnLinkOpen() = 0;
    /// An exception closes the stream with its text as the reason.
    virtual void OnLinkMessage(const Message& p_message) = 0;
    /// Last call, and the only one if the stream never opened.
    virtual void OnLinkClosed(const std::string& p_strReason) = 0;
};

/// One WebSocket that carries frames of messages in both directions.
///
/// Owner    shared: its creator, and its own operations until it is closed.
/// Threads  Send and Close: any. Everything else, and all calls of the user: the io_context's only thread.
/// Writing  never blocks: messages are collected in a frame while the previous one is being sent. Values (often
///          thousands per second) are collected for a millisecond, or until a message comes that must not wait.
/// Memory   data to be sent is queued as bytes. An incoming message is checked for size before it is parsed, and a long
///          one is released once it has been handled.
/// Peer     pinged when silent; a peer silent for 4.8 s counts as lost.
class CLinkStream : public std::enable_shared_from_this<CLinkStream>
{
  public:
    /// @param p_pTls null: plain text. @param p_strHost name or address that the server's certificate must match.
    explicit CLinkStream(boost::asio::ip::tcp::socket p_socket, TTlsPtr p_pTls = nullptr,
                         const std::string& p_strHost = "");
    ~CLinkStream();
    CLinkStream(const CLinkStream&) = delete;
    CLinkStream& operator=(const CLinkStream&) = delete;

    /// Server side of the handshake. Requests with an Origin header come from web pages and are refused.
    /// Until Greeted, the limits for unknown peers apply.
    /// @param p_pShare null: nothing is shared.
    void Accept(std::shared_ptr<ILinkUser> p_pUser, std::shared_ptr<CLinkShare> p_pShare = nullptr);
    /// The server's user of the stream has accepted the peer: from the next message on the limit is g_nMaxRequest
    /// bytes.
    void Greeted();
    /// Client side: connects within 2 s.
    void Connect(const boost::asio::ip::tcp::endpoint& p_endpoint, std::shared_ptr<ILinkUser> p_pUser);

    enum EUrgency
    {
        eAtOnce,
        eGathered
    };
    /// Queues one message, filled by p_fnFill(Message&) under the stream's lock.
    /// @return false if the stream is not open, or p_nMost bytes are already queued.
    template <class TFill>
    bool Send(TFill&& p_fnFill, EUrgency p_eUrgency = eAtOnce, std::size_t p_nMost = SIZE_MAX)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mtxOut);
            if (!m_bOpen || m_nPending >= p_nMost)
                return false;
            p_fnFill(*m_pMessageOut);
            Queue(p_eUrgency);
        }
        if (m_pShare)
            m_pShare->Shed();
        return true;
    }
    /// Valid from OnLinkOpen on.
    const SLinkPeer& Peer() const { return m_peer; }
    void Close(const std::string& p_strReason);
    /// Tells the peer why it is refused, and closes. On the thread of the io_context.
    void Refuse(const std::string& p_strReason);

  private:
    friend class CLinkShare;
    struct SWeb; // the WebSocket, kept out of this header with its includes

    template <class TNext>
    void Secure(bool p_bServer, TNext p_fnNext);
    void AcceptWeb();
    void AcceptUpgrade();
    void Opened();
    void Read();
    void ReadDone();
    bool Handle();
    bool HandleNext();
    bool ParseNext();
    void SetBounds(std::size_t p_nMessage, std::size_t p_nMembers, std::size_t p_nKept);
    void HoldIn(std::size_t p_nBytes);
    std::size_t Held() const;
    void GiveUp(const std::string& p_strReason);
    void WriteLater();
    void WriteNext();
    void Written();
    void Closed(const std::string& p_strReason);
    // ---- guarded by m_mtxOut ----
    std::string& BackFrame();
    void Queue(EUrgency p_eUrgency);
    void Forget();

    const std::unique_ptr<SWeb> m_pWeb;
    SLinkPeer m_peer;
    std::shared_ptr<ILinkUser> m_pUser; ///< null before the handshake and after the end

    // ---- receiving ----
    std::unique_ptr<Message> m_pMessageIn = std::make_unique<Message>();
    std::size_t m_nMaxBytes = 0;   ///< of a WebSocket message
    std::size_t m_nMaxMembers = 0; ///< of a message
    std::size_t m_nMaxKept = 0;    ///< size up to which a message's memory is kept for the next one
    std::size_t m_nTaken = 0;      ///< bytes of the frame that have been handled
    std::size_t m_nHeldIn = 0;
    std::shared_ptr<CLinkShare> m_pShare;
    std::int64_t m_nUsed = 0; ///< of the shared thread, in its virtual time

    std::string m_strOut; ///< the frame being sent

    mutable std::mutex m_mtxOut;
    std::unique_ptr<Message> m_pMessageOut = std::make_unique<Message>(); ///< the one being filled
    bool m_bOpen = false;
    bool m_bPosted = false;  ///< WriteNext is pending
    bool m_bWaiting = false; ///< but only after the collection time
    bool m_bWriting = false; ///< a write is in progress; Written follows
    bool m_bUrgent = false;  ///< messages that must not wait are queued
    std::size_t m_nPending = 0;
    std::deque<std::string> m_questrFrame; ///< bytes of frames
    std::string m_strSpare;                ///< memory for the next one
};
} // namespace Norvik::Energy::Kestrel::Link
