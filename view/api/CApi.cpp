#include "view/api/CApi.h"
#include "Version.h"
#include "view/api/CLiveStream.h"
#include "view/metrics/ViewMetrics.h"
#include <algorithm>
#include <boost/asio/post.hpp>
#include <charconv>
#include <set>

namespace json = boost::json;

namespace
{
constexpr std::size_t g_nMaxTraces = 60;

SHttpResponse JsonResponse(const json::object& p_body)
{
    SHttpResponse response;
    response.strBody = json::serialize(p_body);
    return response;
}

SHttpResponse TextResponse(std::string p_strText, unsigned p_nStatus = 200)
{
    SHttpResponse response;
    response.nStatus = p_nStatus;
    response.strType = "text/plain; charset=utf-8";
    response.strBody = std::move(p_strText);
    return response;
}

SHttpResponse ErrorResponse(unsigned p_nStatus, const std::string& p_strText)
{
    SHttpResponse response = JsonResponse({{"error", p_strText}});
    response.nStatus = p_nStatus;
    if (p_nStatus == 401)
        response.vecHeader.emplace_back("WWW-Authenticate", "Bearer");
    return response;
}

template <class TAnswer>
SHttpResponse Guarded(TAnswer&& p_fnAnswer)
{
    try
    {
        return p_fnAnswer();
    }
    catch (const CApiError& ex)
    {
        return ErrorResponse(ex.Status(), ex.what());
    }
    catch (const std::exception& ex)
    {
        return ErrorResponse(503, ex.what());
    }
}
} // namespace

json::object BodyOf(const SHttpRequest& p_request)
{
    if (!p_request.Header("content-type").starts_with("application/json"))
        throw CApiError(400, "expected the content type application/json");
    boost::system::error_code ec;
    json::parse_options options;
    options.max_depth = 8;
    json::value body = json::parse(p_request.strBody, ec, {}, options);
    if (ec || !body.is_object())
        throw CApiError(400, "expected a JSON object");
    return std::move(body.as_object());
}

std::int64_t IntegerOf(const SHttpRequest& p_request, const std::string& p_strName, std::int64_t p_nDefault,
                       std::int64_t p_nMin, std::int64_t p_nMax)
{
    const auto it = p_request.mapQuery.find(p_strName);
    if (it == p_request.mapQuery.end())
        return p_nDefault;
    std::int64_t nValue = 0;
    const char* pEnd = it->second.data() + it->second.size();
    const auto result = std::from_chars(it->second.data(), pEnd, nValue);
    if (result.ec != std::errc() || result.ptr != pEnd || nValue < p_nMin || nValue > p_nMax)
        throw CApiError(400, "parameter " + p_strName + ": expected a whole number from " + std::to_string(p_nMin) +
                                 " to " + std::to_string(p_nMax));
    return nValue;
}

CApi::CApi(CViewState& r_state, const SViewModel& p_model, CAccounts& r_accounts, const CPageFiles& p_page,
           IApiPart& r_part, std::string p_strDescription)
    : m_state(r_state), m_model(p_model), m_accounts(r_accounts), m_page(p_page), m_part(r_part),
      m_strDescription(std::move(p_strDescription)), m_strJobs(json::serialize(JobsJson(p_model)))
{
}

CApi::~CApi()
{
    m_workers.join();
}

void CApi::CheckAccess(const SHttpRequest& p_request, const SViewUser& p_user) const
{
    if (p_user.eRole == EViewRole::eNone)
        throw CApiError(401, "expected to be signed in");
    if (p_request.strMethod == "GET")
        return;
    if (const std::string strWhy = CAccounts::WhyForeign(p_request, p_user); !strWhy.empty())
        throw CApiError(403, strWhy);
    if (p_user.eRole != EViewRole::eOperator && p_request.strPath != "/api/v1/session")
        throw CApiError(403, "expected an operator");
}

