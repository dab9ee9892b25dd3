#include "CSchema.h"

namespace Norvik::Energy::Kestrel::VDS::Runtime
{
namespace
{
const xmlNode* ChildNamed(const xmlNode* p_pNode, std::string_view p_strName)
{
    for (const xmlNode* pChild = p_pNode->children; pChild; pChild = pChild->next)
    {
        if (IsElement(pChild, p_strName))
            return pChild;
    }
    return nullptr;
}

/// The text between p_strBegin and the next quote.
std::string Between(std::string_view p_strText, std::string_view p_strBegin)
{
    const std::size_t nBegin = p_strText.find(p_strBegin);
    if (nBegin == std::string_view::npos)
        return {};
    const std::string_view strRest = p_strText.substr(nBegin + p_strBegin.size());
    return std::string(strRest.substr(0, strRest.find('\'')));
}

/// The names of the elements from the root to this one, each followed by '/'.
std::string PathOf(const xmlNode* p_pNode)
{
    std::string strPath;
    for (; p_pNode && p_pNode->type == XML_ELEMENT_NODE; p_pNode = p_pNode->parent)
        strPath.insert(0, NameOf(p_pNode) + '/');
    return strPath;
}

/// Hint for an element whose name may be right but whose namespace is wrong.
std::string NamespaceTrouble(const xmlNode* p_pNode)
{
    if (!p_pNode || !p_pNode->ns || !p_pNode->ns->href)
        return {};
    const std::string strPrefix = p_pNode->ns->prefix ? reinterpret_cast<const char*>(p_pNode->ns->prefix) : "";
    return " without a namespace, not in " + CFaults::Quoted(reinterpret_cast<const char*>(p_pNode->ns->href)) +
           ": remove xmlns" + (strPrefix.empty() ? "" : ':' + strPrefix);
}

/// The library's message without the leading element and the trailing line end.
std::string_view Sentence(std::string_view p_strMessage)
{
    while (!p_strMessage.empty() && (p_strMessage.back() == '\n' || p_strMessage.back() == '.'))
        p_strMessage.remove_suffix(1);
    const std::size_t nColon = p_strMessage.find("': ");
    return nColon == std::string_view::npos ? p_strMessage : p_strMessage.substr(nColon + 3);
}
} // namespace

CSchema::CSchema(std::string_view p_strSchema, CFaults& r_faults)
{
    const auto fnFault = [&](const char* p_pText)
    {
        const xmlError* pError = xmlGetLastError();
        const bool bText = pError && pError->message;
        r_faults.Add(pError ? pError->line : 0, {}, {}, bText ? Sentence(pError->message) : p_pText);
    };
    xmlResetLastError();
    m_pDoc.reset(xmlReadMemory(p_strSchema.data(), static_cast<int>(p_strSchema.size()), nullptr, nullptr,
                               XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!m_pDoc)
    {
        fnFault("the schema cannot be read");
        return;
    }
    const XmlSchemaParserPtr pParser(xmlSchemaNewDocParserCtxt(m_pDoc.get()));
    if (pParser)
    {
        xmlSchemaSetParserStructuredErrors(
            pParser.get(), [](void*, auto) {}, nullptr);
        m_pSchema.reset(xmlSchemaParse(pParser.get()));
    }
    if (!m_pSchema)
    {
        fnFault("this is not a schema");
        return;
    }
    CollectTypes(xmlDocGetRootElement(m_pDoc.get()));
}

void CSchema::CollectTypes(const xmlNode* p_pSchema)
{
    std::map<std::string, const xmlNode*> mapComplex;
    const xmlNode* pRoot = nullptr;
    for (const xmlNode* pNode = p_pSchema->children; pNode; pNode = pNode->next)
    {
        const std::string strName = AttributeOf(pNode, "name");
        if (IsElement(pNode, "complexType"))
            mapComplex[strName] = pNode;
        else if (IsElement(pNode, "element") && !pRoot)
            pRoot = pNode;
        else if (IsElement(pNode, "simpleType"))
        {
            const xmlNode* pNote = ChildNamed(pNode, "annotation");
            const xmlNode* pInfo = pNote ? ChildNamed(pNote, "appinfo") : nullptr;
            if (pInfo && pInfo->children && pInfo->children->content)
                m_mapExpected[strName] = reinterpret_cast<const char*>(pInfo->children->content);
        }
    }
    if (!pRoot)
        return;
    m_strRoot = AttributeOf(pRoot, "name");
    CollectElement(pRoot, {}, mapComplex);
}

/// By path, because elements of the same name have different attributes in different places.
void CSchema::CollectElement(const xmlNode* p_pElement, const std::string& p_strPath,
                             const std::map<std::string, const xmlNode*>& p_mapComplex)
{
    // Recursive types would not terminate, and element references are not resolved: our schema uses neither.
    constexpr std::size_t nMaxPaths = 1000;
    const std::string strName = AttributeOf(p_pElement, "name");
    const std::string strPath = p_strPath + strName + '/';
    if (strName.empty() || m_mapElement.size() >= nMaxPaths || !m_mapElement.try_emplace(strPath).second)
        return;
    const auto itComplex = p_mapComplex.find(AttributeOf(p_pElement, "type"));
    CollectContent(itComplex != p_mapComplex.end() ? itComplex->second : p_pElement, strPath, p_mapComplex);
}

void CSchema::CollectContent(const xmlNode* p_pNode, const std::string& p_strPath,
                             const std::map<std::string, const xmlNode*>& p_mapComplex)
{
    for (const xmlNode* pNode = p_pNode->children; pNode; pNode = pNode->next)
    {
        if (IsElement(pNode, "attribute"))
            m_mapElement[p_strPath][AttributeOf(pNode, "name")] = AttributeOf(pNode, "type");
        else if (IsElement(pNode, "element"))
            CollectElement(pNode, p_strPath, p_mapComplex);
        else
            CollectContent(pNode, p_strPath, p_mapComplex);
    }
}

std::string CSchema::Expected(const std::string& p_strPath, const std::string& p_strAttribute) const
{
    const auto itElement = m_mapElement.find(p_strPath);
    if (itElement == m_mapElement.end())
        return {};
    const auto itAttribute = itElement->second.find(p_strAttribute);
    if (itAttribute == itElement->second.end())
        return {};
    const auto itType = m_mapExpected.find(itAttribute->second);
    return itType != m_mapExpected.end() ? itType->second : "a value of " + itAttribute->second;
}

std::string CSchema::KnownAttributes(const std::string& p_strPath) const
{
    const auto itElement = m_mapElement.find(p_strPath);
    if (itElement == m_mapElement.end() || itElement->second.empty())
        return "no attribute";
    std::string strKnown;
    for (const auto& [strName, strType] : itElement->second)
        strKnown += (strKnown.empty() ? "" : ", ") + strName;
    return itElement->second.size() > 1 ? "one of " + strKnown : strKnown;
}

bool CSchema::Check(xmlDoc* p_pDoc, CFaults& r_faults) const
{
    if (!m_pSchema)
        return false;
    SCheck check{this, &r_faults, nullptr, {}};
    const XmlSchemaValidPtr pValid(xmlSchemaNewValidCtxt(m_pSchema.get()));
    if (!pValid)
        return false;
    xmlSchemaSetValidStructuredErrors(
        pValid.get(), [](void* p_pCheck, auto p_pError) { OnError(p_pCheck, p_pError); }, &check);
    const int nResult = xmlSchemaValidateDoc(pValid.get(), p_pDoc);
    if (nResult != 0 && !r_faults.Any())
        r_faults.Add(0, {}, {}, "the file cannot be checked against its schema");
    return nResult == 0;
}

void CSchema::OnError(void* p_pCheck, const xmlError* p_pError)
{
    auto* pCheck = static_cast<SCheck*>(p_pCheck);
    if (!p_pError || !p_pError->message)
        return;
    if (pCheck->pFaults->IsFull())
        pCheck->pFaults->Add(0, {}, {}, {}); // counted, without text
    else
        pCheck->pSchema->Complain(*pCheck, *p_pError);
}

void CSchema::Complain(SCheck& r_check, const xmlError& p_error) const
{
    const auto* pNode = static_cast<const xmlNode*>(p_error.node);
    if (pNode && pNode->type == XML_ATTRIBUTE_NODE)
        pNode = pNode->parent;
    const std::string_view strMessage = p_error.message;
    const std::string_view strSentence = Sentence(strMessage);
    const std::string strElement = NameOf(pNode);
    const std::string strPath = PathOf(pNode);
    const long nLine = pNode ? xmlGetLineNo(const_cast<xmlNode*>(pNode)) : p_error.line;

    std::string strAttribute = Between(strMessage, ", attribute '");
    std::string strText(strSentence);
    if (p_error.code == XML_SCHEMAV_CVC_COMPLEX_TYPE_4) // a required attribute is missing
    {
        strAttribute = Between(strMessage, "The attribute '");
        strText = "missing, expected " + Expected(strPath, strAttribute);
    }
    else if (p_error.code == XML_SCHEMAV_CVC_COMPLEX_TYPE_3_2_1) // unknown attribute
        strText = "unknown, expected " + KnownAttributes(strPath);
    else if (p_error.code == XML_SCHEMAV_CVC_ELT_1) // the root
        strText = "not expected, expected " + m_strRoot + NamespaceTrouble(pNode);
    else if (const std::string strExpected = Expected(strPath, strAttribute); !strExpected.empty())
        strText = CFaults::Quoted(AttributeOf(pNode, strAttribute.c_str())) + " is not " + strExpected;

    if (!strAttribute.empty() && pNode == r_check.pNodeLast && strAttribute == r_check.strAttributeLast)
        return;
    r_check.pNodeLast = pNode;
    r_check.strAttributeLast = strAttribute;
    r_check.pFaults->Add(nLine, strElement, strAttribute, strText);
}
} // namespace Norvik::Energy::Kestrel::VDS::Runtime
