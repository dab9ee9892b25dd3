#pragma once
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

// The frames of IEEE C37.118 as the server uses them: values in V, A, Hz and radians, names without padding. Details of
// the coding (integer or float, rectangular or polar) are in the configuration of the PMU.

enum EFrameType : std::uint8_t
{
    eFrameData = 0,
    eFrameHeader = 1,
    eFrameCfg1 = 2,
    eFrameCfg2 = 3,
    eFrameCommand = 4,
    eFrameCfg3 = 5
};
constexpr std::size_t g_nFrameTypes = 6;

enum ECommand : std::uint16_t
{
    eCommandDataOff = 1,
    eCommandDataOn = 2,
    eCommandHeader = 3,
    eCommandCfg1 = 4,
    eCommandCfg2 = 5,
    eCommandCfg3 = 6,
    eCommandExtended = 8
};

/// Bits of STAT.
constexpr std::uint16_t g_nStatErrorMask =
    0xC000; ///< 0 good, 0x4000 no information, 0x8000 test or filler, 0xC000 error
constexpr std::uint16_t g_nStatFiller = 0x8000;
constexpr std::uint16_t g_nStatError = 0xC000;
constexpr std::uint16_t g_nStatSyncLost = 0x2000;
constexpr std::uint16_t g_nStatSortArrival = 0x1000;
constexpr std::uint16_t g_nStatTrigger = 0x0800;
constexpr std::uint16_t g_nStatConfigChange = 0x0400;

constexpr std::size_t g_nFrameMin = 16; ///< size in bytes of a frame without a body
constexpr std::size_t g_nFrameMax = 65535;
constexpr std::uint8_t g_nClockFailed = 0xF; ///< clock quality: the time is unusable

/// What every frame starts with.
struct SFrameHead
{
    EFrameType eType = eFrameData;
    std::uint8_t nVersion = 1;     ///< 1: 2005, 2: 2011. Only the low four bits are sent
    std::uint16_t nIdCode = 0;     ///< of the stream
    std::uint32_t nSoc = 0;        ///< s since 1970-01-01 UTC
    std::uint32_t nFraction = 0;   ///< in units of 1 / TIME_BASE, 24 bits
    std::uint8_t nTimeQuality = 0; ///< leap second bits and, in the low four bits, the clock quality

    std::uint8_t ClockQuality() const { return nTimeQuality & 0xFU; }
};

struct SPhasorConfig
{
    std::string strName;
    bool bCurrent = false;
    std::uint32_t nUnit = 1; ///< CFG-1/2: units of 1e-5 V or A per count of integer phasors, 24 bits
    double fScale = 1e-5;    ///< V or A per count of integer phasors: nUnit * 1e-5, or the factor of CFG-3
    // ---- CFG-3 only ----
    std::uint16_t nModified = 0; ///< modification flags
    std::uint8_t nComponent = 0; ///< bits 2-0 of the kind: 0, 1, 2 zero, positive, negative sequence; 4, 5, 6 A, B, C
    std::uint8_t nUser = 0;      ///< user flags
    /// Subtracted from each received angle: X' = Y Xm e^j(phi - theta), C37.118.2-2011, table 11.
    float fAngleOffset_rad = 0.0;
    /// Y of floating-point phasors. They are in V and A already, so Y should be 1 and is sent as 1; a received Y that
    /// cannot be a factor (0, negative, not finite) counts as 1. The value in the frame is kept in fScale.
    float fFloatFactor = 1.0F;

    void SetUnit(std::uint32_t p_nUnit)
    {
        nUnit = p_nUnit;
        fScale = p_nUnit * 1e-5;
    }
};

/// The value of an analog is the one in the frame, times the factor plus the offset of CFG-3. The scale of CFG-1/2 is
/// user-defined and not applied.
struct SAnalogConfig
{
    std::string strName;
    std::uint8_t nType = 0;  ///< 0 point on wave, 1 RMS, 2 peak, 65 to 255 user-defined
    std::int32_t nScale = 1; ///< CFG-1/2, 24 bits, user-defined
    float fFactor = 1.0F;    ///< CFG-3
    float fOffset = 0.0F;    ///< CFG-3
};

struct SDigitalConfig
{
    std::array<std::string, 16> vecstrLabel; ///< first one: bit 0
    std::uint16_t nNormal = 0;
    std::uint16_t nMask = 0xFFFF; ///< inputs in use
};

/// One PMU of a configuration frame.
struct SPmuConfig
{
    static constexpr float g_fNotGiven = std::numeric_limits<float>::infinity();

    std::string strStation;
    std::uint16_t nIdCode = 0;
    bool bFreqFloat = true;
    bool bAnalogFloat = true;
    bool bPhasorFloat = true;
    bool bPolar = false;
    std::vector<SPhasorConfig> vecPhasor;
    std::vector<SAnalogConfig> vecAnalog;
    std::vector<SDigitalConfig> vecDigital;
    bool bNominal50 = true; ///< false: 60 Hz
    std::uint16_t nCfgCnt = 0;
    // ---- CFG-3 only ----
    std::array<std::uint8_t, 16> vecnGlobalId{};
    float fLatitude_deg = g_fNotGiven;
    float fLongitude_deg = g_fNotGiven;
    float fElevation_m = g_fNotGiven;
    char cServiceClass = 'M'; ///< M measurement, P protection
    std::int32_t nWindow_us = 0;
    std::int32_t nGroupDelay_us = 0;

    double Nominal_Hz() const { return bNominal50 ? 50.0 : 60.0; }
};

struct SConfigFrame
{
    SFrameHead head;                   ///< eType says which of the three forms it is
    std::uint32_t nTimeBase = 1000000; ///< 24 bits, not 0
    std::vector<SPmuConfig> vecPmu;
    std::int16_t nDataRate = 50; ///< frames per second, or -n: one every n seconds; not 0
};

/// Values of one PMU. NaN: no value.
struct SPmuData
{
    std::uint16_t nStat = 0;
    std::vector<std::complex<double>> vecPhasor; ///< V or A, RMS
    float fFreq_Hz = 0.0F;
    float fRocof_HzPerS = 0.0F;
    std::vector<float> vecfAnalog;
    std::vector<std::uint16_t> vecnDigital;
};

struct SDataFrame
{
    SFrameHead head;
    std::vector<SPmuData> vecPmu; ///< in the order of the configuration
};

struct SHeaderFrame
{
    SFrameHead head;
    std::string strText;
};

struct SCommandFrame
{
    SFrameHead head;
    std::uint16_t nCommand = 0; ///< ECommand, or an unknown one
    std::vector<std::uint8_t> vecnExtended;
};

/// Size in bytes of a data frame of this configuration; if it exceeds g_nFrameMax, such a frame cannot exist.
std::size_t DataFrameSize(const SConfigFrame& p_config);

/// Time of a frame, ticks of 100 ns since 0001-01-01 UTC. @param p_nTimeBase of the configuration; 0 counts as 1.
std::int64_t FrameTicks(const SFrameHead& p_head, std::uint32_t p_nTimeBase);
/// Sets SOC and fraction. Times outside 1970 to 2106 are clamped.
void SetFrameTicks(SFrameHead& r_head, std::int64_t p_nTicks, std::uint32_t p_nTimeBase);
