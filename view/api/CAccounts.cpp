#include "view/api/CAccounts.h"
#include "LinkSecurity.h"
#include "view/api/Crypto.h"
#include <algorithm>
#include <charconv>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace
{
constexpr auto g_tSession = std::chrono::hours(12);
constexpr std::size_t g_nMaxSessions = 1000;
constexpr std::size_t g_nMaxPassword = 1024;
constexpr std::size_t g_nMaxPeers = 10000;
constexpr auto g_tTry = std::chrono::seconds(6);
constexpr int g_nTries = 10;
constexpr auto g_tAllTry = std::chrono::milliseconds(500);
constexpr int g_nAllTries = 100;
constexpr const char* g_pCookie = "omaview=";
// 32 MB and a tenth of a second for a try.
constexpr std::uint64_t g_nN = 32768;
constexpr std::uint64_t g_nR = 8;
constexpr std::uint64_t g_nP = 1;

std::vector<std::string> Split(const std::string& p_strText, char p_nSeparator)
{
    std::vector<std::string> vecstrPart;
    std::size_t nBegin = 0;
    for (std::size_t nEnd = 0; nEnd != std::string::npos; nBegin = nEnd + 1)
    {
        nEnd = p_strText.find(p_nSeparator, nBegin);
        vecstrPart.push_back(p_strText.substr(nBegin, nEnd - nBegin));
    }
    return vecstrPart;
}

EViewRole RoleOf(const std::string& p_strRole)
{
    return p_strRole == "viewer"     ? EViewRole::eViewer
           : p_strRole == "operator" ? EViewRole::eOperator
                                     : EViewRole::eNone;
}

std::uint64_t Number(const std::string& p_strText)
{
    std::uint64_t nValue = 0;
    std::from_chars(p_strText.data(), p_strText.data() + p_strText.size(), nValue);
    return nValue;
}

void CheckLine(const std::string& p_strName, const std::string& p_strRole)
{
    const bool bPlain = std::all_of(p_strName.begin(), p_strName.end(),
                                    [](unsigned char p_nChar)
                                    { return p_nChar > 0x20 && p_nChar != 0x7F && p_nChar != ':' && p_nChar != '#'; });
    if (p_strName.empty() || p_strName.size() > 100 || !bPlain)
        throw std::runtime_error("name '" + p_strName + "': expected 1 to 100 characters without blanks, ':' and '#'");
    if (RoleOf(p_strRole) == EViewRole::eNone)
        throw std::runtime_error("role '" + p_strRole + "': expected viewer or operator");
}

/// Takes as long for a secret that is none.
bool IsPassword(const std::string& p_strSecret, const std::string& p_strPassword)
{
    const std::vector<std::string> vecstrPart = Split(p_strSecret, '$');
    const bool bWhole = vecstrPart.size() == 6 && vecstrPart[0] == "scrypt";
    std::string strSalt = "0000000000000000";
    if (bWhole)
        BytesOfHex(vecstrPart[4], strSalt);
    const std::string strHash =
        bWhole
            ? HexOf(Scrypt(p_strPassword, strSalt, Number(vecstrPart[1]), Number(vecstrPart[2]), Number(vecstrPart[3])))
            : HexOf(Scrypt(p_strPassword, strSalt, g_nN, g_nR, g_nP));
    return bWhole && Norvik::Energy::Kestrel::Link::IsSameSecret(strHash, vecstrPart[5]);
}
} // namespace

const char* RoleText(EViewRole p_eRole)
{
    constexpr const char* ppText[] = {"none", "viewer", "operator"};
    return ppText[static_cast<int>(p_eRole)];
}

CAccounts::CAccounts() : m_strCsrf(RandomHex(16)) {}

void CAccounts::Open(const std::string& p_strFile)
{
    std::ifstream file(p_strFile);
    if (!file)
        throw std::runtime_error("file '" + p_strFile + "': cannot be opened, expected a file of users");
    m_bRequired = true;
    int nLine = 0;
    for (std::string strLine; std::getline(file, strLine);)
    {
        ++nLine;
        if (strLine.empty() || strLine[0] == '#')
            continue;
        const std::vector<std::string> vecstrPart = Split(strLine, ':');
        const std::vector<std::string> vecstrSecret = Split(vecstrPart.back(), '$');
        const bool bToken = vecstrSecret.size() == 2 && vecstrSecret[0] == "token" && vecstrSecret[1].size() == 64;
        const bool bScrypt = vecstrSecret.size() == 6 && vecstrSecret[0] == "scrypt";
        if (vecstrPart.size() != 3 || vecstrPart[0].empty() || RoleOf(vecstrPart[1]) == EViewRole::eNone ||
            (!bToken && !bScrypt))
            throw std::runtime_error(p_strFile + ":" + std::to_string(nLine) +
                                     ": expected name:role:secret as omaview --add-user makes it");
        m_mapAccount[vecstrPart[0]] = {RoleOf(vecstrPart[1]), vecstrPart[2]};
        if (bToken)
            m_mapMachine[vecstrSecret[1]] = vecstrPart[0];
    }
    if (m_mapAccount.empty())
        throw std::runtime_error("file '" + p_strFile + "': expected at least one user");
}

