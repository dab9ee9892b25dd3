#include "CLinkStream.h"
#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <exception>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>
#include <openssl/x509v3.h>
#include <utility>
#include <variant>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace protobuf = google::protobuf;
namespace websocket = boost::beast::websocket;

namespace Norvik::Energy::Kestrel::Link
{
namespace
{
constexpr auto g_tHandshake = std::chrono::seconds(2);
/// Twice the interval of the pings: a silent peer is closed 2.4 to 4.8 s after its last message.
constexpr auto g_tIdle = std::chrono::milliseconds(4800);
/// Size at which a frame is closed and the next one is started.
constexpr std::size_t g_nFrameBytes = 64U << 10U;
/// Limit of the bytes queued for a peer that does not receive them; beyond it, the stream is closed.
constexpr std::size_t g_nMaxPending = 64U << 20U;
/// Limits on the members of a message: events and lines of an answer, the fields of a request.
constexpr std::size_t g_nMaxMembers = 200000;
constexpr std::size_t g_nMaxRequestMembers = 1000;
/// Largest message whose memory is reused: for a client's normal cycle, for any message that a server sends, and for
/// what a server receives from its (many) peers.
constexpr std::size_t g_nKept = 1U << 20U;
constexpr std::size_t g_nKeptOut = 64U << 10U;
constexpr std::size_t g_nKeptRequest = 4U << 10U;
/// Bytes read at once, and the turn of a stream.
constexpr std::size_t g_nReadBytes = 64U << 10U;
constexpr auto g_tTurn = std::chrono::microseconds(200);
/// Time during which values are collected.
constexpr auto g_tGather = std::chrono::milliseconds(1);

using WireFormat = protobuf::internal::WireFormatLite;
using TPlain = websocket::stream<beast::tcp_stream>;
using TTls = websocket::stream<beast::ssl_stream<beast::tcp_stream>>;
using TWeb = std::variant<TPlain, TTls>;

TWeb MakeWeb(asio::ip::tcp::socket p_socket, const TTlsPtr& p_pTls)
{
    if (p_pTls)
        return TWeb(std::in_place_type<TTls>, std::move(p_socket), *p_pTls);
    return TWeb(std::in_place_type<TPlain>, std::move(p_socket));
}

/// Tag of a message in a frame.
constexpr std::uint32_t g_nMessageTag = WireFormat::MakeTag(1, WireFormat::WIRETYPE_LENGTH_DELIMITED);

/// Number of fields in all parts of a message: each may become an object, so that two bytes can take 100 bytes of
/// memory. Counting stops above p_nMost, and at any fault that the parser will find.
std::size_t CountMembers(const std::uint8_t* p_pBytes, int p_nBytes, std::size_t p_nMost)
{
    std::size_t nMembers = 0;
    protobuf::io::CodedInputStream input(p_pBytes, p_nBytes);
    while (const std::uint32_t nTag = input.ReadTag())
    {
        ++nMembers;
        if (WireFormat::GetTagWireType(nTag) != WireFormat::WIRETYPE_LENGTH_DELIMITED)
        {
            if (!WireFormat::SkipField(&input, nTag))
                break;
            continue;
        }
        int nPart = 0;
        if (!input.ReadVarintSizeAsInt(&nPart) || nPart > input.BytesUntilLimit())
            break;
        const auto limit = input.PushLimit(nPart);
        std::uint32_t nField = 0;
        while (nMembers <= p_nMost && (nField = input.ReadTag()) != 0 && WireFormat::SkipField(&input, nField))
            ++nMembers;
        if (nMembers > p_nMost)
            break;
        input.Skip(std::max(input.BytesUntilLimit(), 0));
        input.PopLimit(limit);
    }
    return nMembers;
}

/// An entry of a certificate's subject, made safe for a line of text.
std::string SubjectEntry(const X509* p_pCertificate, int p_nId)
{
    std::array<char, 65> buf{};
    if (X509_NAME_get_text_by_NID(X509_get_subject_name(p_pCertificate), p_nId, buf.data(), buf.size()) <= 0)
        return "";
    std::string strEntry = buf.data();
    std::replace_if(
        strEntry.begin(), strEntry.end(), [](unsigned char p_n) { return p_n < 0x20 || p_n > 0x7E; }, '?');
    return strEntry;
}
} // namespace

struct CLinkStream::SWeb
{
    SWeb(asio::ip::tcp::socket p_socket, TTlsPtr p_pTls)
        : pTls(std::move(p_pTls)), web(MakeWeb(std::move(p_socket), pTls)), timerGather(Tcp().get_executor())
    {
    }

