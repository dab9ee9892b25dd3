#include "vds/core/CEventStore.h"
#include "link/dli/EDli.h"
#include "vds/base/IsoTime.h"
#include <algorithm>
#include <boost/json.hpp>
#include <random>
#include <stdexcept>

namespace json = boost::json;

using namespace Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr std::size_t g_nMaxStoryText = 500;
constexpr std::size_t g_nMaxHistory = 100000;
constexpr std::size_t g_nMaxStanding = 10000;
constexpr std::size_t g_nMaxHistoryBytes = 32U << 20U;
constexpr std::size_t g_nMaxEndedBytes = 16U << 20U;
constexpr std::size_t g_nMaxStandingBytes = 16U << 20U;

/// Memory used by an event in a list.
std::size_t BytesOf(const SEvent& p_event)
{
    return sizeof(SEvent) + p_event.strText.size() + p_event.strFrom.size();
}

constexpr unsigned g_nLifeBits = 32; ///< arrival numbers available to one run of the server

/// 63 bits, which every JSON reader can represent, and never 0.
std::uint64_t RandomEpoch()
{
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 31U | device() >> 1U) | 1U;
}

/// A number that is missing in lines of earlier versions.
std::uint64_t OptionalNumber(const json::object& p_object, const char* p_pName)
{
    const json::value* const pValue = p_object.if_contains(p_pName);
    return pValue ? pValue->to_number<std::uint64_t>() : 0;
}

/// @throws an exception that describes what is wrong with the line.
SEvent ParseStateLine(const json::object& object)
{
    SEvent event;
    event.nTicks = object.at("time").to_number<std::int64_t>();
    event.nArrival = object.at("arrival").to_number<std::int64_t>();
    event.eKey = object.at("key").to_number<std::int32_t>();
    event.eTrans = object.at("transition").as_string() == "APP" ? eAPP : 0;
    event.eElemType = object.at("elementType").to_number<std::int32_t>();
    event.nElemId = object.at("elementId").to_number<std::uint64_t>();
    event.strText = std::string(object.at("text").as_string());
    event.strFrom = std::string(object.at("from").as_string());
    event.nSeq = OptionalNumber(object, "seq");
    event.nOwner = OptionalNumber(object, "owner");
    return event;
}
} // namespace

std::string EventLine(const SEvent& p_event)
{
    return "{\"time\":" + std::to_string(p_event.nTicks) + ",\"iso\":" + JsonText(IsoFromTicks(p_event.nTicks)) +
           ",\"key\":" + std::to_string(p_event.eKey) +
           ",\"transition\":" + (p_event.eTrans == eAPP ? "\"APP\"" : "\"DIS\"") +
           ",\"elementType\":" + std::to_string(p_event.eElemType) +
           ",\"elementId\":" + std::to_string(p_event.nElemId) + ",\"text\":" + JsonText(p_event.strText) +
           ",\"from\":" + JsonText(p_event.strFrom) + '}';
}

CEventStore::CEventStore(std::size_t p_nCompactSize) : m_nCompactSize(p_nCompactSize), m_nEpoch(RandomEpoch()) {}

std::string CEventStore::StateLine(const SEvent& p_event) const
{
    const std::string strOwner = p_event.nOwner != 0 ? ",\"owner\":" + std::to_string(p_event.nOwner) : "";
    return "{\"arrival\":" + std::to_string(p_event.nArrival) + ",\"epoch\":" + std::to_string(m_nEpoch) +
           ",\"seq\":" + std::to_string(p_event.nSeq) + strOwner + ',' + EventLine(p_event).substr(1);
}

void CEventStore::TakeLine(const std::string& p_strLine)
{
    const json::object object = json::parse(p_strLine).as_object();
    SEvent event = ParseStateLine(object);
    if (const std::uint64_t nEpoch = OptionalNumber(object, "epoch"); nEpoch != 0)
        m_nEpoch = nEpoch;
    event.nSeq = std::max(event.nSeq, m_nSeq + 1);
    Take(event);
}

std::string EventStory(const SEvent& p_event)
{
    static const std::map<std::int32_t, const char*> s_mapName = {
        {eIkRestart, "Restart request"},
        {eIkPsUndampedCritical, "Undamped Critical Power Swing"},
        {eIkPsCritical, "Critical Power Swing"},
        {eIkPsDistinct, "Distinct Power Swing"},
        {eIkPsNotified, "Notified Power Swing"}};
    const auto it = s_mapName.find(p_event.eKey);
    const std::string strName = it == s_mapName.end() ? "event" : '"' + std::string(it->second) + '"';
    return (p_event.eTrans == eAPP ? "APP " : "DIS ") + strName + ", key " + std::to_string(p_event.eKey) +
           ", element " + std::to_string(p_event.nElemId) + " of type " + std::to_string(p_event.eElemType) + ", " +
           IsoFromTicks(p_event.nTicks) + ", from '" + LineText(p_event.strFrom, g_nMaxStoryText) +
           "': " + (p_event.strText.empty() ? "no text" : LineText(p_event.strText, g_nMaxStoryText));
}

