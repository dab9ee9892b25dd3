#pragma once
#include "view/notice/Notice.h"

// By libcurl.

/// POST of the body. With a secret the header X-Oma-Signature has "sha256=" and its HMAC-SHA-256 in hexadecimal.
void SendWebhook(const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice);
/// To another machine over TLS only.
void SendEmail(const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice);
/// The mail with its head, lines ended by CR LF.
std::string MailText(const Norvik::Energy::Kestrel::VDS::Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice,
                     std::int64_t p_nNow_ms);
/// First line of a file. @throws std::runtime_error that names the file, never what it holds.
std::string ReadSecret(const std::string& p_strFile);
