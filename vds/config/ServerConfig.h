#pragma once
#include "LinkSecurity.h"
#include "vds/base/IsoTime.h"
#include "vds/config/SynchrophasorConfig.h"
#include <cstdint>
#include <functional>
#include <set>
#include <string>

/// What the server needs to authenticate its peers.
struct SServerSecurity
{
    Norvik::Energy::Kestrel::Link::SLinkSecurity link; ///< strTokenFile is the application's
    std::string strOperatorTokenFile;
};

/// What the server takes from the configuration file.
struct SServerConfig
{
    std::string strAddr = "127.0.0.1";      ///< address to listen on
    unsigned nPortEvent = 0;                ///< for events and read channels; 0: chosen by the system
    unsigned nPortData = 0;                 ///< for output channels; 0: chosen by the system
    unsigned nReadSets = 1;                 ///< number of read sets that a replay waits for before it begins
    std::set<unsigned long> setMeasurement; ///< ids of the measurement channels among the output channels
    SServerSecurity security;
    SSynchrophasorConfig synchrophasors; ///< IEEE C37.118 streams, input and output
};

/// How the server runs.
struct SServerOptions
{
    double fSpeed = 1.0;      ///< multiple of real time; 0: as fast as the clients can receive
    bool bLive = false;       ///< never waits for a client; otherwise it waits and no data is lost
    bool bOnce = false;       ///< exits at the end of the source, once everything has been received
    std::string strLogDir;    ///< for events.jsonl and channels.jsonl; empty: no logs
    std::string strStateFile; ///< event state; empty: events do not survive a restart
    bool bLogMeasurements = false;
    unsigned nQuiet_ms = 500; ///< a client that has started a set gets data after this time without a message
    std::function<void(const std::string&)> fnLine = {}; ///< receives one message for the operator; empty: stdout
};
