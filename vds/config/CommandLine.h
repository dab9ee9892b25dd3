#pragma once
#include "vds/config/ServerConfig.h"
#include <cstdint>
#include <string>
#include <vector>

/// The command line of the server.
struct SVdsCommand
{
    std::string strConfig;
    std::string strSource; ///< scenario or recording; empty: the streams of the configuration
    bool bReplay = false;
    bool bPaced = false;     ///< a speed was given
    std::string strListen;   ///< empty: not given
    std::int64_t nStart = 0; ///< ticks; 0: not given
    SServerOptions options;
};

extern const char* const g_pVdsUsage;

/// @throws std::runtime_error with one line that names the option and what was expected.
SVdsCommand ParseVdsCommand(const std::vector<std::string>& p_vecstrArg);

/// Reads the server's part of the configuration. @throws std::runtime_error that names the file and what was expected.
SServerConfig ReadServerConfig(const std::string& p_strPath, const std::string& p_strListen);

/// Reads what an operator's tool needs from the same file. @throws as above.
Norvik::Energy::Kestrel::Link::SLinkSecurity ReadClientSecurity(const std::string& p_strPath);

/// The program vdsctl. @return its exit status; a failure prints one line on stderr.
int RunVdsCtl(const std::vector<std::string>& p_vecstrArg);
