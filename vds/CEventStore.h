#pragma once
#include "vds/CJsonLog.h"
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

struct SEvent
{
    std::int64_t nTicks = 0;   ///< the event's own time stamp
    std::int64_t nArrival = 0; ///< wall clock when the server took it, ticks
    std::int32_t eKey = 0;
    std::int32_t eTrans = 0; ///< 1 APP, 0 DIS
    std::int32_t eElemType = 0;
    std::uint64_t nElemId = 0;
    std::string strText;
    std::string strFrom; ///< name of the connection, or "source"
};

/// One JSON line as the event log has it.
std::string EventLine(const SEvent& p_event);

/// All events, and which of them stand: an APP stands until its DIS, which has the same key, element type and element
/// id. A restart request (key 7) is told and forgotten: it is an order, and standing it would restart the application
/// again on each of its starts.
///
/// State file  one line an event, written and synced before anybody is told of it. It is only ever appended to, so
///             that a crash at any moment costs at most the line being written: a last line without its end is taken
///             off when the file is opened. A table that is written anew would have to be swapped for that, and would
///             lose the history.
class CEventStore
{
  public:
    /// Reads the state file and keeps it open. @throws std::runtime_error that names file, line and what was expected.
    void Open(const std::string& p_strPath);

    /// @throws std::runtime_error if the state file cannot be written; the event stands all the same, until the end of
    /// the process.
    void Add(const SEvent& p_event);

    std::vector<SEvent> Standing() const { return StandingAt(std::numeric_limits<std::int64_t>::max()); }
    /// What stood at a time, by the events' own time stamps, in order of arrival.
    std::vector<SEvent> StandingAt(std::int64_t p_nTicks) const;
    /// Events from a time on, in order of arrival, by their own time stamps or by their arrival.
    std::vector<SEvent> Since(std::int64_t p_nTicks, bool p_bByArrival) const;

  private:
    using TKey = std::tuple<std::int32_t, std::int32_t, std::uint64_t>;
    struct SSpan
    {
        SEvent app;
        std::uint64_t nOrder = 0; ///< of arrival
        std::int64_t nEnd = std::numeric_limits<std::int64_t>::max();
    };
    void Take(const SEvent& p_event);
    void Close(const TKey& p_key, std::int64_t p_nTicks);

    CJsonLog m_file;
    std::uint64_t m_nOrder = 0;
    std::map<TKey, SSpan> m_mapStanding;
    std::deque<SSpan> m_queEnded; ///< the newest ones
    std::deque<SEvent> m_queAll;  ///< the newest ones
};
