#pragma once
#include <string>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
/// Security settings for the connections of this process: file names, empty if not set.
struct SSecurity
{
    bool bOn = false;               ///< TLS; otherwise plain text, restricted to this machine
    std::string strCAFile;          ///< CA for verifying the server's certificate
    std::string strCertificateFile; ///< the client's own certificate, with its key
    std::string strKeyFile;
    std::string strTokenFile; ///< token, sent after the server has been authenticated
};

/// Applies to every connection made from now on, including reconnects. The files are read anew each time.
void SetSecurity(const SSecurity& p_security);
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
