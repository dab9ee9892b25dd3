#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// Limits the messages that a peer can trigger to one (or a few) per key and interval. Suppressed messages are counted,
/// and the next message of the key reports their number.
/// the key says how many.
///
///     if (const auto strTail = m_limit.Tail("bad token", tNow))
///         m_fnLine("bad token from " + strPeer + *strTail);
///
/// Memory   bounded: keys beyond the maximum share one entry; keys silent for an interval are forgotten, unless they
///          have suppressed messages that have not been reported yet.
/// Time     passed in, from a steady clock. If the clock is set back by more than an interval, a message passes.
/// Threads  one.
class CLineLimit
{
  public:
    using TTime = std::chrono::steady_clock::time_point;
    using TDuration = std::chrono::steady_clock::duration;

    /// @param p_nKeysMost number of keys that are distinguished. @param p_nLines messages allowed per key and interval.
    explicit CLineLimit(TDuration p_tInterval, std::size_t p_nKeysMost = 64, unsigned p_nLines = 1)
        : m_tInterval(p_tInterval), m_nKeysMost(p_nKeysMost), m_nLines(p_nLines)
    {
    }

    /// @return nullopt if the message is to be suppressed (it has been counted). Otherwise the text to append to it:
    /// empty or " (12 more left out)".
    std::optional<std::string> Tail(std::string_view p_key, TTime p_tNow);

  private:
    struct SEntry
    {
        TTime tBegin; ///< start of the interval
        unsigned nLines = 0;
        std::uint64_t nLeftOut = 0;
    };
    using TEntries = std::map<std::string, SEntry, std::less<>>;
    bool IsOver(const SEntry& p_entry, TTime p_tNow) const;
    SEntry& Find(std::string_view p_key, TTime p_tNow);

    const TDuration m_tInterval;
    const std::size_t m_nKeysMost;
    const unsigned m_nLines;
    TEntries m_mapEntry; ///< the empty key counts for all keys that no longer fit
};
