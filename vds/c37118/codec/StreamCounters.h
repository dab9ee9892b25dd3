#pragma once
#include "vds/c37118/codec/Frames.h"

/// What has come over one stream since the start of the process.
struct SStreamCounters
{
    std::uint64_t nBytes = 0;
    std::array<std::uint64_t, g_nFrameTypes> vecnFrames{}; ///< good ones by type
    std::uint64_t nCrcErrors = 0;                          ///< frames dropped for their check word
    std::uint64_t nResyncs = 0;                            ///< places where bytes had to be skipped
    std::uint64_t nSkipped = 0;                            ///< bytes skipped
    std::uint64_t nLengthMismatches = 0;                   ///< data frames that did not fit the configuration
    std::uint64_t nTimeBack = 0;                           ///< stamps ahead of the one before
    std::uint64_t nDuplicates = 0;                         ///< stamps equal to the one before
    std::uint64_t nGaps = 0;                               ///< places where stamps are missing
    std::uint64_t nLost = 0;                               ///< frames missing in these places
    std::uint64_t nOffGrid = 0;                            ///< stamps beside the grid of the stream's rate
    std::uint64_t nBadClock = 0;                           ///< frames whose time cannot be used
    std::uint64_t nLate = 0;                               ///< frames behind the cycle that they belong to
    std::uint64_t nConnects = 0;                           ///< connections that brought a configuration
    std::uint64_t nConfigChanges = 0;                      ///< configurations taken in place of another
};
