#pragma once
#include "vds/c37118/codec/CFrameCutter.h"
#include "vds/c37118/input/CStreamReader.h"
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <chrono>

/// What was observed of a PMU while the stream was watched.
struct SPmuWatch
{
    std::uint64_t nGood = 0;     ///< frames without data error
    std::uint64_t nSyncLost = 0; ///< STAT bit 13
    SPmuData last;
};

/// Watches a stream for some seconds: requests its configuration, turns the data on, counts, turns it off.
///
/// Threads  one; Run blocks, with time limits.
class CProbe
{
  public:
    /// @param p_nStreamId 0: unknown. Then 1 is tried, and the ID of any frames that arrive.
    CProbe(std::string p_strHost, std::uint16_t p_nPort, std::uint16_t p_nStreamId, bool p_bUdp);

    /// @throws std::runtime_error with one line.
    void Run(std::chrono::milliseconds p_tWatch);

    // ---- the results ----
    const SStreamConfig& Stream() const { return m_config.vecStream[0]; }
    const CStreamReader& Reader() const { return m_reader; }
    const std::vector<SPmuWatch>& Pmus() const { return m_vecPmu; }
    unsigned WorstClock() const { return m_nWorstClock; }
    /// Why the connection ended early; empty if it did not.
    std::string Loss() const { return m_ecLost ? m_ecLost.message() : ""; }
    double Watched_s() const { return m_fWatched_s; }

  private:
    void Connect();
    void Read();
    void OnFrame(std::span<const std::uint8_t> p_frame);
    void Send(std::uint16_t p_nCommand);
    /// Receives until a condition is true. @return false if the time runs out first.
    template <class TDone>
    bool Await(std::chrono::milliseconds p_tLimit, TDone p_fnDone);
    [[noreturn]] void Fail(const std::string& p_strText) const;

    const std::string m_strHost;
    const bool m_bUdp;
    const bool m_bIdGiven;
    SSynchrophasorConfig m_config;
    CStreamReader m_reader;
    CFrameCutter m_cutter;
    boost::asio::io_context m_io;
    boost::asio::ip::tcp::socket m_tcp;
    boost::asio::ip::udp::socket m_udp;
    std::vector<std::uint8_t> m_vecnBytes;
    boost::system::error_code m_ecLost;
    std::vector<SPmuWatch> m_vecPmu;
    unsigned m_nWorstClock = 0;
    std::uint64_t m_nDataSeen = 0;
    double m_fWatched_s = 0.0;
};