void CApi::Handle(const SHttpRequest& p_request, TReply p_fnReply)
{
    if (const std::string strWhy = m_accounts.WhyHost(p_request); !strWhy.empty())
        return p_fnReply(ErrorResponse(403, strWhy));
    const SViewUser user = m_accounts.UserOf(p_request, std::chrono::steady_clock::now());
    bool bDone = true;
    SHttpResponse response = Guarded([&] { return AnswerHere(p_request, user, bDone); });
    if (bDone)
        return p_fnReply(std::move(response));
    if (m_nWaiting >= g_nMaxWaiting)
        return p_fnReply(ErrorResponse(503, "too many requests wait already"));
    ++m_nWaiting;
    boost::asio::post(m_workers,
                      [this, request = p_request, user, fnReply = std::move(p_fnReply)]
                      {
                          SHttpResponse answer = Guarded([&] { return Answer(request, user); });
                          --m_nWaiting;
                          fnReply(std::move(answer));
                      });
}

/// What is at hand. r_bDone is cleared if the answer is for a worker to find.
SHttpResponse CApi::AnswerHere(const SHttpRequest& p_request, const SViewUser& p_user, bool& r_bDone)
{
    const std::string& strPath = p_request.strPath;
    const bool bGet = p_request.strMethod == "GET";
    if (!bGet && p_request.strMethod != "POST" && p_request.strMethod != "DELETE")
        throw CApiError(405, "expected GET, POST or DELETE");
    if (strPath == "/healthz" && bGet)
        return TextResponse("ok\n");
    if (strPath == "/api/v1/session" && bGet)
        return JsonResponse(SessionJson(p_user));
    const bool bInterface = strPath.starts_with("/api/") || strPath == "/metrics" || strPath == "/readyz";
    if (!bInterface && bGet)
        return m_page.Get(p_request);
    if (strPath != "/api/v1/session" && strPath != "/readyz")
        CheckAccess(p_request, p_user);
    SHttpResponse response;
    if (bGet && strPath == "/api/v1/jobs")
        response.strBody = m_strJobs;
    else if (bGet && strPath == "/api/v1/openapi.json")
        response.strBody = m_strDescription;
    else if (bGet && strPath == "/api/v1/live")
        return Live(p_request);
    else
        r_bDone = false;
    return response;
}

/// On a worker.
SHttpResponse CApi::Answer(const SHttpRequest& p_request, const SViewUser& p_user)
{
    const std::string& strPath = p_request.strPath;
    if (strPath == "/api/v1/session")
        return Session(p_request, p_user);
    SHttpResponse response;
    if (p_request.strMethod == "GET" && strPath == "/api/v1/state")
        return JsonResponse(m_state.View([](const CViewState::SView& p_view) { return StateJson(p_view); }));
    if (p_request.strMethod == "GET" && strPath == "/api/v1/health")
        return Health();
    if (p_request.strMethod == "GET" && strPath == "/metrics")
        return Metrics();
    if (p_request.strMethod == "GET" && strPath == "/readyz")
        return Ready();
    if (m_part.Answer(p_request, p_user, response))
        return response;
    throw CApiError(404, "there is no " + p_request.strMethod + " of this address");
}

SHttpResponse CApi::Live(const SHttpRequest& p_request)
{
    std::vector<std::size_t> vecTrace;
    const auto it = p_request.mapQuery.find("trace");
    std::string strRest = it == p_request.mapQuery.end() ? "" : it->second;
    while (!strRest.empty())
    {
        const std::size_t nEnd = std::min(strRest.find(','), strRest.size());
        std::uint64_t nId = 0;
        const auto result = std::from_chars(strRest.data(), strRest.data() + nEnd, nId);
        const auto itJob = m_model.mapJob.find(nId);
        if (result.ec != std::errc() || result.ptr != strRest.data() + nEnd || itJob == m_model.mapJob.end() ||
            vecTrace.size() >= g_nMaxTraces)
            throw CApiError(400, "parameter trace: expected at most " + std::to_string(g_nMaxTraces) + " ids of jobs");
        vecTrace.push_back(itJob->second);
        strRest.erase(0, nEnd + 1);
    }
    const std::int64_t nTrace_s = IntegerOf(p_request, "trace_s", 180, 10, 300);
    SHttpResponse response;
    response.pLive = std::make_unique<CLiveStream>(
        m_state, vecTrace, nTrace_s * 1000,
        [this, request = p_request]
        { return m_accounts.UserOf(request, std::chrono::steady_clock::now()).eRole != EViewRole::eNone; });
    return response;
}

