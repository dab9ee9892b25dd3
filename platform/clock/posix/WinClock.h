#pragma once
#include <cstdint>

/// Time of day under the platform's own names. Always UTC.

/// Seconds and milliseconds since 1970-01-01 UTC, as _ftime64_s fills them.
struct STimeB64
{
    std::int64_t time = 0;      ///< s
    unsigned short millitm = 0; ///< ms, 0 to 999
};
int _ftime64_s(STimeB64* p_pTime);

/// Count of 100 ns since 1601-01-01, in two halves.
struct FILETIME
{
    std::uint32_t dwLowDateTime = 0;
    std::uint32_t dwHighDateTime = 0;
};
struct SYSTEMTIME
{
    std::uint16_t wYear = 0, wMonth = 0, wDayOfWeek = 0, wDay = 0;
    std::uint16_t wHour = 0, wMinute = 0, wSecond = 0, wMilliseconds = 0;
};
/// @return 0 for a count that is not a valid date (top bit set), nonzero otherwise.
int FileTimeToSystemTime(const FILETIME* p_pFileTime, SYSTEMTIME* p_pSystemTime);
