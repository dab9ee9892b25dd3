#include "Vectors.h"
#include "fake/TempDir.h"
#include "vds/c37118/input/CSourceCapture.h"
#include <filesystem>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace
{
using TText = std::string;

TText Number(std::uint32_t p_nValue, int p_nBytes, bool p_bBig = true)
{
    TText strBytes;
    for (int i = 0; i < p_nBytes; ++i)
        strBytes += static_cast<char>(p_nValue >> 8 * (p_bBig ? p_nBytes - 1 - i : i));
    return strBytes;
}
TText Udp(const TText& p_payload)
{
    return Number(4000, 2) + Number(4713, 2) + Number(static_cast<std::uint32_t>(8 + p_payload.size()), 2) + "\0\0" +
           TText(2, 0) + p_payload;
}
TText V4(const TText& p_body, unsigned p_nFragment = 0)
{
    return "\x45" + TText(1, 0) + Number(static_cast<std::uint32_t>(20 + p_body.size()), 2) + TText(2, 0) +
           Number(p_nFragment, 2) + "\x40\x11" + TText(2, 0) + "\x0a\x01\x01\x01\x0a\x01\x01\x02" + p_body;
}
TText V6(const TText& p_body)
{
    const TText strAhead = "\x11" + TText(7, 0); // hop-by-hop header, then UDP
    return "\x60" + TText(3, 0) + Number(static_cast<std::uint32_t>(8 + p_body.size()), 2) + TText(1, 0) + "\x40" +
           TText(32, 1) + strAhead + p_body;
}

/// A capture file of these packets, 20 ms apart.
class CCapture
{
  public:
    CCapture(std::uint32_t p_nLink, const std::vector<TText>& p_vecPacket, bool p_bBig = false)
    {
        const auto fnField = [p_bBig](std::uint32_t p_nValue) { return Number(p_nValue, 4, p_bBig); };
        std::ofstream file(m_path, std::ios::binary);
        file << fnField(0xA1B2C3D4) << fnField(0x00040002) << TText(12, 0) << fnField(p_nLink);
        for (std::size_t i = 0; i < p_vecPacket.size(); ++i)
            file << fnField(1700000000) << fnField(static_cast<std::uint32_t>(20000 * i))
                 << fnField(static_cast<std::uint32_t>(p_vecPacket[i].size()))
                 << fnField(static_cast<std::uint32_t>(p_vecPacket[i].size())) << p_vecPacket[i];
    }
    TText Path() const { return m_path.string(); }

  private:
    CTempDir m_dir;
    std::filesystem::path m_path = m_dir.Path() / "stream.pcap";
};

TText AsText(const TBytes& p_bytes)
{
    return {p_bytes.begin(), p_bytes.end()};
}

SSynchrophasorConfig Config(const TText& p_strHost)
{
    SSynchrophasorConfig config;
    SStreamConfig& stream = config.vecStream.emplace_back();
    stream.strName = "north";
    stream.strHost = p_strHost;
    stream.nStreamId = 60;
    stream.vecPhasor = {{61, "VA1", 1011}};
    return config;
}

int Cycles(CSourceCapture& r_source)
{
    SSourceCycle cycle;
    int nCycles = 0;
    while (r_source.Next(cycle))
        ++nCycles;
    return nCycles;
}
} // namespace

TEST(CSourceCapture, ReadsEachLinkTypeInBothByteOrders)
{
    const TText strEther = TText(12, 1);
    struct
    {
        std::uint32_t nLink;
        TText strV4, strV6;
    } const cases[] = {
        {1, strEther + Number(0x0800, 2), strEther + Number(0x8100, 2) + Number(5, 2) + Number(0x86DD, 2)},
        {113, TText(14, 1) + Number(0x0800, 2), TText(14, 1) + Number(0x86DD, 2)},
        {276, TText(20, 1), TText(20, 1)},
        {0, Number(2, 4), Number(30, 4)},
        {101, "", ""}};
    for (const auto& c : cases)
    {
        for (const bool bBig : {false, true})
        {
            const CCapture capture(c.nLink,
                                   {c.strV4 + V4(Udp(AsText(g_cfg2))), c.strV4 + V4(Udp("fragment"), 0x2000),
                                    c.strV4 + "\x45", "", c.strV6 + V6(Udp(AsText(g_data)))},
                                   bBig);
            CSourceCapture source(Config(""));
            ASSERT_TRUE(source.Open(capture.Path())) << source.Error();
            EXPECT_EQ(Cycles(source), 1) << c.nLink;
            EXPECT_TRUE(source.Rewind());
            EXPECT_EQ(Cycles(source), 1);
            EXPECT_EQ(source.Error(), "");
        }
    }
}

/// Segments in any order within the limits, some repeated and overlapping, with wrapping numbers: each byte is output
/// once.
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
