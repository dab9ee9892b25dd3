#pragma once
#include "view/state/CViewState.h"
#include <boost/json.hpp>
#include <map>
#include <string>
#include <vector>

// The live state as the interface describes it (openapi.json).

/// null for NaN and infinity.
boost::json::value JsonNumberOrNull(double p_fValue);
/// null for 0.
boost::json::value JsonTimeOrNull(std::int64_t p_nMs);

boost::json::object JobsJson(const SViewModel& p_model);
boost::json::object EventJson(const SViewModel& p_model, const SViewEvent& p_event);
boost::json::object StatusJson(const SViewStatus& p_status);
boost::json::object StateJson(const CViewState::SView& p_view);
boost::json::object HealthJson(const CViewState::SView& p_view);

/// How far a live stream has come.
struct SLiveCursor
{
    std::uint64_t nRevision = 0;
    std::uint64_t nValues = 0;                    ///< revision of the last list of all values
    std::map<std::size_t, std::int64_t> mapTrace; ///< job -> number of the next value
};
/// What has changed since, and moves the cursor. All traces together have a bound; the rest comes next time.
boost::json::object ChangeJson(const CViewState::SView& p_view, SLiveCursor& r_cursor);
