#include "LinkSecurity.h"
#include <algorithm>
#include <boost/asio/ssl/context.hpp>
#include <cctype>
#include <fstream>
#include <openssl/crypto.h>
#include <openssl/ssl.h>
#include <stdexcept>

namespace ssl = boost::asio::ssl;

namespace Norvik::Energy::Kestrel::Link
{
namespace
{
constexpr std::size_t g_nMinToken = 16;
constexpr std::size_t g_nMaxToken = 256;

void Check(const boost::system::error_code& p_ec, const std::string& p_strFile, const char* p_pExpected)
{
    if (p_ec)
        throw std::runtime_error("file '" + p_strFile + "': expected " + p_pExpected + ": " + p_ec.message());
}

TTlsPtr MakeTls(const SLinkSecurity& p_security, ssl::context::method p_eMethod)
{
    auto pTls = std::make_shared<ssl::context>(p_eMethod);
    SSL_CTX* const pNative = pTls->native_handle();
    SSL_CTX_set_min_proto_version(pNative, TLS1_2_VERSION);
    SSL_CTX_set_options(pNative, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_NO_TICKET);
    SSL_CTX_set_num_tickets(pNative, 0);
    SSL_CTX_set_session_cache_mode(pNative, SSL_SESS_CACHE_OFF);
    boost::system::error_code ec;
    // There is nobody who could be asked for the password of a key.
    pTls->set_password_callback([](std::size_t, ssl::context::password_purpose) { return std::string(); }, ec);
    if (!p_security.strCAFile.empty())
    {
        pTls->load_verify_file(p_security.strCAFile, ec);
        Check(ec, p_security.strCAFile, "certificates of authorities (PEM)");
    }
    if (!p_security.strCertificateFile.empty())
    {
        pTls->use_certificate_chain_file(p_security.strCertificateFile, ec);
        Check(ec, p_security.strCertificateFile, "a certificate (PEM)");
        pTls->use_private_key_file(p_security.strKeyFile, ssl::context::pem, ec);
        Check(ec, p_security.strKeyFile, "the private key of the certificate (PEM, without a password)");
    }
    return pTls;
}
} // namespace

void InitTls()
{
    if (OPENSSL_init_ssl(0, nullptr) != 1)
        throw std::runtime_error(g_strTls + "the library could not be initialised");
}

TTlsPtr ServerTls(const SLinkSecurity& p_security)
{
    TTlsPtr pTls = MakeTls(p_security, ssl::context::tls_server);
    // A peer may present a token instead of a certificate; one that presents an invalid certificate is refused.
    pTls->set_verify_mode(p_security.strCAFile.empty() ? ssl::verify_none : ssl::verify_peer);
    return pTls;
}

TTlsPtr ClientTls(const SLinkSecurity& p_security)
{
    TTlsPtr pTls = MakeTls(p_security, ssl::context::tls_client);
    pTls->set_verify_mode(ssl::verify_peer);
    return pTls;
}

std::string ReadToken(const std::string& p_strFile)
{
    std::ifstream file(p_strFile, std::ios::binary);
    if (!file)
        throw std::runtime_error("file '" + p_strFile + "': cannot be read, expected a token");
    std::string strToken(g_nMaxToken + 2, '\0');
    file.read(strToken.data(), static_cast<std::streamsize>(strToken.size()));
    strToken.resize(static_cast<std::size_t>(file.gcount()));
    strToken.resize(std::min(strToken.find_first_of("\r\n"), strToken.size()));
    const bool bPlain =
        std::all_of(strToken.begin(), strToken.end(), [](unsigned char p_n) { return std::isgraph(p_n) != 0; });
    if (!bPlain || strToken.size() < g_nMinToken || strToken.size() > g_nMaxToken)
        throw std::runtime_error("file '" + p_strFile + "': expected a token of " + std::to_string(g_nMinToken) +
                                 " to " + std::to_string(g_nMaxToken) + " characters without blanks in its first line");
    return strToken;
}

bool IsSameSecret(const std::string& p_strOne, const std::string& p_strTwo)
{
    return p_strOne.size() == p_strTwo.size() && CRYPTO_memcmp(p_strOne.data(), p_strTwo.data(), p_strOne.size()) == 0;
}

bool IsRefusal(const std::string& p_strReason)
{
    return p_strReason.rfind(g_strRefused, 0) == 0 || p_strReason.rfind(g_strTls, 0) == 0;
}
} // namespace Norvik::Energy::Kestrel::Link
