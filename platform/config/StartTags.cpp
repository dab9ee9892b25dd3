#include "StartTags.h"
#include <cstdint>
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
constexpr unsigned g_nMaxAttributes = 200; ///< far above any element of the schema

/// The characters of a text in any encoding width; non-ASCII becomes a character without meaning here.
class CCharacters
{
  public:
    explicit CCharacters(std::string_view p_strText) : m_strText(p_strText)
    {
        // The text starts with a byte order mark or '<'; their zero bytes reveal width and byte order.
        const auto fnBegins = [&](std::string_view p_strBegin) { return m_strText.starts_with(p_strBegin); };
        using namespace std::string_view_literals;
        if (fnBegins("\xFF\xFE\0\0"sv) || fnBegins("<\0\0\0"sv))
            m_nWidth = 4;
        else if (fnBegins("\0\0\xFE\xFF"sv) || fnBegins("\0\0\0<"sv))
            m_nWidth = 4, m_nLow = 3;
        else if (fnBegins("\xFF\xFE"sv) || fnBegins("<\0"sv))
            m_nWidth = 2;
        else if (fnBegins("\xFE\xFF"sv) || fnBegins("\0<"sv))
            m_nWidth = 2, m_nLow = 1;
    }
    std::size_t Size() const { return m_strText.size() / m_nWidth; }
    char At(std::size_t p_n) const
    {
        constexpr char cOther = '\x7f';
        for (std::size_t nByte = 0; nByte < m_nWidth; ++nByte)
            if (nByte != m_nLow && m_strText[p_n * m_nWidth + nByte] != '\0')
                return cOther;
        return m_strText[p_n * m_nWidth + m_nLow];
    }
    bool IsAt(std::size_t p_n, std::string_view p_strWanted) const
    {
        std::size_t nSame = 0;
        while (nSame < p_strWanted.size() && p_n + nSame < Size() && At(p_n + nSame) == p_strWanted[nSame])
            ++nSame;
        return nSame == p_strWanted.size();
    }
    /// The position after the next p_strWanted.
    std::size_t Behind(std::size_t p_n, std::string_view p_strWanted) const
    {
        while (p_n < Size() && !IsAt(p_n, p_strWanted))
            ++p_n;
        return p_n + p_strWanted.size();
    }

  private:
    const std::string_view m_strText;
    std::size_t m_nWidth = 1; ///< bytes per character
    std::size_t m_nLow = 0;   ///< index of the significant byte
};

/// Scans the tag at p_n. @return the position after it; r_nAttributes is increased by its attributes.
std::size_t BehindTag(const CCharacters& p_chars, std::size_t p_n, unsigned& r_nAttributes)
{
    char cQuote = '\0';
    for (; p_n < p_chars.Size() && r_nAttributes <= g_nMaxAttributes; ++p_n)
    {
        const char c = p_chars.At(p_n);
        if (cQuote != '\0')
            cQuote = c == cQuote ? '\0' : cQuote;
        else if (c == '"' || c == '\'')
            cQuote = c;
        else if (c == '=')
            ++r_nAttributes;
        else if (c == '>')
            return p_n + 1;
    }
    return p_n;
}

void Complain(const CCharacters& p_chars, std::size_t p_nTag, CFaults& r_faults)
{
    long nLine = 1;
    for (std::size_t n = 0; n < p_nTag; ++n)
        nLine += p_chars.At(n) == '\n';
    std::string strElement;
    for (std::size_t n = p_nTag + 1; n < p_chars.Size() && static_cast<unsigned char>(p_chars.At(n)) > ' '; ++n)
        strElement += p_chars.At(n);
    r_faults.Add(nLine, strElement, {}, "has more than " + std::to_string(g_nMaxAttributes) + " attributes");
}
} // namespace

bool CheckStartTags(std::string_view p_strText, CFaults& r_faults)
{
    const CCharacters chars(p_strText);
    for (std::size_t n = 0; n < chars.Size();)
    {
        if (chars.At(n) != '<')
            ++n;
        else if (chars.IsAt(n, "<!--"))
            n = chars.Behind(n + 4, "-->");
        else if (chars.IsAt(n, "<![CDATA["))
            n = chars.Behind(n + 9, "]]>");
        else if (chars.IsAt(n, "<?"))
            n = chars.Behind(n + 2, "?>");
        else
        {
            const std::size_t nTag = n;
            unsigned nAttributes = 0;
            n = BehindTag(chars, nTag, nAttributes);
            if (nAttributes > g_nMaxAttributes)
            {
                Complain(chars, nTag, r_faults);
                return false;
            }
        }
    }
    return true;
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
