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

/// How the required rate follows from the PMUs' rates. Also selects how reading starts: by rate or by cycle time.
enum EInputMode : std::int32_t
{
    eInputModeMax = 0, ///< largest rate, start by rate
    eInputModeMin = 1, ///< smallest rate, start by rate
    eInputModeGcd = 2  ///< greatest common divisor, start by cycle time
};

/// Base of a read session: its PMUs and the required cycle rate.
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
    /// Creates m_hEventDLI. Nothing signals it; its existence marks the instance as ready for events.
    bool CreateHandleReceiveEventDLI();
    /// Derives the required rate from the PMUs' rates, depending on the input mode. @return false if it is 0.
    bool CalcVdsReqCycleRate(std::int32_t p_eInputMode);
    bool CheckForBasicCycleRates(std::int32_t p_nRate) const;
    /// Finds a PMU of the session with the same phasors, so that two jobs can share it; null if there is none.
    CPmu* FindMatchingPmu(const CPmu* p_pPmu) const;
    /// Takes ownership of the PMU.
    void AddPmu(std::unique_ptr<CPmu> p_pPmu);
    void DeletePmus();
    void DeleteTrace();

    std::uint32_t m_nPmuCount = 0;
    std::int32_t m_eInputMode;                ///< EInputMode, as configured
    std::uint32_t m_nReqCycleRate = 0;        ///< Hz
    VecPmu m_vecpPmu;                         ///< in configuration order; constant while threads run
    unsigned long m_hConn;                    ///< read connection
    std::unique_ptr<boost::thread> m_pThread; ///< set by the thread set-up
    std::atomic<bool> m_bExit{false};         ///< ends the session thread
    CTraceOMA* m_pTrace;                      ///< trace area of the instance, may be null
    std::atomic<HANDLE> m_hData{nullptr};     ///< signalled by each status and by StopThread
    HANDLE m_hEventDLI = nullptr;             ///< created and closed by [M]
    std::int32_t m_nIncidenceKey = 0;         ///< last event aimed at this instance; set by the library's event thread
    std::string m_strAddition;                ///< its text
    bool m_bActive;                           ///< from the configuration, cleared when no job can run; [M]
    std::uint32_t m_nId;                      ///< element id of the instance
    std::uint32_t m_nTimeout_ms;              ///< time limit for the creation of the read callback

  private:
    std::uint32_t RetrveReqCycleRate(const std::vector<std::int32_t>& p_vecnRate, std::int32_t p_eInputMode) const;

    std::unique_ptr<CTraceOMA> m_pTraceOwn;
};
