#pragma once
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <type_traits>

/// A number from a command line, checked against its bounds. @throws std::runtime_error that names the number and its
/// bounds.
template <class TNumber>
TNumber ParseNumber(const char* p_pName, const std::string& p_strText, TNumber p_nMin, TNumber p_nMax)
{
    TNumber nNumber{};
    const char* pEnd = p_strText.data() + p_strText.size();
    const std::from_chars_result result = std::from_chars(p_strText.data(), pEnd, nNumber);
    if (result.ec == std::errc() && result.ptr == pEnd && nNumber >= p_nMin && nNumber <= p_nMax)
        return nNumber;
    const auto fnText = [](TNumber p_nBound)
    {
        if constexpr (std::is_integral_v<TNumber>)
            return std::to_string(p_nBound);
        char text[32];
        std::snprintf(text, sizeof(text), "%g", static_cast<double>(p_nBound));
        return std::string(text);
    };
    throw std::runtime_error(std::string(p_pName) + ": expected a number from " + fnText(p_nMin) + " to " +
                             fnText(p_nMax) + ", got '" + p_strText + "'");
}
