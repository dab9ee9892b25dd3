#pragma once
#include "platform/dli/CGate.h"
#include "platform/dli/CThreadPool.h"
#include <deque>
#include <exception>
#include <memory>
#include <mutex>

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// One registration of a callback object: its gate and the lanes on which it is called.
///
/// Owner    shared: the application-side object that created it, the connection's list, and the pool while a
///          lane runs. It may outlive the callback object: a closed gate lets no call through.
/// Lanes    Status in order, one at a time. Replies to write starts (10) have their own lane, since the
///          application waits for them inside a Status; a Status never overtakes an earlier reply.
///          Receive has the third lane.
class CReceiver : public ILanes, public std::enable_shared_from_this<CReceiver>
{
  public:
    explicit CReceiver(CThreadPool& p_pool) : m_pool(p_pool) {}
    CReceiver(const CReceiver&) = delete;
    CReceiver& operator=(const CReceiver&) = delete;

    void PushStatus(unsigned long p_eStatus, unsigned long p_lReqNum = 0, unsigned long p_lAddInfo = 0);
    /// The connection is lost: anything not delivered yet is discarded.
    virtual void OnLost() {}
    void Close() { m_gate.Close(); }
    /// @return true if every pending call has been made and has returned. Replies are not considered.
    bool IsAtRest();

    void RunLane(int p_nLane) override;

  protected:
    enum ELane
    {
        eLaneStatus,
        eLaneAnswer,
        eLaneReceive
    };
    struct SStatus
    {
        unsigned long eStatus = 0;
        unsigned long lReqNum = 0;
        unsigned long lAddInfo = 0;
        unsigned nStart = 0; ///< of a read set, for status 9
    };

    void Push(const SStatus& p_status);
    /// Calls the object unless the gate is closed. An exception ends here, with one line.
    template <class TCall>
    void Call(TCall&& p_fnCall)
    {
        if (!m_gate.Enter())
            return;
        try
        {
            p_fnCall();
        }
        catch (const std::exception& ex)
        {
            ReportThrow(ex.what());
        }
        catch (...)
        {
            ReportThrow("of unknown type");
        }
        m_gate.Leave();
    }
    /// Calls the object, inside the gate.
    virtual void CallStatus(const SStatus& p_status) = 0;
    /// After the call, or instead of it if the gate is closed.
    virtual void StatusDone(const SStatus& p_status) { (void)p_status; }
    /// Takes the next delivery from its queue and makes the call. @return false if there is none (the lane has ended).
    virtual bool ReceiveNext() { return false; }

    CThreadPool& m_pool;
    std::mutex m_mtx;
    bool m_bReceiveRuns = false; ///< guarded by m_mtx

  private:
    void Schedule();
    void RunStatus();
    void RunAnswers();
    void Deliver(const SStatus& p_status);
    static void ReportThrow(const char* p_pText);

    CGate m_gate;
    // ---- guarded by m_mtx ----
    std::deque<SStatus> m_queStatus;
    std::deque<SStatus> m_queAnswer;
    bool m_bStatusRuns = false;
    bool m_bAnswerRuns = false;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
