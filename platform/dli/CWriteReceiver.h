#pragma once
#include "link.pb.h"
#include "link/dli/CallBacks.h"
#include "platform/dli/CReceiver.h"
#include <chrono>
#include <condition_variable>
#include <optional>
#include <thread>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Registration of a write callback, and the start it belongs to.
///
/// A start that was refused or not answered is repeated until it is accepted, stopped or the link is lost. The
/// application asks only once, and the refusal may be due to its own previous connection, whose loss the server has not
/// noticed yet.
///
/// Threads  Begin and End: the application's thread. Answered, OfferAgain and OnLost: the link's thread.
class CWriteReceiver : public CReceiver
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CWriteReceiver(CThreadPool& p_pool, CChannelDataWriteCallBack* p_pCallBack)
        : CReceiver(p_pool), m_pCallBack(p_pCallBack)
    {
    }

    /// Assigns the start its number, which identifies its replies.
    void Begin(Link::StartWrite& r_start);
    /// Once it has returned, no reply to the start is being delivered or will be. Called from inside such a delivery,
    /// it does not wait for that delivery.
    void End();
    /// Delivered to the application: replies to the current start, of refusals only the first.
    void Answered(const Link::WriteResponse& p_response);
    /// Calls p_fnSend(start) if the start is due to be repeated. An End has either come before, or its stop is sent
    /// afterwards.
    template <class TSend>
    void OfferAgain(TTime p_tNow, TSend&& p_fnSend)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (IsDue(p_tNow))
            p_fnSend(*m_start);
    }
    void OnLost() override;
    /// @return true from Begin to End, whatever the state of the link.
    bool IsBegun();

  protected:
    void CallStatus(const SStatus& p_status) override;
    void StatusDone(const SStatus& p_status) override;

  private:
    bool IsDue(TTime p_tNow);
    bool BeginTelling(unsigned p_nStart);
    void EndTelling();

    CChannelDataWriteCallBack* const m_pCallBack; ///< owned by the application
    // ---- guarded by m_mtx ----
    std::optional<Link::StartWrite> m_start; ///< not accepted yet
    unsigned m_nStart = 0;                   ///< number of the current start
    bool m_bBegun = false;                   ///< and not ended
    bool m_bStands = false;                  ///< begun and not ended, on the current connection
    bool m_bRefused = false;                 ///< and reported as refused
    std::thread::id m_idTelling;             ///< thread that is delivering a reply; empty: none
    std::condition_variable m_cvTold;
    TTime m_tAgain;
    std::chrono::seconds m_tDelay{}; ///< from the last attempt to the next
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
