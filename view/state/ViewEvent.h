#pragma once
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

inline constexpr double g_fNoValue = std::numeric_limits<double>::quiet_NaN();

enum class EEventKind
{
    eSwing, ///< of a mode: from its first level to the end of the last
    eGrid,  ///< zones and splits
    eSystem
};

/// One event of the server that belongs to a record.
struct SViewStep
{
    std::int64_t nTicks = 0; ///< as it came
    std::int64_t nTime_ms = 0;
    bool bApp = true;
    int eKey = 0;
    int nLevel = 0;
    std::string strText; ///< as it came, without what cannot be shown
    double fFreq_Hz = g_fNoValue;
    double fMagn = g_fNoValue;
    double fDamp = g_fNoValue;
    double fDOE = g_fNoValue;
};

/// What an operator calls an event.
struct SViewEvent
{
    static constexpr std::int64_t g_nStands = -1;

    std::int64_t nId = 0;
    EEventKind eKind = EEventKind::eSwing;
    std::int32_t eElemType = 0;
    std::uint64_t nElemId = 0;
    int eKey = 0;       ///< of the last APP
    bool bMode = false; ///< nJob and nMode are known
    std::uint64_t nJob = 0;
    std::uint64_t nMode = 0;
    std::string strText;
    int nLevel = 0;
    int nWorst = 0;
    std::int64_t nBegin_ms = 0;
    std::int64_t nEnd_ms = g_nStands;
    bool bEndKnown = true;
    double fFreq_Hz = g_fNoValue; ///< at the greatest exposure
    double fMagnMax = g_fNoValue;
    double fDampMax = g_fNoValue;
    double fDOEMax = g_fNoValue;
    std::int64_t nWorst_ms = 0; ///< time of the greatest exposure
    std::string strAckBy;       ///< empty: not acknowledged
    std::int64_t nAck_ms = 0;
    std::int64_t nNotes = 0;
    std::uint64_t nRevision = 0; ///< of the live state

    bool Stands() const { return nEnd_ms == g_nStands; }
};

/// Where records and values go for good. Called under the lock of the state: nothing in it waits.
class IViewMemory
{
  public:
    virtual ~IViewMemory() = default;
    virtual void OnEvent(const SViewEvent& p_event) = 0;
    virtual void OnStep(std::int64_t p_nEvent, const SViewStep& p_step) = 0;
    /// @param p_pfValue frequency, magnitude, damping ratio, degree of exposure.
    virtual void OnPass(std::size_t p_iJob, std::size_t p_iMode, std::int64_t p_nTime_ms, const double* p_pfValue) = 0;
    /// NaN: no valid value.
    virtual void OnSample(std::size_t p_iJob, std::int64_t p_nTicks, float p_fValue) = 0;
    /// When nothing could be seen. p_nEnd_ms -1: still so.
    virtual void OnBlind(std::int64_t p_nBegin_ms, std::int64_t p_nEnd_ms, const std::string& p_strText) = 0;
};
