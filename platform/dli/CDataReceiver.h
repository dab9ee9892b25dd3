#pragma once
#include "link/dli/CChannelAnalog.h"
#include "link/dli/CallBacks.h"
#include "platform/dli/CReceiver.h"
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace Norvik::Energy::Kestrel::Link
{
class Cycle;
}

namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
{
/// Registration of a read callback: the queue of its cycles, and the channel objects passed to it.
///
/// Threads  Started, PushCycle: the link's thread. Receive: one thread of the pool at a time.
/// Memory   cycle records and channel objects are reused; a normal cycle allocates no memory.
class CDataReceiver : public CReceiver
{
  public:
    /// Reports the application's progress to the server.
    class IReport
    {
      public:
        virtual ~IReport() = default;
        virtual void ReportReady(unsigned p_nStart) = 0;
        /// @param p_bMore the next cycle is already here: the confirmation of this one may wait.
        virtual void ReportTaken(unsigned p_nStart, std::uint64_t p_nSeq, bool p_bMore) = 0;
    };

    CDataReceiver(CThreadPool& p_pool, CChannelDataCallBack* p_pCallBack, std::weak_ptr<IReport> p_pReport)
        : CReceiver(p_pool), m_pCallBack(p_pCallBack), m_pReport(std::move(p_pReport))
    {
    }

    /// Accepts cycles of this start from now on; 0: none. The ids are those declared, in order.
    void Begin(unsigned p_nStart, const std::vector<unsigned long>& p_vecnId);
    /// The server's reply to the start.
    void Started(unsigned p_nStart, std::int64_t p_nCycle_ms, bool p_bLive);
    void PushCycle(const Link::Cycle& p_cycle);
    void OnLost() override { Begin(0, {}); }

  protected:
    void CallStatus(const SStatus& p_status) override;
    void StatusDone(const SStatus& p_status) override;
    bool ReceiveNext() override;

  private:
    struct SCycle
    {
        unsigned nStart = 0;
        std::uint64_t nSeq = 0;
        std::int64_t nTicks = 0;
        std::vector<float> vecfMagn;
        std::vector<float> vecfAngle;
        std::vector<std::uint64_t> vecnState;
    };
    void Fill(const SCycle& p_cycle);
    void DropQueue();
    bool BeginReceive();

    CChannelDataCallBack* const m_pCallBack; ///< owned by the application
    const std::weak_ptr<IReport> m_pReport;

    // ---- guarded by m_mtx ----
    unsigned m_nStart = 0;
    std::vector<unsigned long> m_vecnId;
    bool m_bLive = false;
    std::size_t m_nMaxQueue = 0; ///< 10 s of data
    bool m_bReady = false;       ///< the reply to the start has been delivered, or its time is up
    std::chrono::steady_clock::time_point m_tStarted;
    std::deque<std::unique_ptr<SCycle>> m_queCycle;
    std::vector<std::unique_ptr<SCycle>> m_vecSpare;

    // ---- Receive lane ----
    std::vector<CChannelAnalog> m_vecChannel; ///< contiguous: written and read in one pass
    std::vector<CChannel*> m_vecpChannel;     ///< as passed to the application; refilled for each cycle
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime::Dli