void CEventStore::Open(const std::string& p_strPath)
{
    m_file.Open(p_strPath,
                [&](const std::string& p_strLine, unsigned p_nLine)
                {
                    try
                    {
                        TakeLine(p_strLine);
                    }
                    catch (const std::exception& ex)
                    {
                        throw std::runtime_error("file '" + p_strPath + "', line " + std::to_string(p_nLine) +
                                                 ": expected an event of the server: " + ex.what());
                    }
                });
    m_nSeq = m_nSeqOpened = ((m_nSeq >> g_nLifeBits) + 1) << g_nLifeBits;
    CompactIfLarge();
}

std::uint64_t CEventStore::Add(const SEvent& p_event)
{
    const TKey key(p_event.eKey, p_event.eElemType, p_event.nElemId);
    if (p_event.eTrans == eAPP && m_mapStanding.size() >= g_nMaxStanding && m_mapStanding.count(key) == 0)
        throw std::runtime_error("event refused: " + std::to_string(g_nMaxStanding) + " are active already");
    if (p_event.eTrans == eAPP && m_nStandingBytes + BytesOf(p_event) > g_nMaxStandingBytes)
        throw std::runtime_error("event refused: the active ones already take " +
                                 std::to_string(g_nMaxStandingBytes >> 20U) + " MB already");
    SEvent event = p_event;
    event.nSeq = m_nSeq + 1;
    if (event.eKey != eIkRestart && m_file.IsOpen())
        m_file.Append(StateLine(event));
    Take(event);
    CompactIfLarge();
    return event.nSeq;
}

void CEventStore::CompactIfLarge()
{
    if (!m_file.IsOpen() || m_file.Size() < m_nCompactSize)
        return;
    try
    {
        m_file.Replace(KeptLines());
    }
    catch (const std::exception&)
    {
        // On failure the old file remains and keeps growing: no event is lost.
    }
    m_nCompactSize = std::max(m_nCompactSize, 2 * m_file.Size());
}

void CEventStore::Reopen()
{
    if (m_file.IsOpen() && !m_file.IsInPlace())
        m_file.Replace(KeptLines());
}

/// Keeps in the file what is kept in memory.
std::string CEventStore::KeptLines() const
{
    const std::uint64_t nFirst = m_queAll.empty() ? m_nSeq + 1 : m_queAll.front().nSeq;
    std::map<std::uint64_t, const SEvent*> mapOld; ///< active, and older than the history
    for (const auto& [key, span] : m_mapStanding)
    {
        if (span.app.nSeq < nFirst)
            mapOld[span.app.nSeq] = &span.app;
    }
    std::string strText;
    for (const auto& [nSeq, pEvent] : mapOld)
        strText += StateLine(*pEvent) + '\n';
    for (const SEvent& event : m_queAll)
    {
        if (event.eKey != eIkRestart)
            strText += StateLine(event) + '\n';
    }
    return strText;
}

void CEventStore::Take(const SEvent& p_event)
{
    m_nSeq = p_event.nSeq;
    m_queAll.push_back(p_event);
    m_nHistoryBytes += BytesOf(p_event);
    while (m_queAll.size() > g_nMaxHistory || m_nHistoryBytes > g_nMaxHistoryBytes)
    {
        m_nHistoryBytes -= BytesOf(m_queAll.front());
        m_queAll.pop_front();
    }
    if (p_event.eKey == eIkRestart)
        return;
    const TKey key(p_event.eKey, p_event.eElemType, p_event.nElemId);
    Close(key, p_event.nTicks);
    if (p_event.eTrans != eAPP)
        return;
    m_mapStanding[key] = {p_event};
    m_nStandingBytes += BytesOf(p_event);
}

/// The order of arrival decides: an end stamped before its start leaves an empty span.
void CEventStore::Close(const TKey& p_key, std::int64_t p_nTicks)
{
    const auto it = m_mapStanding.find(p_key);
    if (it == m_mapStanding.end())
        return;
    it->second.nEnd = std::max(p_nTicks, it->second.app.nTicks);
    m_nStandingBytes -= BytesOf(it->second.app);
    m_nEndedBytes += BytesOf(it->second.app);
    m_queEnded.push_back(std::move(it->second));
    m_mapStanding.erase(it);
    while (m_queEnded.size() > g_nMaxHistory || m_nEndedBytes > g_nMaxEndedBytes)
    {
        m_nEndedBytes -= BytesOf(m_queEnded.front().app);
        m_queEnded.pop_front();
    }
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
              [](const SSpan* p_p1, const SSpan* p_p2) { return p_p1->app.nSeq < p_p2->app.nSeq; });
    std::vector<SEvent> vecEvent;
    for (const SSpan* pSpan : vecpSpan)
        vecEvent.push_back(pSpan->app);
    return vecEvent;
}

std::vector<SEvent> CEventStore::Since(std::int64_t p_nTicks) const
{
    std::vector<SEvent> vecEvent;
    for (const SEvent& event : m_queAll)
    {
        if (event.nTicks >= p_nTicks)
            vecEvent.push_back(event);
    }
    return vecEvent;
}

std::vector<SEvent> CEventStore::After(std::uint64_t p_nSeq) const
{
    const auto itFirst = std::partition_point(m_queAll.begin(), m_queAll.end(),
                                              [p_nSeq](const SEvent& p_event) { return p_event.nSeq <= p_nSeq; });
    return {itFirst, m_queAll.end()};
}
