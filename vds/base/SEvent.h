#pragma once
#include <cstdint>
#include <string>

/// An event as the server stores it.
struct SEvent
{
    std::int64_t nTicks = 0;   ///< the event's own time stamp
    std::int64_t nArrival = 0; ///< wall-clock time when the server received it, ticks
    std::int32_t eKey = 0;
    std::int32_t eTrans = 0; ///< 1 APP, 0 DIS
    std::int32_t eElemType = 0;
    std::uint64_t nElemId = 0;
    std::string strText;
    std::string strFrom;      ///< name of the connection, or "source"
    std::uint64_t nSeq = 0;   ///< arrival number, assigned by the store
    std::uint64_t nOwner = 0; ///< element id of the application that posted it; 0: an operator or the source
};
