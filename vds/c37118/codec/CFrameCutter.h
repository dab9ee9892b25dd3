#pragma once
#include "vds/c37118/codec/StreamCounters.h"
#include <span>

/// Splits a byte stream, received in pieces of any size, into frames with valid check words.
///
/// Resynchronisation  where no frame starts, bytes are skipped up to the next whole frame: 0xAA, a
///                    known type, a size of at least 16 and a valid check word. A frame with an unusual size for
///                    its type is not waited for if a good frame follows its start: a wrong size
///                    would block the stream until 65535 bytes have arrived.
/// Bounds             holds at most one frame and the latest input. Work on check words is limited by the bytes
///                    received: bytes that look like the starts of many long frames are discarded.
/// Threads            one.
class CFrameCutter
{
  public:
    /// @param p_counters receives the counts of bytes, frames by type, check word errors and resynchronisations.
    explicit CFrameCutter(SStreamCounters& p_counters) : m_counters(p_counters) {}

    void Feed(std::span<const std::uint8_t> p_bytes);
    /// Next good frame, valid until the next call of Feed. @return false: more bytes are needed.
    bool Next(std::span<const std::uint8_t>& r_frame);
    /// Discards the rest of a datagram, which is not a frame.
    void EndDatagram();
    /// Call for a new connection.
    void Reset();

  private:
    enum EPlace
    {
        eNoFrame,  ///< no frame starts here
        eBadCheck, ///< looks like a frame, but its check word is wrong
        eShort,    ///< may be a frame, but its end has not arrived yet
        eFrame
    };
    EPlace Look(std::size_t p_nPos, std::size_t& r_nSize);
    bool IsUsualSize(std::size_t p_nPos, std::size_t p_nSize) const;
    bool FindBehind(std::size_t p_nPos, std::size_t& r_nPos, std::size_t& r_nSize);
    void Skip(std::size_t p_nPos);
    void Take(std::size_t p_nSize, std::span<const std::uint8_t>& r_frame);

    SStreamCounters& m_counters;
    std::vector<std::uint8_t> m_vecBuffer;
    std::size_t m_nBegin = 0;  ///< start of the unread bytes
    std::size_t m_nSought = 0; ///< FindBehind has searched up to here, except for the incomplete starts
    std::array<std::size_t, g_nFrameTypes> m_vecnUsual{}; ///< size of the last good frame by type
    bool m_bInStep = true;                                ///< a frame is expected exactly at m_nBegin
    std::int64_t m_nWork = 0;                             ///< number of bytes that may still be checked
};
