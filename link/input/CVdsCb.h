#pragma once
#include "WinEvents.h"
#include "host/base/CTime.h"
#include "host/base/CTraceOMA.h"
#include "link/dli/CChanneldata.h"
#include "link/input/CVds.h"
#include <atomic>
#include <cstdint>
#include <memory>

/// Base of the read callback: connection state and the session's data.
/// Threads  the library calls the virtual functions, the event side sets the flags, the session thread reads the
///          status.
class CVdsCb : public Norvik::Energy::Kestrel::VDS::Runtime::CChannelDataCallBack
{
  public:
    CVdsCb(HANDLE p_hStatus, Norvik::Energy::Kestrel::VDS::Runtime::CChanneldata* p_pChanData, CVds::VecPmu* p_pvecpPmu,
           std::int32_t p_eInputMode, std::uint32_t p_nReqCycleRate, CTraceOMA* p_pTrace);
    virtual bool OnConnected() = 0;
    virtual bool OnDisconnected() = 0;
    virtual bool OnReqCycle(unsigned long p_lCycle_ms) = 0;

    /// Rate in Hz to cycle time in ms, truncated: 60 Hz gives 16 ms. 0 for a rate of 0.
    static std::uint32_t CycleRateHzToCycleTimeMs(std::uint32_t p_nRate);
    /// The inverse, for the 13 exact cycle times of the basic rates. Any other value: an error line and 0.
    std::uint32_t CycleTimeMsToCycleRateHz(unsigned long p_nCycle_ms) const;

    void SetUpcDone(bool p_bDone) { m_bUpcDone = p_bDone; }
    void SetStop(bool p_bStop) { m_bStop = p_bStop; }
    unsigned long GetStatus() const { return m_eStatus; }

  protected:
    std::atomic<bool> m_bStop{false}; ///< ends every loop as soon as possible; set by the event side
    std::atomic<bool> m_bDisconnected{true};
    std::atomic<unsigned long> m_eStatus{3}; ///< last status received
    std::atomic<bool> m_bUpcDone{false};     ///< the UPC request has been processed; set by the event callback
    HANDLE m_hStatus;                        ///< wakes the session thread after each status
    Norvik::Energy::Kestrel::VDS::Runtime::CChanneldata* m_pChanData; ///< not owned
    std::unique_ptr<CTime> m_pActTime;          ///< stamp of the current cycle; all jobs hold a pointer to it
    CVds::VecPmu* m_pvecpPmu;                   ///< the session's PMUs
    std::int32_t m_eInputMode;                  ///< EInputMode
    std::uint32_t m_nReqCycleRate;              ///< Hz
    std::atomic<std::uint32_t> m_nCycleRate{0}; ///< actual rate in Hz, as reported by the server
    CTraceOMA* m_pTrace;                        ///< may be null
};
