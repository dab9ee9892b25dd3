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
/// Registration of a write callback, and the start that it stands for.
///
/// A start that was refused or has not been answered is offered again until it is accepted, stopped or the link is
/// lost. The application asks once: its refusal may come only from its own last connection, which the server has not
/// missed yet.
///
/// Threads  Begin and End: the application's. Answered, OfferAgain and OnLost: the link's.
class CWriteReceiver : public CReceiver
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CWriteReceiver(CThreadPool& p_pool, CChannelDataWriteCallBack* p_pCallBack)
        : CReceiver(p_pool), m_pCallBack(p_pCallBack)
    {
    }

    /// Gives the start its number, by which its answers are known.
    void Begin(Link::StartWrite& r_start);
    /// When it has returned, no answer to the start is being told or will be. From inside of such a call it does not
    /// wait for that call itself.
    void End();
    /// Told to the application: what belongs to the present start, and of refusals the first.
    void Answered(const Link::WriteResponse& p_response);
    /// Calls p_fnSend(start) if it is time to offer the start again. An End has either come before, or its stop goes
    /// out behind.
    template <class TSend>
    void OfferAgain(TTime p_tNow, TSend&& p_fnSend)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (IsDue(p_tNow))
            p_fnSend(*m_start);
    }
    void OnLost() override;
    /// @return true from Begin to End, whatever has become of the link meanwhile.
    bool IsBegun();

  protected:
    void CallStatus(const SStatus& p_status) override;
    void StatusDone(const SStatus& p_status) override;

  private:
    bool IsDue(TTime p_tNow);
    bool BeginTelling(unsigned p_nStart);
    void EndTelling();

    CChannelDataWriteCallBack* const m_pCallBack; ///< the application's
    // ---- under m_mtx ----
    std::optional<Link::StartWrite> m_start; ///< not accepted yet
    unsigned m_nStart = 0;                   ///< number of the present start
    bool m_bBegun = false;                   ///< and not ended
    bool m_bStands = false;                  ///< begun and not ended, on the present connection
    bool m_bRefused = false;                 ///< and told so
    std::thread::id m_idTelling;             ///< thread in a call that tells an answer; none: no call
    std::condition_variable m_cvTold;
    TTime m_tAgain;
    std::chrono::seconds m_tDelay{}; ///< from the last offer to the next
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
