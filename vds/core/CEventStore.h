#pragma once
#include "vds/base/CJsonLog.h"
#include "vds/base/SEvent.h"
#include "vds/core/CStateFile.h"
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

/// One JSON line as the event log has it.
std::string EventLine(const SEvent& p_event);

/// One line for the operator's journal: what begins or ends, where, when, and who says so. What clients have sent stands in
/// it without control characters, and shortened.
std::string EventStory(const SEvent& p_event);

/// All events, and which of them stand: an APP stands until its DIS, which has the same key, element type and element
/// id. A restart request (key 7) is told and forgotten: it is an order, and standing it would restart the application
/// again on each of its starts.
///
/// Order       each event has a number of arrival, which grows and is never used twice in an epoch. A state file keeps its
///             epoch; what it has not kept (orders) may have been told, so each opening leaves a great gap of numbers.
/// State file  one line an event, written and synced before the event stands and before anybody is told of it. When it
///             has grown beyond a size, what memory has dropped is left out of it, by a new file in place of the old.
/// Bounds      10,000 standing events and 16 MB; a history of 100,000 events and 32 MB; for reads of a time that has gone
///             by, 16 MB of events that stood.
class CEventStore
{
  public:
    /// @param p_nCompactSize bytes of the state file at which it is written anew.
    explicit CEventStore(std::size_t p_nCompactSize = 64U << 20U);
    /// Reads the state file and keeps it open. @throws std::runtime_error that names file, line and what was expected.
    void Open(const std::string& p_strPath);
    /// Writes what is kept into a new file if the old one has been renamed or removed. @throws std::runtime_error
    void Reopen();

    /// @throws std::runtime_error if the state file cannot be written or too much stands: the event has not happened.
    /// @return its number of arrival.
    std::uint64_t Add(const SEvent& p_event);

    std::vector<SEvent> Standing() const { return StandingAt(std::numeric_limits<std::int64_t>::max()); }
    /// What stood at a time, by the events' own time stamps, in order of arrival.
    std::vector<SEvent> StandingAt(std::int64_t p_nTicks) const;
    /// Events from a time on, by their own time stamps, in order of arrival.
    std::vector<SEvent> Since(std::int64_t p_nTicks) const;
    /// Events that arrived after that number, in order of arrival.
    std::vector<SEvent> After(std::uint64_t p_nSeq) const;

    std::uint64_t Epoch() const { return m_nEpoch; }
    std::uint64_t LastSeq() const { return m_nSeq; }
    /// The number that a place in the order stands for here. Of another epoch nothing is known: the end of what was
    /// there when the store was opened.
    std::uint64_t SeqOf(std::uint64_t p_nEpoch, std::uint64_t p_nSeq) const
    {
        return p_nEpoch == m_nEpoch && p_nSeq <= m_nSeq ? p_nSeq : m_nSeqOpened;
    }

  private:
    using TKey = std::tuple<std::int32_t, std::int32_t, std::uint64_t>;
    struct SSpan
    {
        SEvent app;
        std::int64_t nEnd = std::numeric_limits<std::int64_t>::max();
    };
    void CompactIfLarge();
    std::string StateLine(const SEvent& p_event) const;
    void TakeLine(const std::string& p_strLine);
    std::string KeptLines() const;
    void Take(const SEvent& p_event);
    void Close(const TKey& p_key, std::int64_t p_nTicks);

    CStateFile m_file;
    std::size_t m_nCompactSize;
    std::uint64_t m_nEpoch;
    std::uint64_t m_nSeq = 0; ///< of the event taken last
    std::uint64_t m_nSeqOpened = 0;
    std::size_t m_nHistoryBytes = 0;
    std::size_t m_nStandingBytes = 0;
    std::size_t m_nEndedBytes = 0;
    std::map<TKey, SSpan> m_mapStanding;
    std::deque<SSpan> m_queEnded; ///< the newest ones
    std::deque<SEvent> m_queAll;  ///< the newest ones
};
