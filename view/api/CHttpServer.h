#pragma once
#include "view/api/Http.h"
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// Takes connections and hands requests on.
///
/// Bounds   256 connections, 100 live streams, 16 kB of header, 64 kB of body, 10 s for a request, 30 s for an answer
///          that is not taken, 60 s between two requests. Beyond them the connection is closed or answered with 503.
/// Threads  the one that runs the io_context.
class CHttpServer
{
  public:
    /// What the sessions share.
    struct SShared
    {
        IHttpHandler& handler;
        std::shared_ptr<boost::asio::ssl::context> pTls; ///< null: plain text
        std::atomic<int> nSessions{0};
        std::atomic<int> nStreams{0};
        std::atomic<std::uint64_t> nRequests{0};
        std::atomic<bool> bStop{false};
    };

    CHttpServer(boost::asio::io_context& p_io, IHttpHandler& p_handler,
                std::shared_ptr<boost::asio::ssl::context> p_pTls);
    /// @throws std::runtime_error with one line. @return the port.
    unsigned Listen(const std::string& p_strAddr, unsigned p_nPort);
    /// No further connections; live streams end with their next piece.
    void Stop();
    const SShared& Shared() const { return *m_pShared; }

  private:
    void Accept();

    boost::asio::io_context& m_io;
    const std::shared_ptr<SShared> m_pShared;
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::steady_timer m_timer;
};

/// Begins to serve a connection.
void StartHttpSession(boost::asio::ip::tcp::socket p_socket, std::shared_ptr<CHttpServer::SShared> p_pShared);