SViewUser CAccounts::UserOf(const SHttpRequest& p_request, TTime p_tNow)
{
    if (!m_bRequired)
        return {"operator", EViewRole::eOperator, m_strCsrf, ""};
    const std::string strBearer = p_request.Header("authorization");
    if (strBearer.starts_with("Bearer "))
    {
        // The hash is looked up, not the token: the time of that tells nothing of use.
        const auto it = m_mapMachine.find(Sha256Hex(std::string_view(strBearer).substr(7)));
        if (it == m_mapMachine.end())
            return {};
        return {it->second, m_mapAccount.at(it->second).eRole, "", ""};
    }
    const std::string strCookie = p_request.Header("cookie");
    for (std::size_t nBegin = 0; nBegin < strCookie.size();)
    {
        const std::size_t nEnd = std::min(strCookie.find(';', nBegin), strCookie.size());
        const std::size_t nName = strCookie.find_first_not_of(' ', nBegin);
        const std::string strOne = nName < nEnd ? strCookie.substr(nName, nEnd - nName) : "";
        nBegin = nEnd + 1;
        if (!strOne.starts_with(g_pCookie))
            continue;
        const std::string strHash = Sha256Hex(std::string_view(strOne).substr(8));
        const std::lock_guard<std::mutex> lock(m_mtx);
        const auto it = m_mapSession.find(strHash);
        if (it == m_mapSession.end() || it->second.tEnd < p_tNow)
            continue;
        it->second.tEnd = p_tNow + g_tSession;
        return it->second.user;
    }
    return {};
}

std::string CAccounts::WhyForeign(const SHttpRequest& p_request, const SViewUser& p_user)
{
    if (p_user.strCsrf.empty())
        return ""; // a bearer token is sent by no browser on its own
    const std::string strOrigin = p_request.Header("origin");
    const std::string strOwn = (p_request.bTls ? "https://" : "http://") + p_request.Header("host");
    if (!strOrigin.empty() && strOrigin != strOwn)
        return "the request comes from another page";
    if (!Norvik::Energy::Kestrel::Link::IsSameSecret(p_request.Header("x-csrf-token"), p_user.strCsrf))
        return "expected the header X-CSRF-Token with the token of the session";
    return "";
}

std::string CAccounts::WhyHost(const SHttpRequest& p_request) const
{
    if (m_bRequired)
        return "";
    std::string strHost = p_request.Header("host");
    const std::size_t nPort = strHost.rfind(':');
    if (nPort != std::string::npos && strHost.find(']', nPort) == std::string::npos)
        strHost.resize(nPort);
    if (strHost == "localhost" || strHost == "[::1]" || strHost.starts_with("127."))
        return "";
    return "expected the name of this machine in the address, such as localhost";
}

bool CAccounts::MayTry(const std::string& p_strPeer, TTime p_tNow)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    if (m_mapTries.size() > g_nMaxPeers)
        std::erase_if(m_mapTries, [&](const auto& p_entry) { return p_entry.second < p_tNow; });
    TTime& tEnd = m_mapTries[p_strPeer];
    tEnd = std::max(tEnd, p_tNow);
    m_tAllTries = std::max(m_tAllTries, p_tNow);
    if (tEnd - p_tNow >= g_tTry * g_nTries || m_tAllTries - p_tNow >= g_tAllTry * g_nAllTries)
        return false;
    tEnd += g_tTry;
    m_tAllTries += g_tAllTry;
    return true;
}

SViewUser CAccounts::SignIn(const std::string& p_strName, const std::string& p_strPassword,
                            const std::string& p_strPeer, TTime p_tNow)
{
    const auto it = m_mapAccount.find(p_strName);
    const bool bKnown = it != m_mapAccount.end() && it->second.strSecret.starts_with("scrypt$");
    if (p_strPassword.size() > g_nMaxPassword || !IsPassword(bKnown ? it->second.strSecret : "", p_strPassword))
        return {};
    const std::string strCookie = RandomHex(32);
    SViewUser user{p_strName, it->second.eRole, RandomHex(16), strCookie};
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapTries.erase(p_strPeer);
    std::erase_if(m_mapSession, [&](const auto& p_entry) { return p_entry.second.tEnd < p_tNow; });
    while (m_mapSession.size() >= g_nMaxSessions)
        m_mapSession.erase(std::min_element(m_mapSession.begin(), m_mapSession.end(),
                                            [](const auto& p_one, const auto& p_two)
                                            { return p_one.second.tEnd < p_two.second.tEnd; }));
    SSession& session = m_mapSession[Sha256Hex(strCookie)];
    session = {user, p_tNow + g_tSession};
    session.user.strSession = Sha256Hex(strCookie);
    return user;
}

void CAccounts::SignOut(const std::string& p_strSession)
{
    const std::lock_guard<std::mutex> lock(m_mtx);
    m_mapSession.erase(p_strSession);
}

std::string CAccounts::UserLine(const std::string& p_strName, const std::string& p_strRole,
                                const std::string& p_strPassword)
{
    CheckLine(p_strName, p_strRole);
    if (p_strPassword.size() < 10 || p_strPassword.size() > g_nMaxPassword)
        throw std::runtime_error("password: expected 10 to 1024 characters");
    const std::string strSalt = RandomHex(16);
    std::string strBytes;
    BytesOfHex(strSalt, strBytes);
    return p_strName + ":" + p_strRole + ":scrypt$" + std::to_string(g_nN) + "$" + std::to_string(g_nR) + "$" +
           std::to_string(g_nP) + "$" + strSalt + "$" + HexOf(Scrypt(p_strPassword, strBytes, g_nN, g_nR, g_nP));
}

std::string CAccounts::MachineLine(const std::string& p_strName, const std::string& p_strRole, std::string& r_strToken)
{
    CheckLine(p_strName, p_strRole);
    r_strToken = RandomHex(32);
    return p_strName + ":" + p_strRole + ":token$" + Sha256Hex(r_strToken);
}
