#pragma once
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

class CTime;

// Number formats of all messages.

/// Fixed notation, six decimals.
std::string DoubleAsText(double p_fValue);
/// Fixed notation with p_nRight decimals, padded with '0' to a width of p_nLeft + p_nRight, plus 1 if p_nRight is not
/// 0, plus 1 if p_bSign. Right-aligned, so a minus sign follows the padding. The width is a minimum.
std::string DoubleAsText(double p_fValue, unsigned p_nLeft, unsigned p_nRight, bool p_bSign);
std::string UInt64AsText(std::uint64_t p_nValue, bool p_bHex);
std::string IntAsText(int p_nValue);
std::string UIntAsText(unsigned p_nValue);
/// Right-aligned in a field of p_nWidth, padded with blanks.
std::string UIntAsText(unsigned p_nValue, unsigned p_nWidth);
std::string LongAsText(long long p_nValue);

/// Quality of phasors, values, swing data and output channels.
enum EQual : std::int32_t
{
    eQualValid = 0,
    eQualSuspect = 1,
    eQualInvalid = 2,
    eQualError = 3
};

/// " VALID", " SUSPECT", " INVALID", " ERROR", " [undef. qual.value]". The leading blank is part of the text.
std::string_view QualAsText(std::int32_t p_eQual);
/// "DIS", "APP", empty for anything else.
std::string_view TransAsText(std::int32_t p_eTrans);
/// Name of a swing event by its incidence key (0, 4203 to 4206); empty for anything else.
std::string_view SwingEventAsText(std::int32_t p_eKey);

/// "13:05:09:040": hour, minute, second, ms (UTC). The date never appears.
std::string TimeAsText(std::int64_t p_nTicks);
/// TimeAsText of the position; of 0 ticks if the position cannot be converted.
std::string ActTimeAsText(const CTime& p_time);

/// "ID=" id " Time=" time " " name "[" index "]=" value " Q=" quality in hexadecimal.
std::string SampleAsText(std::uint64_t p_nId, std::int64_t p_nTicks, std::string_view p_strName, unsigned p_nIndex,
                         double p_fValue, std::uint64_t p_nQual);
/// Like SampleAsText, with "Phi=" angle "°" after the magnitude.
std::string PhasorAsText(std::uint64_t p_nId, std::int64_t p_nTicks, std::string_view p_strName, unsigned p_nIndex,
                         double p_fMagn, double p_fAngle_deg, std::uint64_t p_nQual);
/// time " ( " name " ) " count " cycles (VDS cycle rate: " rate " Hz )"
std::string GapAsText(std::string_view p_strTime, std::string_view p_strName, long long p_nCount, long long p_nRate_Hz);
/// Labelled time stamps: label ": " time, joined by ", ".
std::string TimesAsText(std::initializer_list<std::pair<std::string_view, std::int64_t>> p_times);
