#include "CLinkStream.h"
#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <exception>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

namespace Norvik::Energy::Kestrel::Link
{
namespace
{
constexpr auto g_tHandshake = std::chrono::seconds(2);
/// Twice the interval of the pings: a silent peer is given up 2.4 to 4.8 s after its last sign.
constexpr auto g_tIdle = std::chrono::milliseconds(4800);
/// Size at which a frame is closed and the next one begun.
constexpr std::size_t g_nFrameBytes = 64U << 10U;
/// Bytes queued for a peer that does not take them, beyond which it is given up.
constexpr std::size_t g_nMaxPending = 64U << 20U;
/// Frames kept for use again.
constexpr std::size_t g_nSpare = 4;

std::string PlainReason(const beast::error_code& p_ec)
{
    if (p_ec == websocket::error::closed || p_ec == asio::error::eof || p_ec == asio::error::connection_reset ||
        p_ec == asio::error::broken_pipe)
        return "closed by the other side";
    if (p_ec == beast::error::timeout)
        return g_strSilentPeer;
    return p_ec.message();
}
} // namespace

struct CLinkStream::SWeb
{
    explicit SWeb(asio::ip::tcp::socket p_socket) : ws(std::move(p_socket)) {}

    websocket::stream<beast::tcp_stream> ws;
    beast::flat_buffer bufIn;
    http::request<http::string_body> request;
};

CLinkStream::CLinkStream(asio::ip::tcp::socket p_socket) : m_pWeb(std::make_unique<SWeb>(std::move(p_socket)))
{
    m_pWeb->ws.binary(true);
    m_pWeb->ws.auto_fragment(false);
    m_pWeb->ws.write_buffer_bytes(g_nFrameBytes);
    m_pWeb->ws.read_message_max(g_nMaxMessage);
    websocket::stream_base::timeout timeout{};
    timeout.handshake_timeout = g_tHandshake;
    timeout.idle_timeout = g_tIdle;
    timeout.keep_alive_pings = true;
    m_pWeb->ws.set_option(timeout);
}

CLinkStream::~CLinkStream() = default;

void CLinkStream::Accept(std::shared_ptr<ILinkUser> p_pUser)
{
    m_pUser = std::move(p_pUser);
    beast::get_lowest_layer(m_pWeb->ws).expires_after(g_tHandshake);
    http::async_read(m_pWeb->ws.next_layer(), m_pWeb->bufIn, m_pWeb->request,
                     [self = shared_from_this()](const beast::error_code& p_ec, std::size_t)
                     {
                         beast::get_lowest_layer(self->m_pWeb->ws).expires_never();
                         if (p_ec || !websocket::is_upgrade(self->m_pWeb->request))
                             return self->Closed("no WebSocket handshake");
                         if (self->m_pWeb->request.find(http::field::origin) != self->m_pWeb->request.end())
                             return self->Closed("request of a web page refused");
                         self->m_pWeb->ws.async_accept(self->m_pWeb->request,
                                                       [self](const beast::error_code& p_ecAccept)
                                                       {
                                                           if (p_ecAccept)
                                                               return self->Closed("no WebSocket handshake");
                                                           self->Opened();
                                                       });
                     });
}

void CLinkStream::Connect(const asio::ip::tcp::endpoint& p_endpoint, std::shared_ptr<ILinkUser> p_pUser)
{
    m_pUser = std::move(p_pUser);
    beast::get_lowest_layer(m_pWeb->ws).expires_after(g_tHandshake);
    beast::get_lowest_layer(m_pWeb->ws)
        .async_connect(p_endpoint,
                       [self = shared_from_this()](const beast::error_code& p_ec)
                       {
                           if (p_ec)
                               return self->Closed(p_ec.message());
                           beast::get_lowest_layer(self->m_pWeb->ws).expires_never();
                           self->m_pWeb->ws.async_handshake("localhost", "/dli",
                                                            [self](const beast::error_code& p_ecShake)
                                                            {
                                                                if (p_ecShake)
                                                                    return self->Closed(PlainReason(p_ecShake));
                                                                self->Opened();
                                                            });
                       });
}

void CLinkStream::Opened()
{
    if (!m_pUser)
        return;
    beast::error_code ecIgnored;
    beast::get_lowest_layer(m_pWeb->ws).socket().set_option(asio::ip::tcp::no_delay(true), ecIgnored);
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        m_bOpen = true;
    }
    m_pWeb->bufIn.consume(m_pWeb->bufIn.size());
    m_pUser->OnLinkOpen();
    Read();
}