SHttpResponse CApi::Health()
{
    json::object health = m_state.View([](const CViewState::SView& p_view) { return HealthJson(p_view); });
    health["version"] = g_pVersion;
    health["browsers"] = m_fnBrowsers();
    health["receivers"] = m_fnReceivers();
    m_part.FillHealth(health);
    return JsonResponse(health);
}

SHttpResponse CApi::Metrics()
{
    std::string strText = m_state.View([](const CViewState::SView& p_view) { return StateMetrics(p_view); });
    m_part.FillMetrics(strText);
    strText += m_fnServerMetrics();
    SHttpResponse response = TextResponse(std::move(strText));
    response.strType = "text/plain; version=0.0.4; charset=utf-8";
    return response;
}

SHttpResponse CApi::Ready()
{
    std::string strWhy = m_part.WhyNotReady();
    if (strWhy.empty() && !m_state.View([](const CViewState::SView& p_view) { return p_view.bLinked; }))
        strWhy = "no connection to the server";
    return strWhy.empty() ? TextResponse("ready\n") : TextResponse(strWhy + "\n", 503);
}

// ---- sessions ----

json::object CApi::SessionJson(const SViewUser& p_user) const
{
    return {{"required", m_accounts.IsRequired()},
            {"signed_in", p_user.eRole != EViewRole::eNone},
            {"name", p_user.strName},
            {"role", RoleText(p_user.eRole)},
            {"csrf_token", p_user.strCsrf}};
}

SHttpResponse CApi::Session(const SHttpRequest& p_request, const SViewUser& p_user)
{
    const std::string strSecure = p_request.bTls ? "; Secure" : "";
    if (p_request.strMethod == "DELETE")
    {
        CheckAccess(p_request, p_user);
        m_accounts.SignOut(p_user.strSession);
        SHttpResponse response = JsonResponse(SessionJson(m_accounts.IsRequired() ? SViewUser() : p_user));
        response.vecHeader.emplace_back("Set-Cookie",
                                        "omaview=; Path=/; Max-Age=0; HttpOnly; SameSite=Strict" + strSecure);
        return response;
    }
    const std::string strOrigin = p_request.Header("origin");
    if (!strOrigin.empty() && strOrigin != (p_request.bTls ? "https://" : "http://") + p_request.Header("host"))
        throw CApiError(403, "the request comes from another page");
    const json::object body = BodyOf(p_request);
    const json::value* pName = body.if_contains("name");
    const json::value* pPassword = body.if_contains("password");
    if (!pName || !pName->is_string() || !pPassword || !pPassword->is_string())
        throw CApiError(400, "expected name and password");
    if (!m_accounts.IsRequired())
        return JsonResponse(SessionJson(p_user));
    const auto tNow = std::chrono::steady_clock::now();
    if (!m_accounts.MayTry(p_request.strPeer, tNow))
        throw CApiError(429, "too many tries: wait a minute");
    const SViewUser user = m_accounts.SignIn(std::string(pName->as_string()), std::string(pPassword->as_string()),
                                             p_request.strPeer, tNow);
    if (user.eRole == EViewRole::eNone)
        throw CApiError(401, "name or password is wrong");
    SHttpResponse response = JsonResponse(SessionJson(user));
    response.vecHeader.emplace_back("Set-Cookie", "omaview=" + user.strSession +
                                                      "; Path=/; Max-Age=43200; HttpOnly; SameSite=Strict" + strSecure);
    return response;
}
