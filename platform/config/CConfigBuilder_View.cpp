// The element View. The schema has passed its values: numbers are numbers in their bounds here.
#include "CConfigBuilder.h"
#include <algorithm>
#include <charconv>

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
void TakeText(const xmlNode* p_pNode, const char* p_pName, std::string& r_strText)
{
    bool bFound = false;
    const std::string strText = AttributeOf(p_pNode, p_pName, &bFound);
    if (bFound)
        r_strText = strText;
}

void TakeUnsigned(const xmlNode* p_pNode, const char* p_pName, unsigned& r_nValue)
{
    const std::string strValue = AttributeOf(p_pNode, p_pName);
    const std::size_t nFirst = strValue.find_first_of("0123456789");
    if (nFirst != std::string::npos)
        std::from_chars(strValue.data() + nFirst, strValue.data() + strValue.size(), r_nValue);
}

int LevelOf(const std::string& p_strName)
{
    constexpr const char* ppLevel[] = {"notified", "distinct", "critical", "undamped-critical"};
    const auto it = std::find(std::begin(ppLevel), std::end(ppLevel), p_strName);
    return static_cast<int>(it - std::begin(ppLevel)) + 1;
}
} // namespace

void CConfigBuilder::TakeFile(const xmlNode* p_pNode, const char* p_pName, std::string& r_strFile) const
{
    std::string strName;
    TakeText(p_pNode, p_pName, strName);
    if (!strName.empty())
        r_strFile = (m_pathFolder / strName).string();
}

void CConfigBuilder::BuildReceiver(const xmlNode* p_pNode, CReceiverConfig& r_receiver)
{
    r_receiver.m_eKind = IsElement(p_pNode, "Webhook") ? eReceiverWebhook
                         : IsElement(p_pNode, "Mqtt")  ? eReceiverMqtt
                                                       : eReceiverEmail;
    TakeText(p_pNode, "Name", r_receiver.m_strName);
    TakeText(p_pNode, "Url", r_receiver.m_strUrl);
    TakeText(p_pNode, "Topic", r_receiver.m_strTopic);
    TakeText(p_pNode, "From", r_receiver.m_strFrom);
    TakeText(p_pNode, "To", r_receiver.m_strTo);
    TakeText(p_pNode, "User", r_receiver.m_strUser);
    TakeFile(p_pNode, "SecretFile", r_receiver.m_strSecretFile);
    TakeFile(p_pNode, "CAFile", r_receiver.m_strCAFile);
}

void CConfigBuilder::BuildView(const xmlNode* p_pNode, CView& r_view)
{
    TakeText(p_pNode, "Listen", r_view.m_strListen);
    TakeUnsigned(p_pNode, "Port", r_view.m_nPort);
    TakeFile(p_pNode, "CertificateFile", r_view.m_strCertificateFile);
    TakeFile(p_pNode, "KeyFile", r_view.m_strKeyFile);
    TakeFile(p_pNode, "UsersFile", r_view.m_strUsersFile);
    TakeFile(p_pNode, "Database", r_view.m_strDatabase);
    TakeUnsigned(p_pNode, "RetainPassesInDays", r_view.m_nPasses_d);
    TakeUnsigned(p_pNode, "RetainMinutesInDays", r_view.m_nMinutes_d);
    TakeUnsigned(p_pNode, "MaxSizeInMB", r_view.m_nMaxSize_MB);
    const auto fnFault = [&](const xmlNode* p_pAt, const char* p_pName, const std::string& p_strText)
    { m_faults.Add(xmlGetLineNo(const_cast<xmlNode*>(p_pAt)), NameOf(p_pAt), p_pName, p_strText); };
    if (r_view.m_strCertificateFile.empty() != r_view.m_strKeyFile.empty())
        fnFault(p_pNode, r_view.m_strKeyFile.empty() ? "KeyFile" : "CertificateFile",
                "missing, expected the private key and its certificate together");
    const auto fnKnown = [&](const std::string& p_strName)
    {
        return std::any_of(r_view.m_vecReceiver.begin(), r_view.m_vecReceiver.end(),
                           [&](const CReceiverConfig& p_receiver) { return p_receiver.Name() == p_strName; });
    };
    for (const xmlNode* pChild = p_pNode->children; pChild; pChild = pChild->next)
    {
        if (pChild->type != XML_ELEMENT_NODE || IsElement(pChild, "Rule"))
            continue;
        if (fnKnown(AttributeOf(pChild, "Name")))
            fnFault(pChild, "Name", CFaults::Quoted(AttributeOf(pChild, "Name")) + " is there already");
        BuildReceiver(pChild, r_view.m_vecReceiver.emplace_back());
    }
    for (const xmlNode* pChild = p_pNode->children; pChild; pChild = pChild->next)
    {
        if (!IsElement(pChild, "Rule"))
            continue;
        CNoticeRule& rule = r_view.m_vecRule.emplace_back();
        rule.m_nLevel = LevelOf(AttributeOf(pChild, "Level"));
        TakeUnsigned(pChild, "StandingInS", rule.m_nStanding_s);
        TakeText(pChild, "Jobs", rule.m_strJobs);
        TakeText(pChild, "Receiver", rule.m_strReceiver);
        if (!fnKnown(rule.m_strReceiver))
            fnFault(pChild, "Receiver",
                    CFaults::Quoted(rule.m_strReceiver) + " is unknown, expected the Name of a receiver");
    }
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