void CLinkStream::Read()
{
    m_pWeb->ws.async_read(
        m_pWeb->bufIn,
        [self = shared_from_this()](const beast::error_code& p_ec, std::size_t)
        {
            if (p_ec == websocket::error::message_too_big || p_ec == websocket::error::buffer_overflow)
                return self->Closed("message larger than " + std::to_string(g_nMaxMessage) + " bytes");
            if (p_ec)
                return self->Closed(PlainReason(p_ec));
            if (self->Dispatch())
                self->Read();
        });
}

/// @return false if the stream has been closed.
bool CLinkStream::Dispatch()
{
    const std::size_t nSize = m_pWeb->bufIn.size();
    m_frameIn.Clear();
    if (!m_pWeb->ws.got_binary() || !m_frameIn.ParseFromArray(m_pWeb->bufIn.data().data(), static_cast<int>(nSize)))
    {
        Closed("malformed message of " + std::to_string(nSize) + " bytes");
        return false;
    }
    m_pWeb->bufIn.consume(nSize);
    for (const Message& message : m_frameIn.messages())
    {
        const std::shared_ptr<ILinkUser> pUser = m_pUser;
        if (!pUser)
            return false;
        try
        {
            pUser->OnLinkMessage(message);
        }
        catch (const std::exception& ex)
        {
            Closed(ex.what());
            return false;
        }
    }
    return m_pUser != nullptr;
}

Frame& CLinkStream::BackFrame()
{
    if (m_queFrame.empty() || m_queFrame.back()->nBytes >= g_nFrameBytes)
    {
        if (m_vecSpare.empty())
            m_queFrame.push_back(std::make_unique<SFrame>());
        else
        {
            m_queFrame.push_back(std::move(m_vecSpare.back()));
            m_vecSpare.pop_back();
        }
    }
    return m_queFrame.back()->frame;
}

void CLinkStream::Queued(std::size_t p_nBytes)
{
    m_queFrame.back()->nBytes += p_nBytes;
    m_nPending += p_nBytes;
    if (m_nPending > g_nMaxPending)
    {
        m_bOpen = false;
        Close("does not take what is sent to it");
        return;
    }
    if (m_bWriting)
        return;
    m_bWriting = true;
    asio::post(m_pWeb->ws.get_executor(), [self = shared_from_this()] { self->WriteNext(); });
}

void CLinkStream::WriteNext()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtxOut);
        if (!m_bOpen || m_queFrame.empty())
        {
            m_bWriting = false;
            return;
        }
        std::unique_ptr<SFrame> pFrame = std::move(m_queFrame.front());
        m_queFrame.pop_front();
        pFrame->frame.SerializeToString(&m_strOut);
        m_nPending -= pFrame->nBytes;
        pFrame->frame.Clear();
        pFrame->nBytes = 0;
        if (m_vecSpare.size() < g_nSpare)
            m_vecSpare.push_back(std::move(pFrame));
    }
    m_pWeb->ws.async_write(asio::buffer(m_strOut),
                           [self = shared_from_this()](const beast::error_code& p_ec, std::size_t)
                           {
                               if (p_ec)
                                   return self->Closed(PlainReason(p_ec));
                               self->WriteNext();
                           });
}

std::size_t CLinkStream::Pending() const
{
    const std::lock_guard<std::mutex> lock(m_mtxOut);
    return m_nPending;
}

void CLinkStream::Close(const std::string& p_strReason)
{
    asio::post(m_pWeb->ws.get_executor(), [self = shared_from_this(), p_strReason] { self->Closed(p_strReason); });
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
        m_queFrame.clear();
        m_nPending = 0;
    }
    beast::get_lowest_layer(m_pWeb->ws).close();
    pUser->OnLinkClosed(p_strReason);
}
} // namespace Norvik::Energy::Kestrel::Link
