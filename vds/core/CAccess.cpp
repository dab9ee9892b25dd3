#include "vds/core/CAccess.h"
#include "CLinkStream.h"
#include "link/dli/EDli.h"
#include "vds/core/CEventStore.h"
#include <algorithm>
#include <stdexcept>

namespace Link = Norvik::Energy::Kestrel::Link;

namespace
{
constexpr auto g_tFirstWait = std::chrono::milliseconds(100);
constexpr auto g_tLongestWait = std::chrono::milliseconds(8000);
constexpr auto g_tForget = std::chrono::minutes(1);
constexpr std::size_t g_nMaxAddresses = 1000;
} // namespace

void CAccess::Open(const SServerSecurity& p_security)
{
    if (!p_security.link.bOn)
        return;
    if (p_security.link.strCertificateFile.empty())
        throw std::runtime_error("element Security: expected the server's CertificateFile and KeyFile");
    m_pTls = Link::ServerTls(p_security.link);
    if (!p_security.link.strTokenFile.empty())
        m_strToken = Link::ReadToken(p_security.link.strTokenFile);
    if (!p_security.strOperatorTokenFile.empty())
        m_strOperatorToken = Link::ReadToken(p_security.strOperatorTokenFile);
    if (!m_strToken.empty() && m_strToken == m_strOperatorToken)
        throw std::runtime_error("element Security: expected two different tokens");
}

ERole CAccess::RoleOf(const Link::SLinkPeer& p_peer, const std::string& p_strToken) const
{
    if (!p_peer.bTls)
        return ERole::eOperator;
    if (!p_strToken.empty())
    {
        // Both tokens are always compared, so that the time taken reveals nothing.
        const bool bOperator = !m_strOperatorToken.empty() && Link::IsSameSecret(p_strToken, m_strOperatorToken);
        const bool bApplication = !m_strToken.empty() && Link::IsSameSecret(p_strToken, m_strToken);
        if (!bOperator && !bApplication)
            throw Link::CLinkRefusal("wrong token");
        return bOperator ? ERole::eOperator : ERole::eApplication;
    }
    if (!p_peer.bCertificate)
        throw Link::CLinkRefusal("neither a token nor a certificate");
    return p_peer.bOperator ? ERole::eOperator : ERole::eApplication;
}

std::chrono::milliseconds CAccess::NoteRefusal(const std::string& p_strAddr, TTime p_tNow)
{
    std::erase_if(m_mapRefused, [p_tNow](const auto& p_entry) { return p_tNow - p_entry.second.tLast > g_tForget; });
    if (m_mapRefused.size() >= g_nMaxAddresses && m_mapRefused.count(p_strAddr) == 0)
        return g_tLongestWait;
    SRefusals& refusals = m_mapRefused[p_strAddr];
    refusals.tLast = p_tNow;
    std::chrono::milliseconds tWait = g_tFirstWait;
    for (unsigned i = 0; i < refusals.nCount && tWait < g_tLongestWait; ++i)
        tWait *= 2;
    ++refusals.nCount;
    return std::min(tWait, g_tLongestWait);
}

bool MayPost(std::int32_t p_eElemType, const SEvent& p_event)
{
    using namespace Norvik::Energy::Kestrel;
    using namespace Norvik::Energy::Kestrel::VDS::Runtime;
    const bool bOma = p_eElemType == eElemOMA && p_event.eKey >= eIkServiceStopOMA && p_event.eKey <= eIkPsNotified;
    const bool bNtm = p_eElemType == eElemNTM && p_event.eKey >= eIkServiceStopNTM && p_event.eKey <= eIkZoneSecond;
    const bool bClears = (p_eElemType == eElemOMA || p_eElemType == eElemNTM) && p_event.eTrans == eDIS;
    return (bOma || bNtm || bClears) && p_event.eElemType == p_eElemType;
}
