#include "Vectors.h"
#include "vds/base/IsoTime.h"
#include "vds/c37118/codec/CConfigParts.h"
#include "vds/c37118/codec/Crc.h"
#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <numbers>

namespace
{
constexpr double g_fDeg = std::numbers::pi / 180.0;
std::string g_strError;

SConfigFrame Config(const TBytes& p_bytes)
{
    SConfigFrame config;
    EXPECT_TRUE(DecodeConfig(p_bytes, config, g_strError)) << g_strError;
    return config;
}

/// The frame with a new check word, and a new size if that has changed.
TBytes Sealed(TBytes p_bytes)
{
    p_bytes[2] = static_cast<std::uint8_t>(p_bytes.size() >> 8);
    p_bytes[3] = static_cast<std::uint8_t>(p_bytes.size());
    const std::uint16_t nCheck = CRC(std::span(p_bytes).first(p_bytes.size() - 2));
    p_bytes[p_bytes.size() - 2] = static_cast<std::uint8_t>(nCheck >> 8);
    p_bytes[p_bytes.size() - 1] = static_cast<std::uint8_t>(nCheck);
    return p_bytes;
}

void ExpectNear(std::complex<double> p_value, double p_fMagn, double p_fAngle_deg, double p_fTolerance)
{
    EXPECT_NEAR(std::abs(p_value), p_fMagn, p_fTolerance);
    EXPECT_NEAR(std::arg(p_value) / g_fDeg, p_fAngle_deg, 1e-3);
}
} // namespace

TEST(Codec, ConfigurationVectorBothWays)
{
    const SConfigFrame config = Config(g_cfg2);
    EXPECT_EQ(config.head.nIdCode, 60);
    EXPECT_EQ(IsoFromTicks(FrameTicks(config.head, config.nTimeBase)), "2023-11-14T22:13:20.5000000Z");
    EXPECT_EQ(config.nDataRate, 50);
    ASSERT_EQ(config.vecPmu.size(), 2U);
    const SPmuConfig& alpha = config.vecPmu[0];
    EXPECT_EQ(alpha.strStation, "ALPHA");
    EXPECT_EQ(alpha.nIdCode, 61);
    EXPECT_FALSE(alpha.bPhasorFloat || alpha.bPolar || alpha.bFreqFloat || alpha.bAnalogFloat);
    EXPECT_EQ(alpha.vecPhasor[0].strName, "VA1");
    EXPECT_EQ(alpha.vecPhasor[0].nUnit, 915527U);
    EXPECT_FALSE(alpha.vecPhasor[0].bCurrent);
    EXPECT_TRUE(alpha.vecPhasor[1].bCurrent);
    EXPECT_EQ(alpha.vecAnalog[0].nType, 1);
    EXPECT_EQ(alpha.vecDigital[0].vecstrLabel[15], "BIT15");
    EXPECT_EQ(alpha.nCfgCnt, 3);
    EXPECT_TRUE(config.vecPmu[1].bPolar && config.vecPmu[1].bPhasorFloat && config.vecPmu[1].bNominal50);

    TBytes bytes;
    ASSERT_TRUE(EncodeConfig(config, bytes));
    EXPECT_EQ(bytes, g_cfg2);
}

TEST(Codec, DataVectorBothWays)
{
    const SConfigFrame config = Config(g_cfg2);
    SDataFrame data;
    ASSERT_TRUE(DecodeData(g_data, config, data, g_strError)) << g_strError;
    EXPECT_EQ(data.head.ClockQuality(), 6);
    EXPECT_EQ(data.vecPmu[0].nStat, 0);
    ExpectNear(data.vecPmu[0].vecPhasor[0], 133987.376, 0.0, 1e-3);
    ExpectNear(data.vecPmu[0].vecPhasor[1], 499.993, 119.992, 1e-3);
    EXPECT_FLOAT_EQ(data.vecPmu[0].fFreq_Hz, 49.975F);
    EXPECT_FLOAT_EQ(data.vecPmu[0].fRocof_HzPerS, 0.12F);
    EXPECT_EQ(data.vecPmu[0].vecfAnalog[0], -100.0F);
    EXPECT_EQ(data.vecPmu[0].vecnDigital[0], 0x3C12);
    EXPECT_EQ(data.vecPmu[1].nStat, 0x2441);
    ExpectNear(data.vecPmu[1].vecPhasor[0], 231000.0, -45.0, 1e-2);
    EXPECT_FLOAT_EQ(data.vecPmu[1].fFreq_Hz, 49.975F);

    TBytes bytes;
    ASSERT_TRUE(EncodeData(config, data, bytes));
    EXPECT_EQ(bytes, g_data);
}

