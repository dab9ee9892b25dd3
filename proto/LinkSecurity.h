#pragma once
#include <memory>
#include <string>

namespace boost::asio::ssl
{
class context;
}

namespace Norvik::Energy::Kestrel::Link
{
/// How one side of the link is secured: names of files, empty where not given. A side without it speaks plain text,
/// and only on this machine.
struct SLinkSecurity
{
    bool bOn = false;
    std::string strCAFile;          ///< PEM; what the peer's certificate is held against
    std::string strCertificateFile; ///< PEM, own certificate with the chain behind it
    std::string strKeyFile;         ///< PEM, its private key
    std::string strTokenFile;       ///< text, 16 to 256 characters
};

/// What the peer of a stream has shown of itself.
struct SLinkPeer
{
    bool bTls = false;
    bool bCertificate = false; ///< one that has been verified
    std::string strName;       ///< its common name
    bool bOperator = false;    ///< its organizational unit is "operator"
};

using TTlsPtr = std::shared_ptr<boost::asio::ssl::context>;

/// Readies the TLS library now. It cleans up behind everything that has asked to be ended at exit after this call.
void InitTls();

/// TLS 1.2 or later, without resumption: each handshake proves anew who the peer is.
/// @throws std::runtime_error with one line that names the file.
TTlsPtr ServerTls(const SLinkSecurity& p_security);
TTlsPtr ClientTls(const SLinkSecurity& p_security);

/// The first line of a file. @throws std::runtime_error that names the file, never what it holds.
std::string ReadToken(const std::string& p_strFile);
/// Takes the same time wherever the two differ.
bool IsSameSecret(const std::string& p_strOne, const std::string& p_strTwo);

/// Whether a stream has closed because one side does not accept the other. To try again at once is of no use then.
bool IsRefusal(const std::string& p_strReason);
inline const std::string g_strRefused = "refused: ";
inline const std::string g_strTls = "TLS: ";
} // namespace Norvik::Energy::Kestrel::Link
