#pragma once
#include <string>
#include <string_view>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// The faults of one file, one line each: "file:line: element, attribute: complaint". Keeps the first ones and counts
/// the others; text from the file is shortened and its control characters are removed.
class CFaults
{
  public:
    explicit CFaults(const std::string& p_strFile) : m_strFile(p_strFile) {}

    /// @param p_nLine 0: the file as a whole. p_strElement, p_strAttribute may be empty.
    void Add(long p_nLine, std::string_view p_strElement, std::string_view p_strAttribute, std::string_view p_strText);
    bool Any() const { return m_nCount > 0; }
    /// Whether further faults are only counted.
    bool IsFull() const { return m_nCount >= s_nShown; }
    /// All lines, each with a line end; a final line gives the number of omitted faults.
    std::string Text() const;

    /// A value as shown in a complaint: in quotes.
    static std::string Quoted(std::string_view p_strValue);

  private:
    static constexpr unsigned s_nShown = 50;

    std::string m_strFile;
    std::string m_strText;
    unsigned m_nCount = 0;
};
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
