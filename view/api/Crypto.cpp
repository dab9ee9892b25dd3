#include "view/api/Crypto.h"
#include <array>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <stdexcept>

namespace
{
constexpr std::uint64_t g_nMaxMemory = 256U << 20U; ///< of one scrypt

const unsigned char* Bytes(std::string_view p_strText)
{
    return reinterpret_cast<const unsigned char*>(p_strText.data());
}
unsigned char* Bytes(std::string& r_strText)
{
    return reinterpret_cast<unsigned char*>(r_strText.data());
}
} // namespace

std::string HexOf(std::string_view p_strBytes)
{
    constexpr char pDigit[] = "0123456789abcdef";
    std::string strHex;
    for (const char nChar : p_strBytes)
    {
        strHex += pDigit[static_cast<unsigned char>(nChar) >> 4U];
        strHex += pDigit[static_cast<unsigned char>(nChar) & 15U];
    }
    return strHex;
}

bool BytesOfHex(std::string_view p_strHex, std::string& r_strBytes)
{
    r_strBytes.clear();
    const auto fnDigit = [](char p_nChar)
    {
        return p_nChar >= '0' && p_nChar <= '9'   ? p_nChar - '0'
               : p_nChar >= 'a' && p_nChar <= 'f' ? p_nChar - 'a' + 10
                                                  : -1;
    };
    for (std::size_t i = 0; i + 1 < p_strHex.size(); i += 2)
    {
        if (fnDigit(p_strHex[i]) < 0 || fnDigit(p_strHex[i + 1]) < 0)
            return false;
        r_strBytes += static_cast<char>(fnDigit(p_strHex[i]) * 16 + fnDigit(p_strHex[i + 1]));
    }
    return p_strHex.size() % 2 == 0;
}

std::string RandomHex(std::size_t p_nBytes)
{
    std::string strBytes(p_nBytes, '\0');
    if (RAND_bytes(Bytes(strBytes), static_cast<int>(p_nBytes)) != 1)
        throw std::runtime_error("no random numbers");
    return HexOf(strBytes);
}

std::string Sha256Hex(std::string_view p_strText)
{
    std::string strHash(EVP_MAX_MD_SIZE, '\0');
    unsigned nLength = 0;
    if (EVP_Digest(p_strText.data(), p_strText.size(), Bytes(strHash), &nLength, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 failed");
    strHash.resize(nLength);
    return HexOf(strHash);
}

std::string HmacSha256Hex(std::string_view p_strKey, std::string_view p_strText)
{
    std::string strHash(EVP_MAX_MD_SIZE, '\0');
    unsigned nLength = 0;
    if (HMAC(EVP_sha256(), p_strKey.data(), static_cast<int>(p_strKey.size()), Bytes(p_strText), p_strText.size(),
             Bytes(strHash), &nLength) == nullptr)
        throw std::runtime_error("HMAC failed");
    strHash.resize(nLength);
    return HexOf(strHash);
}

std::string Scrypt(std::string_view p_strPassword, std::string_view p_strSalt, std::uint64_t p_nN, std::uint64_t p_nR,
                   std::uint64_t p_nP)
{
    std::string strHash(32, '\0');
    if (EVP_PBE_scrypt(p_strPassword.data(), p_strPassword.size(), Bytes(p_strSalt), p_strSalt.size(), p_nN, p_nR, p_nP,
                       g_nMaxMemory, Bytes(strHash), strHash.size()) != 1)
        throw std::runtime_error("scrypt failed: expected other parameters");
    return strHash;
}
