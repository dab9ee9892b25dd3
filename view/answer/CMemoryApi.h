#pragma once
#include "view/answer/Exports.h"
#include "view/api/CApi.h"
#include "view/memory/CMemory.h"
#include "view/memory/CMemoryReader.h"
#include <mutex>

/// What the memory answers: events, courses, values, notes, exports.
///
/// Threads  the workers of the interface; one connection for reading, used by one at a time.
class CMemoryApi : public IApiPart
{
  public:
    CMemoryApi(CMemory& r_memory, const SViewModel& p_model, CViewState& r_state);
    bool Answer(const SHttpRequest& p_request, const SViewUser& p_user, SHttpResponse& r_response) override;
    void FillHealth(boost::json::object& r_health) override;
    void FillMetrics(std::string& r_strText) override;
    std::string WhyNotReady() override;

  private:
    bool Change(const SHttpRequest& p_request, const SViewUser& p_user, boost::json::object& r_answer);
    bool Get(const SHttpRequest& p_request, boost::json::object& r_answer);
    bool Export(const SHttpRequest& p_request, SHttpResponse& r_response);
    boost::json::object Trends(const SHttpRequest& p_request);
    boost::json::object Events(const SHttpRequest& p_request);
    boost::json::object EventPage(std::int64_t p_nId, std::size_t p_nPoints);
    boost::json::object AddNote(std::int64_t p_nId, const SHttpRequest& p_request, const SViewUser& p_user);
    boost::json::object Acknowledge(std::int64_t p_nId, const SViewUser& p_user);
    /// @throws CApiError if there is none.
    SViewEvent EventOf(std::int64_t p_nId);
    SEventRecord RecordOf(std::int64_t p_nId);
    /// From two minutes before the beginning to one minute after the end.
    SRange RangeOfEvent(const SViewEvent& p_event) const;
    std::int64_t Now_ms() const;

    CMemory& m_memory;
    const SViewModel& m_model;
    CViewState& m_state;
    std::mutex m_mtx;
    CMemoryReader m_reader; ///< under m_mtx
};
