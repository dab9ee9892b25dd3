#pragma once
#include "link/dli/CallBacks.h"
#include "platform/dli/CReceiver.h"
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Events that are delivered in one call. Shared by all receivers of the connection; when the last one has done with
/// it, the server is told.
struct SEventBatch
{
    SEventBatch() = default;
    SEventBatch(const SEventBatch&) = delete;
    SEventBatch& operator=(const SEventBatch&) = delete;
    ~SEventBatch()
    {
        if (fnTaken)
            fnTaken();
    }

    unsigned long lReqNum = 0; ///< of the Read that it answers; 0: live
    std::vector<std::unique_ptr<CEvent>> vecpEvent;
    std::function<void()> fnTaken;
};

/// Registration of an event callback.
class CEventReceiver : public CReceiver
{
  public:
    CEventReceiver(CThreadPool& p_pool, CEventDataCallBack* p_pCallBack) : CReceiver(p_pool), m_pCallBack(p_pCallBack)
    {
    }
    void PushEvents(std::shared_ptr<SEventBatch> p_pBatch);
    const CEventDataCallBack* GetCallBack() const { return m_pCallBack; }

  protected:
    void CallStatus(const SStatus& p_status) override;
    bool ReceiveNext() override;

  private:
    CEventDataCallBack* const m_pCallBack;               ///< the application's
    std::deque<std::shared_ptr<SEventBatch>> m_queBatch; ///< under m_mtx
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
