#include "vds/c37118/codec/DecodeFrame.h"
#include "vds/c37118/codec/CByteReader.h"
#include "vds/c37118/codec/Crc.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::int16_t g_nFiller = -32768;
constexpr float g_fNaN = std::numeric_limits<float>::quiet_NaN();

bool Fail(std::string& r_strError, const std::string& p_strText)
{
    r_strError = p_strText;
    return false;
}

/// The name without trailing padding (blanks and zeros).
std::string Trimmed(std::string p_strName)
{
    const std::string strFill(" \0", 2);
    const std::size_t nLast = p_strName.find_last_not_of(strFill);
    p_strName.erase(nLast == std::string::npos ? 0 : nLast + 1);
    return p_strName.erase(0, p_strName.find_first_not_of(strFill));
}

std::string Name(CByteReader& r_in, bool p_bCfg3)
{
    return Trimmed(r_in.Text(p_bCfg3 ? r_in.U8() : 16));
}

void TakeNames(CByteReader& r_in, SPmuConfig& r_pmu, bool p_bCfg3)
{
    for (SPhasorConfig& phasor : r_pmu.vecPhasor)
        phasor.strName = Name(r_in, p_bCfg3);
    for (SAnalogConfig& analog : r_pmu.vecAnalog)
        analog.strName = Name(r_in, p_bCfg3);
    for (SDigitalConfig& digital : r_pmu.vecDigital)
    {
        for (std::string& strLabel : digital.vecstrLabel)
            strLabel = Name(r_in, p_bCfg3);
    }
}

void TakeUnits(CByteReader& r_in, SPmuConfig& r_pmu)
{
    for (SPhasorConfig& phasor : r_pmu.vecPhasor)
    {
        const std::uint32_t nUnit = r_in.U32();
        phasor.bCurrent = (nUnit >> 24) == 1;
        phasor.SetUnit(nUnit & 0xFFFFFFU);
    }
    for (SAnalogConfig& analog : r_pmu.vecAnalog)
    {
        const std::uint32_t nUnit = r_in.U32();
        analog.nType = static_cast<std::uint8_t>(nUnit >> 24);
        analog.nScale = static_cast<std::int32_t>(nUnit << 8) >> 8;
    }
}

void TakeScales(CByteReader& r_in, SPmuConfig& r_pmu)
{
    for (SPhasorConfig& phasor : r_pmu.vecPhasor)
    {
        phasor.nModified = r_in.U16();
        const std::uint8_t nKind = r_in.U8();
        phasor.bCurrent = (nKind & 8U) != 0;
        phasor.nComponent = nKind & 7U;
        phasor.nUser = r_in.U8();
        phasor.fScale = r_in.F32();
        const double fUnit = phasor.fScale * 1e5;
        phasor.nUnit = std::isnan(fUnit) ? 0 : static_cast<std::uint32_t>(std::clamp(fUnit + 0.5, 0.0, 16777215.0));
        phasor.fAngleOffset_rad = r_in.F32();
        if (r_pmu.bPhasorFloat && std::isfinite(phasor.fScale) && phasor.fScale > 0.0)
            phasor.fFloatFactor = static_cast<float>(phasor.fScale);
    }
    for (SAnalogConfig& analog : r_pmu.vecAnalog)
    {
        analog.fFactor = r_in.F32();
        analog.fOffset = r_in.F32();
    }
}

void TakePlace(CByteReader& r_in, SPmuConfig& r_pmu)
{
    r_pmu.fLatitude_deg = r_in.F32();
    r_pmu.fLongitude_deg = r_in.F32();
    r_pmu.fElevation_m = r_in.F32();
    r_pmu.cServiceClass = static_cast<char>(r_in.U8());
    r_pmu.nWindow_us = r_in.I32();
    r_pmu.nGroupDelay_us = r_in.I32();
}

/// @return false if the frame is too short for its contents.
bool TakePmu(CByteReader& r_in, SPmuConfig& r_pmu, bool p_bCfg3)
{
    r_pmu.strStation = Name(r_in, p_bCfg3);
    r_pmu.nIdCode = r_in.U16();
    if (p_bCfg3)
        std::ranges::copy(r_in.Take(16), r_pmu.vecnGlobalId.begin());
    const unsigned nFormat = r_in.U16();
    r_pmu.bFreqFloat = (nFormat & 8U) != 0;
    r_pmu.bAnalogFloat = (nFormat & 4U) != 0;
    r_pmu.bPhasorFloat = (nFormat & 2U) != 0;
    r_pmu.bPolar = (nFormat & 1U) != 0;
    const std::size_t nPhasors = r_in.U16();
    const std::size_t nAnalogs = r_in.U16();
    const std::size_t nDigitals = r_in.U16();
    const std::size_t nLeast =
        p_bCfg3 ? nPhasors * 13 + nAnalogs * 9 + nDigitals * 20 : nPhasors * 20 + nAnalogs * 20 + nDigitals * 260;
    if (!r_in.Ok() || !r_in.Has(nLeast))
        return false;
    r_pmu.vecPhasor.resize(nPhasors);
    r_pmu.vecAnalog.resize(nAnalogs);
    r_pmu.vecDigital.resize(nDigitals);
    TakeNames(r_in, r_pmu, p_bCfg3);
    if (p_bCfg3)
        TakeScales(r_in, r_pmu);
    else
        TakeUnits(r_in, r_pmu);
    for (SDigitalConfig& digital : r_pmu.vecDigital)
    {
        digital.nNormal = r_in.U16();
        digital.nMask = r_in.U16();
    }
    if (p_bCfg3)
        TakePlace(r_in, r_pmu);
    r_pmu.bNominal50 = (r_in.U16() & 1U) != 0;
    r_pmu.nCfgCnt = r_in.U16();
    return r_in.Ok();
}