TEST(Codec, ThirdConfigurationVectorBothWays)
{
    const SConfigFrame config = Config(g_cfg3);
    const SPmuConfig& pmu = config.vecPmu.at(0);
    EXPECT_EQ(config.head.nVersion, 2);
    EXPECT_EQ(pmu.vecnGlobalId[15], 0x0F);
    EXPECT_EQ(pmu.vecPhasor[0].nModified, 0x0080);
    EXPECT_EQ(pmu.vecPhasor[0].nComponent, 1);
    EXPECT_EQ(pmu.vecAnalog[0].fFactor, 0.5F);
    EXPECT_EQ(pmu.vecAnalog[0].fOffset, -10.0F);
    EXPECT_FLOAT_EQ(pmu.fLatitude_deg, 59.33F);
    EXPECT_TRUE(std::isinf(pmu.fElevation_m));
    EXPECT_EQ(pmu.cServiceClass, 'M');
    EXPECT_EQ(pmu.nWindow_us, 100000);
    EXPECT_EQ(pmu.nGroupDelay_us, 50000);
    TBytes bytes;
    ASSERT_TRUE(EncodeConfig(config, bytes));
    EXPECT_EQ(bytes, g_cfg3);
}

TEST(Codec, CommandAndHeaderVectorsBothWays)
{
    TBytes bytes;
    for (const auto& [vector, nCommand] : {std::pair{g_cmdOn, eCommandDataOn}, std::pair{g_cmdCfg2, eCommandCfg2}})
    {
        SCommandFrame command;
        ASSERT_TRUE(DecodeCommand(vector, command, g_strError));
        EXPECT_EQ(command.nCommand, nCommand);
        ASSERT_TRUE(EncodeCommand(command, bytes));
        EXPECT_EQ(bytes, vector);
    }
    SHeaderFrame header;
    ASSERT_TRUE(DecodeHeader(g_header, header, g_strError));
    EXPECT_EQ(header.strText, "HELLO");
    ASSERT_TRUE(EncodeHeader(header, bytes));
    EXPECT_EQ(bytes, g_header);
}

/// All eight formats: values are accurate to one count, and absent ones stay absent.
TEST(Codec, EachFormatCarriesValuesAndFillers)
{
    for (unsigned nFormat = 0; nFormat < 16; ++nFormat)
    {
        SConfigFrame config = Config(g_cfg2);
        SPmuConfig& pmu = config.vecPmu[0];
        pmu.bPolar = (nFormat & 1U) != 0;
        pmu.bPhasorFloat = (nFormat & 2U) != 0;
        pmu.bAnalogFloat = (nFormat & 4U) != 0;
        pmu.bFreqFloat = (nFormat & 8U) != 0;
        pmu.bNominal50 = false;
        SDataFrame data;
        const double fNaN = std::numeric_limits<double>::quiet_NaN();
        data.vecPmu = {{0, {std::polar(1e5, -2.0), {fNaN, fNaN}}, 60.012F, NAN, {-7.0F}, {0x8001}},
                       {g_nStatFiller, {{fNaN, fNaN}}, NAN, NAN, {}, {}}};
        TBytes bytes;
        ASSERT_TRUE(EncodeData(config, data, bytes));
        SDataFrame back;
        ASSERT_TRUE(DecodeData(bytes, config, back, g_strError)) << nFormat;
        EXPECT_NEAR(std::abs(back.vecPmu[0].vecPhasor[0] - std::polar(1e5, -2.0)), 0.0, 15.0) << nFormat;
        EXPECT_TRUE(std::isnan(back.vecPmu[0].vecPhasor[1].real())) << nFormat;
        EXPECT_NEAR(back.vecPmu[0].fFreq_Hz, 60.012F, 1e-5) << nFormat;
        EXPECT_TRUE(std::isnan(back.vecPmu[0].fRocof_HzPerS)) << nFormat;
        EXPECT_EQ(back.vecPmu[0].vecfAnalog[0], -7.0F) << nFormat;
        EXPECT_EQ(back.vecPmu[0].vecnDigital[0], 0x8001);
        EXPECT_EQ(back.vecPmu[1].nStat, g_nStatFiller);
    }
}

