#include "vds/c37118/output/CC37118Client.h"
#include "vds/c37118/output/CC37118Server.h"
#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <utility>

namespace asio = boost::asio;

CC37118Client::CC37118Client(CC37118Server& p_server, std::uint64_t p_nId, asio::ip::tcp::socket p_socket,
                             std::size_t p_nMaxData)
    : m_server(p_server), m_nId(p_nId), m_socket(std::move(p_socket)), m_nMaxData(p_nMaxData),
      m_cutter(p_server.Counters().received)
{
    boost::system::error_code ec;
    m_socket.set_option(asio::ip::tcp::no_delay(true), ec);
    m_socket.set_option(asio::socket_base::keep_alive(true), ec);
    const asio::ip::tcp::endpoint peer = m_socket.remote_endpoint(ec);
    m_strPeer = peer.address().to_string() + ":" + std::to_string(peer.port());
}

void CC37118Client::Read()
{
    m_socket.async_read_some(
        asio::buffer(m_vecnIn),
        [this, pSelf = shared_from_this()](const boost::system::error_code& p_ec, std::size_t p_nBytes)
        {
            if (!m_socket.is_open())
                return;
            if (p_ec)
                return m_server.OnClientGone(*this);
            OnBytes(p_nBytes);
            Read();
        });
}

void CC37118Client::OnBytes(std::size_t p_nBytes)
{
    if (m_bEnding)
        return;
    m_cutter.Feed(std::span(m_vecnIn).first(p_nBytes));
    std::span<const std::uint8_t> frame;
    while (m_cutter.Next(frame))
        OnFrame(frame);
}

void CC37118Client::OnFrame(std::span<const std::uint8_t> p_frame)
{
    if (m_queOut.size() - m_nData >= m_server.Limits().nMaxAnswers)
    {
        ++m_server.Counters().nUnanswered;
        return;
    }
    CC37118Server::SReply reply = m_server.OnFrame(p_frame);
    m_bCommanded = m_bCommanded || reply.eKind != CC37118Server::eIgnored;
    if (reply.eKind == CC37118Server::eOn)
        m_bOn = true;
    else if (reply.eKind == CC37118Server::eOff)
        TurnOff();
    else if (reply.pFrame)
        Push(reply.pFrame, false);
}

/// After "off" only the frame being written is still sent.
void CC37118Client::TurnOff()
{
    m_bOn = false;
    const auto itFirst = m_queOut.begin() + (m_bWriting ? 1 : 0);
    m_queOut.erase(std::remove_if(itFirst, m_queOut.end(), [](const SItem& p_item) { return p_item.bData; }),
                   m_queOut.end());
    m_nData = static_cast<std::size_t>(
        std::count_if(m_queOut.begin(), m_queOut.end(), [](const SItem& p_item) { return p_item.bData; }));
}

void CC37118Client::Data(const TFrame& p_pFrame)
{
    if (!m_bOn || m_bEnding)
        return;
    if (m_nData >= m_nMaxData)
        DropOldest();
    ++m_server.Counters().nFrames;
    Push(p_pFrame, true);
}

void CC37118Client::DropOldest()
{
    const auto it = std::find_if(m_queOut.begin() + (m_bWriting ? 1 : 0), m_queOut.end(),
                                 [](const SItem& p_item) { return p_item.bData; });
    if (it == m_queOut.end())
        return;
    m_queOut.erase(it);
    --m_nData;
    ++m_server.Counters().nDropped;
}

void CC37118Client::Push(const TFrame& p_pFrame, bool p_bData)
{
    m_queOut.push_back({p_pFrame, p_bData});
    m_nData += p_bData ? 1U : 0U;
    if (!m_bWriting)
        Write();
}

void CC37118Client::Write()
{
    m_bWriting = true;
    m_tWrite = std::chrono::steady_clock::now();
    asio::async_write(m_socket, asio::buffer(*m_queOut.front().pFrame),
                      [this, pSelf = shared_from_this()](const boost::system::error_code& p_ec, std::size_t)
                      {
                          if (!m_socket.is_open())
                              return;
                          if (p_ec)
                              return m_server.OnClientGone(*this);
                          m_bWriting = false;
                          m_nData -= m_queOut.front().bData ? 1U : 0U;
                          m_queOut.pop_front();
                          if (!m_queOut.empty())
                              Write();
                          else if (m_bEnding)
                              Close();
                      });
}

std::string CC37118Client::Fault(TTime p_tNow) const
{
    if (m_bWriting && p_tNow - m_tWrite > m_server.Limits().tGiveUp)
        return "does not receive";
    if (!m_bCommanded && p_tNow - m_tBegin > m_server.Limits().tFirstCommand)
        return "has not sent any command";
    return {};
}

void CC37118Client::End()
{
    m_bEnding = true;
    if (!m_bWriting)
        Close();
}

void CC37118Client::Close()
{
    boost::system::error_code ecIgnored;
    m_socket.shutdown(asio::ip::tcp::socket::shutdown_both, ecIgnored);
    m_socket.close(ecIgnored);
}