    template <class TDo>
    decltype(auto) Do(TDo&& p_fnDo)
    {
        return std::visit(std::forward<TDo>(p_fnDo), web);
    }
    beast::tcp_stream& Tcp()
    {
        return Do([](auto& r_ws) -> beast::tcp_stream& { return beast::get_lowest_layer(r_ws); });
    }
    /// Readable reason for the failure of an operation.
    std::string Reason(const beast::error_code& p_ec)
    {
        if (!strFault.empty())
            return g_strTls + "certificate of the peer: " + strFault;
        if (p_ec == websocket::error::closed)
        {
            const websocket::close_reason reason = Do([](auto& r_ws) { return r_ws.reason(); });
            if (reason.code == websocket::close_code::policy_error)
                return g_strRefused + std::string(reason.reason.data(), reason.reason.size());
        }
        if (p_ec == websocket::error::closed || p_ec == asio::error::eof || p_ec == asio::error::connection_reset ||
            p_ec == asio::error::broken_pipe || p_ec == asio::ssl::error::stream_truncated)
            return "closed by the peer";
        if (p_ec == beast::error::timeout)
            return g_strSilentPeer;
        if (p_ec.category() == asio::error::get_ssl_category())
            return g_strTls + p_ec.message();
        return p_ec.message();
    }

    const TTlsPtr pTls;
    TWeb web;
    std::string strFault;   ///< of the peer's certificate
    std::string strRefusal; ///< what the peer was told
    asio::steady_timer timerGather;
    beast::flat_buffer bufIn;
    http::request<http::empty_body> request;
};

CLinkStream::CLinkStream(asio::ip::tcp::socket p_socket, TTlsPtr p_pTls, const std::string& p_strHost)
    : m_pWeb(std::make_unique<SWeb>(std::move(p_socket), std::move(p_pTls)))
{
    m_pWeb->Do(
        [](auto& r_ws)
        {
            r_ws.binary(true);
            r_ws.auto_fragment(false);
            r_ws.write_buffer_bytes(g_nFrameBytes);
            websocket::stream_base::timeout timeout{};
            timeout.handshake_timeout = g_tHandshake;
            timeout.idle_timeout = g_tIdle;
            timeout.keep_alive_pings = true;
            r_ws.set_option(timeout);
        });
    SetBounds(g_nMaxMessage, g_nMaxMembers, g_nKept);
    TTls* const pWs = std::get_if<TTls>(&m_pWeb->web);
    if (!pWs)
        return;
    m_peer.bTls = true;
    pWs->next_layer().set_verify_callback(
        [pWeb = m_pWeb.get()](bool p_bOk, asio::ssl::verify_context& r_context)
        {
            if (!p_bOk)
                pWeb->strFault = X509_verify_cert_error_string(X509_STORE_CTX_get_error(r_context.native_handle()));
            return p_bOk;
        });
    if (p_strHost.empty())
        return;
    SSL* const pSsl = pWs->next_layer().native_handle();
    if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(pSsl), p_strHost.c_str()) != 1)
    {
        SSL_set1_host(pSsl, p_strHost.c_str());
        SSL_set_tlsext_host_name(pSsl, p_strHost.c_str());
    }
}

