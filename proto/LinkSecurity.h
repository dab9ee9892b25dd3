#pragma once
#include <memory>
#include <string>

namespace boost::asio::ssl
{
class context;
}

namespace Norvik::Energy::Kestrel::Link
{
/// How one side of the link is secured: file names, empty where not given. A side without security uses plain text, and
/// only on this machine.
struct SLinkSecurity
{
    bool bOn = false;
    std::string strCAFile;          ///< PEM; used to verify the peer's certificate
    std::string strCertificateFile; ///< PEM, own certificate followed by its chain
    std::string strKeyFile;         ///< PEM, its private key
    std::string strTokenFile;       ///< text, 16 to 256 characters
};

/// What the peer of a stream has presented.
struct SLinkPeer
{
    bool bTls = false;
    bool bCertificate = false; ///< verified
    std::string strName;       ///< its common name
    bool bOperator = false;    ///< its organizational unit is "operator"
};

using TTlsPtr = std::shared_ptr<boost::asio::ssl::context>;

/// Initialises the TLS library now. Its exit handler then runs after those registered later.
void InitTls();

/// TLS 1.2 or later, without resumption: each handshake verifies the peer again.
/// @throws std::runtime_error with one line that names the file.
TTlsPtr ServerTls(const SLinkSecurity& p_security);
TTlsPtr ClientTls(const SLinkSecurity& p_security);

/// The first line of a file. @throws std::runtime_error that names the file, never its contents.
std::string ReadToken(const std::string& p_strFile);
/// Takes the same time wherever the texts differ.
bool IsSameSecret(const std::string& p_strOne, const std::string& p_strTwo);

/// Whether a stream closed because one side does not accept the other. Retrying at once is then useless.
bool IsRefusal(const std::string& p_strReason);
inline const std::string g_strRefused = "refused: ";
inline const std::string g_strTls = "TLS: ";
} // namespace Norvik::Energy::Kestrel::Link
