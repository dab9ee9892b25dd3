#include "view/answer/EventQuery.h"
#include <algorithm>
#include <charconv>
#include <limits>

namespace
{
constexpr std::int64_t g_nLastMs = 253402300799999; ///< end of the year 9999
constexpr std::size_t g_nMaxModes = 20;
constexpr std::int64_t g_nMaxInteger = std::numeric_limits<std::int64_t>::max();

bool ToNumber(std::string_view p_strText, std::uint64_t& r_nValue)
{
    const auto result = std::from_chars(p_strText.data(), p_strText.data() + p_strText.size(), r_nValue);
    return result.ec == std::errc() && result.ptr == p_strText.data() + p_strText.size();
}

std::optional<std::int64_t> OptionalInteger(const SHttpRequest& p_request, const std::string& p_strName,
                                            std::int64_t p_nMax)
{
    if (!p_request.mapQuery.contains(p_strName))
        return std::nullopt;
    return IntegerOf(p_request, p_strName, 0, 0, p_nMax);
}

std::optional<bool> OptionalFlag(const SHttpRequest& p_request, const std::string& p_strName)
{
    const auto it = p_request.mapQuery.find(p_strName);
    if (it == p_request.mapQuery.end())
        return std::nullopt;
    if (it->second != "true" && it->second != "false")
        throw CApiError(400, "parameter " + p_strName + ": expected true or false");
    return it->second == "true";
}

std::string Lower(std::string p_strText)
{
    for (char& nChar : p_strText)
        nChar = nChar >= 'A' && nChar <= 'Z' ? static_cast<char>(nChar + 32) : nChar;
    return p_strText;
}

std::string TextOf(const SHttpRequest& p_request, const std::string& p_strName)
{
    const auto it = p_request.mapQuery.find(p_strName);
    return it == p_request.mapQuery.end() ? "" : it->second;
}
} // namespace

const SViewJob& JobOf(const SViewModel& p_model, const SHttpRequest& p_request, std::size_t& r_iJob)
{
    const auto it = p_model.mapJob.find(static_cast<std::uint64_t>(IntegerOf(p_request, "job", -1, 0, g_nMaxInteger)));
    if (it == p_model.mapJob.end())
        throw CApiError(p_request.mapQuery.contains("job") ? 404 : 400, "parameter job: expected the id of a job");
    r_iJob = it->second;
    return p_model.vecJob[r_iJob];
}

std::vector<SModeRef> ModesOf(const SViewModel& p_model, const SHttpRequest& p_request)
{
    std::vector<SModeRef> vecMode;
    std::string strRest = TextOf(p_request, "modes");
    while (!strRest.empty() || vecMode.empty())
    {
        const std::string strOne = strRest.substr(0, strRest.find(','));
        const std::size_t nColon = strOne.find(':');
        std::uint64_t nJob = 0;
        std::uint64_t nMode = 0;
        if (nColon == std::string::npos || !ToNumber(std::string_view(strOne).substr(0, nColon), nJob) ||
            !ToNumber(std::string_view(strOne).substr(nColon + 1), nMode) || vecMode.size() >= g_nMaxModes)
            throw CApiError(400, "parameter modes: expected at most " + std::to_string(g_nMaxModes) +
                                     " of job:mode, separated by commas");
        const auto itJob = p_model.mapJob.find(nJob);
        if (itJob == p_model.mapJob.end())
            throw CApiError(404, "job " + std::to_string(nJob) + " is unknown");
        const std::vector<SViewMode>& vecOfJob = p_model.vecJob[itJob->second].vecMode;
        const auto itMode = std::find_if(vecOfJob.begin(), vecOfJob.end(),
                                         [nMode](const SViewMode& p_mode) { return p_mode.nId == nMode; });
        if (itMode == vecOfJob.end())
            throw CApiError(404, "mode " + std::to_string(nMode) + " is unknown");
        vecMode.push_back({itJob->second, static_cast<std::size_t>(itMode - vecOfJob.begin())});
        strRest.erase(0, strOne.size() + 1);
    }
    return vecMode;
}

SRange RangeOf(const SHttpRequest& p_request, std::int64_t p_nNow_ms, std::int64_t p_nDefault_ms)
{
    SRange range;
    range.nTo_ms = IntegerOf(p_request, "to_ms", p_nNow_ms, 0, g_nLastMs);
    range.nFrom_ms =
        IntegerOf(p_request, "from_ms", std::max<std::int64_t>(0, range.nTo_ms - p_nDefault_ms), 0, g_nLastMs);
    if (range.nFrom_ms > range.nTo_ms)
        throw CApiError(400, "parameter from_ms: expected a time up to to_ms");
    return range;
}

SEventFilter FilterOf(const SViewModel& p_model, const SHttpRequest& p_request)
{
    SEventFilter filter;
    filter.nFrom_ms = OptionalInteger(p_request, "from_ms", g_nLastMs);
    filter.nTo_ms = OptionalInteger(p_request, "to_ms", g_nLastMs);
    filter.nJob = OptionalInteger(p_request, "job", g_nMaxInteger);
    filter.nMode = OptionalInteger(p_request, "mode", g_nMaxInteger);
    filter.nMinLevel = OptionalInteger(p_request, "level_min", 4);
    filter.nBefore = OptionalInteger(p_request, "before", g_nMaxInteger);
    filter.bStanding = OptionalFlag(p_request, "standing");
    filter.bAcknowledged = OptionalFlag(p_request, "acknowledged");
    filter.nLimit = IntegerOf(p_request, "limit", 100, 1, 500);
    if (const std::string strKind = TextOf(p_request, "kind"); !strKind.empty())
    {
        constexpr const char* ppKind[] = {"swing", "grid", "system"};
        const auto* pKind = std::find(std::begin(ppKind), std::end(ppKind), strKind);
        if (pKind == std::end(ppKind))
            throw CApiError(400, "parameter kind: expected swing, grid or system");
        filter.nKind = pKind - std::begin(ppKind);
    }
    if (const std::string strText = Lower(TextOf(p_request, "text")); !strText.empty())
    {
        filter.bJobs = true;
        for (const SViewJob& job : p_model.vecJob)
            if (Lower(job.strName).find(strText) != std::string::npos)
                filter.vecnJob.push_back(job.nId);
    }
    return filter;
}

std::size_t PointsOf(const SHttpRequest& p_request)
{
    return static_cast<std::size_t>(IntegerOf(p_request, "points", 1000, 10, 5000));
}

std::int64_t IdOfPath(const std::string& p_strPath, std::string_view p_strPrefix, std::string_view p_strSuffix)
{
    if (!p_strPath.starts_with(p_strPrefix) || !p_strPath.ends_with(p_strSuffix) ||
        p_strPath.size() <= p_strPrefix.size() + p_strSuffix.size())
        return -1;
    std::uint64_t nId = 0;
    const std::string_view strId = std::string_view(p_strPath).substr(
        p_strPrefix.size(), p_strPath.size() - p_strPrefix.size() - p_strSuffix.size());
    return ToNumber(strId, nId) && nId <= static_cast<std::uint64_t>(g_nMaxInteger) ? static_cast<std::int64_t>(nId)
                                                                                    : -1;
}
