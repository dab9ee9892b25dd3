#include "view/state/CEventBook.h"
#include "link/dli/EDli.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <charconv>

namespace Kestrel = Norvik::Energy::Kestrel;
namespace Runtime = Kestrel::VDS::Runtime;
using Runtime::SFeedEvent;

namespace
{
constexpr std::size_t g_nMaxEnded = 2000;
constexpr std::size_t g_nMaxRecords = 20000;
constexpr std::size_t g_nMaxText = 500;
constexpr std::size_t g_nMaxLast = 10000;

const char* SystemText(int p_eKey)
{
    switch (p_eKey)
    {
    case Runtime::eIkRestart:
        return "Restart asked for";
    case Runtime::eIkServiceStopNTM:
        return "Topology application stopped";
    case Runtime::eIkZoneValid:
        return "Grid zones valid";
    case Runtime::eIkZoneSuspect:
        return "Grid zones suspect";
    case Runtime::eIkSubzone:
        return "Grid split: subzone";
    case Runtime::eIkZoneSecond:
        return "Grid split: second zone";
    case Runtime::eIkServiceStopOMA:
        return "Analysis suspended";
    case Runtime::eIkNoPhasorData:
        return "No phasor data";
    default:
        return "Event";
    }
}

bool IsBetter(double p_fNew, double p_fOld)
{
    return !std::isnan(p_fNew) && (std::isnan(p_fOld) || p_fNew > p_fOld);
}

SViewStep StepOf(const SFeedEvent& p_event)
{
    SViewStep step;
    step.nTicks = p_event.nTicks;
    step.nTime_ms = MsFromTicks(p_event.nTicks);
    step.bApp = p_event.eTrans == Runtime::eAPP;
    step.eKey = p_event.eKey;
    step.nLevel = p_event.eElemType == Kestrel::eElemOMA ? LevelOfKey(p_event.eKey) : 0;
    step.strText = CleanText(p_event.strText);
    if (step.nLevel != 0)
        ReadSwingText(p_event.strText, step);
    return step;
}
} // namespace

void ReadSwingText(const std::string& p_strText, SViewStep& r_step)
{
    std::size_t nBegin = p_strText.find('~');
    for (double* pfValue : {&r_step.fFreq_Hz, &r_step.fMagn, &r_step.fDamp, &r_step.fDOE})
    {
        if (nBegin == std::string::npos)
            return;
        const std::size_t nEnd = p_strText.find('|', ++nBegin);
        std::string_view strNumber = std::string_view(p_strText).substr(nBegin, nEnd - nBegin);
        // The sign of a filled number stands after the fill: 00-0.084.
        if (const std::size_t nSign = strNumber.find_first_of("+-"); nSign != std::string_view::npos)
            strNumber.remove_prefix(strNumber[nSign] == '+' ? nSign + 1 : nSign);
        double fValue = 0.0;
        if (std::from_chars(strNumber.data(), strNumber.data() + strNumber.size(), fValue).ec == std::errc())
            *pfValue = fValue;
        nBegin = nEnd;
    }
}

std::string CleanText(const std::string& p_strText)
{
    std::string strClean;
    for (std::size_t i = 0; i < p_strText.size() && strClean.size() < g_nMaxText;)
    {
        const auto nByte = static_cast<unsigned char>(p_strText[i]);
        const std::size_t nLength = nByte < 0x80 ? 1 : nByte >= 0xF0 ? 4 : nByte >= 0xE0 ? 3 : 2;
        bool bWhole = nByte < 0x80 ? nByte >= 0x20 && nByte != 0x7F : nByte >= 0xC2 && nByte < 0xF5;
        bWhole = bWhole && i + nLength <= p_strText.size();
        for (std::size_t j = 1; bWhole && j < nLength; ++j)
            bWhole = (static_cast<unsigned char>(p_strText[i + j]) & 0xC0U) == 0x80U;
        if (bWhole && nLength == 3)
        {
            const auto nNext = static_cast<unsigned char>(p_strText[i + 1]);
            bWhole = !(nByte == 0xE0 && nNext < 0xA0) && !(nByte == 0xED && nNext >= 0xA0);
        }
        if (bWhole && nLength == 4)
        {
            const auto nNext = static_cast<unsigned char>(p_strText[i + 1]);
            bWhole = !(nByte == 0xF0 && nNext < 0x90) && !(nByte == 0xF4 && nNext >= 0x90);
        }
        strClean += bWhole ? p_strText.substr(i, nLength) : "?";
        i += bWhole ? nLength : 1;
    }
    return strClean;
}

