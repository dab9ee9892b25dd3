#pragma once
#include "LinkSecurity.h"
#include "vds/base/IsoTime.h"
#include "vds/config/SynchrophasorConfig.h"
#include <cstdint>
#include <functional>
#include <set>
#include <string>

/// What the server needs to know to tell its peers apart.
struct SServerSecurity
{
    Norvik::Energy::Kestrel::Link::SLinkSecurity link; ///< strTokenFile is that of the application
    std::string strOperatorTokenFile;
};

/// What the server takes from the configuration file.
struct SServerConfig
{
    std::string strAddr = "127.0.0.1";      ///< address to listen on
    unsigned nPortEvent = 0;                ///< events and read channels; 0: chosen by the system
    unsigned nPortData = 0;                 ///< output channels; 0: chosen by the system
    unsigned nReadSets = 1;                 ///< read sets that a replay waits for before it begins
    std::set<unsigned long> setMeasurement; ///< ids of the measurement channels among the output channels
    SServerSecurity security;
    SSynchrophasorConfig synchrophasors; ///< streams of IEEE C37.118, in and out
};

/// How the server runs.
struct SServerOptions
{
    double fSpeed = 1.0;      ///< times wall clock; 0: as fast as the clients take it
    bool bLive = false;       ///< never waits for a client; otherwise nothing is lost
    bool bOnce = false;       ///< ends at the end of the source, when all has been taken
    std::string strLogDir;    ///< of events.jsonl and channels.jsonl; empty: none
    std::string strStateFile; ///< of the events; empty: they do not survive
    bool bLogMeasurements = false;
    unsigned nQuiet_ms = 500; ///< a client that has started a set is given data after this time without a message
    std::function<void(const std::string&)> fnLine = {}; ///< one line for the operator; empty: stdout
};
