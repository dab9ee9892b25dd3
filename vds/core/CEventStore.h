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

/// The event as one JSON line of the event log.
std::string EventLine(const SEvent& p_event);

/// One line for the operator's journal: what begins or ends, where, when, and who reports it. Text sent by clients is
/// shortened and its control characters are escaped.
std::string EventStory(const SEvent& p_event);

/// All events, and which of them are active: an APP is active until a DIS with the same key, element type and element
/// id. A restart request (key 7) is distributed but not kept: it is an order, and as an active event it would restart
/// the application at each of its starts.
///
/// Order       each event has an arrival number, which increases and is never reused in an epoch. A state file keeps
///             its epoch; orders are sent but not stored, so each opening skips a large range of numbers.
/// State file  one line per event, written and synced before the event takes effect and is sent to anybody. When it
///             has grown beyond a limit, a new file without the events that memory has dropped replaces it.
/// Bounds      10,000 active events and 16 MB; a history of 100,000 events and 32 MB; for reads of a past time,
///             16 MB of events that were active.
class CEventStore
{
  public:
    /// @param p_nCompactSize size in bytes at which the state file is rewritten.
    explicit CEventStore(std::size_t p_nCompactSize = 64U << 20U);
    /// Reads the state file and keeps it open. @throws std::runtime_error that names file, line and what was expected.
    void Open(const std::string& p_strPath);
    /// Writes the state to a new file if the old one has been renamed or removed. @throws std::runtime_error
    void Reopen();

    /// @throws std::runtime_error if the state file cannot be written or too many events are active; the event is then
    /// not taken.
    /// @return its arrival number.
    std::uint64_t Add(const SEvent& p_event);

    std::vector<SEvent> Standing() const { return StandingAt(std::numeric_limits<std::int64_t>::max()); }
    /// Events active at a time, by their own time stamps, in order of arrival.
    std::vector<SEvent> StandingAt(std::int64_t p_nTicks) const;
    /// Events from a time on, by their own time stamps, in order of arrival.
    std::vector<SEvent> Since(std::int64_t p_nTicks) const;
    /// Events that arrived after that number, in order of arrival.
    std::vector<SEvent> After(std::uint64_t p_nSeq) const;

    std::uint64_t Epoch() const { return m_nEpoch; }
    std::uint64_t LastSeq() const { return m_nSeq; }
    /// The number to resume after, for a client's position in the order. For a position of another epoch: the number of
    /// the last event present when the store was opened.
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
    std::uint64_t m_nSeq = 0; ///< number of the newest event
    std::uint64_t m_nSeqOpened = 0;
    std::size_t m_nHistoryBytes = 0;
    std::size_t m_nStandingBytes = 0;
    std::size_t m_nEndedBytes = 0;
    std::map<TKey, SSpan> m_mapStanding;
    std::deque<SSpan> m_queEnded; ///< the newest ones
    std::deque<SEvent> m_queAll;  ///< the newest ones
};
