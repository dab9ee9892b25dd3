#pragma once
#include "link/dli/CallBacks.h"
#include "platform/dli/CReceiver.h"
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Events that are delivered in one call. Shared by all receivers of the connection; when the last one has finished
/// with it, the server is told.
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
    bool bStanding = false;    ///< all events active now
    std::vector<std::unique_ptr<CEvent>> vecpEvent;
    std::function<void()> fnTaken;
};

/// Registration of an event callback, and the events of other kinds that it has been told of and that have not ended.
///
/// After a disconnection, the object does not know what ended meanwhile, and a server that lost its state cannot say.
/// So each reply with all active events starts with the ends of the events that this object knew and that are no longer
/// active. They carry the text of their start. Events of the object's own kind are its own responsibility and get no
/// such end.
class CEventReceiver : public CReceiver
{
  public:
    /// @param p_eElem element type of the object's own events.
    CEventReceiver(CThreadPool& p_pool, CEventDataCallBack* p_pCallBack, int p_eElem)
        : CReceiver(p_pool), m_pCallBack(p_pCallBack), m_eElem(p_eElem)
    {
    }
    void PushEvents(std::shared_ptr<SEventBatch> p_pBatch);
    const CEventDataCallBack* GetCallBack() const { return m_pCallBack; }

  protected:
    void CallStatus(const SStatus& p_status) override;
    bool ReceiveNext() override;

  private:
    using TKey = std::tuple<EIncidenceKey, EElementType, unsigned long>;
    using VecEvent = std::vector<std::unique_ptr<CEvent>>;
    static TKey KeyOf(const CEvent& p_event);
    bool IsForeign(const CEvent& p_event) const;
    bool IsTold(const CEvent& p_event) const;
    VecEvent EndsBefore(const VecEvent& p_vecpStanding) const;
    void Note(const CEvent& p_event);

    CEventDataCallBack* const m_pCallBack; ///< owned by the application
    const int m_eElem;
    std::map<TKey, std::string> m_mapTold;               ///< texts; used by the receive lane only
    std::deque<std::shared_ptr<SEventBatch>> m_queBatch; ///< guarded by m_mtx
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
