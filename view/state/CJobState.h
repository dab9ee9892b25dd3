#pragma once
#include "view/state/ViewEvent.h"
#include "view/state/ViewModel.h"
#include <array>
#include <cstdint>
#include <vector>

/// What is known of one job now: its newest value, the last minutes of it, its modes.
///
/// Owner    CViewState. Threads: any, under its lock.
class CJobState
{
  public:
    static constexpr std::int64_t g_nTrace_ms = 300000;

    struct SMode
    {
        bool bAlive = false;
        std::int64_t nSince_ms = 0;
        std::int64_t nTime_ms = 0; ///< 0: no values
        std::array<double, 4> vecfValue{g_fNoValue, g_fNoValue, g_fNoValue, g_fNoValue};
    };
    struct STrace
    {
        std::int64_t nBegin_ms = 0;
        std::vector<float> vecfValue; ///< NaN: none
    };

    explicit CJobState(const SViewJob& p_job);

    /// @param p_fValue NaN if it is not valid.
    void OnValue(std::int64_t p_nTime_ms, float p_fValue, int p_eQual);
    /// The channel of the actual value has been stopped or started anew.
    void OnChannel(bool p_bRuns);

    bool HasValue() const { return m_nTime_ms != 0; }
    float Value() const { return m_fValue; }
    int Quality() const { return m_eQual; }
    std::int64_t Time_ms() const { return m_nTime_ms; }
    bool Runs() const { return m_bRuns; }
    /// How far back valid values reach without a gap, at most the longest window.
    double Filled_s() const;
    double TraceStep_ms() const { return m_fStep_ms; }
    /// Number of the newest value of the trace; a value n lies at n * TraceStep_ms.
    std::int64_t TraceEnd() const { return m_nTraceLast + 1; }
    /// Values from a number on, at most those that are kept.
    STrace Trace(std::int64_t p_nFrom) const;

    std::vector<SMode> m_vecMode;
    std::uint64_t m_nRevision = 1; ///< of the last change beyond value and time

  private:
    const SViewJob& m_job;
    const double m_fStep_ms;
    float m_fValue = 0.0F;
    int m_eQual = 2;
    bool m_bRuns = false;
    std::int64_t m_nTime_ms = 0;
    std::int64_t m_nValidFrom_ms = 0; ///< 0: the newest value is not valid
    std::vector<float> m_vecfTrace;
    std::int64_t m_nTraceLast = -1;
    std::int64_t m_nTraceFirst = 0;
};
