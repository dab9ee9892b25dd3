#include "view/memory/MemoryReads.h"

std::vector<SViewEvent> ReadEvents(CDatabase& r_db, const std::string& p_strWhere, const std::string& p_strOrder)
{
    return ReadEvents(r_db, p_strWhere, p_strOrder, [](CStatement&) {});
}

SViewEvent EventOfRow(const CStatement& p_row)
{
    SViewEvent event;
    int n = 0;
    event.nId = p_row.Integer(n++);
    event.eKind = static_cast<EEventKind>(p_row.Integer(n++));
    event.eElemType = static_cast<std::int32_t>(p_row.Integer(n++));
    event.nElemId = static_cast<std::uint64_t>(p_row.Integer(n++));
    event.eKey = static_cast<int>(p_row.Integer(n++));
    event.bMode = p_row.Integer(n++) != 0;
    event.nJob = static_cast<std::uint64_t>(p_row.Integer(n++));
    event.nMode = static_cast<std::uint64_t>(p_row.Integer(n++));
    event.strText = p_row.Text(n++);
    event.nLevel = static_cast<int>(p_row.Integer(n++));
    event.nWorst = static_cast<int>(p_row.Integer(n++));
    event.nBegin_ms = p_row.Integer(n++);
    event.nEnd_ms = p_row.Integer(n++);
    event.bEndKnown = p_row.Integer(n++) != 0;
    event.fFreq_Hz = p_row.Real(n++);
    event.fMagnMax = p_row.Real(n++);
    event.fDampMax = p_row.Real(n++);
    event.fDOEMax = p_row.Real(n++);
    event.nWorst_ms = p_row.Integer(n++);
    event.strAckBy = p_row.Text(n++);
    event.nAck_ms = p_row.Integer(n++);
    event.nNotes = p_row.Integer(n);
    return event;
}
