#pragma once
#include "link.pb.h"
#include "link/dli/CResultFeed.h"
#include "platform/dli/CReceiver.h"
#include <deque>
#include <functional>
#include <memory>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Registration of a reader of results. The server sends no more than a few batches ahead of their acknowledgement, so
/// that a slow reader costs a bounded memory here too.
class CFeedReceiver : public CReceiver
{
  public:
    /// Tells the server that a batch has been taken.
    using TTaken = std::function<void(std::uint32_t p_nStart, std::uint64_t p_nSeq)>;

    CFeedReceiver(CThreadPool& p_pool, CResultFeedCallBack* p_pCallBack, TTaken p_fnTaken)
        : CReceiver(p_pool), m_pCallBack(p_pCallBack), m_fnTaken(std::move(p_fnTaken))
    {
    }
    /// @return number of the start; batches of others are void from now on.
    std::uint32_t Begin();
    /// @throws std::runtime_error for a batch that does not hold together, or that was not to come yet.
    void PushBatch(const Link::FeedBatch& p_batch);
    void PushHealth(const Link::FeedHealth& p_health);
    void OnLost() override;

  protected:
    void CallStatus(const SStatus& p_status) override;
    bool ReceiveNext() override;

  private:
    struct SDelivery
    {
        std::unique_ptr<Link::FeedBatch> pBatch; ///< null: health
        std::unique_ptr<SFeedHealth> pHealth;
    };
    void Push(SDelivery p_delivery);

    CResultFeedCallBack* const m_pCallBack; ///< the application's
    const TTaken m_fnTaken;
    SFeedBatch m_batch; ///< of the receive lane
    // ---- under m_mtx ----
    std::uint32_t m_nStart = 0;
    std::deque<SDelivery> m_queDelivery;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
