#pragma once
#include "view/api/CAccounts.h"
#include "view/api/CPageFiles.h"
#include "view/api/Http.h"
#include "view/state/CViewState.h"
#include <boost/asio/thread_pool.hpp>
#include <boost/json.hpp>
#include <functional>
#include <string>

/// A request that cannot be served, with the status that tells why.
class CApiError : public std::runtime_error
{
  public:
    CApiError(unsigned p_nStatus, const std::string& p_strText) : std::runtime_error(p_strText), m_nStatus(p_nStatus) {}
    unsigned Status() const { return m_nStatus; }

  private:
    unsigned m_nStatus;
};

/// What answers requests that the live state alone does not.
class IApiPart
{
  public:
    virtual ~IApiPart() = default;
    /// On a worker thread. @return false if the path is not its own. @throws CApiError
    virtual bool Answer(const SHttpRequest& p_request, const SViewUser& p_user, SHttpResponse& r_response) = 0;
    /// Additions to /api/v1/health.
    virtual void FillHealth(boost::json::object& r_health) = 0;
    /// Additions to /metrics.
    virtual void FillMetrics(std::string& r_strText) = 0;
    /// Why the program cannot do its work; empty: it can.
    virtual std::string WhyNotReady() = 0;
};

/// The interface: who may ask, and which answer it gets.
///
/// Threads  Handle on the server's; what may take its time runs on two workers.
class CApi : public IHttpHandler
{
  public:
    CApi(CViewState& r_state, const SViewModel& p_model, CAccounts& r_accounts, const CPageFiles& p_page,
         IApiPart& r_part, std::string p_strDescription);
    ~CApi() override;
    void Handle(const SHttpRequest& p_request, TReply p_fnReply) override;
    /// Browsers with a live stream, requests; for the metrics.
    std::function<std::string()> m_fnServerMetrics;
    std::function<int()> m_fnBrowsers;
    std::function<boost::json::array()> m_fnReceivers;

  private:
    static constexpr std::size_t g_nMaxWaiting = 100; ///< requests for the workers

    SHttpResponse Answer(const SHttpRequest& p_request, const SViewUser& p_user);
    SHttpResponse AnswerHere(const SHttpRequest& p_request, const SViewUser& p_user, bool& r_bDone);
    SHttpResponse Live(const SHttpRequest& p_request);
    SHttpResponse Health();
    SHttpResponse Metrics();
    SHttpResponse Ready();
    SHttpResponse Session(const SHttpRequest& p_request, const SViewUser& p_user);
    boost::json::object SessionJson(const SViewUser& p_user) const;
    void CheckAccess(const SHttpRequest& p_request, const SViewUser& p_user) const;

    CViewState& m_state;
    const SViewModel& m_model;
    CAccounts& m_accounts;
    const CPageFiles& m_page;
    IApiPart& m_part;
    const std::string m_strDescription;
    const std::string m_strJobs;
    boost::asio::thread_pool m_workers{2};
    std::atomic<std::size_t> m_nWaiting{0};
};

/// A body that is a JSON object. @throws CApiError
boost::json::object BodyOf(const SHttpRequest& p_request);
/// A whole number of the query. @throws CApiError beyond the bounds.
std::int64_t IntegerOf(const SHttpRequest& p_request, const std::string& p_strName, std::int64_t p_nDefault,
                       std::int64_t p_nMin, std::int64_t p_nMax);
