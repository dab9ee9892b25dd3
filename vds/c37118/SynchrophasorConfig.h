#pragma once
#include <cstdint>
#include <string>
#include <vector>

// What the configuration file says of the streams of IEEE C37.118; defaults and limits are those of its schema.

enum class ETransport
{
    eTcp,        ///< commands and data over TCP
    eUdp,        ///< commands and data over UDP
    eTcpUdp,     ///< commands over TCP, data over UDP
    eSpontaneous ///< data over UDP, no commands
};

/// A phasor of a stream and the datapoint that it becomes.
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
    std::uint16_t nUdpPort = 0; ///< eUdp: of the device; eTcpUdp, eSpontaneous: our own
    ETransport eTransport = ETransport::eTcp;
    std::uint16_t nStreamId = 0;
    bool bRoundToGrid = false;
    std::vector<SStreamPhasor> vecPhasor;
};

/// A stream of the results.
struct SOutputStreamConfig
{
    std::string strName;
    std::string strListen = "127.0.0.1";
    std::uint16_t nPort = 0;    ///< 0: no TCP
    std::uint16_t nUdpPort = 0; ///< 0: no UDP
    std::uint16_t nStreamId = 1;
    unsigned nNominal_Hz = 50;
    std::int32_t nRate = 1; ///< frames a second, or -n
};

struct SSynchrophasorConfig
{
    std::int32_t nRate = 50; ///< grid of the cycles: cycles a second, or -n
    unsigned nMaxWait_ms = 200;
    std::uint8_t nClockQualityLimit = 8; ///< worst clock quality of valid samples
    int nUnlockedLimit_s = 10;           ///< 0, 10, 100, 1000: invalid from there on; -1: never
    std::vector<SStreamConfig> vecStream;
    std::vector<SOutputStreamConfig> vecOutput;
};
