#include "view/api/CHttpServer.h"
#include <boost/asio/ip/address.hpp>
#include <chrono>
#include <stdexcept>

namespace asio = boost::asio;

namespace
{
constexpr int g_nMaxSessions = 256;
}

CHttpServer::CHttpServer(asio::io_context& p_io, IHttpHandler& p_handler, std::shared_ptr<asio::ssl::context> p_pTls)
    : m_io(p_io), m_pShared(std::make_shared<SShared>(p_handler, std::move(p_pTls))), m_acceptor(p_io), m_timer(p_io)
{
}

unsigned CHttpServer::Listen(const std::string& p_strAddr, unsigned p_nPort)
{
    boost::system::error_code ec;
    const asio::ip::address address = asio::ip::make_address(p_strAddr == "localhost" ? "127.0.0.1" : p_strAddr, ec);
    if (ec)
        throw std::runtime_error("address '" + p_strAddr + "': expected the number of a network address");
    const asio::ip::tcp::endpoint endpoint(address, static_cast<std::uint16_t>(p_nPort));
    m_acceptor.open(endpoint.protocol(), ec);
    if (!ec)
        m_acceptor.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec)
        m_acceptor.bind(endpoint, ec);
    if (!ec)
        m_acceptor.listen(asio::socket_base::max_listen_connections, ec);
    if (ec)
        throw std::runtime_error("cannot listen on " + p_strAddr + ":" + std::to_string(p_nPort) + ": " + ec.message());
    const unsigned nPort = m_acceptor.local_endpoint().port();
    Accept();
    return nPort;
}

void CHttpServer::Accept()
{
    m_acceptor.async_accept(
        [this](const boost::system::error_code& p_ec, asio::ip::tcp::socket p_socket)
        {
            if (p_ec == asio::error::operation_aborted)
                return;
            if (!p_ec && m_pShared->nSessions < g_nMaxSessions)
                StartHttpSession(std::move(p_socket), m_pShared);
            if (!p_ec)
                return Accept();
            // Out of file handles, as a rule: not at once again.
            m_timer.expires_after(std::chrono::milliseconds(500));
            m_timer.async_wait(
                [this](const boost::system::error_code& p_ecTimer)
                {
                    if (!p_ecTimer)
                        Accept();
                });
        });
}

void CHttpServer::Stop()
{
    m_pShared->bStop = true;
    boost::system::error_code ecIgnored;
    m_acceptor.close(ecIgnored);
    m_timer.cancel();
}
