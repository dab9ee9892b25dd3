#pragma once
#include "vds/c37118/codec/StreamCounters.h"
#include <chrono>
#include <memory>

/// A frame that several clients may have in their queues.
using TFrame = std::shared_ptr<const std::vector<std::uint8_t>>;

/// What an output bears, and how long it waits for its clients.
struct SOutputLimits
{
    std::size_t nMaxClients = 32;                   ///< each over TCP and over UDP
    std::size_t nMaxAnswers = 4;                    ///< that wait in the queue of a client; commands beyond are ignored
    std::size_t nMaxQueue_bytes = 1U << 20U;        ///< data frames in the queue of a client, or 2 s of them if more
    std::chrono::milliseconds tGiveUp{10000};       ///< for a client that takes nothing
    std::chrono::milliseconds tFirstCommand{30000}; ///< for a client that asks for nothing
};

/// What has come and gone over one output.
struct SOutputCounters
{
    SStreamCounters received;      ///< what clients have sent over TCP
    std::uint64_t nFrames = 0;     ///< data frames handed to clients
    std::uint64_t nDropped = 0;    ///< data frames that clients were too slow for
    std::uint64_t nCommands = 0;   ///< heeded
    std::uint64_t nForeign = 0;    ///< commands to another IDCODE
    std::uint64_t nBad = 0;        ///< datagrams that are no good frame
    std::uint64_t nReserved = 0;   ///< other frames, and commands with another code
    std::uint64_t nUnanswered = 0; ///< commands of clients that do not take their answers
    std::uint64_t nRefused = 0;    ///< connections beyond the limit
};
