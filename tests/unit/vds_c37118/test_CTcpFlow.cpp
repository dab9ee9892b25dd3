#include "Vectors.h"
#include "vds/c37118/input/CTcpFlow.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

/// Segments in any order within the bounds, some twice and overlapping, numbers that go round: the bytes come out once.
TEST(CTcpFlow, PutsSegmentsInOrder)
{
    std::mt19937 random(3);
    TBytes bytes(5000);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    for (int nRun = 0; nRun < 20; ++nRun)
    {
        CTcpFlow flow;
        TBytes out;
        const auto fnBytes = [&](std::span<const std::uint8_t> p_bytes)
        { out.insert(out.end(), p_bytes.begin(), p_bytes.end()); };
        const std::uint32_t nFirst = 0xFFFFFF00;
        flow.Put(nFirst - 1, true, {}, fnBytes);
        std::vector<std::size_t> veciSegment(50);
        std::iota(veciSegment.begin(), veciSegment.end(), 0U);
        for (std::size_t i = 0; i < 50; i += 10)
            std::shuffle(veciSegment.begin() + static_cast<std::ptrdiff_t>(i),
                         veciSegment.begin() + static_cast<std::ptrdiff_t>(i) + 10, random);
        for (const std::size_t i : veciSegment)
        {
            const std::size_t nBack = std::min<std::size_t>(i * 100, random() % 3 * 50);
            const std::size_t nBegin = i * 100 - nBack;
            EXPECT_TRUE(flow.Put(nFirst + static_cast<std::uint32_t>(nBegin), false,
                                 std::span(bytes).subspan(nBegin, 100 + nBack), fnBytes));
        }
        EXPECT_TRUE(out == bytes);
    }
}

TEST(CTcpFlow, MissingPartIsPassedOver)
{
    CTcpFlow flow;
    std::size_t nOut = 0;
    bool bWhole = true;
    const TBytes bytes(10);
    for (std::uint32_t i = 0; i < 40; ++i)
    {
        if (i != 3)
            bWhole = flow.Put(i * 10, false, bytes,
                              [&](std::span<const std::uint8_t> p_bytes) { nOut += p_bytes.size(); }) &&
                     bWhole;
    }
    EXPECT_FALSE(bWhole);
    EXPECT_EQ(nOut, 390U);
}
