#include "view/api/CLiveStream.h"

namespace
{
std::string Event(const char* p_pName, const boost::json::object& p_data)
{
    return std::string("event: ") + p_pName + "\ndata: " + boost::json::serialize(p_data) + "\n\n";
}
} // namespace

CLiveStream::CLiveStream(const CViewState& p_state, const std::vector<std::size_t>& p_vecTrace,
                         std::int64_t p_nTrace_ms, std::function<bool()> p_fnOpen)
    : m_state(p_state), m_fnOpen(std::move(p_fnOpen))
{
    m_state.View(
        [&](const CViewState::SView& p_view)
        {
            for (const std::size_t iJob : p_vecTrace)
            {
                const CJobState& job = p_view.vecJob[iJob];
                m_cursor.mapTrace[iJob] =
                    job.TraceEnd() - static_cast<std::int64_t>(static_cast<double>(p_nTrace_ms) / job.TraceStep_ms());
            }
        });
}

std::string CLiveStream::Next()
{
    if (std::exchange(m_bFirst, false))
        return "retry: 1000\n\n" + Event("snapshot", m_state.View(
                                                         [this](const CViewState::SView& p_view)
                                                         {
                                                             m_cursor.nRevision = p_view.nRevision;
                                                             return StateJson(p_view);
                                                         }));
    bool bNew = false;
    const boost::json::object change = m_state.View(
        [&](const CViewState::SView& p_view)
        {
            bNew = p_view.nRevision != m_cursor.nRevision;
            return bNew ? ChangeJson(p_view, m_cursor) : boost::json::object();
        });
    return bNew ? Event("change", change) : "";
}
