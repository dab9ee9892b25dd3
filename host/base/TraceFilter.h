#pragma once
#include <array>
#include <cstdint>

/// Switches of the detail trace. Set by the first pass over the command line, read-only afterwards.
extern std::int32_t g_nTraceFilterId;        ///< element id whose detail lines are traced; 0: none, 99999: all
extern bool g_bTraceInfoAll;                 ///< set, never read
extern bool g_bTraceDataAll;                 ///< all data lines of the event and job paths
extern std::array<bool, 5> g_vecbTraceInfo;  ///< set, never read
extern std::array<bool, 10> g_vecbTraceData; ///< groups of data lines, see IsTraceData

inline constexpr std::int32_t g_nTraceFilterAll = 99999;

inline std::int32_t GetTraceFilterId()
{
    return g_nTraceFilterId;
}
inline bool IsTraceDataAll()
{
    return g_bTraceDataAll;
}
/// Groups: 0 server link commands, 1 output values, 2 actual phasors, 3 damping details, 4 spectrum details, 5
/// temporary modes, 6 grid quality, 7 job and spectrum cycle, 8 FFT, 9 unused. The line of the measurement file is in
/// group 7 on purpose.
inline bool IsTraceData(unsigned p_nGroup)
{
    return p_nGroup < g_vecbTraceData.size() && g_vecbTraceData[p_nGroup];
}
/// Whether the detail lines of this element are traced.
inline bool IsTraceFilterFor(std::uint64_t p_nId)
{
    return g_nTraceFilterId == g_nTraceFilterAll ||
           (g_nTraceFilterId > 0 && static_cast<std::uint64_t>(g_nTraceFilterId) == p_nId);
}
