#pragma once
#include "WinEvents.h"
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include "link/dli/CChanneldataWrite.h"
#include <atomic>
#include <cstdint>
#include <string_view>
#include <vector>

/// Connection state of one output; starts and stops its writing.
///
/// Owner    CVdsOutMeas or CVdsOutPS.
/// Threads  DoStart, DoStop: a job thread, or a library thread when a connection comes or goes. Status: a library
///          thread. The flags are atomic; DoStart clears m_bStarted before Start, so that the answer cannot be lost.
/// States   no link (m_bDisconnected), link, start sent (m_bStartInit), writing (m_bStarted).
class CVdsOutCb : public Norvik::Energy::Kestrel::VDS::Runtime::CChannelDataWriteCallBack
{
  public:
    CVdsOutCb(std::string_view p_strClass, HANDLE p_hStatus,
              Norvik::Energy::Kestrel::VDS::Runtime::CChanneldataWrite* p_pChanData, std::uint32_t p_nVirtualPmuId,
              const std::vector<unsigned long>& p_vecnChanId, std::int32_t p_nCycleRate, CTraceOMA* p_pTrace);
    ~CVdsOutCb() override;
    CVdsOutCb(const CVdsOutCb&) = delete;
    CVdsOutCb& operator=(const CVdsOutCb&) = delete;

    void Status(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo) override;
    virtual bool OnConnected() = 0;
    virtual bool OnDisconnected() = 0;

    /// Declares the virtual PMU and waits at most 400 ms for the answer: a silent server must not cost a PS cycle.
    /// @param p_pTime PS cycle, null for a start without one.
    bool DoStart(const CTime* p_pTime);
    bool DoStop(const CTime* p_pTime);
    /// Checks m_bStarted every 10 ms and as soon as the answer arrives.
    bool WaitForStartWriteResponse(unsigned p_nTimeout_ms);
    bool OnChannelDataWriteResponse(unsigned long p_nId, unsigned long p_nError);

    /// Number of the PS cycle after the given time, on the grid of m_nCycleRate. Numbers are consecutive.
    /// @return false for a time or a rate without cycles.
    bool CycleAfter(const CTime& p_time, std::int64_t& r_nCycle) const;

    bool IsStarted() const { return m_bStarted; }
    bool IsDisconnected() const { return m_bDisconnected; }
    /// Number of DoStart calls. Both the job and a returning connection may start the output.
    unsigned NoOfStarts() const { return m_nStarts; }

    std::atomic<std::uint32_t> m_nWaited_ms{0}; ///< duration of the last wait for the start answer
    /// For the gap check: number of the PS cycle after the last value written. A start sets it as if the previous cycle
    /// had been written. 0: no check.
    std::atomic<std::int64_t> m_tsLast{0};
    std::atomic<bool> m_bDisconnected{true};
    std::atomic<bool> m_bStartInit{false}; ///< Start has been sent
    std::atomic<unsigned> m_nStarts{0};
    std::atomic<bool> m_bStarted{false};     ///< Start has been answered
    std::atomic<unsigned long> m_eStatus{3}; ///< last status
    std::int32_t m_nCycleRate;               ///< Hz; for a swing writer the PS repetition rate

  protected:
    bool OnUnknownStatus(unsigned long p_eStatus, unsigned long p_lReqNum, unsigned long p_lAddInfo);
    unsigned long FirstId() const { return m_vecnChanId.empty() ? 0 : m_vecnChanId.front(); }

    std::string_view m_strClass; ///< name of the derived class, for traces
    HANDLE m_hStatus;
    Norvik::Energy::Kestrel::VDS::Runtime::CChanneldataWrite* m_pChanData; ///< not owned
    std::uint32_t m_nVirtualPmuId;
    std::vector<unsigned long> m_vecnChanId;
    CTraceOMA* m_pTrace;
    const HANDLE m_hAnswered; ///< signalled after m_bStarted is set
};
