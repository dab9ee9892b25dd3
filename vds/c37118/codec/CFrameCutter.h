#pragma once
#include "vds/c37118/codec/StreamCounters.h"
#include <span>

/// Cuts a stream of bytes, in pieces of any size, into frames with good check words.
///
/// Resynchronisation  where no frame begins, bytes are skipped up to the next place that holds a whole frame: 0xAA, a
///                    known type, a size of at least 16 and the check word. A frame whose size is not the usual one
///                    of its type is not waited for when a good frame stands behind its beginning: a lying size
///                    would hold up the stream for as long as 65535 bytes take.
/// Bounds             holds at most one frame and what was fed last. Work on check words is bounded by the bytes
///                    received: bytes that look like the beginnings of many long frames are thrown away.
/// Threads            one.
class CFrameCutter
{
  public:
    /// @param p_counters bytes, frames by type, check word errors and resynchronisations are counted there.
    explicit CFrameCutter(SStreamCounters& p_counters) : m_counters(p_counters) {}

    void Feed(std::span<const std::uint8_t> p_bytes);
    /// Next good frame, valid until the next call of Feed. @return false: more bytes are needed.
    bool Next(std::span<const std::uint8_t>& r_frame);
    /// What is left of a datagram is no frame.
    void EndDatagram();
    /// A new connection.
    void Reset();

  private:
    enum EPlace
    {
        eNoFrame,  ///< no frame begins here
        eBadCheck, ///< one seems to begin, its check word is wrong
        eShort,    ///< one may begin, its end is not there yet
        eFrame
    };
    EPlace Look(std::size_t p_nPos, std::size_t& r_nSize);
    bool IsUsualSize(std::size_t p_nPos, std::size_t p_nSize) const;
    bool FindBehind(std::size_t p_nPos, std::size_t& r_nPos, std::size_t& r_nSize);
    void Skip(std::size_t p_nPos);
    void Take(std::size_t p_nSize, std::span<const std::uint8_t>& r_frame);

    SStreamCounters& m_counters;
    std::vector<std::uint8_t> m_vecBuffer;
    std::size_t m_nBegin = 0;  ///< of what has not been taken
    std::size_t m_nSought = 0; ///< FindBehind has been through up to here, less the beginnings that were short
    std::array<std::size_t, g_nFrameTypes> m_vecnUsual{}; ///< size of the last good frame by type
    bool m_bInStep = true;                                ///< a frame is expected right at m_nBegin
    std::int64_t m_nWork = 0;                             ///< bytes that may still go through the check
};
