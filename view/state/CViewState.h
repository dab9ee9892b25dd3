#pragma once
#include "link/dli/CResultFeed.h"
#include "view/state/CEventBook.h"
#include "view/state/CJobState.h"
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// In one sentence how things are.
struct SViewStatus
{
    enum ELevel
    {
        eOk,
        eWaiting,
        eFault
    };
    ELevel eLevel = eWaiting;
    std::string strText;
    std::int64_t nSince_ms = 0; ///< 0: not known

    bool operator==(const SViewStatus& p_other) const { return eLevel == p_other.eLevel && strText == p_other.strText; }
};

/// The live state: all jobs and modes, what stands, how things are.
///
/// Threads  any: one lock. The client's threads write, the program's others read copies or under View.
/// Revision counts the publications (Publish, four a second). What changes is marked with the next one, so that a
///          reader who knows up to n asks for all that is marked n + 1 to now: nothing is queued for it.
class CViewState
{
  public:
    using TTime = std::chrono::steady_clock::time_point;

    CViewState(const SViewModel& p_model, IViewMemory& r_memory);

    // ---- of the link ----
    void OnLink(bool p_bUp, const std::string& p_strText);
    void Receive(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedBatch& p_batch);
    void OnHealth(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedHealth& p_health);
    std::int64_t EventsSince() const;

    // ---- of the program ----
    /// Restores what the memory knows. Ahead of everything else.
    template <class TRestore>
    void Restore(TRestore&& p_fnRestore)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        p_fnRestore(m_book);
    }
    /// Ends a revision.
    void Publish(TTime p_tNow);
    /// A change by a user, to a record that may be the memory's alone by now.
    template <class TChange>
    void ChangeEvent(std::int64_t p_nId, TChange&& p_fnChange)
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        if (SViewEvent* pEvent = m_book.Find(p_nId))
        {
            p_fnChange(*pEvent);
            pEvent->nRevision = m_nRevision + 1;
        }
    }

    /// What readers see, under the lock.
    struct SView
    {
        const SViewModel& model;
        const std::vector<CJobState>& vecJob;
        const CEventBook& book;
        std::uint64_t nRevision;
        std::int64_t nNow_ms; ///< 0: not known
        const SViewStatus& status;
        bool bLinked;
        std::int64_t nLinkSince_ms; ///< wall clock; 0: never
        const std::optional<Norvik::Energy::Kestrel::VDS::Runtime::SFeedHealth>& health;
        double fSamples_perS;
        const std::vector<double>& vecfFrames_perS; ///< by stream
        std::uint64_t nLost;                        ///< steps that this program was too slow for
        std::uint64_t nPasses;
        const std::string& strSuspended; ///< empty: the analysis is not suspended
    };
    template <class TRead>
    auto View(TRead&& p_fnRead) const
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        return p_fnRead(SView{m_model, m_vecJob, m_book, m_nRevision, m_nNow_ms, m_status, m_bLinked, m_nLinkSince_ms,
                              m_health, m_fSamples_perS, m_vecfFrames_perS, m_nLost, m_nPasses, m_strSuspended});
    }

  private:
    void TakeStep(const Norvik::Energy::Kestrel::VDS::Runtime::SFeedStep& p_step);
    void TakeMode(std::size_t p_iJob, std::size_t p_iMode,
                  const Norvik::Energy::Kestrel::VDS::Runtime::SFeedStep& p_step);
    SViewStatus JudgeLink(TTime p_tNow) const;
    SViewStatus JudgeWindows() const;
    SViewStatus Judge(TTime p_tNow) const;
    void TakeSuspension();
    void TellMemory();

    const SViewModel& m_model;
    IViewMemory& m_memory;
    mutable std::mutex m_mtx;
    // ---- under m_mtx ----
    CEventBook m_book;
    std::vector<CJobState> m_vecJob;
    std::uint64_t m_nRevision = 1;
    std::int64_t m_nNow_ms = 0;
    SViewStatus m_status;
    bool m_bLinked = false;
    std::string m_strLink; ///< why not
    std::int64_t m_nLinkSince_ms = 0;
    std::vector<Norvik::Energy::Kestrel::VDS::Runtime::SFeedEvent> m_vecStanding; ///< parts of a start
    std::optional<Norvik::Energy::Kestrel::VDS::Runtime::SFeedHealth> m_health;
    TTime m_tHealth{};
    TTime m_tCycle{}; ///< when the number of cycles was last seen to grow
    std::int64_t m_nCycle_ms = 0;
    double m_fSamples_perS = 0.0;
    std::vector<double> m_vecfFrames_perS;
    std::uint64_t m_nLost = 0;
    std::uint64_t m_nPasses = 0;
    std::string m_strSuspended;
    bool m_bBlind = false;
    std::int64_t m_nBlind_ms = 0;
};
