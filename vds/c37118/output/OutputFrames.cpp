#include "vds/c37118/output/OutputFrames.h"
#include "vds/c37118/codec/Crc.h"
#include "vds/c37118/codec/EncodeFrame.h"
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <numeric>
#include <set>

namespace
{
constexpr std::size_t g_nName = 16;
constexpr std::uint8_t g_nAnalogOfUser = 65; ///< user-defined: the name says what the analog is
constexpr std::size_t g_nMaxId = 65534;

std::string Number(double p_fValue)
{
    char pText[40];
    std::snprintf(pText, sizeof pText, "%g", p_fValue);
    return pText;
}

/// A name and the suffix that must stay readable.
std::string Join(const std::string& p_strName, const std::string& p_strBehind)
{
    const std::size_t nBehind = std::min(p_strBehind.size() + 1, g_nName);
    return p_strName.substr(0, g_nName - nBehind) + ' ' + p_strBehind;
}

std::string LongName(const SOutputPmu& p_pmu)
{
    if (p_pmu.eKind != EOutputPmu::eMode)
        return p_pmu.strName;
    return p_pmu.strName + ' ' + Number(p_pmu.fMin_Hz) + " to " + Number(p_pmu.fMax_Hz) + " Hz";
}

std::string ShortName(const SOutputPmu& p_pmu)
{
    if (p_pmu.eKind == EOutputPmu::eMode)
        return Join(p_pmu.strName, Number(p_pmu.fMin_Hz) + '-' + Number(p_pmu.fMax_Hz));
    return p_pmu.strName.substr(0, g_nName);
}

/// Names that would be equal after cutting get the id as their suffix.
void SetShortNames(const std::vector<SOutputPmu>& p_vecPmu, SConfigFrame& r_config)
{
    std::map<std::string, int> mapCount;
    for (const SOutputPmu& pmu : p_vecPmu)
        ++mapCount[ShortName(pmu)];
    for (std::size_t i = 0; i < p_vecPmu.size(); ++i)
    {
        const std::string strName = ShortName(p_vecPmu[i]);
        r_config.vecPmu[i].strStation =
            mapCount[strName] == 1 ? strName : Join(p_vecPmu[i].strName, std::to_string(p_vecPmu[i].nElement));
    }
}

/// Uses the ids of the configuration where possible, otherwise the lowest free ones.
void SetIds(const std::vector<SOutputPmu>& p_vecPmu, SConfigFrame& r_config)
{
    std::set<std::uint64_t> setTaken;
    for (std::size_t i = 0; i < p_vecPmu.size(); ++i)
    {
        const std::uint64_t nId = p_vecPmu[i].nElement;
        if (nId >= 1 && nId <= g_nMaxId && setTaken.insert(nId).second)
            r_config.vecPmu[i].nIdCode = static_cast<std::uint16_t>(nId);
    }
    std::uint64_t nFree = 1;
    for (SPmuConfig& pmu : r_config.vecPmu)
    {
        while (pmu.nIdCode == 0 && nFree < g_nMaxId && !setTaken.insert(nFree).second)
            ++nFree;
        if (pmu.nIdCode == 0)
            pmu.nIdCode = static_cast<std::uint16_t>(nFree);
    }
}

void AddAnalog(const char* p_pName, SPmuConfig& r_pmu)
{
    r_pmu.vecAnalog.emplace_back();
    r_pmu.vecAnalog.back().strName = p_pName;
    r_pmu.vecAnalog.back().nType = g_nAnalogOfUser;
}

void AddMode(bool p_bPower, bool p_bLong, SPmuConfig& r_pmu)
{
    AddAnalog(p_bLong ? "Frequency of the swing [Hz]" : "FREQUENCY Hz", r_pmu);
    AddAnalog(p_bPower ? (p_bLong ? "Magnitude of the swing [W]" : "MAGNITUDE W")
                       : (p_bLong ? "Magnitude of the swing [degrees]" : "MAGNITUDE deg"),
              r_pmu);
    AddAnalog(p_bLong ? "Damping ratio, below 0: decays" : "DAMPING RATIO", r_pmu);
    AddAnalog(p_bLong ? "Degree of exposure" : "DEG OF EXPOSURE", r_pmu);
    SDigitalConfig& level = r_pmu.vecDigital.emplace_back();
    level.nMask = g_nLevelNotified | g_nLevelDistinct | g_nLevelCritical | g_nLevelUndamped;
    level.vecstrLabel[0] = p_bLong ? "Notified Power Swing" : "NOTIFIED";
    level.vecstrLabel[1] = p_bLong ? "Distinct Power Swing" : "DISTINCT";
    level.vecstrLabel[2] = p_bLong ? "Critical Power Swing" : "CRITICAL";
    level.vecstrLabel[3] = p_bLong ? "Undamped Critical Power Swing" : "UNDAMPED CRIT";
}

void AddUnit(const SOutputPmu& p_pmu, bool p_bLong, SPmuConfig& r_pmu)
{
    r_pmu.bPolar = true;
    std::set<std::string> setName;
    for (const SOutputChannel& channel : p_pmu.vecChannel)
    {
        SPhasorConfig& phasor = r_pmu.vecPhasor.emplace_back();
        phasor.strName = channel.strName.empty() ? std::to_string(channel.nId) : channel.strName;
        if (!p_bLong)
        {
            phasor.strName = phasor.strName.substr(0, g_nName);
            if (!setName.insert(phasor.strName).second)
                phasor.strName = Join(phasor.strName, std::to_string(channel.nId));
        }
        phasor.bCurrent = channel.bCurrent;
        // In a unit of three, the phases are in the order of their ids; anything else counts as positive sequence.
        phasor.nComponent = static_cast<std::uint8_t>(p_pmu.vecChannel.size() == 3 ? 3 + r_pmu.vecPhasor.size() : 1);
    }
}

/// Changes with the configuration, also between runs of the server.
std::uint16_t CountOfChanges(SConfigFrame p_config)
{
    std::vector<std::uint8_t> vecnFrame;
    p_config.head.eType = eFrameCfg2;
    EncodeConfig(p_config, vecnFrame);
    // Without its check word: the check over a frame including its check word is always 0.
    return vecnFrame.size() < 2 ? std::uint16_t{0} : CRC(std::span(vecnFrame).first(vecnFrame.size() - 2));
}

SPmuConfig Shape(const SOutputPmu& p_output, bool p_bLong)
{
    SPmuConfig pmu;
    if (p_output.eKind == EOutputPmu::eMode)
        AddMode(p_output.bPower, p_bLong, pmu);
    else if (p_output.eKind == EOutputPmu::eUnit)
        AddUnit(p_output, p_bLong, pmu);
    else if (p_output.bPower)
        AddAnalog(p_bLong ? "Active power [W]" : "ACTIVE POWER W", pmu);
    else
        AddAnalog(p_bLong ? "Angle difference [degrees]" : "ANGLE DIFF deg", pmu);
    return pmu;
}
} // namespace

