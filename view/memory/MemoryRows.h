#pragma once
#include "view/memory/Records.h"
#include "view/state/ViewEvent.h"
#include <string>
#include <variant>

// What is on its way to the file.

struct SPassRow
{
    std::uint32_t iJob = 0;
    std::uint32_t iMode = 0;
    std::int64_t nTime_ms = 0;
    TPass vecfValue{};
};
struct SStepRow
{
    std::int64_t nEvent = 0;
    SViewStep step;
};
struct SSampleRow
{
    std::uint32_t iJob = 0;
    std::int64_t nBegin = 0; ///< ticks
    std::string strBlob;
};
struct SMinuteRow
{
    std::uint32_t iJob = 0;
    std::int64_t nMinute = 0;
    SExtremes extremes;
    std::uint32_t nMissing = 0;
};
struct SBlindRow
{
    std::int64_t nBegin_ms = 0;
    std::int64_t nEnd_ms = 0; ///< -1: still so
    std::string strText;
};
using TMemoryRow = std::variant<SPassRow, SViewEvent, SStepRow, SSampleRow, SMinuteRow, SBlindRow>;
