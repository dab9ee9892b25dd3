#include "host/shell/TextNumber.h"
#include <algorithm>
#include <limits>
#include <locale>
#include <sstream>
#include <string>

namespace
{
bool IsBlank(wchar_t p_c)
{
    return p_c == L' ' || (p_c >= L'\t' && p_c <= L'\r');
}
bool IsDigit(wchar_t p_c)
{
    return p_c >= L'0' && p_c <= L'9';
}

std::wstring_view WithoutBlanks(std::wstring_view p_wstrText)
{
    while (!p_wstrText.empty() && IsBlank(p_wstrText.front()))
        p_wstrText.remove_prefix(1);
    return p_wstrText;
}

/// Moves leading ASCII digits from the text to the number. @return whether there were any.
bool TakeDigits(std::wstring_view* p_pwstrText, std::string* p_pstrNumber)
{
    const std::size_t nBefore = p_pstrNumber->size();
    for (; !p_pwstrText->empty() && IsDigit(p_pwstrText->front()); p_pwstrText->remove_prefix(1))
        p_pstrNumber->push_back(static_cast<char>(p_pwstrText->front()));
    return p_pstrNumber->size() > nBefore;
}

void TakeSign(std::wstring_view* p_pwstrText, std::string* p_pstrNumber)
{
    if (p_pwstrText->empty() || (p_pwstrText->front() != L'+' && p_pwstrText->front() != L'-'))
        return;
    p_pstrNumber->push_back(static_cast<char>(p_pwstrText->front()));
    p_pwstrText->remove_prefix(1);
}

/// An exponent counts only if it has digits.
void TakeExponent(std::wstring_view p_wstrText, std::string* p_pstrNumber)
{
    if (p_wstrText.empty() || (p_wstrText.front() != L'e' && p_wstrText.front() != L'E'))
        return;
    p_wstrText.remove_prefix(1);
    std::string strExponent = "e";
    TakeSign(&p_wstrText, &strExponent);
    if (TakeDigits(&p_wstrText, &strExponent))
        p_pstrNumber->append(strExponent);
}
} // namespace

std::int32_t IntFromText(std::wstring_view p_wstrText)
{
    using Limits = std::numeric_limits<std::int32_t>;
    std::wstring_view wstrRest = WithoutBlanks(p_wstrText);
    std::string strSign;
    TakeSign(&wstrRest, &strSign);
    const bool bNegative = strSign == "-";
    const std::int64_t nLimit = bNegative ? -std::int64_t{Limits::min()} : std::int64_t{Limits::max()};
    std::int64_t nValue = 0;
    for (; !wstrRest.empty() && IsDigit(wstrRest.front()) && nValue < nLimit; wstrRest.remove_prefix(1))
        nValue = std::min(nValue * 10 + (wstrRest.front() - L'0'), nLimit);
    return static_cast<std::int32_t>(bNegative ? -nValue : nValue);
}

double DoubleFromText(std::wstring_view p_wstrText)
{
    std::wstring_view wstrRest = WithoutBlanks(p_wstrText);
    std::string strNumber;
    TakeSign(&wstrRest, &strNumber);
    bool bDigits = TakeDigits(&wstrRest, &strNumber);
    if (!wstrRest.empty() && wstrRest.front() == L'.')
    {
        strNumber.push_back('.');
        wstrRest.remove_prefix(1);
        bDigits = TakeDigits(&wstrRest, &strNumber) || bDigits;
    }
    if (!bDigits)
        return 0.0;
    TakeExponent(wstrRest, &strNumber);

    std::istringstream stream(strNumber);
    stream.imbue(std::locale::classic());
    double fValue = 0.0;
    stream >> fValue; // a number out of range gives the largest double
    return fValue;
}