void CEventBook::Restore(std::vector<SViewEvent> p_vecEvent, std::int64_t p_nLastId)
{
    m_nLastId = p_nLastId;
    for (SViewEvent& event : p_vecEvent)
    {
        m_mapNewest[{event.eElemType, event.nElemId, event.eKind == EEventKind::eSwing ? 0 : event.eKey}] = event.nId;
        m_queRecord.push_back(std::move(event));
    }
}

void CEventBook::RestoreLast(std::int64_t p_nTicks, std::set<TIdentity> p_setLast)
{
    m_nLastTicks = p_nTicks;
    m_setLast = std::move(p_setLast);
}

CEventBook::TKey CEventBook::KeyOf(const SFeedEvent& p_event) const
{
    const bool bSwing = p_event.eElemType == Kestrel::eElemOMA && LevelOfKey(p_event.eKey) != 0;
    return {p_event.eElemType, p_event.nElemId, bSwing ? 0 : p_event.eKey};
}

/// The history is asked for from the last known time on: events of that time are known.
bool CEventBook::IsRepeated(const SFeedEvent& p_event)
{
    if (p_event.nTicks != m_nLastTicks)
    {
        m_setLast.clear();
        m_nLastTicks = p_event.nTicks;
    }
    if (m_setLast.size() >= g_nMaxLast)
        return false;
    return !m_setLast.insert({p_event.eElemType, p_event.nElemId, p_event.eKey, p_event.eTrans == Runtime::eAPP})
                .second;
}

SViewEvent* CEventBook::Find(std::int64_t p_nId)
{
    const auto it =
        std::lower_bound(m_queRecord.begin(), m_queRecord.end(), p_nId,
                         [](const SViewEvent& p_event, std::int64_t p_nOther) { return p_event.nId < p_nOther; });
    return it != m_queRecord.end() && it->nId == p_nId ? &*it : nullptr;
}

const SViewEvent* CEventBook::StandingOf(std::uint64_t p_nMode) const
{
    const auto it = m_mapNewest.find({Kestrel::eElemOMA, p_nMode, 0});
    if (it == m_mapNewest.end())
        return nullptr;
    const SViewEvent* pRecord = const_cast<CEventBook*>(this)->Find(it->second);
    return pRecord && pRecord->Stands() ? pRecord : nullptr;
}

SViewEvent& CEventBook::NewRecord(const TKey& p_key, const SFeedEvent& p_event)
{
    SViewEvent& record = m_queRecord.emplace_back();
    record.nId = ++m_nLastId;
    m_mapNewest[p_key] = record.nId;
    record.eElemType = p_event.eElemType;
    record.nElemId = p_event.nElemId;
    record.nBegin_ms = record.nWorst_ms = MsFromTicks(p_event.nTicks);
    record.eKind = std::get<2>(p_key) == 0                  ? EEventKind::eSwing
                   : p_event.eElemType == Kestrel::eElemNTM ? EEventKind::eGrid
                                                            : EEventKind::eSystem;
    const auto it = m_model.mapMode.find(p_event.nElemId);
    if (record.eKind == EEventKind::eSwing && it != m_model.mapMode.end())
    {
        const SViewJob& job = m_model.vecJob[it->second.iJob];
        record.bMode = true;
        record.nJob = job.nId;
        record.nMode = job.vecMode[it->second.iMode].nId;
    }
    return record;
}

void CEventBook::Raise(SViewEvent& r_record, const SViewStep& p_step)
{
    r_record.nEnd_ms = SViewEvent::g_nStands;
    r_record.bEndKnown = true;
    r_record.eKey = p_step.eKey;
    r_record.nLevel = p_step.nLevel;
    r_record.nWorst = std::max(r_record.nWorst, p_step.nLevel);
    if (r_record.eKind == EEventKind::eSwing)
        r_record.strText = LevelText(r_record.nWorst);
    else
        r_record.strText = SystemText(p_step.eKey) + (p_step.strText.empty() ? "" : ": " + p_step.strText);
    if (IsBetter(p_step.fDOE, r_record.fDOEMax))
    {
        r_record.fDOEMax = p_step.fDOE;
        r_record.fFreq_Hz = p_step.fFreq_Hz;
        r_record.nWorst_ms = p_step.nTime_ms;
    }
    if (IsBetter(p_step.fMagn, r_record.fMagnMax))
        r_record.fMagnMax = p_step.fMagn;
    if (IsBetter(p_step.fDamp, r_record.fDampMax))
        r_record.fDampMax = p_step.fDamp;
}