/// Each 16-bit word of a configuration in turn is set to 65535 (counts, name sizes); the memory requested must not
/// exceed that of the frame. The sanitizers check the bounds.
TEST(Codec, LyingCountsAreRefusedOrHarmless)
{
    for (const TBytes& vector : {g_cfg2, g_cfg3})
    {
        for (std::size_t i = 14; i + 3 < vector.size(); ++i)
        {
            TBytes bytes = vector;
            bytes[i] = bytes[i + 1] = 0xFF;
            SConfigFrame config;
            g_strError.clear();
            const bool bDecoded = DecodeConfig(Sealed(bytes), config, g_strError);
            EXPECT_EQ(bDecoded, g_strError.empty());
            TBytes shorter(vector.begin(), vector.begin() + static_cast<std::ptrdiff_t>(i) + 2);
            EXPECT_FALSE(DecodeConfig(Sealed(shorter), config, g_strError)) << i;
        }
    }
}

/// Every fraction of the usual rates and of the finest TIME_BASE is decoded as it was encoded.
TEST(Codec, TimeSurvivesItsCoding)
{
    const std::int64_t nSecond = *TicksFromIso("2026-03-05T10:00:59Z");
    for (const std::uint32_t nTimeBase : {1000000U, 16777215U})
    {
        for (int i = 0; i < 50; ++i)
        {
            SFrameHead head;
            SetFrameTicks(head, nSecond + GridTicks(i, 50), nTimeBase);
            EXPECT_EQ(FrameTicks(head, nTimeBase), nSecond + GridTicks(i, 50));
        }
    }
    SFrameHead head;
    SetFrameTicks(head, nSecond + 9999999, 1000);
    EXPECT_EQ(head.nFraction, 0U) << "rounds up into the next second";
    EXPECT_EQ(FrameTicks(head, 1000), nSecond + 10000000);
}

/// Hand-made bytes: a reader that follows the clause obtains 100 V at 11.459 - 30 degrees.
TEST(Codec, AngleOffsetOfTheThirdConfigurationIsSubtracted)
{
    TBytes bytes = g_cfg3;
    const TBytes offset = FromHex("008001003f8000003f060a92"); // PHSCALE: Y 1, theta 30 degrees
    const auto itScale = std::ranges::search(bytes, FromHex("008001003f80000000000000")).begin();
    ASSERT_NE(itScale, bytes.end());
    std::ranges::copy(offset, itScale);
    for (const auto& [strFactor, fMagn] : {std::pair{"3f800000", 100.0}, {"40000000", 200.0}, {"00000000", 100.0}})
    {
        std::ranges::copy(FromHex(strFactor), itScale + 4);
        const SConfigFrame config = Config(Sealed(bytes));
        // STAT, 100 V at 0.2 rad, 50 Hz, 0 Hz/s, analog and digital 0
        const TBytes frame = Sealed(FromHex("aa010024003c6553f1000007a1200000"
                                            "42c800003e4ccccd"
                                            "4248000000000000"
                                            "000000000000"
                                            "0000"));
        SDataFrame data;
        ASSERT_TRUE(DecodeData(frame, config, data, g_strError)) << g_strError;
        ExpectNear(data.vecPmu[0].vecPhasor[0], fMagn, 11.459 - 30.0, 1e-3);
        TBytes out;
        ASSERT_TRUE(EncodeConfig(config, out));
        EXPECT_FALSE(std::ranges::search(out, offset).empty()) << "Y of floating-point phasors goes out as 1";
    }
}

TEST(Codec, ThirdConfigurationInSeveralFrames)
{
    const TBytes whole(g_cfg3.begin() + 16, g_cfg3.end() - 2);
    const auto fnPart = [&](unsigned p_nIndex, std::size_t p_nFrom, std::size_t p_nTo)
    {
        TBytes part;
        part.push_back(static_cast<std::uint8_t>(p_nIndex >> 8));
        part.push_back(static_cast<std::uint8_t>(p_nIndex));
        for (std::size_t i = p_nFrom; i < p_nTo; ++i)
            part.push_back(whole[i]);
        return part;
    };
    CConfigParts parts;
    EXPECT_FALSE(parts.Put(fnPart(2, 0, 10))) << "begins in the middle";
    EXPECT_FALSE(parts.Put(fnPart(1, 0, 50)));
    EXPECT_FALSE(parts.Put(fnPart(3, 100, 110))) << "out of sequence";
    EXPECT_FALSE(parts.Put(fnPart(0xFFFF, 100, whole.size())));
    EXPECT_FALSE(parts.Put(fnPart(1, 0, 50)));
    EXPECT_FALSE(parts.Put(fnPart(2, 50, 51)));
    EXPECT_TRUE(parts.Put(fnPart(0xFFFF, 51, whole.size())));
    EXPECT_TRUE(std::ranges::equal(parts.Whole(), whole));
}
