#include "view/notice/CNoticeBoard.h"
#include <algorithm>
#include <set>

namespace
{
/// A change of level ends the one event and raises the other; the two need not come together.
constexpr std::int64_t g_nSettled_ms = 2000;
} // namespace

void CNoticeBoard::Look(const std::vector<SViewEvent>& p_vecRecord, std::int64_t p_nNow_ms)
{
    std::set<std::int64_t> setStanding;
    for (const SViewEvent& event : p_vecRecord)
    {
        if (event.eKind != EEventKind::eSwing || !event.bMode)
            continue;
        const bool bStands =
            event.Stands() || (p_nNow_ms >= event.nEnd_ms && p_nNow_ms - event.nEnd_ms < g_nSettled_ms);
        if (bStands)
            setStanding.insert(event.nId);
        if (event.Stands())
            Judge(event, p_nNow_ms);
        for (const auto& rule : m_vecRule)
            if (const auto it = m_mapTold.find({rule.Receiver(), event.nId}); it != m_mapTold.end())
                it->second.event = event;
    }
    std::erase_if(m_mapLevel, [&](const auto& p_entry) { return !setStanding.contains(p_entry.first); });
    for (auto it = m_mapTold.begin(); it != m_mapTold.end();)
    {
        if (setStanding.contains(it->first.second))
        {
            ++it;
            continue;
        }
        m_fnTell(it->first.first, it->second.event, "cleared", 0, p_nNow_ms);
        it = m_mapTold.erase(it);
    }
}

void CNoticeBoard::Judge(const SViewEvent& p_event, std::int64_t p_nNow_ms)
{
    const auto itJob = m_model.mapJob.find(p_event.nJob);
    if (itJob == m_model.mapJob.end())
        return;
    const char* const pName = m_model.vecJob[itJob->second].strName.c_str();
    SLevel& level = m_mapLevel[p_event.nId];
    level.vecnSince_ms.resize(m_vecRule.size());
    // Time that goes back counts from there.
    if (level.nLevel != p_event.nLevel || level.nSame_ms > p_nNow_ms)
        level.nSame_ms = level.nLevel == 0 ? std::min(p_event.nBegin_ms, p_nNow_ms) : p_nNow_ms;
    level.nLevel = p_event.nLevel;
    for (std::size_t i = 0; i < m_vecRule.size(); ++i)
    {
        const auto& rule = m_vecRule[i];
        if (!IsLike(pName, rule.Jobs().c_str()))
            continue;
        std::int64_t& nSince_ms = level.vecnSince_ms[i];
        if (p_event.nLevel < rule.Level())
            nSince_ms = 0;
        else if (nSince_ms == 0 || nSince_ms > p_nNow_ms)
            nSince_ms = level.nSame_ms;
        const auto it = m_mapTold.find({rule.Receiver(), p_event.nId});
        const bool bTold = it != m_mapTold.end();
        // Who has been told hears of any other level that lasts, of a lesser one too.
        const bool bDue = bTold ? it->second.nLevel != p_event.nLevel : nSince_ms != 0;
        const std::int64_t nFrom_ms = bTold ? level.nSame_ms : nSince_ms;
        if (!bDue || p_nNow_ms - nFrom_ms < rule.StandingInS() * std::int64_t{1000})
            continue;
        m_mapTold[{rule.Receiver(), p_event.nId}] = {p_event.nLevel, p_event};
        m_fnTell(rule.Receiver(), p_event, bTold ? "changed" : "raised", p_event.nLevel, p_nNow_ms);
    }
}
