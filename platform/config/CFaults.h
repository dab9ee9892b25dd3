#pragma once
#include <string>
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// What is wrong with one file: a line each, "file:line: element, attribute: complaint". Keeps the first ones and counts
/// the others; what comes from the file is shortened and cleared of control characters.
class CFaults
{
  public:
    explicit CFaults(const std::string& p_strFile) : m_strFile(p_strFile) {}

    /// @param p_nLine 0: the file as a whole. p_strElement, p_strAttribute may be empty.
    void Add(long p_nLine, std::string_view p_strElement, std::string_view p_strAttribute, std::string_view p_strText);
    bool Any() const { return m_nCount > 0; }
    /// Whether further ones are only counted.
    bool IsFull() const { return m_nCount >= s_nShown; }
    /// All lines, each with its line end; a last one tells how many were left out.
    std::string Text() const;

    /// A value as it stands in a complaint: in quotes.
    static std::string Quoted(std::string_view p_strValue);

  private:
    static constexpr unsigned s_nShown = 50;

    std::string m_strFile;
    std::string m_strText;
    unsigned m_nCount = 0;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
