#pragma once
#include "vds/base/ISource.h"
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>

/// Turns another source into a live one: one cycle every so many microseconds, whatever its stamps say; records the
/// time at which the server received the last cycle. The server sends a live cycle as soon as it has it.
class CPacedSource final : public ISource
{
  public:
    using Clock = std::chrono::steady_clock;
    /// Times shared with the measuring code; the server owns the source itself.
    struct SMoments
    {
        std::atomic<Clock::rep> tCycle{0};  ///< of the last cycle
        std::atomic<Clock::rep> tSecond{0}; ///< of the last cycle on a whole second
        std::atomic<bool> bEnded{false};    ///< the source has no further cycle
    };

    CPacedSource(std::unique_ptr<ISource> p_pSource, std::chrono::microseconds p_tInterval,
                 std::shared_ptr<SMoments> p_pMoments)
        : m_pSource(std::move(p_pSource)), m_tInterval(p_tInterval), m_pMoments(std::move(p_pMoments))
    {
    }
    const std::vector<unsigned long>& Ids() const override { return m_pSource->Ids(); }
    std::int32_t Rate() const override { return m_pSource->Rate(); }
    bool IsLive() const override { return true; }
    bool Rewind() override { return m_pSource->Rewind(); }
    void Start(boost::asio::io_context& r_io, std::function<void()> p_fnReady,
               std::function<void(const std::string&)>) override
    {
        m_fnReady = std::move(p_fnReady);
        m_pTimer = std::make_unique<boost::asio::steady_timer>(r_io);
        m_tNext = Clock::now();
        Wake();
    }
    void Stop() override { m_pTimer.reset(); }
    bool Next(SSourceCycle& r_cycle) override
    {
        if (Clock::now() < m_tNext)
            return false;
        if (!m_pSource->Next(r_cycle))
        {
            m_pMoments->bEnded = true;
            return false;
        }
        m_tNext = std::max(m_tNext + m_tInterval, Clock::now());
        Wake();
        const Clock::rep tNow = Clock::now().time_since_epoch().count();
        m_pMoments->tCycle = tNow;
        if (r_cycle.nTicks % 10000000 == 0)
            m_pMoments->tSecond = tNow;
        return true;
    }

  private:
    void Wake()
    {
        m_pTimer->expires_at(m_tNext);
        m_pTimer->async_wait(
            [this](const boost::system::error_code& p_ec)
            {
                if (!p_ec)
                    m_fnReady();
            });
    }

    const std::unique_ptr<ISource> m_pSource;
    const std::chrono::microseconds m_tInterval;
    const std::shared_ptr<SMoments> m_pMoments;
    std::function<void()> m_fnReady;
    std::unique_ptr<boost::asio::steady_timer> m_pTimer;
    Clock::time_point m_tNext;
};
