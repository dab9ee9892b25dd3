#pragma once
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// How the connections of this process are secured: names of files, empty where not given.
struct SSecurity
{
    bool bOn = false;               ///< TLS; otherwise plain text, to this machine only
    std::string strCAFile;          ///< what the server's certificate is held against
    std::string strCertificateFile; ///< the client's own, with its key
    std::string strKeyFile;
    std::string strTokenFile; ///< sent when the server has proved who it is
};

/// Holds for each connection that is made from now on, also for those that are made again after a loss. The files are
/// read at each of these times.
void SetSecurity(const SSecurity& p_security);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
