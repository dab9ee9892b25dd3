#include "view/notice/CNotices.h"
#include "view/memory/MemoryReads.h"
#include "view/metrics/ViewMetrics.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <cstdio>

namespace json = boost::json;
namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr auto g_tFirstWait = std::chrono::milliseconds(1000);
constexpr auto g_tLastWait = std::chrono::milliseconds(300'000);
constexpr std::int64_t g_nMaxWaiting = 10'000;
constexpr const char* g_ppKind[] = {"webhook", "mqtt", "email"};
} // namespace

CNotices::CNotices(CMemory& r_memory, const SViewModel& p_model, const Runtime::CView& p_view)
    : m_memory(r_memory), m_model(p_model), m_view(p_view),
      m_board(p_model, p_view.GetRules(),
              [this](const std::string& p_strReceiver, const SViewEvent& p_event, const char* p_pWhat, int p_nLevel,
                     std::int64_t p_nNow_ms) { Tell(p_strReceiver, p_event, p_pWhat, p_nLevel, p_nNow_ms); })
{
    for (const Runtime::CReceiverConfig& receiver : p_view.GetReceivers())
        m_vecpReceiver.push_back(std::make_unique<SReceiver>(receiver));
}

CNotices::~CNotices()
{
    {
        const std::lock_guard<std::mutex> lock(m_mtx);
        m_bStop = true;
        m_cv.notify_all();
    }
    for (const auto& pReceiver : m_vecpReceiver)
        if (pReceiver->thread.joinable())
            pReceiver->thread.join();
}

void CNotices::Start()
{
    CNoticeBoard::TTold mapTold;
    m_memory.Do(
        [&](CDatabase& r_db)
        {
            CStatement get(r_db, "SELECT receiver, event, level FROM notice_state");
            while (get.Step())
            {
                const std::vector<SViewEvent> vecEvent =
                    ReadEvents(r_db, "id = " + std::to_string(get.Integer(1)), "id");
                if (!vecEvent.empty() && Find(get.Text(0)))
                    mapTold[{get.Text(0), get.Integer(1)}] = {static_cast<int>(get.Integer(2)), vecEvent[0]};
            }
            CStatement count(r_db, "SELECT count(*) FROM notice WHERE receiver=?");
            for (const auto& pReceiver : m_vecpReceiver)
            {
                count.Bind(pReceiver->config.Name()).Step();
                pReceiver->nWaiting = count.Integer(0);
            }
        });
    m_board.Restore(std::move(mapTold));
    for (const auto& pReceiver : m_vecpReceiver)
        pReceiver->thread = std::thread([this, p = pReceiver.get()] { Run(*p); });
}

CNotices::SReceiver* CNotices::Find(const std::string& p_strName)
{
    const auto it = std::find_if(m_vecpReceiver.begin(), m_vecpReceiver.end(),
                                 [&](const auto& p_pReceiver) { return p_pReceiver->config.Name() == p_strName; });
    return it == m_vecpReceiver.end() ? nullptr : it->get();
}

