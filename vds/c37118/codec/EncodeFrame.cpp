#include "vds/c37118/codec/EncodeFrame.h"
#include "vds/c37118/codec/CByteWriter.h"
#include "vds/c37118/codec/Crc.h"
#include <algorithm>
#include <cmath>

namespace
{
constexpr std::uint16_t g_nFiller = 0x8000;

void PutHead(CByteWriter& r_out, const SFrameHead& p_head, EFrameType p_eType)
{
    r_out.U8(0xAA);
    r_out.U8((static_cast<unsigned>(p_eType) << 4) | (p_head.nVersion & 0xFU));
    r_out.U16(0); // size, set when it is known
    r_out.U16(p_head.nIdCode);
    r_out.U32(p_head.nSoc);
    r_out.U32((std::uint32_t{p_head.nTimeQuality} << 24) | (p_head.nFraction & 0xFFFFFFU));
}

bool Close(std::vector<std::uint8_t>& r_vecOut)
{
    const std::size_t nSize = r_vecOut.size() + 2;
    if (nSize > g_nFrameMax)
    {
        r_vecOut.clear();
        return false;
    }
    r_vecOut[2] = static_cast<std::uint8_t>(nSize >> 8);
    r_vecOut[3] = static_cast<std::uint8_t>(nSize);
    const std::uint16_t nCheck = CRC(r_vecOut);
    r_vecOut.push_back(static_cast<std::uint8_t>(nCheck >> 8));
    r_vecOut.push_back(static_cast<std::uint8_t>(nCheck));
    return true;
}

/// Cuts the text to p_nMost bytes without splitting a UTF-8 character.
std::string Cut(const std::string& p_strText, std::size_t p_nMost)
{
    std::size_t nSize = std::min(p_strText.size(), p_nMost);
    while (nSize > 0 && nSize < p_strText.size() && (static_cast<unsigned char>(p_strText[nSize]) & 0xC0U) == 0x80U)
        --nSize;
    return p_strText.substr(0, nSize);
}

/// A name: 16 bytes padded with blanks, or preceded by its length.
void PutName(CByteWriter& r_out, const std::string& p_strName, bool p_bCfg3)
{
    std::string strName = Cut(p_strName, p_bCfg3 ? 255 : 16);
    if (p_bCfg3)
        r_out.U8(static_cast<unsigned>(strName.size()));
    else
        strName.resize(16, ' ');
    r_out.Text(strName);
}

void PutNames(CByteWriter& r_out, const SPmuConfig& p_pmu, bool p_bCfg3)
{
    for (const SPhasorConfig& phasor : p_pmu.vecPhasor)
        PutName(r_out, phasor.strName, p_bCfg3);
    for (const SAnalogConfig& analog : p_pmu.vecAnalog)
        PutName(r_out, analog.strName, p_bCfg3);
    for (const SDigitalConfig& digital : p_pmu.vecDigital)
    {
        for (const std::string& strLabel : digital.vecstrLabel)
            PutName(r_out, strLabel, p_bCfg3);
    }
}

void PutUnits(CByteWriter& r_out, const SPmuConfig& p_pmu)
{
    for (const SPhasorConfig& phasor : p_pmu.vecPhasor)
        r_out.U32((phasor.bCurrent ? 1U << 24 : 0U) | (phasor.nUnit & 0xFFFFFFU));
    for (const SAnalogConfig& analog : p_pmu.vecAnalog)
        r_out.U32((std::uint32_t{analog.nType} << 24) | (static_cast<std::uint32_t>(analog.nScale) & 0xFFFFFFU));
}

void PutScales(CByteWriter& r_out, const SPmuConfig& p_pmu)
{
    for (const SPhasorConfig& phasor : p_pmu.vecPhasor)
    {
        r_out.U16(phasor.nModified);
        r_out.U8((phasor.bCurrent ? 8U : 0U) | (phasor.nComponent & 7U));
        r_out.U8(phasor.nUser);
        r_out.F32(p_pmu.bPhasorFloat ? 1.0F : static_cast<float>(phasor.fScale));
        r_out.F32(phasor.fAngleOffset_rad);
    }
    for (const SAnalogConfig& analog : p_pmu.vecAnalog)
    {
        r_out.F32(analog.fFactor);
        r_out.F32(analog.fOffset);
    }
}

void PutPlace(CByteWriter& r_out, const SPmuConfig& p_pmu)
{
    r_out.F32(p_pmu.fLatitude_deg);
    r_out.F32(p_pmu.fLongitude_deg);
    r_out.F32(p_pmu.fElevation_m);
    r_out.U8(static_cast<unsigned char>(p_pmu.cServiceClass));
    r_out.U32(static_cast<std::uint32_t>(p_pmu.nWindow_us));
    r_out.U32(static_cast<std::uint32_t>(p_pmu.nGroupDelay_us));
}

void PutPmu(CByteWriter& r_out, const SPmuConfig& p_pmu, bool p_bCfg3)
{
    PutName(r_out, p_pmu.strStation, p_bCfg3);
    r_out.U16(p_pmu.nIdCode);
    if (p_bCfg3)
    {
        for (const std::uint8_t nByte : p_pmu.vecnGlobalId)
            r_out.U8(nByte);
    }
    r_out.U16((p_pmu.bFreqFloat ? 8U : 0U) | (p_pmu.bAnalogFloat ? 4U : 0U) | (p_pmu.bPhasorFloat ? 2U : 0U) |
              (p_pmu.bPolar ? 1U : 0U));
    r_out.U16(static_cast<unsigned>(p_pmu.vecPhasor.size()));
    r_out.U16(static_cast<unsigned>(p_pmu.vecAnalog.size()));
    r_out.U16(static_cast<unsigned>(p_pmu.vecDigital.size()));
    PutNames(r_out, p_pmu, p_bCfg3);
    if (p_bCfg3)
        PutScales(r_out, p_pmu);
    else
        PutUnits(r_out, p_pmu);
    for (const SDigitalConfig& digital : p_pmu.vecDigital)
    {
        r_out.U16(digital.nNormal);
        r_out.U16(digital.nMask);
    }
    if (p_bCfg3)
        PutPlace(r_out, p_pmu);
    r_out.U16(p_pmu.bNominal50 ? 1 : 0);
    r_out.U16(p_pmu.nCfgCnt);
}

/// A value in counts as a 16-bit word.
unsigned Counts(double p_fValue, double p_fMin, double p_fMax)
{
    if (std::isnan(p_fValue))
        return g_nFiller;
    return static_cast<unsigned>(std::lround(std::clamp(p_fValue, p_fMin, p_fMax))) & 0xFFFFU;
}

unsigned Signed(double p_fValue)
{
    return Counts(p_fValue, -32767.0, 32767.0);
}

void PutPhasor(CByteWriter& r_out, const SPmuConfig& p_pmu, const SPhasorConfig& p_phasor, std::complex<double> p_value)
{
    if (p_phasor.fAngleOffset_rad != 0.0F)
        p_value *= std::polar(1.0, double{p_phasor.fAngleOffset_rad});
    const bool bAbsent = std::isnan(p_value.real()) || std::isnan(p_value.imag());
    double fFirst = p_pmu.bPolar && !bAbsent ? std::abs(p_value) : p_value.real();
    double fSecond = p_pmu.bPolar && !bAbsent ? std::arg(p_value) : p_value.imag();
    if (bAbsent)
        fFirst = fSecond = std::numeric_limits<double>::quiet_NaN();
    if (p_pmu.bPhasorFloat)
    {
        r_out.F32(static_cast<float>(fFirst));
        r_out.F32(static_cast<float>(fSecond));
        return;
    }
    const double fScale = p_phasor.fScale > 0.0 ? p_phasor.fScale : 1e-5;
    if (p_pmu.bPolar)
    {
        r_out.U16(Counts(fFirst / fScale, 0.0, 65535.0));
        r_out.U16(Counts(fSecond * 1e4, -31416.0, 31416.0));
    }
    else
    {
        r_out.U16(Signed(fFirst / fScale));
        r_out.U16(Signed(fSecond / fScale));
    }
}

void PutData(CByteWriter& r_out, const SPmuConfig& p_pmu, const SPmuData& p_data)
{
    r_out.U16(p_data.nStat);
    for (std::size_t i = 0; i < p_pmu.vecPhasor.size(); ++i)
        PutPhasor(r_out, p_pmu, p_pmu.vecPhasor[i], p_data.vecPhasor[i]);
    if (p_pmu.bFreqFloat)
    {
        r_out.F32(p_data.fFreq_Hz);
        r_out.F32(p_data.fRocof_HzPerS);
    }
    else
    {
        r_out.U16(Signed((p_data.fFreq_Hz - p_pmu.Nominal_Hz()) * 1000.0));
        r_out.U16(Signed(p_data.fRocof_HzPerS * 100.0));
    }
    for (std::size_t i = 0; i < p_pmu.vecAnalog.size(); ++i)
    {
        const SAnalogConfig& analog = p_pmu.vecAnalog[i];
        const float fFactor = analog.fFactor != 0.0F ? analog.fFactor : 1.0F;
        const float fRaw = (p_data.vecfAnalog[i] - analog.fOffset) / fFactor;
        if (p_pmu.bAnalogFloat)
            r_out.F32(fRaw);
        else
            r_out.U16(Signed(fRaw));
    }
    for (const std::uint16_t nWord : p_data.vecnDigital)
        r_out.U16(nWord);
}
} // namespace

