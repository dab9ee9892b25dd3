#pragma once
#include "view/notice/Notice.h"
#include "view/state/CViewState.h"
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// Decides who is told what: a level that has stood for as long as a rule wants is raised, another level after that is
/// changed, its end is cleared.
///
/// Time     of the data: a recording that runs twenty times as fast is told of in the same way.
/// Threads  the one that calls Look.
class CNoticeBoard
{
  public:
    struct STold
    {
        int nLevel = 0;
        SViewEvent event;
    };
    using TTold = std::map<std::pair<std::string, std::int64_t>, STold>; ///< by receiver and event
    /// Takes a notice into the queue and, together with it, what the receiver has been told; level 0: no more.
    using TTell = std::function<void(const std::string& p_strReceiver, const SViewEvent& p_event, const char* p_pWhat,
                                     int p_nLevel, std::int64_t p_nNow_ms)>;

    CNoticeBoard(const SViewModel& p_model,
                 const std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CNoticeRule>& p_vecRule, TTell p_fnTell)
        : m_model(p_model), m_vecRule(p_vecRule), m_fnTell(std::move(p_fnTell))
    {
    }
    /// What receivers had been told when the last run ended.
    void Restore(TTold p_mapTold) { m_mapTold = std::move(p_mapTold); }
    void Look(const std::vector<SViewEvent>& p_vecRecord, std::int64_t p_nNow_ms);

  private:
    struct SLevel
    {
        int nLevel = 0;
        std::int64_t nSame_ms = 0;              ///< since when it has been this one
        std::vector<std::int64_t> vecnSince_ms; ///< by rule: since when its level has been reached; 0: it is not
    };
    void Judge(const SViewEvent& p_event, std::int64_t p_nNow_ms);

    const SViewModel& m_model;
    const std::vector<Norvik::Energy::Kestrel::VDS::Runtime::CNoticeRule>& m_vecRule;
    const TTell m_fnTell;
    std::map<std::int64_t, SLevel> m_mapLevel; ///< by event, of those that stand
    TTold m_mapTold;
};
