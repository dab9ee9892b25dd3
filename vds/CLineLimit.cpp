#include "vds/CLineLimit.h"

bool CLineLimit::IsOver(const SEntry& p_entry, TTime p_tNow) const
{
    return p_tNow - p_entry.tLast >= m_tInterval || p_entry.tLast - p_tNow > m_tInterval;
}

CLineLimit::TEntries::iterator CLineLimit::Find(std::string_view p_key, TTime p_tNow, bool& r_bNew)
{
    r_bNew = false;
    if (const auto it = m_mapEntry.find(p_key); it != m_mapEntry.end())
        return it;
    if (m_mapEntry.size() >= m_nKeysMost)
        std::erase_if(m_mapEntry,
                      [&](const TEntries::value_type& p_item)
                      { return p_item.second.nLeftOut == 0 && IsOver(p_item.second, p_tNow); });
    const std::string strKey(m_mapEntry.size() < m_nKeysMost ? p_key : std::string_view());
    const auto [it, bNew] = m_mapEntry.try_emplace(strKey);
    r_bNew = bNew;
    return it;
}

std::optional<std::string> CLineLimit::Tail(std::string_view p_key, TTime p_tNow)
{
    bool bNew = false;
    SEntry& entry = Find(p_key, p_tNow, bNew)->second;
    if (!bNew && !IsOver(entry, p_tNow))
    {
        ++entry.nLeftOut;
        return std::nullopt;
    }
    const std::string strTail = entry.nLeftOut == 0 ? "" : " (" + std::to_string(entry.nLeftOut) + " more left out)";
    entry = {p_tNow, 0};
    return strTail;
}