CLinkStream::~CLinkStream()
{
    if (!m_pShare)
        return;
    m_pShare->Leave(*this);
    HoldIn(0);
    Forget();
    m_pShare->Release(m_strOut.size());
}

void CLinkStream::SetBounds(std::size_t p_nMessage, std::size_t p_nMembers, std::size_t p_nKept)
{
    m_nMaxBytes = p_nMessage;
    m_nMaxMembers = p_nMembers;
    m_nMaxKept = p_nKept;
    m_pWeb->Do([p_nMessage](auto& r_ws) { r_ws.read_message_max(p_nMessage); });
}

void CLinkStream::Greeted()
{
    SetBounds(g_nMaxRequest, g_nMaxRequestMembers, g_nKeptRequest);
}

/// Runs the TLS handshake, if there is one, and then p_fnNext.
template <class TNext>
void CLinkStream::Secure(bool p_bServer, TNext p_fnNext)
{
    TTls* const pWs = std::get_if<TTls>(&m_pWeb->web);
    if (!pWs)
        return p_fnNext();
    pWs->next_layer().async_handshake(
        p_bServer ? asio::ssl::stream_base::server : asio::ssl::stream_base::client,
        [self = shared_from_this(), p_fnNext, pWs](const beast::error_code& p_ec)
        {
            if (p_ec)
            {
                const std::string strReason = self->m_pWeb->Reason(p_ec);
                return self->Closed(IsRefusal(strReason) ? strReason : g_strTls + "no handshake: " + strReason);
            }
            const std::unique_ptr<X509, decltype(&X509_free)> pCertificate(
                SSL_get1_peer_certificate(pWs->next_layer().native_handle()), X509_free);
            if (pCertificate && SSL_get_verify_result(pWs->next_layer().native_handle()) == X509_V_OK)
            {
                self->m_peer.bCertificate = true;
                self->m_peer.strName = SubjectEntry(pCertificate.get(), NID_commonName);
                self->m_peer.bOperator = SubjectEntry(pCertificate.get(), NID_organizationalUnitName) == "operator";
            }
            p_fnNext();
        });
}

void CLinkStream::Accept(std::shared_ptr<ILinkUser> p_pUser, std::shared_ptr<CLinkShare> p_pShare)
{
    m_pUser = std::move(p_pUser);
    m_pShare = std::move(p_pShare);
    if (m_pShare)
        m_pShare->Join(*this);
    SetBounds(g_nMaxGreeting, g_nMaxRequestMembers, g_nKeptRequest);
    m_pWeb->Tcp().expires_after(g_tHandshake);
    Secure(true, [self = shared_from_this()] { self->AcceptWeb(); });
}

void CLinkStream::AcceptWeb()
{
    m_pWeb->Do(
        [this](auto& r_ws)
        {
            http::async_read(r_ws.next_layer(), m_pWeb->bufIn, m_pWeb->request,
                             [self = shared_from_this()](const beast::error_code& p_ec, std::size_t)
                             {
                                 self->m_pWeb->Tcp().expires_never();
                                 if (p_ec && p_ec.category() == asio::error::get_ssl_category())
                                     return self->Closed(self->m_pWeb->Reason(p_ec));
                                 if (p_ec || !websocket::is_upgrade(self->m_pWeb->request))
                                     return self->Closed("no WebSocket handshake");
                                 if (self->m_pWeb->request.find(http::field::origin) != self->m_pWeb->request.end())
                                     return self->Closed("request from a web page refused");
                                 self->AcceptUpgrade();
                             });
        });
}

void CLinkStream::AcceptUpgrade()
{
    m_pWeb->Do(
        [this](auto& r_ws)
        {
            r_ws.async_accept(m_pWeb->request,
                              [self = shared_from_this()](const beast::error_code& p_ec)
                              {
                                  if (p_ec)
                                      return self->Closed("no WebSocket handshake");
                                  self->Opened();
                              });
        });
}

