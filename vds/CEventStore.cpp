#include "vds/CEventStore.h"
#include "vds/IsoTime.h"
#include <algorithm>
#include <boost/json.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace json = boost::json;

namespace
{
constexpr std::int32_t g_eKeyRestart = 7;
constexpr std::int32_t g_eAPP = 1;
constexpr std::size_t g_nMaxHistory = 100000;

std::string StateLine(const SEvent& p_event)
{
    return "{\"arrival\":" + std::to_string(p_event.nArrival) + ',' + EventLine(p_event).substr(1);
}

/// @throws anything that tells what is wrong with the line.
SEvent ParseStateLine(const std::string& p_strLine)
{
    const json::object object = json::parse(p_strLine).as_object();
    SEvent event;
    event.nTicks = object.at("time").to_number<std::int64_t>();
    event.nArrival = object.at("arrival").to_number<std::int64_t>();
    event.eKey = object.at("key").to_number<std::int32_t>();
    event.eTrans = object.at("transition").as_string() == "APP" ? g_eAPP : 0;
    event.eElemType = object.at("elementType").to_number<std::int32_t>();
    event.nElemId = object.at("elementId").to_number<std::uint64_t>();
    event.strText = std::string(object.at("text").as_string());
    event.strFrom = std::string(object.at("from").as_string());
    return event;
}
} // namespace

std::string EventLine(const SEvent& p_event)
{
    return "{\"time\":" + std::to_string(p_event.nTicks) + ",\"iso\":" + JsonText(IsoFromTicks(p_event.nTicks)) +
           ",\"key\":" + std::to_string(p_event.eKey) +
           ",\"transition\":" + (p_event.eTrans == g_eAPP ? "\"APP\"" : "\"DIS\"") +
           ",\"elementType\":" + std::to_string(p_event.eElemType) +
           ",\"elementId\":" + std::to_string(p_event.nElemId) + ",\"text\":" + JsonText(p_event.strText) +
           ",\"from\":" + JsonText(p_event.strFrom) + '}';
}

void CEventStore::Open(const std::string& p_strPath)
{
    std::string strAll;
    {
        std::ifstream file(p_strPath, std::ios::binary);
        if (file)
        {
            std::ostringstream text;
            text << file.rdbuf();
            strAll = text.str();
        }
    }
    const std::size_t nWhole = strAll.rfind('\n') + 1; // 0 if there is no line at all
    std::istringstream lines(strAll.substr(0, nWhole));
    std::string strLine;
    for (unsigned nLine = 1; std::getline(lines, strLine); ++nLine)
    {
        try
        {
            Take(ParseStateLine(strLine));
        }
        catch (const std::exception& ex)
        {
            throw std::runtime_error("file '" + p_strPath + "', line " + std::to_string(nLine) +
                                     ": expected an event of the server: " + ex.what());
        }
    }
    if (nWhole != strAll.size() && ::truncate(p_strPath.c_str(), static_cast<off_t>(nWhole)) != 0)
        throw std::runtime_error("file '" + p_strPath + "': cannot be written: " + std::strerror(errno));
    m_file.Open(p_strPath);
}

void CEventStore::Add(const SEvent& p_event)
{
    Take(p_event);
    if (p_event.eKey != g_eKeyRestart && m_file.IsOpen())
        m_file.WriteSync(StateLine(p_event));
}

void CEventStore::Take(const SEvent& p_event)
{
    m_queAll.push_back(p_event);
    if (m_queAll.size() > g_nMaxHistory)
        m_queAll.pop_front();
    if (p_event.eKey == g_eKeyRestart)
        return;
    const TKey key(p_event.eKey, p_event.eElemType, p_event.nElemId);
    Close(key, p_event.nTicks);
    if (p_event.eTrans == g_eAPP)
        m_mapStanding[key] = {p_event, ++m_nOrder};
}

/// The order of arrival decides: an end that is stamped ahead of its beginning leaves a span without extent.
void CEventStore::Close(const TKey& p_key, std::int64_t p_nTicks)
{
    const auto it = m_mapStanding.find(p_key);
    if (it == m_mapStanding.end())
        return;
    it->second.nEnd = std::max(p_nTicks, it->second.app.nTicks);
    m_queEnded.push_back(std::move(it->second));
    m_mapStanding.erase(it);
    if (m_queEnded.size() > g_nMaxHistory)
        m_queEnded.pop_front();
}

std::vector<SEvent> CEventStore::StandingAt(std::int64_t p_nTicks) const
{
    std::vector<const SSpan*> vecpSpan;
    for (const auto& [key, span] : m_mapStanding)
    {
        if (span.app.nTicks <= p_nTicks)
            vecpSpan.push_back(&span);
    }
    for (const SSpan& span : m_queEnded)
    {
        if (span.app.nTicks <= p_nTicks && p_nTicks < span.nEnd)
            vecpSpan.push_back(&span);
    }
    std::sort(vecpSpan.begin(), vecpSpan.end(),
              [](const SSpan* p_p1, const SSpan* p_p2) { return p_p1->nOrder < p_p2->nOrder; });
    std::vector<SEvent> vecEvent;
    for (const SSpan* pSpan : vecpSpan)
        vecEvent.push_back(pSpan->app);
    return vecEvent;
}

std::vector<SEvent> CEventStore::Since(std::int64_t p_nTicks, bool p_bByArrival) const
{
    std::vector<SEvent> vecEvent;
    for (const SEvent& event : m_queAll)
    {
        if ((p_bByArrival ? event.nArrival : event.nTicks) >= p_nTicks)
            vecEvent.push_back(event);
    }
    return vecEvent;
}
