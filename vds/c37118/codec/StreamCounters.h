#pragma once
#include "vds/c37118/codec/Frames.h"

/// What one stream has received since the start of the process.
struct SStreamCounters
{
    std::uint64_t nBytes = 0;
    std::array<std::uint64_t, g_nFrameTypes> vecnFrames{}; ///< good frames by type
    std::uint64_t nCrcErrors = 0;                          ///< frames dropped because of their check word
    std::uint64_t nResyncs = 0;                            ///< places where bytes had to be skipped
    std::uint64_t nSkipped = 0;                            ///< bytes skipped
    std::uint64_t nLengthMismatches = 0;                   ///< data frames that did not match the configuration
    std::uint64_t nTimeBack = 0;                           ///< stamps earlier than the previous one
    std::uint64_t nDuplicates = 0;                         ///< stamps equal to the previous one
    std::uint64_t nGaps = 0;                               ///< places where stamps are missing
    std::uint64_t nLost = 0;                               ///< frames missing at these places
    std::uint64_t nOffGrid = 0;                            ///< stamps off the grid of the stream's rate
    std::uint64_t nBadClock = 0;                           ///< frames with an unusable time
    std::uint64_t nLate = 0;                               ///< frames that arrived after their cycle was output
    std::uint64_t nConnects = 0;                           ///< connections that delivered a configuration
    std::uint64_t nConfigChanges = 0;                      ///< configurations that replaced another one
};
