#pragma once
#include "view/memory/CDatabase.h"
#include "view/memory/CMemory.h"
#include "view/memory/MemoryReads.h"
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// From the first to the last ms, both included.
struct SRange
{
    std::int64_t nFrom_ms = 0;
    std::int64_t nTo_ms = 0;
};
struct SModeRef
{
    std::size_t iJob = 0;
    std::size_t iMode = 0;
};

/// A curve in columns. With eFull, min and max are empty.
struct SCurve
{
    enum EResolution
    {
        eFull,
        eBucket,
        eMinute
    };
    struct SColumn
    {
        std::vector<double> vecfMean; ///< NaN: nothing there
        std::vector<double> vecfMin;
        std::vector<double> vecfMax;
    };
    EResolution eResolution = eFull;
    std::vector<std::int64_t> vecnTime_ms;
    std::vector<SColumn> vecColumn;
};

struct SEventFilter
{
    std::optional<std::int64_t> nFrom_ms, nTo_ms, nJob, nMode, nMinLevel, nKind, nBefore;
    std::vector<std::uint64_t> vecnJob; ///< any of these, if bJobs
    bool bJobs = false;
    std::optional<bool> bStanding, bAcknowledged;
    std::int64_t nLimit = 100;
};

struct SNote
{
    std::int64_t nId = 0;
    std::string strBy;
    std::int64_t nTime_ms = 0;
    std::string strText;
};

/// A mode that swung at the same frequency.
struct SNeighbour
{
    SModeRef mode;
    double fFreq_Hz = 0.0;
    double fMagn = 0.0;
    double fPhase_deg = g_fNoValue;
};

/// Reads the file; each call sees one state of it.
///
/// Threads  one at a time.
class CMemoryReader
{
  public:
    CMemoryReader(const CMemory& p_memory, const SViewModel& p_model);

    /// Frequency, magnitude, damping ratio, degree of exposure.
    SCurve Course(const SModeRef& p_mode, const SRange& p_range, std::size_t p_nPoints);
    /// One column. @param p_nPoints 0: all samples.
    SCurve Values(std::size_t p_iJob, const SRange& p_range, std::size_t p_nPoints);
    std::vector<SSample> Samples(std::size_t p_iJob, const SRange& p_range);
    std::vector<SViewEvent> Events(const SEventFilter& p_filter);
    std::vector<SViewStep> Steps(std::int64_t p_nEvent);
    std::vector<SNote> Notes(std::int64_t p_nEvent);
    struct SBlind
    {
        std::int64_t nBegin_ms = 0;
        std::int64_t nEnd_ms = -1;
        std::string strText;
    };
    std::vector<SBlind> Blind(const SRange& p_range);
    std::vector<SNeighbour> Neighbours(const SViewEvent& p_event);
    /// 0: nothing there.
    std::int64_t Oldest_ms();

  private:
    using TPassList = std::vector<std::pair<std::int64_t, TPass>>;
    TPassList Passes(std::int64_t p_nSeries, const SRange& p_range);
    SCurve MinuteCourse(std::int64_t p_nSeries, const SRange& p_range, std::size_t p_nPoints);
    SCurve MinuteValues(std::size_t p_iJob, const SRange& p_range, std::size_t p_nPoints);
    double Phase_deg(std::size_t p_iJob, std::size_t p_iOther, double p_fFreq_Hz, std::int64_t p_nAt_ms);

    const CMemory& m_memory;
    const SViewModel& m_model;
    CDatabase m_db;
};

/// Phase of a frequency in samples, degrees, against the time of the first one of a common origin; NaN if they are too few.
double PhaseOf_deg(const std::vector<SSample>& p_vecSample, double p_fFreq_Hz, std::int64_t p_nOrigin);
