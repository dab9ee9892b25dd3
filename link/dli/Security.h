#pragma once
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// How the connections of this process are secured. File names are empty where not given.
struct SSecurity
{
    bool bOn = false;               ///< use TLS; otherwise plain text, only to this machine
    std::string strCAFile;          ///< used to verify the server's certificate
    std::string strCertificateFile; ///< the client's own certificate, with its key
    std::string strKeyFile;
    std::string strTokenFile; ///< sent once the server has proved its identity
};

/// Applies to every connection made from now on, including reconnections. The files are read again each time.
void SetSecurity(const SSecurity& p_security);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
