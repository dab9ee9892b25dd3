#pragma once
#include "WinEvents.h"
#include "host/base/CTraceOMA.h"
#include "job/CPmu.h"
#include <atomic>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// How the required rate follows from the rates of the PMUs; also the form of the start: by rate, or by cycle time.
enum EInputMode : std::int32_t
{
    eInputModeMax = 0, ///< largest rate, start by rate
    eInputModeMin = 1, ///< smallest rate, start by rate
    eInputModeGcd = 2  ///< greatest common divisor, start by cycle time
};

/// Base of a read session: the PMU list and the required cycle rate.
/// Owner    the pass. Threads: [M] construction and clean-up, [S] session thread, [E] event thread, library.
class CVds
{
  public:
    using VecPmu = std::vector<std::unique_ptr<CPmu>>;

    CVds(unsigned long p_hConn, std::uint32_t p_nId, bool p_bActive, std::int32_t p_eInputMode,
         std::uint32_t p_nTimeout_ms, std::unique_ptr<CTraceOMA> p_pTrace);
    virtual void StopThread() = 0;
    virtual bool AcknowledgeEvent() = 0;
    virtual ~CVds();
    CVds(const CVds&) = delete;
    CVds& operator=(const CVds&) = delete;

    // ---- [M] construction and clean-up ----
    /// Makes m_hEventDLI. Nothing signals it: it tells that the instance is ready for events.
    bool CreateHandleReceiveEventDLI();
    /// Required rate from the rates of the PMUs, by the input mode. @return false with a rate of 0.
    bool CalcVdsReqCycleRate(std::int32_t p_eInputMode);
    bool CheckForBasicCycleRates(std::int32_t p_nRate) const;
    /// The PMU of the session that has the phasors of p_pPmu, so that two jobs share it; null if none.
    CPmu* FindMatchingPmu(const CPmu* p_pPmu) const;
    /// Takes over a PMU.
    void AddPmu(std::unique_ptr<CPmu> p_pPmu);
    void DeletePmus();
    void DeleteTrace();

    std::uint32_t m_nPmuCount = 0;
    std::int32_t m_eInputMode;                ///< EInputMode, as configured
    std::uint32_t m_nReqCycleRate = 0;        ///< Hz
    VecPmu m_vecpPmu;                         ///< in configuration order; constant while threads run
    unsigned long m_hConn;                    ///< connection for reading
    std::unique_ptr<boost::thread> m_pThread; ///< set by the thread set-up
    std::atomic<bool> m_bExit{false};         ///< the session thread ends
    CTraceOMA* m_pTrace;                      ///< the instance's area, may be null
    std::atomic<HANDLE> m_hData{nullptr};     ///< signalled by each status and by StopThread
    HANDLE m_hEventDLI = nullptr;             ///< [M] makes and closes it
    std::int32_t m_nIncidenceKey = 0;         ///< the last event directed at this instance; library's event thread
    std::string m_strAddition;                ///< its text
    bool m_bActive;                           ///< from the configuration, cleared when no job can run; [M]
    std::uint32_t m_nId;                      ///< element id of the instance
    std::uint32_t m_nTimeout_ms;              ///< limit for the making of the read callback

  private:
    std::uint32_t RetrveReqCycleRate(const std::vector<std::int32_t>& p_vecnRate, std::int32_t p_eInputMode) const;

    std::unique_ptr<CTraceOMA> m_pTraceOwn;
};
