#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// Limits lines that a peer can cause: one line, or a few, a key and interval. What is left out is counted, and the next line of
/// the key says how many.
///
///     if (const auto strTail = m_limit.Tail("bad token", tNow))
///         m_fnLine("bad token from " + strPeer + *strTail);
///
/// Memory   bounded: keys beyond the most share one entry; keys that were silent for an interval are forgotten, unless
///          lines of theirs were left out and have not been reported yet.
/// Time     handed in; a clock that runs evenly. A clock that was set back by more than an interval lets a line pass.
/// Threads  one.
class CLineLimit
{
  public:
    using TTime = std::chrono::steady_clock::time_point;
    using TDuration = std::chrono::steady_clock::duration;

    /// @param p_nKeysMost keys that are told apart. @param p_nLines of a key that may go in an interval.
    explicit CLineLimit(TDuration p_tInterval, std::size_t p_nKeysMost = 64, unsigned p_nLines = 1)
        : m_tInterval(p_tInterval), m_nKeysMost(p_nKeysMost), m_nLines(p_nLines)
    {
    }

    /// @return nothing: leave the line out, it has been counted. Otherwise what to put at the end of the line: nothing,
    /// or " (12 more left out)".
    std::optional<std::string> Tail(std::string_view p_key, TTime p_tNow);

  private:
    struct SEntry
    {
        TTime tBegin; ///< of the interval
        unsigned nLines = 0;
        std::uint64_t nLeftOut = 0;
    };
    using TEntries = std::map<std::string, SEntry, std::less<>>;
    bool IsOver(const SEntry& p_entry, TTime p_tNow) const;
    SEntry& Find(std::string_view p_key, TTime p_tNow);

    const TDuration m_tInterval;
    const std::size_t m_nKeysMost;
    const unsigned m_nLines;
    TEntries m_mapEntry; ///< the empty key stands for all that there was no room for
};
