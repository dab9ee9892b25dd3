#pragma once
#include "vds/c37118/codec/StreamCounters.h"
#include <chrono>
#include <memory>

/// A frame that several clients may have in their queues.
using TFrame = std::shared_ptr<const std::vector<std::uint8_t>>;

/// Limits of an output, and how long it waits for its clients.
struct SOutputLimits
{
    std::size_t nMaxClients = 32;                   ///< TCP and UDP clients each
    std::size_t nMaxAnswers = 4;                    ///< answers waiting in a client's queue; further commands are
                                                    ///< ignored
    std::size_t nMaxQueue_bytes = 1U << 20U;        ///< data frames in a client's queue, or 2 s of them if that is more
    std::chrono::milliseconds tGiveUp{10000};       ///< for a client that does not receive
    std::chrono::milliseconds tFirstCommand{30000}; ///< for a client that sends no command
};

/// Counters of one output.
struct SOutputCounters
{
    SStreamCounters received;      ///< what clients have sent over TCP
    std::uint64_t nFrames = 0;     ///< data frames passed to clients
    std::uint64_t nDropped = 0;    ///< data frames dropped because clients were too slow
    std::uint64_t nCommands = 0;   ///< accepted
    std::uint64_t nForeign = 0;    ///< commands to another IDCODE
    std::uint64_t nBad = 0;        ///< datagrams that are not valid frames
    std::uint64_t nReserved = 0;   ///< other frames, and commands with another code
    std::uint64_t nUnanswered = 0; ///< commands of clients that do not receive their answers
    std::uint64_t nRefused = 0;    ///< connections beyond the limit
};
