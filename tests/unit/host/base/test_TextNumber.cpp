#include "host/shell/TextNumber.h"
#include <gtest/gtest.h>
#include <limits>

TEST(TextNumber, IntegersReadTheirLeadingPartAndAreClamped)
{
    using Limits = std::numeric_limits<std::int32_t>;
    const std::pair<const wchar_t*, std::int32_t> cases[] = {
        {L"", 0},
        {L"12", 12},
        {L"12x", 12},
        {L"x12", 0},
        {L" \t-7,8", -7},
        {L"+5", 5},
        {L"- 5", 0},
        {L"--5", 0},
        {L"3.9", 3},
        {L"0x10", 0},
        {L"007", 7},
        {L"2147483647", Limits::max()},
        {L"2147483648", Limits::max()},
        {L"-2147483648", Limits::min()},
        {L"-99999999999999999999999999", Limits::min()},
        {L"99999999999999999999999999", Limits::max()},
        {L"\u0663", 0}, // a digit of another script
    };
    for (const auto& [pText, nValue] : cases)
        EXPECT_EQ(IntFromText(pText), nValue) << std::string(pText, pText + std::wstring_view(pText).size());
}

TEST(TextNumber, DoublesReadTheirLeadingPartAndStayFinite)
{
    constexpr double fMax = std::numeric_limits<double>::max();
    const std::pair<const wchar_t*, double> cases[] = {
        {L"", 0.0},    {L"0.5", 0.5},    {L" -.5x", -0.5},  {L"5.", 5.0},       {L".", 0.0},
        {L"-", 0.0},   {L"1e3", 1000.0}, {L"1E-2,7", 0.01}, {L"1e", 1.0},       {L"1e+", 1.0},
        {L"e5", 0.0},  {L"1,5", 1.0},    {L"1e999", fMax},  {L"-1e999", -fMax}, {L"1e-999", 0.0},
        {L"inf", 0.0}, {L"nan", 0.0},    {L"0x1p3", 0.0},   {L"1.2.3", 1.2},
    };
    for (const auto& [pText, fValue] : cases)
        EXPECT_DOUBLE_EQ(DoubleFromText(pText), fValue) << std::string(pText, pText + std::wstring_view(pText).size());
}
