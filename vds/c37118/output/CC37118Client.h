#pragma once
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/output/OutputTypes.h"
#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <deque>
#include <string>

class CC37118Server;

/// A client of an output over TCP.
///
/// Queue    answers and data frames in order, each in one write. When full, the oldest data frame is dropped; the
///          one being written stays whole. A client that receives nothing for a while is disconnected.
/// Owner    CC37118Server, and the pending operations.
/// Threads  the server's only thread.
class CC37118Client : public std::enable_shared_from_this<CC37118Client>
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CC37118Client(CC37118Server& p_server, std::uint64_t p_nId, boost::asio::ip::tcp::socket p_socket,
                  std::size_t p_nMaxData);

    std::uint64_t Id() const { return m_nId; }
    bool IsOn() const { return m_bOn; }
    void Start() { Read(); }
    /// Sends a data frame if the client has turned the data on.
    void Data(const TFrame& p_pFrame);
    /// @return why the client must be disconnected; empty: it may stay.
    std::string Fault(TTime p_tNow) const;
    /// Stops answering; closes when the queue is empty.
    void End();
    /// Closes at once; the server is not notified.
    void Close();
    const std::string& Peer() const { return m_strPeer; }

  private:
    struct SItem
    {
        TFrame pFrame;
        bool bData = true;
    };
    void Read();
    void OnBytes(std::size_t p_nBytes);
    void OnFrame(std::span<const std::uint8_t> p_frame);
    void TurnOff();
    void Push(const TFrame& p_pFrame, bool p_bData);
    void DropOldest();
    void Write();

    CC37118Server& m_server;
    const std::uint64_t m_nId;
    boost::asio::ip::tcp::socket m_socket;
    std::string m_strPeer;
    const std::size_t m_nMaxData;
    const TTime m_tBegin = std::chrono::steady_clock::now();
    CFrameCutter m_cutter;
    std::array<std::uint8_t, 4096> m_vecnIn{};
    std::deque<SItem> m_queOut; ///< the first one is being written
    std::size_t m_nData = 0;    ///< data frames in the queue
    bool m_bWriting = false;
    TTime m_tWrite;
    bool m_bOn = false;
    bool m_bCommanded = false;
    bool m_bEnding = false;
};
