#include "view/api/Http.h"
#include <charconv>

namespace
{
constexpr std::size_t g_nMaxParameters = 32;
}

bool DecodeUrl(std::string_view p_strText, std::string& r_strText)
{
    r_strText.clear();
    for (std::size_t i = 0; i < p_strText.size(); ++i)
    {
        char nChar = p_strText[i];
        if (nChar == '+')
            nChar = ' ';
        else if (nChar == '%')
        {
            unsigned nCode = 0;
            if (i + 2 >= p_strText.size() ||
                std::from_chars(p_strText.data() + i + 1, p_strText.data() + i + 3, nCode, 16).ptr !=
                    p_strText.data() + i + 3)
                return false;
            nChar = static_cast<char>(nCode);
            i += 2;
        }
        if (nChar == '\0')
            return false;
        r_strText += nChar;
    }
    return true;
}

bool ParseTarget(std::string_view p_strTarget, SHttpRequest& r_request)
{
    const std::size_t nQuery = p_strTarget.find('?');
    const std::string_view strPath = p_strTarget.substr(0, nQuery);
    if (strPath.empty() || strPath[0] != '/' || strPath.find('+') != std::string_view::npos ||
        !DecodeUrl(strPath, r_request.strPath))
        return false;
    std::string_view strRest = nQuery == std::string_view::npos ? "" : p_strTarget.substr(nQuery + 1);
    while (!strRest.empty())
    {
        const std::size_t nEnd = strRest.find('&');
        const std::string_view strPair = strRest.substr(0, nEnd);
        const std::size_t nEqual = strPair.find('=');
        std::string strName;
        std::string strValue;
        if (!DecodeUrl(strPair.substr(0, nEqual), strName) ||
            !DecodeUrl(nEqual == std::string_view::npos ? "" : strPair.substr(nEqual + 1), strValue) ||
            r_request.mapQuery.size() >= g_nMaxParameters)
            return false;
        if (!strName.empty())
            r_request.mapQuery[strName] = strValue;
        strRest = nEnd == std::string_view::npos ? "" : strRest.substr(nEnd + 1);
    }
    return true;
}