void CLinkStream::Connect(const asio::ip::tcp::endpoint& p_endpoint, std::shared_ptr<ILinkUser> p_pUser)
{
    m_pUser = std::move(p_pUser);
    m_pWeb->Tcp().expires_after(g_tHandshake);
    m_pWeb->Tcp().async_connect(
        p_endpoint,
        [self = shared_from_this()](const beast::error_code& p_ec)
        {
            if (p_ec)
                return self->Closed(p_ec.message());
            self->Secure(false,
                         [self]
                         {
                             self->m_pWeb->Tcp().expires_never();
                             self->m_pWeb->Do(
                                 [&self](auto& r_ws)
                                 {
                                     r_ws.async_handshake("localhost", "/dli",
                                                          [self](const beast::error_code& p_ecShake)
                                                          {
                                                              if (p_ecShake)
                                                                  return self->Closed(self->m_pWeb->Reason(p_ecShake));
                                                              self->Opened();
                                                          });
                                 });
                         });
        });
}

void CLinkStream::Opened()
{
    if (!m_pUser)
        return;
    beast::error_code ecIgnored;
    m_pWeb->Tcp().socket().set_option(asio::ip::tcp::no_delay(true), ecIgnored);
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bOpen = true;
    }
    m_pWeb->bufIn.consume(m_pWeb->bufIn.size());
    m_pWeb->request = {};
    m_pUser->OnLinkOpen();
    Read();
}

void CLinkStream::Read()
{
    m_pWeb->bufIn.max_size(std::max(m_nMaxBytes, m_pWeb->bufIn.size()));
    m_pWeb->Do(
        [this](auto& r_ws)
        {
            r_ws.async_read_some(
                m_pWeb->bufIn, g_nReadBytes,
                [self = shared_from_this()](const beast::error_code& p_ec, std::size_t)
                {
                    if (p_ec == websocket::error::message_too_big || p_ec == websocket::error::buffer_overflow)
                        return self->Closed("message larger than " + std::to_string(self->m_nMaxBytes) + " bytes");
                    if (p_ec)
                        return self->Closed(self->m_pWeb->Reason(p_ec));
                    self->ReadDone();
                });
        });
}

void CLinkStream::ReadDone()
{
    if (m_pShare)
    {
        HoldIn(m_pWeb->bufIn.capacity());
        m_pShare->Shed();
    }
    if (!m_pWeb->Do([](auto& r_ws) { return r_ws.is_message_done(); }))
        return Read();
    if (m_pShare)
        m_pShare->Ready(shared_from_this());
    else
        Handle();
}

/// Handles messages of the received frame, limited to one turn if the thread is shared, and then continues reading.
/// @return whether any are left.
bool CLinkStream::Handle()
{
    const auto tEnd = std::chrono::steady_clock::now() + g_tTurn;
    const std::size_t nSize = m_pWeb->bufIn.size();
    if (!m_pUser)
        return false;
    if (!m_pWeb->Do([](auto& r_ws) { return r_ws.got_binary(); }))
    {
        Closed("malformed message of " + std::to_string(nSize) + " bytes");
        return false;
    }
    while (m_nTaken < nSize)
    {
        if (!HandleNext())
            return false;
        if (m_pShare && m_nTaken < nSize && std::chrono::steady_clock::now() >= tEnd)
            return true;
    }
    m_nTaken = 0;
    m_pWeb->bufIn.consume(nSize);
    if (m_pWeb->bufIn.capacity() > std::max(m_nMaxKept, g_nMaxGreeting))
        m_pWeb->bufIn.shrink_to_fit();
    HoldIn(m_pWeb->bufIn.capacity());
    Read();
    return false;
}