void CNotices::Look(const CViewState& p_state)
{
    if (m_view.GetRules().empty())
        return;
    std::vector<SViewEvent> vecRecord;
    std::int64_t nNow_ms = 0;
    bool bLinked = false;
    p_state.View(
        [&](const CViewState::SView& p_view)
        {
            nNow_ms = p_view.nNow_ms;
            bLinked = p_view.bLinked;
            for (const SViewEvent& event : p_view.book.Records())
                if (event.Stands() || nNow_ms - event.nEnd_ms < 60'000)
                    vecRecord.push_back(event);
        });
    // While nothing is known nothing is told: what stood may stand still.
    if (bLinked && nNow_ms != 0)
        m_board.Look(vecRecord, nNow_ms);
}

/// The notice and the memory of it go to the file in one step, so that none is lost and none comes twice by a restart.
void CNotices::Tell(const std::string& p_strReceiver, const SViewEvent& p_event, const char* p_pWhat, int p_nLevel,
                    std::int64_t p_nNow_ms)
{
    const std::string strBody = json::serialize(NoticeBody(m_model, p_event, p_pWhat, p_nLevel, p_nNow_ms));
    m_memory.Later(
        [this, p_strReceiver, strBody, p_nLevel, nEvent = p_event.nId,
         strTopic = std::to_string(p_event.nJob) + "/" + std::to_string(p_event.nMode)](CDatabase& r_db)
        {
            CStatement(r_db, "INSERT INTO notice (receiver, event, body, topic, made_ms) VALUES (?,?,?,?,?)")
                .Bind(p_strReceiver, nEvent, strBody, strTopic, WallMs())
                .Run();
            if (p_nLevel == 0)
                CStatement(r_db, "DELETE FROM notice_state WHERE receiver=? AND event=?")
                    .Bind(p_strReceiver, nEvent)
                    .Run();
            else
                CStatement(r_db, "INSERT OR REPLACE INTO notice_state VALUES (?,?,?)")
                    .Bind(p_strReceiver, nEvent, p_nLevel)
                    .Run();
            CStatement(r_db, "DELETE FROM notice WHERE receiver=?1 AND id <= (SELECT id FROM notice WHERE receiver=?1 "
                             "ORDER BY id DESC LIMIT 1 OFFSET ?2)")
                .Bind(p_strReceiver, g_nMaxWaiting)
                .Run();
            const std::lock_guard<std::mutex> lock(m_mtx);
            if (SReceiver* pReceiver = Find(p_strReceiver))
            {
                pReceiver->bWork = true;
                pReceiver->nWaiting = std::min(pReceiver->nWaiting + 1, g_nMaxWaiting);
            }
            m_cv.notify_all();
        });
}

// ---- a receiver's thread ----

bool CNotices::Next(const SReceiver& p_receiver, SNotice& r_notice)
{
    bool bFound = false;
    m_memory.Do(
        [&](CDatabase& r_db)
        {
            CStatement get(r_db, "SELECT id, topic, body FROM notice WHERE receiver=? ORDER BY id LIMIT 1");
            get.Bind(p_receiver.config.Name());
            bFound = get.Step();
            if (bFound)
                r_notice = {get.Integer(0), get.Text(1), get.Text(2)};
        });
    return bFound;
}

/// @return false if it is to be tried again.
bool CNotices::Send(SReceiver& r_receiver, const SNotice& p_notice)
{
    std::string strFault;
    try
    {
        SendNotice(r_receiver.config, p_notice);
        m_memory.Do([&](CDatabase& r_db)
                    { CStatement(r_db, "DELETE FROM notice WHERE id=?").Bind(p_notice.nId).Run(); });
    }
    catch (const std::exception& ex)
    {
        strFault = ex.what();
    }
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (!strFault.empty() && strFault != r_receiver.strFault)
        std::fprintf(stderr, "omaview: notice to '%s' was not taken: %s; it waits\n", r_receiver.config.Name().c_str(),
                     CleanText(strFault).c_str());
    if (strFault.empty() && !r_receiver.strFault.empty())
        std::fprintf(stderr, "omaview: '%s' takes notices again\n", r_receiver.config.Name().c_str());
    r_receiver.strFault = CleanText(strFault);
    ++(strFault.empty() ? r_receiver.nSent : r_receiver.nFailed);
    if (strFault.empty() && r_receiver.nWaiting > 0)
        --r_receiver.nWaiting;
    return strFault.empty();
}

void CNotices::Run(SReceiver& r_receiver)
{
    auto tWait = g_tFirstWait;
    std::unique_lock<std::mutex> lock(m_mtx);
    while (!m_bStop)
    {
        m_cv.wait(lock, [&] { return m_bStop || r_receiver.bWork; });
        r_receiver.bWork = false;
        lock.unlock();
        bool bTaken = false;
        SNotice notice;
        try
        {
            bTaken = !Next(r_receiver, notice);
            if (!bTaken)
            {
                bTaken = Send(r_receiver, notice);
                const std::lock_guard<std::mutex> lockWork(m_mtx);
                r_receiver.bWork = true; // there may be another one
            }
        }
        catch (const std::exception&)
        {
            // the memory cannot be asked at present; it says so itself
            const std::lock_guard<std::mutex> lockWork(m_mtx);
            r_receiver.bWork = true;
        }
        lock.lock();
        if (bTaken)
        {
            tWait = g_tFirstWait;
            continue;
        }
        m_cv.wait_for(lock, tWait, [this] { return m_bStop; });
        tWait = std::min<std::chrono::milliseconds>(tWait * 2, g_tLastWait);
    }
}

// ---- how it is ----

json::array CNotices::HealthJson() const
{
    json::array receivers;
    const std::lock_guard<std::mutex> lock(m_mtx);
    for (const auto& pReceiver : m_vecpReceiver)
        receivers.push_back(json::object{{"name", pReceiver->config.Name()},
                                         {"kind", g_ppKind[pReceiver->config.Kind()]},
                                         {"waiting", pReceiver->nWaiting},
                                         {"sent", pReceiver->nSent},
                                         {"failed", pReceiver->nFailed},
                                         {"text", pReceiver->strFault}});
    return receivers;
}

void CNotices::FillMetrics(std::string& r_strText) const
{
    if (m_vecpReceiver.empty())
        return;
    CMetricText text(r_strText);
    const std::lock_guard<std::mutex> lock(m_mtx);
    const auto fnEach = [&](auto p_fnValue)
    {
        for (const auto& pReceiver : m_vecpReceiver)
            text.Sample(static_cast<double>(p_fnValue(*pReceiver)), {{"receiver", pReceiver->config.Name()}});
    };
    text.Family("oma_notices_waiting", "gauge", "Notices that a receiver has not taken yet.");
    fnEach([](const SReceiver& p_receiver) { return p_receiver.nWaiting; });
    text.Family("oma_notices_sent_total", "counter", "Notices that a receiver has taken.");
    fnEach([](const SReceiver& p_receiver) { return p_receiver.nSent; });
    text.Family("oma_notices_failed_total", "counter", "Tries that a receiver has not taken.");
    fnEach([](const SReceiver& p_receiver) { return p_receiver.nFailed; });
}