void CEventBook::Take(const SFeedEvent& p_event, std::uint64_t p_nRevision)
{
    if (p_event.nTicks <= g_nEpochTicks || IsRepeated(p_event))
        return;
    ++m_nTaken;
    const TKey key = KeyOf(p_event);
    const SViewStep step = StepOf(p_event);
    const auto it = m_mapNewest.find(key);
    SViewEvent* pRecord = it == m_mapNewest.end() ? nullptr : Find(it->second);
    // A change of level ends the old one and raises the new one with the same time stamp.
    if (pRecord && !pRecord->Stands() && (!step.bApp || pRecord->nEnd_ms != step.nTime_ms))
        pRecord = nullptr;
    if (!pRecord && !step.bApp)
        return; // the end of something that nobody has seen
    if (!pRecord)
        pRecord = &NewRecord(key, p_event);
    if (step.bApp)
        Raise(*pRecord, step);
    if (!step.bApp || p_event.eKey == Runtime::eIkRestart) // an order does not stand
        pRecord->nEnd_ms = std::max(step.nTime_ms, pRecord->nBegin_ms);
    Changed(*pRecord, p_nRevision);
    m_memory.OnStep(pRecord->nId, step);
    Trim();
}

void CEventBook::TakeStanding(const std::vector<SFeedEvent>& p_vecEvent, std::int64_t p_nNow_ms,
                              std::uint64_t p_nRevision)
{
    std::set<TKey> setKey;
    const std::int64_t nLastTicks = m_nLastTicks;
    for (const SFeedEvent& event : p_vecEvent)
    {
        const TKey key = KeyOf(event);
        setKey.insert(key);
        const auto it = m_mapNewest.find(key);
        const SViewEvent* pRecord = it == m_mapNewest.end() ? nullptr : Find(it->second);
        if (!pRecord || !pRecord->Stands())
            Take(event, p_nRevision);
    }
    m_nLastTicks = std::max(m_nLastTicks, nLastTicks);
    for (SViewEvent& record : m_queRecord)
    {
        if (!record.Stands() ||
            setKey.contains({record.eElemType, record.nElemId, record.eKind == EEventKind::eSwing ? 0 : record.eKey}))
            continue;
        record.nEnd_ms = std::max(p_nNow_ms, record.nBegin_ms);
        record.bEndKnown = false;
        Changed(record, p_nRevision);
    }
}

void CEventBook::TakePass(std::uint64_t p_nMode, std::int64_t p_nTime_ms, const double* p_pfValue,
                          std::uint64_t p_nRevision)
{
    const auto it = m_mapNewest.find({Kestrel::eElemOMA, p_nMode, 0});
    SViewEvent* pRecord = it == m_mapNewest.end() ? nullptr : Find(it->second);
    if (!pRecord || !pRecord->Stands())
        return;
    bool bChanged = false;
    if (IsBetter(p_pfValue[3], pRecord->fDOEMax))
    {
        pRecord->fDOEMax = p_pfValue[3];
        pRecord->fFreq_Hz = p_pfValue[0];
        pRecord->nWorst_ms = p_nTime_ms;
        bChanged = true;
    }
    if (IsBetter(p_pfValue[1], pRecord->fMagnMax))
    {
        pRecord->fMagnMax = p_pfValue[1];
        bChanged = true;
    }
    if (IsBetter(p_pfValue[2], pRecord->fDampMax))
    {
        pRecord->fDampMax = p_pfValue[2];
        bChanged = true;
    }
    if (bChanged)
        Changed(*pRecord, p_nRevision);
}

void CEventBook::Changed(SViewEvent& r_record, std::uint64_t p_nRevision)
{
    r_record.nRevision = p_nRevision;
    m_memory.OnEvent(r_record);
}

/// Ended records beyond the newest ones are the memory's alone.
void CEventBook::Trim()
{
    if (m_queRecord.size() <= g_nMaxEnded)
        return;
    // Usually the oldest one; a scan only where old ones stand. Far too many of those are dropped as well.
    const bool bMust = m_queRecord.size() > g_nMaxRecords;
    const auto it = bMust ? m_queRecord.begin()
                          : std::find_if(m_queRecord.begin(), m_queRecord.end(),
                                         [](const SViewEvent& p_event) { return !p_event.Stands(); });
    if (it == m_queRecord.end())
        return;
    const TKey key{it->eElemType, it->nElemId, it->eKind == EEventKind::eSwing ? 0 : it->eKey};
    if (const auto itNewest = m_mapNewest.find(key); itNewest != m_mapNewest.end() && itNewest->second == it->nId)
        m_mapNewest.erase(itNewest);
    m_queRecord.erase(it);
}
