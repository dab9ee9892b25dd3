#include "vds/base/IsoTime.h"
#include <chrono>

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

namespace
{
using namespace std::chrono;

/// Days from 0001-01-01 to the epoch of std::chrono.
constexpr std::int64_t g_nDaysToUnixEpoch =
    (sys_days{year{1970} / January / 1} - sys_days{year{1} / January / 1}).count();

/// Removes exactly p_nDigits decimal digits from the start of the text and returns their value; -1 if they are missing.
int TakeDigits(std::string_view& r_strText, std::size_t p_nDigits)
{
    int nValue = -1;
    if (r_strText.size() < p_nDigits || r_strText.front() == '-')
    {
        return -1;
    }
    const char* pEnd = r_strText.data() + p_nDigits;
    if (std::from_chars(r_strText.data(), pEnd, nValue).ptr != pEnd)
    {
        return -1;
    }
    r_strText.remove_prefix(p_nDigits);
    return nValue;
}

bool TakeChar(std::string_view& r_strText, std::string_view p_strAllowed)
{
    if (r_strText.empty() || p_strAllowed.find(r_strText.front()) == std::string_view::npos)
    {
        return false;
    }
    r_strText.remove_prefix(1);
    return true;
}

/// Reads an optional ".123" at the start of the text. @return ticks, -1 for a point without digits.
std::int64_t TakeFraction(std::string_view& r_strText, unsigned& r_nDigits)
{
    r_nDigits = 0;
    if (!TakeChar(r_strText, "."))
    {
        return 0;
    }
    std::int64_t nTicks = 0;
    for (; !r_strText.empty() && r_strText.front() >= '0' && r_strText.front() <= '9'; r_strText.remove_prefix(1))
    {
        if (++r_nDigits <= 7)
        {
            nTicks = nTicks * 10 + (r_strText.front() - '0');
        }
    }
    for (unsigned nDigit = r_nDigits; nDigit < 7; ++nDigit)
    {
        nTicks *= 10;
    }
    return r_nDigits == 0 ? -1 : nTicks;
}
} // namespace

std::optional<std::int64_t> TicksFromIso(std::string_view p_strText, unsigned* p_pnDigits)
{
    std::array<int, 6> arrField{}; // year, month, day, hour, minute, second
    constexpr std::array<std::string_view, 6> arrBehind{"-", "-", "Tt ", ":", ":", ""};
    for (std::size_t i = 0; i < arrField.size(); ++i)
    {
        arrField[i] = TakeDigits(p_strText, i == 0 ? 4 : 2);
        if (arrField[i] < 0 || (!arrBehind[i].empty() && !TakeChar(p_strText, arrBehind[i])))
        {
            return std::nullopt;
        }
    }
    unsigned nDigits = 0;
    const std::int64_t nFraction = TakeFraction(p_strText, nDigits);
    const bool bUtc = p_strText.empty() || p_strText == "Z" || p_strText == "z" || p_strText == "+00:00";
    const year_month_day date{year{arrField[0]}, month{static_cast<unsigned>(arrField[1])},
                              day{static_cast<unsigned>(arrField[2])}};
    if (nFraction < 0 || !bUtc || !date.ok() || arrField[0] < 1 || arrField[3] > 23 || arrField[4] > 59 ||
        arrField[5] > 59)
    {
        return std::nullopt;
    }
    if (p_pnDigits != nullptr)
    {
        *p_pnDigits = nDigits;
    }
    const std::int64_t nDays = sys_days{date}.time_since_epoch().count() + g_nDaysToUnixEpoch;
    const std::int64_t nSec = ((nDays * 24 + arrField[3]) * 60 + arrField[4]) * 60 + arrField[5];
    return nSec * g_nTicksPerSec + nFraction;
}

std::string IsoFromTicks(std::int64_t p_nTicks)
{
    p_nTicks = p_nTicks < 0 ? 0 : p_nTicks > g_nTicksMax ? g_nTicksMax : p_nTicks;
    const std::int64_t nSec = p_nTicks / g_nTicksPerSec;
    const year_month_day date{sys_days{days{nSec / 86400 - g_nDaysToUnixEpoch}}};
    std::array<char, 64> arrText{};
    std::snprintf(arrText.data(), arrText.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%07dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(nSec / 3600 % 24), static_cast<int>(nSec / 60 % 60), static_cast<int>(nSec % 60),
                  static_cast<int>(p_nTicks % g_nTicksPerSec));
    return arrText.data();
}