double Scaled(std::int16_t p_nRaw, double p_fScale)
{
    return p_nRaw == g_nFiller ? double{g_fNaN} : p_nRaw * p_fScale;
}

/// Every 16-bit magnitude is possible, so in polar form only the angle identifies a filler.
std::complex<double> TakePhasor(CByteReader& r_in, const SPmuConfig& p_pmu, const SPhasorConfig& p_phasor)
{
    double fFirst = 0.0;
    double fSecond = 0.0;
    if (p_pmu.bPhasorFloat)
    {
        fFirst = r_in.F32() * double{p_phasor.fFloatFactor};
        fSecond = r_in.F32() * (p_pmu.bPolar ? 1.0 : double{p_phasor.fFloatFactor});
    }
    else if (p_pmu.bPolar)
    {
        fFirst = r_in.U16() * p_phasor.fScale;
        fSecond = Scaled(r_in.I16(), 1e-4);
    }
    else
    {
        fFirst = Scaled(r_in.I16(), p_phasor.fScale);
        fSecond = Scaled(r_in.I16(), p_phasor.fScale);
    }
    std::complex<double> value(fFirst, fSecond);
    if (p_pmu.bPolar)
        value = {fFirst * std::cos(fSecond), fFirst * std::sin(fSecond)};
    if (p_phasor.fAngleOffset_rad != 0.0F)
        value *= std::polar(1.0, -double{p_phasor.fAngleOffset_rad});
    return value;
}

void TakeData(CByteReader& r_in, const SPmuConfig& p_pmu, SPmuData& r_data)
{
    r_data.nStat = r_in.U16();
    r_data.vecPhasor.resize(p_pmu.vecPhasor.size());
    for (std::size_t i = 0; i < p_pmu.vecPhasor.size(); ++i)
        r_data.vecPhasor[i] = TakePhasor(r_in, p_pmu, p_pmu.vecPhasor[i]);
    if (p_pmu.bFreqFloat)
    {
        r_data.fFreq_Hz = r_in.F32();
        r_data.fRocof_HzPerS = r_in.F32();
    }
    else
    {
        r_data.fFreq_Hz = static_cast<float>(p_pmu.Nominal_Hz() + Scaled(r_in.I16(), 1e-3));
        r_data.fRocof_HzPerS = static_cast<float>(Scaled(r_in.I16(), 1e-2));
    }
    r_data.vecfAnalog.resize(p_pmu.vecAnalog.size());
    for (std::size_t i = 0; i < p_pmu.vecAnalog.size(); ++i)
    {
        const float fRaw = p_pmu.bAnalogFloat ? r_in.F32() : static_cast<float>(Scaled(r_in.I16(), 1.0));
        r_data.vecfAnalog[i] = fRaw * p_pmu.vecAnalog[i].fFactor + p_pmu.vecAnalog[i].fOffset;
    }
    r_data.vecnDigital.resize(p_pmu.vecDigital.size());
    for (std::uint16_t& nWord : r_data.vecnDigital)
        nWord = r_in.U16();
}

/// Reads the head of a frame of one of the wanted types. @return its body, without the check word.
bool Open(std::span<const std::uint8_t> p_bytes, SFrameHead& r_head, std::span<const std::uint8_t>& r_body,
          std::string& r_strError)
{
    if (!DecodeHead(p_bytes, r_head, r_strError))
        return false;
    r_body = p_bytes.subspan(14, p_bytes.size() - 16);
    return true;
}
} // namespace

std::string Printable(std::string p_strText)
{
    std::ranges::replace_if(
        p_strText, [](unsigned char p_c) { return p_c < 0x20 || p_c > 0x7E; }, '.');
    return p_strText;
}