/// @return false if the stream has been closed.
bool CLinkStream::HandleNext()
{
    const std::size_t nBegin = m_nTaken;
    const std::shared_ptr<ILinkUser> pUser = m_pUser;
    try
    {
        if (!ParseNext())
            throw std::runtime_error("malformed message of " + std::to_string(m_pWeb->bufIn.size()) + " bytes");
        pUser->OnLinkMessage(*m_pMessageIn);
    }
    catch (const CLinkRefusal& refusal)
    {
        Refuse(refusal.what());
        return false;
    }
    catch (const std::exception& ex)
    {
        Closed(ex.what());
        return false;
    }
    if (m_nTaken - nBegin > m_nMaxKept)
        m_pMessageIn = std::make_unique<Message>();
    return m_pUser != nullptr;
}

/// Reads the next message of the frame. @return false if it is malformed. @throws std::runtime_error if it is too
/// large.
bool CLinkStream::ParseNext()
{
    const auto* const pBytes = static_cast<const std::uint8_t*>(m_pWeb->bufIn.data().data()) + m_nTaken;
    const int nLeft = static_cast<int>(m_pWeb->bufIn.size() - m_nTaken);
    protobuf::io::CodedInputStream input(pBytes, nLeft);
    int nSize = 0;
    if (input.ReadTag() != g_nMessageTag || !input.ReadVarintSizeAsInt(&nSize))
        return false;
    const int nHead = input.CurrentPosition();
    if (nSize > nLeft - nHead)
        return false;
    if (CountMembers(pBytes + nHead, nSize, m_nMaxMembers) > m_nMaxMembers)
        throw std::runtime_error("message with more than " + std::to_string(m_nMaxMembers) + " members");
    m_pMessageIn->Clear();
    m_nTaken += static_cast<std::size_t>(nHead + nSize);
    return m_pMessageIn->ParseFromArray(pBytes + nHead, nSize);
}

void CLinkStream::HoldIn(std::size_t p_nBytes)
{
    if (!m_pShare)
        return;
    m_pShare->Hold(p_nBytes);
    m_pShare->Release(m_nHeldIn);
    m_nHeldIn = p_nBytes;
}

std::size_t CLinkStream::Held() const
{
    const std::lock_guard<std::mutex> lock(m_mtxOut);
    return m_nHeldIn + m_nPending + m_strOut.size();
}

/// The bytes being sent next, followed by the later ones.
std::string& CLinkStream::BackFrame()
{
    if (!m_questrFrame.empty() && m_questrFrame.back().size() < g_nFrameBytes)
        return m_questrFrame.back();
    if (!m_questrFrame.empty())
        m_questrFrame.back().shrink_to_fit();
    return m_questrFrame.emplace_back(std::exchange(m_strSpare, {}));
}

/// Queues the message that has been filled.
void CLinkStream::Queue(EUrgency p_eUrgency)
{
    std::string& r_strFrame = BackFrame();
    const std::size_t nBytes = m_pMessageOut->ByteSizeLong();
    const std::size_t nBegin = r_strFrame.size();
    r_strFrame.resize(nBegin + protobuf::io::CodedOutputStream::VarintSize32(g_nMessageTag) +
                      protobuf::io::CodedOutputStream::VarintSize64(nBytes) + nBytes);
    auto* pOut = reinterpret_cast<std::uint8_t*>(r_strFrame.data() + nBegin);
    pOut = protobuf::io::CodedOutputStream::WriteTagToArray(g_nMessageTag, pOut);
    pOut = protobuf::io::CodedOutputStream::WriteVarint64ToArray(nBytes, pOut);
    m_pMessageOut->SerializeWithCachedSizesToArray(pOut);
    if (nBytes > g_nKeptOut)
        m_pMessageOut = std::make_unique<Message>();
    else
        m_pMessageOut->Clear();
    m_nPending += r_strFrame.size() - nBegin;
    if (m_pShare)
        m_pShare->Hold(r_strFrame.size() - nBegin);
    m_bUrgent = m_bUrgent || p_eUrgency == eAtOnce;
    if (m_nPending > g_nMaxPending)
    {
        m_bOpen = false;
        Close("does not receive what is sent to it");
        return;
    }
    if (m_bWriting || (m_bPosted && !(m_bWaiting && p_eUrgency == eAtOnce)))
        return;
    m_bPosted = true;
    m_bWaiting = p_eUrgency == eGathered;
    asio::post(m_pWeb->Tcp().get_executor(), [self = shared_from_this(), p_eUrgency]
               { p_eUrgency == eGathered ? self->WriteLater() : self->WriteNext(); });
}

