#pragma once
#include "link/dli/SampleState.h"
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace boost::asio
{
class io_context;
}

/// One datapoint in one cycle. Magnitude in V or A, angle in degrees, as in the link's sample record.
struct SSourceSample
{
    float fMagn = 0.0F;
    float fAngle_deg = 0.0F;
    std::uint64_t nState = 0; ///< 64-bit state word, 0: good
    bool bPresent = false;    ///< false: no sample of this datapoint in this cycle

    bool IsInvalid() const { return !bPresent || (nState & g_nStateInvalidBits) != 0; }
    bool IsUsable() const { return !IsInvalid() && std::isfinite(fMagn) && std::isfinite(fAngle_deg); }
};

/// An event that a source raises at the time of a cycle (zone events of a scenario).
struct SSourceEvent
{
    std::int32_t eKey = 0;
    std::int32_t eTrans = 0; ///< 1 APP, 0 DIS
    std::int32_t eElemType = 0;
    std::uint64_t nElemId = 0;
    std::string strText;
};

/// One cycle of a source. Reused from call to call, so that the normal cycle allocates no memory.
struct SSourceCycle
{
    std::int64_t nTicks = 0;              ///< 100 ns since 0001-01-01 UTC, the time stamp of the data
    std::vector<SSourceSample> vecSample; ///< one per id of the source, in the same order
    std::vector<SSourceEvent> vecEvent;   ///< delivered before the samples of this cycle
};

/// One stream of a live source, since the start of the process.
struct SStreamHealth
{
    std::string strName;
    bool bConnected = false;     ///< its configuration is known
    std::uint64_t nFrames = 0;   ///< of data
    std::uint64_t nGaps = 0;     ///< places where stamps are missing
    std::uint64_t nLost = 0;     ///< frames missing there
    std::uint64_t nLate = 0;     ///< frames that came after their cycle
    std::uint64_t nBadClock = 0; ///< frames whose time cannot be used
    std::uint64_t nErrors = 0;   ///< frames that could not be read
};

/// Where the server's samples come from. Used by one thread only.
class ISource
{
  public:
    virtual ~ISource() = default;
    /// Datapoint ids, in the order of SSourceCycle::vecSample; fixed.
    virtual const std::vector<unsigned long>& Ids() const = 0;
    /// Cycles per second (positive), or -n for one every n seconds.
    virtual std::int32_t Rate() const = 0;
    /// Reads the next cycle, in the source's order. @return false at the end.
    virtual bool Next(SSourceCycle& r_cycle) = 0;
    /// Returns to the first cycle. @return false if that is not possible.
    virtual bool Rewind() = 0;
    /// Why Next returned false before the end, one line; empty at a regular end.
    virtual const std::string& Error() const
    {
        static const std::string strNone;
        return strNone;
    }
    /// Whether read sets with a lower rate are filtered against aliasing; otherwise they get the cycles on their grid
    /// unchanged.
    virtual bool IsFiltered() const { return false; }

    // ---- live sources: cycles arrive in real time, and Next returns false while none is ready ----
    virtual bool IsLive() const { return false; }
    /// Starts the source's work between its cycles, all on the server's thread. The source calls p_fnReady when Next
    /// may have a cycle, and p_fnLine with a message for the operator.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): a live source keeps them
    virtual void Start(boost::asio::io_context&, std::function<void()> /*p_fnReady*/,
                       // NOLINTNEXTLINE(performance-unnecessary-value-param)
                       std::function<void(const std::string&)> /*p_fnLine*/)
    {
    }
    /// From now on the source no longer calls p_fnReady or p_fnLine.
    virtual void Stop() {}
    /// Messages for the operator at the end.
    virtual std::vector<std::string> Summary() const { return {}; }
    virtual std::vector<SStreamHealth> Streams() const { return {}; }
};
