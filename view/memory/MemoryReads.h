#pragma once
#include "view/memory/CDatabase.h"
#include "view/state/ViewEvent.h"
#include <string>
#include <vector>

// Queries of records. The texts of conditions and orders are this program's own; values are bound.

/// @param p_fnBind binds the values of the condition, from place 1 on.
template <class TBind>
std::vector<SViewEvent> ReadEvents(CDatabase& r_db, const std::string& p_strWhere, const std::string& p_strOrder,
                                   TBind&& p_fnBind);
std::vector<SViewEvent> ReadEvents(CDatabase& r_db, const std::string& p_strWhere, const std::string& p_strOrder);

inline constexpr const char* g_pEventColumns =
    "id, kind, elem_type, elem_id, key, known, job, mode, text, level, worst, begin_ms, end_ms, end_known, freq, magn, "
    "damp, doe, worst_ms, ack_by, ack_ms, (SELECT count(*) FROM note WHERE note.event = event.id)";
SViewEvent EventOfRow(const CStatement& p_row);

template <class TBind>
std::vector<SViewEvent> ReadEvents(CDatabase& r_db, const std::string& p_strWhere, const std::string& p_strOrder,
                                   TBind&& p_fnBind)
{
    CStatement get(r_db, std::string("SELECT ") + g_pEventColumns + " FROM event WHERE " + p_strWhere + " ORDER BY " +
                             p_strOrder);
    p_fnBind(get);
    std::vector<SViewEvent> vecEvent;
    while (get.Step())
        vecEvent.push_back(EventOfRow(get));
    return vecEvent;
}
