#include "CLinkShare.h"
#include "CLinkStream.h"
#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <utility>

namespace Norvik::Energy::Kestrel::Link
{
CLinkShare::CLinkShare(boost::asio::any_io_executor p_executor, std::size_t p_nMost)
    : m_executor(std::move(p_executor)), m_nMost(p_nMost)
{
}

void CLinkShare::Shed()
{
    while (m_nHeld > m_nMost && !m_setpStream.empty())
    {
        CLinkStream* const pStream = *std::max_element(m_setpStream.begin(), m_setpStream.end(),
                                                       [](const CLinkStream* p_p1, const CLinkStream* p_p2)
                                                       { return p_p1->Held() < p_p2->Held(); });
        m_setpStream.erase(pStream);
        pStream->GiveUp("the server's memory for its peers is exhausted, and this peer uses most of it");
    }
}

void CLinkShare::Ready(std::shared_ptr<CLinkStream> p_pStream)
{
    const std::int64_t nBegin = std::max(m_nNow, p_pStream->m_nUsed);
    m_vecTurn.push_back({std::move(p_pStream), nBegin});
    Post();
}

void CLinkShare::Post()
{
    if (m_bPosted || m_vecTurn.empty())
        return;
    m_bPosted = true;
    boost::asio::post(m_executor, [self = shared_from_this()] { self->Turn(); });
}

void CLinkShare::Turn()
{
    m_bPosted = false;
    const auto it =
        std::min_element(m_vecTurn.begin(), m_vecTurn.end(),
                         [](const STurn& p_one, const STurn& p_two) { return p_one.nBegin < p_two.nBegin; });
    const STurn turn = std::move(*it);
    m_vecTurn.erase(it);
    m_nNow = turn.nBegin;
    const auto tBegin = std::chrono::steady_clock::now();
    const bool bMore = turn.pStream->Handle();
    turn.pStream->m_nUsed = turn.nBegin + std::chrono::nanoseconds(std::chrono::steady_clock::now() - tBegin).count();
    if (bMore)
        Ready(turn.pStream);
    Post();
}
} // namespace Norvik::Energy::Kestrel::Link
