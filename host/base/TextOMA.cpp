#include "host/base/TextOMA.h"
#include "WinClock.h"
#include "host/base/CTime.h"
#include "link/dli/EDli.h"
#include "link/dli/Ticks.h"
#include <algorithm>
#include <array>
#include <charconv>

namespace
{
/// Does not depend on the locale. The buffer holds the longest double.
std::string Fixed(double p_fValue, unsigned p_nDecimals)
{
    constexpr unsigned nDecimalsMax = 60;
    std::array<char, 320 + nDecimalsMax> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), p_fValue, std::chars_format::fixed,
                                      static_cast<int>(std::min(p_nDecimals, nDecimalsMax)));
    return std::string(text.data(), result.ptr);
}

std::string Filled(const std::string& p_strText, std::size_t p_nWidth, char p_cFill)
{
    const std::size_t nFill = p_strText.size() < p_nWidth ? p_nWidth - p_strText.size() : 0;
    return std::string(nFill, p_cFill) + p_strText;
}

std::string Hex(std::uint64_t p_nValue)
{
    std::array<char, 16> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), p_nValue, 16);
    return std::string(text.data(), result.ptr);
}

/// Common start of a sample's and a phasor's text, up to and including the value.
std::string ValueHead(std::uint64_t p_nId, std::int64_t p_nTicks, std::string_view p_strName, unsigned p_nIndex,
                      double p_fValue)
{
    return "ID=" + std::to_string(p_nId) + " Time=" + TimeAsText(p_nTicks) + " " + std::string(p_strName) + "[" +
           std::to_string(p_nIndex) + "]=" + DoubleAsText(p_fValue);
}
} // namespace

std::string DoubleAsText(double p_fValue)
{
    return Fixed(p_fValue, 6);
}

std::string DoubleAsText(double p_fValue, unsigned p_nLeft, unsigned p_nRight, bool p_bSign)
{
    const std::size_t nWidth = std::size_t{p_nLeft} + p_nRight + (p_nRight != 0 ? 1 : 0) + (p_bSign ? 1 : 0);
    return Filled(Fixed(p_fValue, p_nRight), nWidth, '0');
}

std::string UInt64AsText(std::uint64_t p_nValue, bool p_bHex)
{
    return p_bHex ? Hex(p_nValue) : std::to_string(p_nValue);
}

std::string IntAsText(int p_nValue)
{
    return std::to_string(p_nValue);
}

std::string UIntAsText(unsigned p_nValue)
{
    return std::to_string(p_nValue);
}

std::string UIntAsText(unsigned p_nValue, unsigned p_nWidth)
{
    return Filled(std::to_string(p_nValue), p_nWidth, ' ');
}

std::string LongAsText(long long p_nValue)
{
    return std::to_string(p_nValue);
}

std::string_view QualAsText(std::int32_t p_eQual)
{
    switch (p_eQual)
    {
    case eQualValid:
        return " VALID";
    case eQualSuspect:
        return " SUSPECT";
    case eQualInvalid:
        return " INVALID";
    case eQualError:
        return " ERROR";
    default:
        return " [undef. qual.value]";
    }
}

std::string_view TransAsText(std::int32_t p_eTrans)
{
    switch (p_eTrans)
    {
    case 0:
        return "DIS";
    case 1:
        return "APP";
    default:
        return "";
    }
}

std::string_view SwingEventAsText(std::int32_t p_eKey)
{
    using namespace Norvik::Energy::Kestrel::VDS::Runtime;
    switch (p_eKey)
    {
    case eIkNone:
        return "No Power Swing";
    case eIkPsUndampedCritical:
        return "Undamped Critical Power Swing";
    case eIkPsCritical:
        return "Critical Power Swing";
    case eIkPsDistinct:
        return "Distinct Power Swing";
    case eIkPsNotified:
        return "Notified Power Swing";
    default:
        return "";
    }
}

std::string TimeAsText(std::int64_t p_nTicks)
{
    // The platform counts from 1601, so the date is wrong by whole days. Only the time of day is used.
    const std::uint64_t nFileTime = static_cast<std::uint64_t>(p_nTicks) - std::uint64_t{g_nTicksOf1970};
    FILETIME fileTime;
    fileTime.dwLowDateTime = static_cast<std::uint32_t>(nFileTime);
    fileTime.dwHighDateTime = static_cast<std::uint32_t>(nFileTime >> 32);
    SYSTEMTIME time{};
    FileTimeToSystemTime(&fileTime, &time);
    return Filled(std::to_string(time.wHour), 2, '0') + ":" + Filled(std::to_string(time.wMinute), 2, '0') + ":" +
           Filled(std::to_string(time.wSecond), 2, '0') + ":" + Filled(std::to_string(time.wMilliseconds), 3, '0');
}

std::string ActTimeAsText(const CTime& p_time)
{
    std::int64_t nTicks = 0;
    p_time.ToTicks(&nTicks);
    return TimeAsText(nTicks);
}

std::string SampleAsText(std::uint64_t p_nId, std::int64_t p_nTicks, std::string_view p_strName, unsigned p_nIndex,
                         double p_fValue, std::uint64_t p_nQual)
{
    return ValueHead(p_nId, p_nTicks, p_strName, p_nIndex, p_fValue) + " Q=" + Hex(p_nQual);
}

std::string PhasorAsText(std::uint64_t p_nId, std::int64_t p_nTicks, std::string_view p_strName, unsigned p_nIndex,
                         double p_fMagn, double p_fAngle_deg, std::uint64_t p_nQual)
{
    return ValueHead(p_nId, p_nTicks, p_strName, p_nIndex, p_fMagn) + "Phi=" + DoubleAsText(p_fAngle_deg) + "°" +
           " Q=" + Hex(p_nQual);
}

std::string GapAsText(std::string_view p_strTime, std::string_view p_strName, long long p_nCount, long long p_nRate_Hz)
{
    return std::string(p_strTime) + " ( " + std::string(p_strName) + " ) " + std::to_string(p_nCount) +
           " cycles (VDS cycle rate: " + std::to_string(p_nRate_Hz) + " Hz )";
}

std::string TimesAsText(std::initializer_list<std::pair<std::string_view, std::int64_t>> p_times)
{
    std::string strText;
    for (const auto& [strLabel, nTicks] : p_times)
        strText.append(strText.empty() ? "" : ", ").append(strLabel).append(": ").append(TimeAsText(nTicks));
    return strText;
}