std::int32_t OutputRate(const SOutputStreamConfig& p_output, std::int32_t p_nSourceRate)
{
    const std::int32_t nRate = p_output.nRate != 0 ? p_output.nRate : (p_output.bPhasors ? p_nSourceRate : 1);
    if (p_nSourceRate <= 1)
        return nRate < 0 ? std::min(nRate, p_nSourceRate) : p_nSourceRate;
    if (nRate < 0)
        return nRate;
    return p_output.bPhasors ? std::gcd(nRate, p_nSourceRate) : std::min(nRate, p_nSourceRate);
}

SConfigFrame OutputConfig(const SOutputStreamConfig& p_output, std::int32_t p_nRate, bool p_bLong)
{
    SConfigFrame config;
    config.head.nIdCode = p_output.nStreamId;
    config.nDataRate = static_cast<std::int16_t>(p_nRate);
    for (const SOutputPmu& output : p_output.vecPmu)
    {
        config.vecPmu.push_back(Shape(output, p_bLong));
        config.vecPmu.back().bNominal50 = p_output.nNominal_Hz == 50;
    }
    SetIds(p_output.vecPmu, config);
    SetShortNames(p_output.vecPmu, config);
    const std::uint16_t nCfgCnt =
        p_bLong ? OutputConfig(p_output, p_nRate, false).vecPmu.front().nCfgCnt : CountOfChanges(config);
    for (std::size_t i = 0; i < config.vecPmu.size(); ++i)
    {
        config.vecPmu[i].nCfgCnt = nCfgCnt;
        if (p_bLong)
            config.vecPmu[i].strStation = LongName(p_output.vecPmu[i]);
    }
    return config;
}

SDataFrame EmptyData(const SConfigFrame& p_config)
{
    constexpr float fAbsent = std::numeric_limits<float>::quiet_NaN();
    SDataFrame data;
    data.head.nIdCode = p_config.head.nIdCode;
    for (const SPmuConfig& pmu : p_config.vecPmu)
        data.vecPmu.push_back({g_nStatFiller,
                               std::vector<std::complex<double>>(pmu.vecPhasor.size(), {fAbsent, fAbsent}), fAbsent,
                               fAbsent, std::vector<float>(pmu.vecAnalog.size(), fAbsent),
                               std::vector<std::uint16_t>(pmu.vecDigital.size(), 0)});
    return data;
}
