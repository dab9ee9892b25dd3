#include "CFaults.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
constexpr std::size_t g_nLongest = 100;

std::string Shown(std::string_view p_strText, std::size_t p_nLongest)
{
    std::string strShown(p_strText.substr(0, p_nLongest));
    for (char& chr : strShown)
    {
        if (static_cast<unsigned char>(chr) < 0x20 || chr == 0x7f)
            chr = ' ';
    }
    return p_strText.size() > p_nLongest ? strShown + "..." : strShown;
}
} // namespace

void CFaults::Add(long p_nLine, std::string_view p_strElement, std::string_view p_strAttribute,
                  std::string_view p_strText)
{
    if (++m_nCount > s_nShown)
        return;
    m_strText += m_strFile;
    if (p_nLine > 0)
        m_strText += ":" + std::to_string(p_nLine);
    m_strText += ": ";
    if (!p_strElement.empty())
        m_strText += "element " + Shown(p_strElement, g_nLongest);
    if (!p_strAttribute.empty())
        m_strText += ", attribute " + Shown(p_strAttribute, g_nLongest);
    if (!p_strElement.empty())
        m_strText += ": ";
    m_strText += Shown(p_strText, 6 * g_nLongest) + "\n";
}

std::string CFaults::Text() const
{
    if (m_nCount <= s_nShown)
        return m_strText;
    return m_strText + m_strFile + ": and " + std::to_string(m_nCount - s_nShown) + " more\n";
}

std::string CFaults::Quoted(std::string_view p_strValue)
{
    return '"' + Shown(p_strValue, g_nLongest) + '"';
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
