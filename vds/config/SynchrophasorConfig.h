#pragma once
#include <cstdint>
#include <string>
#include <vector>

// The configuration of the IEEE C37.118 streams; defaults and limits are those of its schema.

enum class ETransport
{
    eTcp,        ///< commands and data over TCP
    eUdp,        ///< commands and data over UDP
    eTcpUdp,     ///< commands over TCP, data over UDP
    eSpontaneous ///< data over UDP, no commands
};

/// A phasor of a stream and the datapoint it is mapped to.
struct SStreamPhasor
{
    std::uint16_t nPmu = 0; ///< IDCODE of its PMU; 0: the first PMU that has the name
    std::string strName;
    unsigned long nDatapoint = 0;
};

/// A stream that the server takes samples from.
struct SStreamConfig
{
    std::string strName;
    std::string strHost; ///< eSpontaneous: the sender, a multicast group, or empty
    std::uint16_t nPort = 4712;
    std::uint16_t nUdpPort = 0; ///< eUdp: the device's port; eTcpUdp, eSpontaneous: our own port
    ETransport eTransport = ETransport::eTcp;
    std::uint16_t nStreamId = 0;
    bool bRoundToGrid = false;
    std::vector<SStreamPhasor> vecPhasor;
};

/// What a PMU of an output stream represents.
enum class EOutputPmu
{
    eMode, ///< a swing mode: frequency, magnitude, damping ratio, degree of exposure, level of its event
    eJob,  ///< a job: its actual value
    eUnit  ///< a measurement unit: phasors of the source
};

/// A channel or a phasor of a PMU of an output stream.
struct SOutputChannel
{
    std::uint64_t nId = 0;    ///< id of the datapoint
    std::string strName = {}; ///< eUnit only
    bool bCurrent = false;    ///< eUnit only
};

struct SOutputPmu
{
    EOutputPmu eKind = EOutputPmu::eMode;
    std::uint64_t nElement = 0; ///< id of the mode, job or unit
    std::string strName;        ///< of the job or unit
    float fMin_Hz = 0.0F;       ///< eMode: its range
    float fMax_Hz = 0.0F;
    bool bPower = true; ///< values in W; otherwise in degrees
    std::vector<SOutputChannel> vecChannel;
};

/// A stream that the server offers.
struct SOutputStreamConfig
{
    std::string strName;
    std::string strListen = "127.0.0.1";
    std::uint16_t nPort = 0;    ///< 0: no TCP
    std::uint16_t nUdpPort = 0; ///< 0: no UDP
    std::uint16_t nStreamId = 1;
    unsigned nNominal_Hz = 50;
    std::int32_t nRate = 0; ///< frames per second, or -n; 0: 1 for results, the source's rate for phasors
    bool bPhasors = false;
    unsigned nWait_ms = 500;     ///< how long results for the time of a frame are waited for
    unsigned nUdpExpiry_s = 600; ///< 0: never
    std::vector<SOutputPmu> vecPmu;
};

struct SSynchrophasorConfig
{
    std::int32_t nRate = 50; ///< grid of the cycles: cycles per second, or -n
    unsigned nMaxWait_ms = 200;
    std::uint8_t nClockQualityLimit = 8; ///< worst clock quality of valid samples
    int nUnlockedLimit_s = 10;           ///< 0, 10, 100, 1000: invalid from this time on; -1: never invalid
    std::vector<SStreamConfig> vecStream;
    std::vector<SOutputStreamConfig> vecOutput;
};