bool DecodeHead(std::span<const std::uint8_t> p_bytes, SFrameHead& r_head, std::string& r_strError)
{
    if (p_bytes.size() < g_nFrameMin || p_bytes[0] != 0xAA)
        return Fail(r_strError, "not a frame");
    CByteReader in(p_bytes);
    in.U8();
    const unsigned nSync = in.U8();
    const std::size_t nSize = in.U16();
    if ((nSync >> 4) >= g_nFrameTypes)
        return Fail(r_strError, "frame type " + std::to_string(nSync >> 4) + " is unknown");
    if (nSize != p_bytes.size())
        return Fail(r_strError, "FRAMESIZE " + std::to_string(nSize) + " in a frame of " +
                                    std::to_string(p_bytes.size()) + " bytes");
    r_head.eType = static_cast<EFrameType>(nSync >> 4);
    r_head.nVersion = nSync & 0xFU;
    r_head.nIdCode = in.U16();
    r_head.nSoc = in.U32();
    const std::uint32_t nFracSec = in.U32();
    r_head.nTimeQuality = static_cast<std::uint8_t>(nFracSec >> 24);
    r_head.nFraction = nFracSec & 0xFFFFFFU;
    const unsigned nCheck = (unsigned{p_bytes[nSize - 2]} << 8) | p_bytes[nSize - 1];
    return CRC(p_bytes.first(nSize - 2)) == nCheck || Fail(r_strError, "check word is wrong");
}

bool DecodeConfig(std::span<const std::uint8_t> p_bytes, SConfigFrame& r_config, std::string& r_strError)
{
    std::span<const std::uint8_t> body;
    SFrameHead head;
    if (!Open(p_bytes, head, body, r_strError))
        return false;
    if (head.eType != eFrameCfg1 && head.eType != eFrameCfg2 && head.eType != eFrameCfg3)
        return Fail(r_strError, "expected a configuration frame, got frame type " + std::to_string(head.eType));
    if (head.eType == eFrameCfg3)
    {
        if (body.size() < 2 || body[0] != 0 || body[1] != 0)
            return Fail(r_strError, "expected CFG-3 in one frame, got a part of it");
        body = body.subspan(2);
    }
    return DecodeConfigBody(head, body, r_config, r_strError);
}

bool DecodeConfigBody(const SFrameHead& p_head, std::span<const std::uint8_t> p_body, SConfigFrame& r_config,
                      std::string& r_strError)
{
    const bool bCfg3 = p_head.eType == eFrameCfg3;
    SConfigFrame config;
    config.head = p_head;
    CByteReader in(p_body);
    config.nTimeBase = in.U32() & 0xFFFFFFU;
    const std::size_t nPmus = in.U16();
    if (!in.Ok() || !in.Has(nPmus * (bCfg3 ? 52U : 30U) + 2))
        return Fail(r_strError, "configuration of " + std::to_string(nPmus) + " PMUs in " +
                                    std::to_string(p_body.size()) + " bytes");
    if (config.nTimeBase == 0)
        return Fail(r_strError, "TIME_BASE is 0");
    for (std::size_t i = 0; i < nPmus; ++i)
    {
        if (!TakePmu(in, config.vecPmu.emplace_back(), bCfg3))
            return Fail(r_strError,
                        "configuration ends within PMU " + std::to_string(i + 1) + " of " + std::to_string(nPmus));
    }
    config.nDataRate = in.I16();
    if (!in.Ok() || !in.AtEnd())
        return Fail(r_strError, "configuration length does not match its counts");
    if (config.nDataRate == 0)
        return Fail(r_strError, "DATA_RATE is 0");
    r_config = std::move(config);
    return true;
}

bool DecodeData(std::span<const std::uint8_t> p_bytes, const SConfigFrame& p_config, SDataFrame& r_data,
                std::string& r_strError)
{
    std::span<const std::uint8_t> body;
    if (!Open(p_bytes, r_data.head, body, r_strError))
        return false;
    if (r_data.head.eType != eFrameData)
        return Fail(r_strError, "expected a data frame, got frame type " + std::to_string(r_data.head.eType));
    if (p_bytes.size() != DataFrameSize(p_config))
        return Fail(r_strError, "data frame of " + std::to_string(p_bytes.size()) +
                                    " bytes, the configuration requires " + std::to_string(DataFrameSize(p_config)));
    CByteReader in(body);
    r_data.vecPmu.resize(p_config.vecPmu.size());
    for (std::size_t i = 0; i < p_config.vecPmu.size(); ++i)
        TakeData(in, p_config.vecPmu[i], r_data.vecPmu[i]);
    return true;
}

bool DecodeHeader(std::span<const std::uint8_t> p_bytes, SHeaderFrame& r_header, std::string& r_strError)
{
    std::span<const std::uint8_t> body;
    if (!Open(p_bytes, r_header.head, body, r_strError))
        return false;
    if (r_header.head.eType != eFrameHeader)
        return Fail(r_strError, "expected a header frame, got frame type " + std::to_string(r_header.head.eType));
    r_header.strText = Printable({body.begin(), body.end()});
    return true;
}

bool DecodeCommand(std::span<const std::uint8_t> p_bytes, SCommandFrame& r_command, std::string& r_strError)
{
    std::span<const std::uint8_t> body;
    if (!Open(p_bytes, r_command.head, body, r_strError))
        return false;
    if (r_command.head.eType != eFrameCommand)
        return Fail(r_strError, "expected a command frame, got frame type " + std::to_string(r_command.head.eType));
    if (body.size() < 2)
        return Fail(r_strError, "command frame without a command");
    r_command.nCommand = static_cast<std::uint16_t>((body[0] << 8) | body[1]);
    r_command.vecnExtended.assign(body.begin() + 2, body.end());
    return true;
}