/// Nothing is waiting to be sent any more.
void CLinkStream::Forget()
{
    if (m_pShare)
        m_pShare->Release(m_nPending);
    m_questrFrame.clear();
    m_nPending = 0;
}

void CLinkStream::GiveUp(const std::string& p_strReason)
{
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bOpen = false;
        Forget();
    }
    // The received data will be released with the stream shortly, so it no longer counts.
    HoldIn(0);
    Close(p_strReason);
}

void CLinkStream::WriteLater()
{
    m_pWeb->timerGather.expires_after(g_tGather);
    m_pWeb->timerGather.async_wait([self = shared_from_this()](const beast::error_code&) { self->WriteNext(); });
}

void CLinkStream::WriteNext()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bPosted = false;
        m_bWaiting = false;
        if (m_bWriting || !m_bOpen || m_questrFrame.empty())
            return;
        m_bWriting = true;
        m_strOut = std::move(m_questrFrame.front());
        m_questrFrame.pop_front();
        m_bUrgent = !m_questrFrame.empty();
        m_nPending -= m_strOut.size();
    }
    m_pWeb->Do(
        [this](auto& r_ws)
        {
            r_ws.async_write(asio::buffer(m_strOut),
                             [self = shared_from_this()](const beast::error_code& p_ec, std::size_t)
                             { p_ec ? self->Closed(self->m_pWeb->Reason(p_ec)) : self->Written(); });
        });
}

void CLinkStream::Written()
{
    bool bLater = false;
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bWriting = false;
        if (m_pShare)
            m_pShare->Release(m_strOut.size());
        m_strOut.clear();
        if (m_strOut.capacity() <= 2 * g_nFrameBytes)
            m_strSpare.swap(m_strOut);
        m_strOut = {};
        bLater = !m_questrFrame.empty() && !m_bUrgent;
        m_bPosted = bLater;
        m_bWaiting = bLater;
    }
    bLater ? WriteLater() : WriteNext();
}

void CLinkStream::Close(const std::string& p_strReason)
{
    asio::post(m_pWeb->Tcp().get_executor(), [self = shared_from_this(), p_strReason] { self->Closed(p_strReason); });
}

void CLinkStream::Refuse(const std::string& p_strReason)
{
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bOpen = false;
    }
    if (!m_pUser || !m_pWeb->strRefusal.empty())
        return;
    m_pWeb->strRefusal = g_strRefused + p_strReason;
    websocket::close_reason reason(websocket::close_code::policy_error);
    reason.reason.assign(p_strReason.data(), std::min(p_strReason.size(), reason.reason.max_size()));
    m_pWeb->Do(
        [&](auto& r_ws)
        {
            r_ws.async_close(reason, [self = shared_from_this()](const beast::error_code&)
                             { self->Closed(self->m_pWeb->strRefusal); });
        });
}

void CLinkStream::Closed(const std::string& p_strReason)
{
    const std::shared_ptr<ILinkUser> pUser = std::move(m_pUser);
    m_pUser.reset();
    if (!pUser)
        return;
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bOpen = false;
        Forget();
    }
    if (m_pShare)
        m_pShare->Leave(*this);
    m_pWeb->Tcp().close();
    pUser->OnLinkClosed(m_pWeb->strRefusal.empty() ? p_strReason : m_pWeb->strRefusal);
}
} // namespace Norvik::Energy::Kestrel::Link
