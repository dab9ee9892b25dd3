#pragma once
#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace Norvik::Energy::Kestrel::Link
{
class CLinkStream;

/// Memory and time that the streams of a server share, so that no stream can starve the others.
///
/// Memory   what streams hold for their peers (incoming messages, frames waiting to be sent) has one limit; the
///          stream that holds most is closed when it is exceeded.
/// Time     messages of all streams are handled in short turns. The next turn goes to the stream that has used least
///          (start-time fair queueing), so one that floods the server delays itself.
/// Threads  the io_context's only thread; counting from any thread.
class CLinkShare : public std::enable_shared_from_this<CLinkShare>
{
  public:
    /// @param p_nMost limit in bytes for all streams together.
    CLinkShare(boost::asio::any_io_executor p_executor, std::size_t p_nMost);

    void Join(CLinkStream& r_stream) { m_setpStream.insert(&r_stream); }
    void Leave(CLinkStream& r_stream) { m_setpStream.erase(&r_stream); }

    /// Changes the number of bytes that a stream holds.
    void Hold(std::size_t p_nBytes) { m_nHeld += p_nBytes; }
    void Release(std::size_t p_nBytes) { m_nHeld -= p_nBytes; }
    std::size_t Held() const { return m_nHeld; }
    /// Closes the streams that hold most until the rest is within the limit.
    void Shed();

    /// The stream has messages to handle: it will get a turn.
    void Ready(std::shared_ptr<CLinkStream> p_pStream);

  private:
    struct STurn
    {
        std::shared_ptr<CLinkStream> pStream;
        std::int64_t nBegin = 0; ///< in the virtual time below
    };
    void Post();
    void Turn();

    const boost::asio::any_io_executor m_executor;
    const std::size_t m_nMost;
    std::atomic<std::size_t> m_nHeld = 0;
    std::set<CLinkStream*> m_setpStream;
    std::vector<STurn> m_vecTurn;
    std::int64_t m_nNow = 0; ///< virtual time: nanoseconds used by a stream that is always busy
    bool m_bPosted = false;
};
} // namespace Norvik::Energy::Kestrel::Link