bool EncodeConfig(const SConfigFrame& p_config, std::vector<std::uint8_t>& r_vecOut)
{
    const bool bCfg3 = p_config.head.eType == eFrameCfg3;
    const EFrameType eType = bCfg3 || p_config.head.eType == eFrameCfg1 ? p_config.head.eType : eFrameCfg2;
    CByteWriter out(r_vecOut);
    PutHead(out, p_config.head, eType);
    if (bCfg3)
        out.U16(0); // the only frame
    out.U32(p_config.nTimeBase & 0xFFFFFFU);
    out.U16(static_cast<unsigned>(p_config.vecPmu.size()));
    for (const SPmuConfig& pmu : p_config.vecPmu)
    {
        if (out.Size() > g_nFrameMax) // so that a count of more than 16 bits is detected
            break;
        PutPmu(out, pmu, bCfg3);
    }
    out.U16(static_cast<std::uint16_t>(p_config.nDataRate));
    return Close(r_vecOut);
}

bool EncodeData(const SConfigFrame& p_config, const SDataFrame& p_data, std::vector<std::uint8_t>& r_vecOut)
{
    r_vecOut.clear();
    if (p_config.vecPmu.size() != p_data.vecPmu.size() || DataFrameSize(p_config) > g_nFrameMax)
        return false;
    for (std::size_t i = 0; i < p_config.vecPmu.size(); ++i)
    {
        const SPmuConfig& pmu = p_config.vecPmu[i];
        const SPmuData& data = p_data.vecPmu[i];
        if (pmu.vecPhasor.size() != data.vecPhasor.size() || pmu.vecAnalog.size() != data.vecfAnalog.size() ||
            pmu.vecDigital.size() != data.vecnDigital.size())
            return false;
    }
    CByteWriter out(r_vecOut);
    PutHead(out, p_data.head, eFrameData);
    for (std::size_t i = 0; i < p_config.vecPmu.size(); ++i)
        PutData(out, p_config.vecPmu[i], p_data.vecPmu[i]);
    return Close(r_vecOut);
}

bool EncodeHeader(const SHeaderFrame& p_header, std::vector<std::uint8_t>& r_vecOut)
{
    CByteWriter out(r_vecOut);
    PutHead(out, p_header.head, eFrameHeader);
    out.Text(p_header.strText);
    return Close(r_vecOut);
}

bool EncodeCommand(const SCommandFrame& p_command, std::vector<std::uint8_t>& r_vecOut)
{
    CByteWriter out(r_vecOut);
    PutHead(out, p_command.head, eFrameCommand);
    out.U16(p_command.nCommand);
    for (const std::uint8_t nByte : p_command.vecnExtended)
        out.U8(nByte);
    return Close(r_vecOut);
}
