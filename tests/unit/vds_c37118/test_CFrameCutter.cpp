#include "Vectors.h"
#include "vds/c37118/codec/CFrameCutter.h"
#include <gtest/gtest.h>
#include <random>

namespace
{
TBytes operator+(TBytes p_first, const TBytes& p_second)
{
    p_first.insert(p_first.end(), p_second.begin(), p_second.end());
    return p_first;
}

struct SCut
{
    std::vector<TBytes> vecFrame;
    SStreamCounters counters;
};

/// The frames found when the bytes arrive in pieces of p_nPiece.
SCut Cut(const TBytes& p_bytes, std::size_t p_nPiece)
{
    SCut cut;
    CFrameCutter cutter(cut.counters);
    for (std::size_t i = 0; i < p_bytes.size(); i += p_nPiece)
    {
        cutter.Feed(std::span(p_bytes).subspan(i, std::min(p_nPiece, p_bytes.size() - i)));
        std::span<const std::uint8_t> frame;
        while (cutter.Next(frame))
            cut.vecFrame.emplace_back(frame.begin(), frame.end());
    }
    EXPECT_EQ(cut.counters.nBytes, p_bytes.size());
    return cut;
}
} // namespace

TEST(CFrameCutter, CutsAtEveryByteAndTenFramesAtOnce)
{
    TBytes stream = g_cfg2;
    for (int i = 0; i < 10; ++i)
        stream = stream + g_data;
    for (std::size_t nPiece = 1; nPiece <= stream.size(); ++nPiece)
    {
        const SCut cut = Cut(stream, nPiece);
        ASSERT_EQ(cut.vecFrame.size(), 11U) << nPiece;
        EXPECT_EQ(cut.vecFrame.back(), g_data);
        EXPECT_EQ(cut.counters.vecnFrames[eFrameData], 10U);
        EXPECT_EQ(cut.counters.nResyncs, 0U);
    }
}

TEST(CFrameCutter, OneFlippedBitLosesOneFrame)
{
    for (const std::size_t nPiece : {std::size_t{1}, std::size_t{52}, std::size_t{1000}})
    {
        for (std::size_t nBit = 0; nBit < g_data.size() * 8; ++nBit)
        {
            TBytes bad = g_data;
            bad[nBit / 8] = static_cast<std::uint8_t>(bad[nBit / 8] ^ (1U << (nBit % 8)));
            const SCut cut = Cut(g_data + bad + g_data + g_header, nPiece);
            ASSERT_EQ(cut.vecFrame.size(), 3U) << nBit;
            EXPECT_EQ(cut.vecFrame[1], g_data);
            EXPECT_EQ(cut.counters.nResyncs, 1U);
            EXPECT_EQ(cut.counters.nSkipped, g_data.size());
            EXPECT_TRUE(nBit < 32 || cut.counters.nCrcErrors == 1) << nBit;
        }
    }
}

TEST(CFrameCutter, GarbageWithSyncBytesIsSkipped)
{
    const TBytes garbage[] = {{0xAA}, {0xAA, 0xAA}, {0xAA, 0x01, 0x00, 0x05}, {0xAA, 0x01, 0xFF, 0xFF, 0x00, 0x3C}};
    for (const TBytes& rubbish : garbage)
    {
        for (const std::size_t nPiece : {std::size_t{1}, std::size_t{7}, std::size_t{500}})
        {
            const SCut cut = Cut(rubbish + g_data + rubbish + g_header + g_data, nPiece);
            ASSERT_EQ(cut.vecFrame.size(), 3U);
            EXPECT_EQ(cut.counters.nResyncs, 2U);
            EXPECT_EQ(cut.counters.nSkipped, 2 * rubbish.size());
        }
    }
}

/// Every fourth byte looks like the start of a frame of 65535 bytes: the work stays limited, and the stream is found
/// again.
TEST(CFrameCutter, BytesMadeToCostWorkAreThrownAway)
{
    TBytes stream;
    while (stream.size() < 2000000)
        stream = std::move(stream) + TBytes{0xAA, 0x01, 0xFF, 0xFF};
    SCut cut = Cut(std::move(stream) + g_data, 65536);
    EXPECT_EQ(cut.vecFrame.size(), 1U);
    EXPECT_EQ(cut.counters.nResyncs, 1U);
}

TEST(CFrameCutter, RestOfADatagramIsDropped)
{
    SStreamCounters counters;
    CFrameCutter cutter(counters);
    std::span<const std::uint8_t> frame;
    cutter.Feed(std::span(g_data).first(20));
    EXPECT_FALSE(cutter.Next(frame));
    cutter.EndDatagram();
    cutter.Feed(g_data);
    EXPECT_TRUE(cutter.Next(frame));
    EXPECT_EQ(counters.nResyncs, 1U);
    EXPECT_EQ(counters.nSkipped, 20U);
}
