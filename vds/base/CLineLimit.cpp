#include "vds/base/CLineLimit.h"
#include <utility>

bool CLineLimit::IsOver(const SEntry& p_entry, TTime p_tNow) const
{
    return p_tNow - p_entry.tBegin >= m_tInterval || p_entry.tBegin - p_tNow > m_tInterval;
}

CLineLimit::SEntry& CLineLimit::Find(std::string_view p_key, TTime p_tNow)
{
    if (const auto it = m_mapEntry.find(p_key); it != m_mapEntry.end())
        return it->second;
    if (m_mapEntry.size() >= m_nKeysMost)
        std::erase_if(m_mapEntry, [&](const TEntries::value_type& p_item)
                      { return p_item.second.nLeftOut == 0 && IsOver(p_item.second, p_tNow); });
    const std::string strKey(m_mapEntry.size() < m_nKeysMost ? p_key : std::string_view());
    return m_mapEntry.try_emplace(strKey, SEntry{p_tNow}).first->second;
}

std::optional<std::string> CLineLimit::Tail(std::string_view p_key, TTime p_tNow)
{
    SEntry& entry = Find(p_key, p_tNow);
    if (IsOver(entry, p_tNow))
    {
        entry.tBegin = p_tNow;
        entry.nLines = 0;
    }
    if (entry.nLines >= m_nLines)
    {
        ++entry.nLeftOut;
        return std::nullopt;
    }
    ++entry.nLines;
    const std::uint64_t nLeftOut = std::exchange(entry.nLeftOut, 0);
    return nLeftOut == 0 ? std::string() : " (" + std::to_string(nLeftOut) + " more left out)";
}
