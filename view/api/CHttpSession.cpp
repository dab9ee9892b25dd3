#include "view/api/CHttpServer.h"
#include <boost/asio/dispatch.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <chrono>
#include <optional>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace
{
constexpr std::uint32_t g_nMaxHeader = 16384;
constexpr std::uint64_t g_nMaxBody = 65536;
constexpr int g_nMaxStreams = 100;
constexpr auto g_tRequest = std::chrono::seconds(10);
constexpr auto g_tIdle = std::chrono::seconds(60);
constexpr auto g_tWrite = std::chrono::seconds(30);
constexpr auto g_tLive = std::chrono::milliseconds(250);
/// A stream without news shows that it lives, every 2 s.
constexpr int g_nQuiet = 8;

constexpr const char* g_pPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; font-src 'self'; connect-src "
    "'self'; manifest-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'";

/// One connection, plain or TLS. Owns itself through its operations.
template <class TStream>
class THttpSession : public std::enable_shared_from_this<THttpSession<TStream>>
{
  public:
    THttpSession(TStream&& p_stream, std::shared_ptr<CHttpServer::SShared> p_pShared)
        : m_stream(std::move(p_stream)), m_pShared(std::move(p_pShared)), m_timer(m_stream.get_executor())
    {
        ++m_pShared->nSessions;
        boost::system::error_code ecIgnored;
        m_strPeer = Tcp().socket().remote_endpoint(ecIgnored).address().to_string();
    }
    ~THttpSession()
    {
        --m_pShared->nSessions;
        if (m_pLive)
            --m_pShared->nStreams;
    }
    void Start()
    {
        if constexpr (IsTls())
        {
            Tcp().expires_after(g_tRequest);
            m_stream.async_handshake(asio::ssl::stream_base::server,
                                     [self = this->shared_from_this()](const boost::system::error_code& p_ec)
                                     {
                                         if (!p_ec)
                                             self->Read(g_tRequest);
                                     });
        }
        else
            Read(g_tRequest);
    }

  private:
    static constexpr bool IsTls() { return !std::is_same_v<TStream, beast::tcp_stream>; }
    beast::tcp_stream& Tcp() { return beast::get_lowest_layer(m_stream); }

    void Read(std::chrono::seconds p_tLimit)
    {
        m_parser.emplace();
        m_parser->header_limit(g_nMaxHeader);
        m_parser->body_limit(g_nMaxBody);
        Tcp().expires_after(p_tLimit);
        http::async_read_header(m_stream, m_buffer, *m_parser,
                                [self = this->shared_from_this()](const boost::system::error_code& p_ec, std::size_t)
                                {
                                    if (!p_ec)
                                        return self->ReadBody();
                                    self->Refuse(p_ec);
                                });
    }

    void ReadBody()
    {
        Tcp().expires_after(g_tRequest);
        http::async_read(m_stream, m_buffer, *m_parser,
                         [self = this->shared_from_this()](const boost::system::error_code& p_ec, std::size_t)
                         {
                             if (!p_ec)
                                 return self->OnRequest();
                             self->Refuse(p_ec);
                         });
    }

    /// A fault of form is answered, a lost connection is not.
    void Refuse(const boost::system::error_code& p_ec)
    {
        if (p_ec.category() != make_error_code(http::error::end_of_stream).category() ||
            p_ec == http::error::end_of_stream || p_ec == http::error::partial_message)
            return Close();
        SHttpResponse response;
        response.nStatus = p_ec == http::error::body_limit ? 413 : p_ec == http::error::header_limit ? 431 : 400;
        response.strBody = R"({"error":"the request cannot be read"})";
        m_bKeepAlive = false;
        Respond(std::move(response));
    }

    void OnRequest()
    {
        ++m_pShared->nRequests;
        auto& message = m_parser->get();
        SHttpRequest request;
        request.strPeer = m_strPeer;
        request.bTls = IsTls();
        m_bHead = message.method() == http::verb::head;
        m_bKeepAlive = message.keep_alive();
        request.strMethod = m_bHead ? "GET" : std::string(message.method_string());
        for (const auto& field : message)
        {
            std::string strName(field.name_string());
            for (char& nChar : strName)
                nChar = nChar >= 'A' && nChar <= 'Z' ? static_cast<char>(nChar + 32) : nChar;
            request.mapHeader[strName] = field.value();
        }
        request.strBody = std::move(message.body());
        SHttpResponse response;
        response.nStatus = 400;
        response.strBody = R"({"error":"the address cannot be read"})";
        if (!ParseTarget({message.target().data(), message.target().size()}, request))
            return Respond(std::move(response));
        // The answer may take its time, on another thread; the connection waits.
        Tcp().expires_never();
        m_pShared->handler.Handle(request,
                                  [self = this->shared_from_this()](SHttpResponse p_response)
                                  {
                                      auto pResponse = std::make_shared<SHttpResponse>(std::move(p_response));
                                      asio::dispatch(self->m_stream.get_executor(),
                                                     [self, pResponse] { self->Respond(std::move(*pResponse)); });
                                  });
    }

    template <class TBody>
    void SetHeader(http::response<TBody>& r_message, const SHttpResponse& p_response) const
    {
        r_message.version(11);
        r_message.result(p_response.nStatus);
        r_message.set(http::field::content_type, p_response.strType);
        r_message.set("Content-Security-Policy", g_pPolicy);
        r_message.set("X-Content-Type-Options", "nosniff");
        r_message.set("Referrer-Policy", "no-referrer");
        r_message.set("Cross-Origin-Resource-Policy", "same-origin");
        r_message.set("Cross-Origin-Opener-Policy", "same-origin");
        if (IsTls())
            r_message.set("Strict-Transport-Security", "max-age=31536000");
        r_message.set(http::field::cache_control, "no-store");
        for (const auto& [strName, strValue] : p_response.vecHeader)
            r_message.set(strName, strValue);
    }

    void Respond(SHttpResponse p_response)
    {
        Tcp().expires_after(g_tWrite);
        if (p_response.pLive)
            return BeginLive(std::move(p_response));
        m_response = {};
        SetHeader(m_response, p_response);
        m_response.keep_alive(m_bKeepAlive && !m_pShared->bStop);
        const std::size_t nBytes = p_response.strBody.size();
        if (!m_bHead)
            m_response.body() = std::move(p_response.strBody);
        if (p_response.nStatus != 304)
            m_response.content_length(nBytes);
        const auto fnWritten = [self = this->shared_from_this()](const boost::system::error_code& p_ec, std::size_t)
        {
            if (p_ec || !self->m_response.keep_alive())
                return self->Close();
            self->Read(g_tIdle);
        };
        m_serializer.emplace(m_response);
        if (m_bHead || p_response.nStatus == 304)
            http::async_write_header(m_stream, *m_serializer, fnWritten);
        else
            http::async_write(m_stream, *m_serializer, fnWritten);
    }

    // ---- live streams ----
    void BeginLive(SHttpResponse p_response)
    {
        if (m_pShared->nStreams >= g_nMaxStreams || m_bHead)
        {
            SHttpResponse response;
            response.nStatus = 503;
            response.strBody = R"({"error":"there are too many live streams already"})";
            return Respond(std::move(response));
        }
        m_pLive = std::move(p_response.pLive);
        ++m_pShared->nStreams;
        m_response = {};
        p_response.strType = "text/event-stream";
        SetHeader(m_response, p_response);
        m_response.keep_alive(false);
        m_serializer.emplace(m_response);
        // The limits of requests end here: a stream has one of its own, on what it writes.
        Tcp().expires_never();
        http::async_write_header(m_stream, *m_serializer,
                                 [self = this->shared_from_this()](const boost::system::error_code& p_ec, std::size_t)
                                 {
                                     if (p_ec)
                                         return;
                                     self->WatchPeer();
                                     self->Live();
                                 });
    }

    /// Whatever the peer sends ends the stream, its end above all.
    void WatchPeer()
    {
        m_stream.async_read_some(asio::buffer(m_vecnRest),
                                 [self = this->shared_from_this()](const boost::system::error_code&, std::size_t)
                                 { self->EndLive(); });
    }

    void EndLive()
    {
        m_bEnded = true;
        m_timer.cancel();
        Tcp().close();
    }

    void Live()
    {
        if (m_bEnded || m_pShared->bStop || !m_pLive->IsOpen())
            return EndLive();
        m_strPiece = m_pLive->Next();
        if (m_strPiece.empty() && ++m_nQuiet >= g_nQuiet)
            m_strPiece = ":\n\n";
        if (m_strPiece.empty())
            return LiveLater();
        m_nQuiet = 0;
        m_timer.expires_after(g_tWrite);
        m_timer.async_wait(
            [self = this->shared_from_this()](const boost::system::error_code& p_ec)
            {
                if (!p_ec)
                    self->EndLive();
            });
        asio::async_write(m_stream, asio::buffer(m_strPiece),
                          [self = this->shared_from_this()](const boost::system::error_code& p_ec, std::size_t)
                          {
                              if (p_ec)
                                  return self->EndLive();
                              self->LiveLater();
                          });
    }

    void LiveLater()
    {
        if (m_bEnded)
            return;
        m_timer.expires_after(g_tLive);
        m_timer.async_wait(
            [self = this->shared_from_this()](const boost::system::error_code& p_ec)
            {
                if (!p_ec)
                    self->Live();
            });
    }

    void Close()
    {
        boost::system::error_code ecIgnored;
        Tcp().socket().shutdown(asio::ip::tcp::socket::shutdown_send, ecIgnored);
    }

    TStream m_stream;
    const std::shared_ptr<CHttpServer::SShared> m_pShared;
    std::string m_strPeer;
    beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::string_body>> m_parser;
    http::response<http::string_body> m_response;
    std::optional<http::response_serializer<http::string_body>> m_serializer;
    bool m_bHead = false;
    bool m_bKeepAlive = true;
    // ---- live stream ----
    std::unique_ptr<ILiveSource> m_pLive;
    asio::steady_timer m_timer;
    std::string m_strPiece;
    char m_vecnRest[64] = {};
    int m_nQuiet = 0;
    bool m_bEnded = false;
};
} // namespace

void StartHttpSession(asio::ip::tcp::socket p_socket, std::shared_ptr<CHttpServer::SShared> p_pShared)
{
    if (!p_pShared->pTls)
        return std::make_shared<THttpSession<beast::tcp_stream>>(beast::tcp_stream(std::move(p_socket)), p_pShared)
            ->Start();
    beast::ssl_stream<beast::tcp_stream> stream(beast::tcp_stream(std::move(p_socket)), *p_pShared->pTls);
    std::make_shared<THttpSession<beast::ssl_stream<beast::tcp_stream>>>(std::move(stream), p_pShared)->Start();
}
