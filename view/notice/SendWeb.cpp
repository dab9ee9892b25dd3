#include "view/notice/SendWeb.h"
#include "view/api/Crypto.h"
#include "view/state/ViewTime.h"
#include <algorithm>
#include <chrono>
#include <curl/curl.h>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace Runtime = Norvik::Energy::Kestrel::VDS::Runtime;

namespace
{
constexpr long g_nConnect_ms = 5000;
constexpr long g_nWhole_ms = 15000;

struct SCurlFree
{
    void operator()(CURL* p_pCurl) const { curl_easy_cleanup(p_pCurl); }
    void operator()(curl_slist* p_pList) const { curl_slist_free_all(p_pList); }
};
using TCurlPtr = std::unique_ptr<CURL, SCurlFree>;
using TListPtr = std::unique_ptr<curl_slist, SCurlFree>;

std::size_t Ignore(char*, std::size_t p_nSize, std::size_t p_nCount, void*)
{
    return p_nSize * p_nCount;
}

TCurlPtr MakeCurl(const Runtime::CReceiverConfig& p_receiver, const char* p_pProtocols)
{
    static const CURLcode s_eInit = curl_global_init(CURL_GLOBAL_DEFAULT);
    TCurlPtr pCurl(curl_easy_init());
    if (s_eInit != CURLE_OK || !pCurl)
        throw std::runtime_error("libcurl does not start");
    CURL* const p = pCurl.get();
    curl_easy_setopt(p, CURLOPT_URL, p_receiver.Url().c_str());
    curl_easy_setopt(p, CURLOPT_PROTOCOLS_STR, p_pProtocols);
    curl_easy_setopt(p, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(p, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    curl_easy_setopt(p, CURLOPT_CONNECTTIMEOUT_MS, g_nConnect_ms);
    curl_easy_setopt(p, CURLOPT_TIMEOUT_MS, g_nWhole_ms);
    curl_easy_setopt(p, CURLOPT_WRITEFUNCTION, Ignore);
    if (!p_receiver.CAFile().empty())
        curl_easy_setopt(p, CURLOPT_CAINFO, p_receiver.CAFile().c_str());
    return pCurl;
}

void Add(TListPtr& r_pList, const std::string& p_strLine)
{
    curl_slist* const pNew = curl_slist_append(r_pList.get(), p_strLine.c_str());
    if (!pNew)
        throw std::runtime_error("no memory");
    static_cast<void>(r_pList.release());
    r_pList.reset(pNew);
}

void Perform(const TCurlPtr& p_pCurl)
{
    char pText[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(p_pCurl.get(), CURLOPT_ERRORBUFFER, pText);
    const CURLcode eCode = curl_easy_perform(p_pCurl.get());
    curl_easy_setopt(p_pCurl.get(), CURLOPT_ERRORBUFFER, nullptr);
    if (eCode != CURLE_OK)
        throw std::runtime_error(pText[0] != '\0' ? pText : curl_easy_strerror(eCode));
}

/// Nothing in a head may begin another line of it.
std::string HeadText(std::string p_strText)
{
    for (char& nChar : p_strText)
        nChar = static_cast<unsigned char>(nChar) < 0x20 || nChar == 0x7F || (nChar & 0x80) != 0 ? '?' : nChar;
    return p_strText.substr(0, 200);
}

bool IsOnThisMachine(const std::string& p_strUrl)
{
    const std::size_t nHost = p_strUrl.find("://") + 3;
    const std::string strHost = p_strUrl.substr(nHost, p_strUrl.find_first_of(":/", nHost) - nHost);
    return strHost == "localhost" || strHost.starts_with("127.") || p_strUrl.find("://[::1]") != std::string::npos;
}

struct SUpload
{
    const std::string& strText;
    std::size_t nSent = 0;
    static std::size_t Read(char* p_pBuffer, std::size_t p_nSize, std::size_t p_nCount, void* p_pUpload)
    {
        auto& upload = *static_cast<SUpload*>(p_pUpload);
        const std::size_t nBytes = std::min(p_nSize * p_nCount, upload.strText.size() - upload.nSent);
        std::copy_n(upload.strText.data() + upload.nSent, nBytes, p_pBuffer);
        upload.nSent += nBytes;
        return nBytes;
    }
};
} // namespace

std::string ReadSecret(const std::string& p_strFile)
{
    std::ifstream file(p_strFile);
    std::string strSecret;
    if (!file || !std::getline(file, strSecret) || strSecret.empty() || strSecret.size() > 1024)
        throw std::runtime_error("file '" + p_strFile + "': expected a secret in its first line");
    if (strSecret.back() == '\r')
        strSecret.pop_back();
    return strSecret;
}

void SendWebhook(const Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice)
{
    const TCurlPtr pCurl = MakeCurl(p_receiver, "http,https");
    TListPtr pList;
    Add(pList, "Content-Type: application/json");
    Add(pList, "X-Oma-Notice: " + std::to_string(p_notice.nId));
    Add(pList, "Expect:");
    if (!p_receiver.SecretFile().empty())
        Add(pList, "X-Oma-Signature: sha256=" + HmacSha256Hex(ReadSecret(p_receiver.SecretFile()), p_notice.strBody));
    curl_easy_setopt(pCurl.get(), CURLOPT_HTTPHEADER, pList.get());
    curl_easy_setopt(pCurl.get(), CURLOPT_POSTFIELDS, p_notice.strBody.c_str());
    curl_easy_setopt(pCurl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(p_notice.strBody.size()));
    Perform(pCurl);
    long nStatus = 0;
    curl_easy_getinfo(pCurl.get(), CURLINFO_RESPONSE_CODE, &nStatus);
    if (nStatus < 200 || nStatus > 299)
        throw std::runtime_error("the receiver answers with status " + std::to_string(nStatus));
}

std::string MailText(const Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice, std::int64_t p_nNow_ms)
{
    const boost::json::object body = boost::json::parse(p_notice.strBody).as_object();
    const auto fnText = [&](const char* p_pName)
    {
        const boost::json::value* pValue = body.if_contains(p_pName);
        return !pValue               ? std::string()
               : pValue->is_string() ? std::string(pValue->as_string())
                                     : boost::json::serialize(*pValue);
    };
    const std::time_t nTime = p_nNow_ms / 1000;
    std::tm tm{};
    gmtime_r(&nTime, &tm);
    char pDate[80];
    std::strftime(pDate, sizeof pDate, "%a, %d %b %Y %H:%M:%S +0000", &tm);
    std::string strText =
        std::string("Date: ") + pDate + "\r\nFrom: <" + HeadText(p_receiver.From()) + ">\r\nTo: <" +
        HeadText(p_receiver.To()) + ">\r\nSubject: " +
        HeadText(fnText("what") + ": " + fnText("level_text") + ", " + fnText("job_name") + " " + fnText("mode_name")) +
        "\r\nMessage-ID: <" + std::to_string(p_notice.nId) + "." + std::to_string(p_nNow_ms) +
        "@omaview>\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
        "Content-Transfer-Encoding: 8bit\r\n\r\n";
    for (const auto& entry : body)
    {
        std::string strValue = fnText(std::string(entry.key()).c_str());
        if (entry.key().ends_with("_ms") && entry.value().is_int64())
            strValue = IsoFromMs(entry.value().as_int64());
        std::replace_if(
            strValue.begin(), strValue.end(), [](unsigned char p_nChar) { return p_nChar < 0x20; }, ' ');
        strText += std::string(entry.key()) + ": " + strValue + "\r\n";
    }
    return strText;
}

void SendEmail(const Runtime::CReceiverConfig& p_receiver, const SNotice& p_notice)
{
    const TCurlPtr pCurl = MakeCurl(p_receiver, "smtp,smtps");
    const std::string strMail = MailText(p_receiver, p_notice, WallMs());
    SUpload upload{strMail};
    TListPtr pTo;
    Add(pTo, "<" + p_receiver.To() + ">");
    curl_easy_setopt(pCurl.get(), CURLOPT_MAIL_FROM, ("<" + p_receiver.From() + ">").c_str());
    curl_easy_setopt(pCurl.get(), CURLOPT_MAIL_RCPT, pTo.get());
    curl_easy_setopt(pCurl.get(), CURLOPT_USE_SSL,
                     static_cast<long>(IsOnThisMachine(p_receiver.Url()) ? CURLUSESSL_TRY : CURLUSESSL_ALL));
    if (!p_receiver.User().empty())
        curl_easy_setopt(pCurl.get(), CURLOPT_USERNAME, p_receiver.User().c_str());
    if (!p_receiver.SecretFile().empty())
        curl_easy_setopt(pCurl.get(), CURLOPT_PASSWORD, ReadSecret(p_receiver.SecretFile()).c_str());
    curl_easy_setopt(pCurl.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(pCurl.get(), CURLOPT_READFUNCTION, SUpload::Read);
    curl_easy_setopt(pCurl.get(), CURLOPT_READDATA, &upload);
    Perform(pCurl);
}
