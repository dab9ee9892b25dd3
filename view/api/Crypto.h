#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// OpenSSL in the forms that are needed here. Failures of the library throw std::runtime_error.

std::string RandomHex(std::size_t p_nBytes);
std::string HexOf(std::string_view p_strBytes);
/// @return false for a text that is no hexadecimal.
bool BytesOfHex(std::string_view p_strHex, std::string& r_strBytes);
std::string Sha256Hex(std::string_view p_strText);
std::string HmacSha256Hex(std::string_view p_strKey, std::string_view p_strText);
/// 32 bytes.
std::string Scrypt(std::string_view p_strPassword, std::string_view p_strSalt, std::uint64_t p_nN, std::uint64_t p_nR,
                   std::uint64_t p_nP);
