#pragma once
#include "link/dli/CResultFeed.h"
#include "view/state/ViewEvent.h"
#include "view/state/ViewModel.h"
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>

/// Makes records of the server's events: the chain of levels of one mode is one record, from the first APP to a DIS that
/// no APP of the same pass follows.
///
/// Owner    CViewState. Threads: any, under its lock.
class CEventBook
{
  public:
    CEventBook(const SViewModel& p_model, IViewMemory& r_memory) : m_model(p_model), m_memory(r_memory) {}

    // ---- from the memory, ahead of everything else ----
    /// @param p_vecEvent those that stood, oldest first. @param p_nLastId of all events.
    void Restore(std::vector<SViewEvent> p_vecEvent, std::int64_t p_nLastId);
    /// Element type, element id, key, APP.
    using TIdentity = std::tuple<std::int32_t, std::uint64_t, int, bool>;
    /// The steps of the last time stamp that is known: they may come once more.
    void RestoreLast(std::int64_t p_nTicks, std::set<TIdentity> p_setLast);

    /// @param p_nRevision what a changed record is marked with.
    void Take(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedEvent& p_event, std::uint64_t p_nRevision);
    /// What stands, complete: what else was thought to stand has ended, nobody knows when.
    void TakeStanding(const std::vector<Norvik::Energy::Kestrel::VDS::Runtime::SFeedEvent>& p_vecEvent,
                      std::int64_t p_nNow_ms, std::uint64_t p_nRevision);
    /// Values of a pass: extremes of the record that stands.
    void TakePass(std::uint64_t p_nMode, std::int64_t p_nTime_ms, const double* p_pfValue, std::uint64_t p_nRevision);
    /// Null if there is none any more.
    SViewEvent* Find(std::int64_t p_nId);
    const SViewEvent* StandingOf(std::uint64_t p_nMode) const;

    /// Records that stand, and the newest ones that have ended; oldest first.
    const std::deque<SViewEvent>& Records() const { return m_queRecord; }
    /// Ticks from which the history of the server is of interest; 0: none.
    std::int64_t LastTicks() const { return m_nLastTicks; }
    std::uint64_t Taken() const { return m_nTaken; }

  private:
    using TKey = std::tuple<std::int32_t, std::uint64_t, int>; ///< element type, element id, key (0 for swings)

    TKey KeyOf(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedEvent& p_event) const;
    bool IsRepeated(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedEvent& p_event);
    SViewEvent& NewRecord(const TKey& p_key, const Norvik::Energy::Kestrel::VDS::Runtime::SFeedEvent& p_event);
    void Raise(SViewEvent& r_record, const SViewStep& p_step);
    void Changed(SViewEvent& r_record, std::uint64_t p_nRevision);
    void Trim();

    const SViewModel& m_model;
    IViewMemory& m_memory;
    std::deque<SViewEvent> m_queRecord;
    std::map<TKey, std::int64_t> m_mapNewest; ///< id of the newest record of an element
    std::int64_t m_nLastId = 0;
    std::int64_t m_nLastTicks = 0;
    std::set<TIdentity> m_setLast; ///< events of m_nLastTicks
    std::uint64_t m_nTaken = 0;
};

/// The four numbers of a swing event's text; NaN where there is none.
void ReadSwingText(const std::string& p_strText, SViewStep& r_step);
/// Printable, valid UTF-8, at most 500 bytes.
std::string CleanText(const std::string& p_strText);
